#include "collector/command_line.h"

#include <fstream>
#include <sstream>

#include "collector/query.h"

namespace Veltro::Collector {
namespace {

void TakePort(const std::string& text, CommandLine& commandLine) {
  const auto port = WholeNumber<std::uint16_t>(text);
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

void TakeFlag(const std::string& option, CommandLine& commandLine) {
  if (option == "--quiet") {
    commandLine.isQuiet = true;
  } else if (option == "--json") {
    commandLine.isJson = true;
  } else if (option == "--exit") {
    commandLine.endsWithProgram = true;
  } else if (option == "--help") {
    commandLine.task = CommandLine::Task::ShowHelp;
  } else if (option == "--version") {
    commandLine.task = CommandLine::Task::ShowVersion;
  } else {
    commandLine.error = "unknown option " + option + "; see --help";
  }
}

}  // namespace

CommandLine ParseCommandLine(const std::vector<std::string>& arguments) {
  CommandLine commandLine;
  const auto end = arguments.end();
  for (auto next = arguments.begin(); next != end && commandLine.error.empty(); ++next) {
    const auto valueBehind = [&] { return next + 1 == end ? std::string() : *++next; };
    const std::size_t equals = next->find('=');
    const std::string name = next->substr(0, equals);
    const bool hasValue = equals != std::string::npos;
    if (*next == "--") {
      commandLine.program.assign(next + 1, end);
      if (commandLine.program.empty()) commandLine.error = "-- needs a program behind it";
      break;
    }
    if (name == "--port") {
      TakePort(hasValue ? next->substr(equals + 1) : valueBehind(), commandLine);
    } else if (name == "--rules") {
      TakeRules(hasValue ? next->substr(equals + 1) : valueBehind(), commandLine);
    } else {
      TakeFlag(*next, commandLine);
    }
  }
  if (commandLine.error.empty() && commandLine.endsWithProgram && commandLine.program.empty()) {
    commandLine.error = "--exit needs a program behind --";
  }
  return commandLine;
}

const char* const kUsage =
    R"(Usage: veltro-collector [OPTIONS] [-- PROGRAM [ARGUMENTS...]]

Stands in for the collection, audience and content servers on this machine and shows every hit,
event, destination call and content request that it receives, here and on a page for browsers. Lines
that start with "!" name a mistake and what to do about it.

With PROGRAM, starts it as a dry run: whatever it measures comes here, whatever its configuration.

  --port N      listen on 127.0.0.1:N (default 8900); 0 picks a free port
  --rules FILE  answer events and content requests by the rules in this JSON file
  --quiet       show none of them, but on a terminal how many hits there are
  --json        show each as one line of JSON on standard output, all else on standard error
  --exit        end when PROGRAM has ended, with its status
  --help        show this text
  --version     show the version

Rules look like this, where all members may be left out and SELF stands for 127.0.0.1:N:
  {"audience": {"uuid": "U-1",
                "rules": [{"when": {"c_color": "red"}, "segments": {"likes": "red"},
                           "destinations": ["http://SELF/destination/red"]}]},
   "content": {"pcId": "pc-1.local", "sessionId": "session-1",
               "locations": {"welcome": "Hello"}}}

Ends on Ctrl-C or SIGTERM, and PROGRAM with it. Status: 0, 1 when it cannot listen or start PROGRAM
or the rules are bad, 2 for wrong options; with --exit that of PROGRAM, 128 and the number of the
signal if that ended it.
)";

}  // namespace Veltro::Collector
