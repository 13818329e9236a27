#include <signal.h>

#include <charconv>
#include <cstdint>
#include <exception>
#include <fstream>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>

#include "collector/collector.h"
#include "collector/hit_json.h"
#include "collector/hit_text.h"
#include "collector/request_text.h"

namespace {

using Veltro::Collector::Collector;
using Veltro::Collector::Hit;
using Veltro::Collector::ReceivedRequest;
using Veltro::Collector::RequestKind;

constexpr const char* kUsage =
    R"(Usage: veltro-collector [--port N] [--rules FILE] [--quiet] [--json] [--help] [--version]

Stands in for the collection, audience and content servers on this machine and shows every hit,
event, destination call and content request that it receives.

  --port N      listen on 127.0.0.1:N (default 8900); 0 picks a free port
  --rules FILE  answer events and content requests by the rules in this JSON file
  --quiet       show none of them
  --json        show each as one line of JSON on standard output, all else on standard error
  --help        show this text
  --version     show the version

Rules look like this, where all members may be left out and SELF stands for 127.0.0.1:N:
  {"audience": {"uuid": "U-1",
                "rules": [{"when": {"c_color": "red"}, "segments": {"likes": "red"},
                           "destinations": ["http://SELF/destination/red"]}]},
   "content": {"pcId": "pc-1.local", "sessionId": "session-1",
               "locations": {"welcome": "Hello"}}}

Ends on Ctrl-C or SIGTERM. Status: 0, 1 when it cannot listen or the rules are bad, 2 for wrong
options.
)";

struct CommandLine {
  enum class Task { Serve, ShowHelp, ShowVersion };

  Task task = Task::Serve;
  std::uint16_t port = 8900;
  std::string rules;
  bool isQuiet = false;
  bool isJson = false;
  std::string error;  // empty: the options are good
};

std::optional<std::uint16_t> ParsePort(std::string_view text) {
  std::uint16_t port = 0;
  const char* const textEnd = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), textEnd, port);
  return error == std::errc() && end == textEnd ? std::optional(port) : std::nullopt;
}

void TakePort(std::string_view text, CommandLine& commandLine) {
  const auto port = ParsePort(text);
  if (!port) commandLine.error = "--port needs a number from 0 to 65535";
  commandLine.port = port.value_or(0);
}

void TakeRules(const std::string& path, CommandLine& commandLine) {
  std::ostringstream text;
  text << std::ifstream(path).rdbuf();
  commandLine.rules = text.str();
  if (!commandLine.rules.empty()) return;
  commandLine.error = "--rules needs a file that can be read and is not empty";
}

CommandLine ParseCommandLine(int count, char** arguments) {
  CommandLine commandLine;
  for (int i = 1; i < count && commandLine.error.empty(); ++i) {
    const std::string_view option = arguments[i];
    if (option == "--port") {
      TakePort(i + 1 < count ? arguments[++i] : "", commandLine);
    } else if (option.starts_with("--port=")) {
      TakePort(option.substr(option.find('=') + 1), commandLine);
    } else if (option == "--rules") {
      TakeRules(i + 1 < count ? arguments[++i] : "", commandLine);
    } else if (option.starts_with("--rules=")) {
      TakeRules(std::string(option.substr(option.find('=') + 1)), commandLine);
    } else if (option == "--quiet") {
      commandLine.isQuiet = true;
    } else if (option == "--json") {
      commandLine.isJson = true;
    } else if (option == "--help") {
      commandLine.task = CommandLine::Task::ShowHelp;
    } else if (option == "--version") {
      commandLine.task = CommandLine::Task::ShowVersion;
    } else {
      commandLine.error = "unknown option " + std::string(option) + "; see --help";
    }
  }
  return commandLine;
}

// To be called before there are other threads, so that they all leave the signals to `sigwait`.
sigset_t BlockEndSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

int Serve(const CommandLine& commandLine) {
  const sigset_t endSignals = BlockEndSignals();
  std::ostream& notices = commandLine.isJson ? std::cerr : std::cout;
  std::int64_t received = 0;
  {
    Collector::Options options;
    options.port = commandLine.port;
    options.rules = commandLine.rules;
    options.onHit = [&](const Hit& hit) {
      received = hit.sequence;
      if (commandLine.isQuiet) return;
      std::cout << (commandLine.isJson ? HitToJson(hit) + "\n" : HitToText(hit)) << std::flush;
    };
    options.onRequest = [&](RequestKind kind, const ReceivedRequest& request) {
      if (commandLine.isQuiet || kind == RequestKind::Hit || kind == RequestKind::Id) return;
      std::cout << (commandLine.isJson ? RequestToJson(kind, request) + "\n"
                                       : RequestToText(kind, request))
                << std::flush;
    };
    const Collector collector(std::move(options));
    notices << "Listening on http://" << collector.Host() << std::endl;
    int signal = 0;
    sigwait(&endSignals, &signal);
  }
  notices << received << (received == 1 ? " hit" : " hits") << " received" << std::endl;
  return 0;
}

int Run(const CommandLine& commandLine) {
  switch (commandLine.task) {
    case CommandLine::Task::ShowHelp:
      std::cout << kUsage;
      return 0;
    case CommandLine::Task::ShowVersion:
      std::cout << "veltro-collector " << VELTRO_COLLECTOR_VERSION << "\n";
      return 0;
    case CommandLine::Task::Serve:
      break;
  }
  return Serve(commandLine);
}

int Complain(const char* message, int status) {
  std::cerr << "veltro-collector: " << message << std::endl;
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const CommandLine commandLine = ParseCommandLine(count, arguments);
    if (!commandLine.error.empty()) return Complain(commandLine.error.c_str(), 2);
    return Run(commandLine);
  } catch (const std::exception& error) {
    return Complain(error.what(), 1);
  }
}
