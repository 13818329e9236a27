#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

#include "collector/collector.h"
#include "collector/command_line.h"
#include "collector/hit_json.h"
#include "collector/hit_text.h"
#include "collector/program.h"
#include "collector/progress.h"
#include "collector/request_text.h"

namespace {

using Veltro::Collector::Collector;
using Veltro::Collector::CommandLine;
using Veltro::Collector::Hit;
using Veltro::Collector::Program;
using Veltro::Collector::Progress;
using Veltro::Collector::ReceivedRequest;
using Veltro::Collector::RequestKind;

constexpr timespec kTimeBetweenLooks{0, 250'000'000};

// To be called before there are other threads, so that they all leave the signals to this one.
sigset_t BlockSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGCHLD}) sigaddset(&signals, signal);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  return signals;
}

// One run of the collector, from listening to the end.
class Session {
 public:
  explicit Session(const CommandLine& commandLine) : commandLine_(commandLine) {}

  // Returns the status to end with.
  int Run() {
    const sigset_t signals = BlockSignals();
    int status = 0;
    {
      const Collector collector(CollectorOptions());
      Notices() << "Listening on http://" << collector.Host() << "\nWatch at http://"
                << collector.Host() << "/" << std::endl;
      Start(collector);
      status = WaitForEnd(signals);
    }
    const std::int64_t received = received_;
    Notices() << LineEnd() << received << (received == 1 ? " hit" : " hits") << " received"
              << std::endl;
    return status;
  }

 private:
  std::ostream& Notices() const { return commandLine_.isJson ? std::cerr : std::cout; }

  Collector::Options CollectorOptions() {
    Collector::Options options;
    options.port = commandLine_.port;
    options.rules = commandLine_.rules;
    options.onHit = [this](const Hit& hit) { Show(hit); };
    options.onRequest = [this](RequestKind kind, const ReceivedRequest& request) {
      Show(kind, request);
    };
    return options;
  }

  void Show(const Hit& hit) {
    received_ = hit.sequence;
    if (commandLine_.isQuiet) return;
    std::cout << (commandLine_.isJson ? HitToJson(hit) + "\n" : HitToText(hit)) << std::flush;
  }

  void Show(RequestKind kind, const ReceivedRequest& request) const {
    if (commandLine_.isQuiet || kind == RequestKind::Hit || kind == RequestKind::Id) return;
    std::cout << (commandLine_.isJson ? RequestToJson(kind, request) + "\n"
                                      : RequestToText(kind, request))
              << std::flush;
  }

  void Start(const Collector& collector) {
    if (commandLine_.program.empty()) return;
    // Standard output is for the lines of JSON alone, if there are any.
    const auto output =
        commandLine_.isJson ? Program::Output::StandardError : Program::Output::Usual;
    program_.emplace(commandLine_.program, "VELTRO_DRY_RUN=" + collector.Host(), output);
  }

  int WaitForEnd(const sigset_t& signals) {
    for (;;) {
      const int signal = sigtimedwait(&signals, nullptr, &kTimeBetweenLooks);
      const bool isToldToEnd = signal == SIGINT || signal == SIGTERM || signal == SIGHUP;
      if (isToldToEnd) EndProgram(signal);
      const auto status = NewStatus();
      if (status && commandLine_.endsWithProgram) return *status;
      if (isToldToEnd) return 0;
      ShowProgress();
    }
  }

  // On Ctrl-C it ends by itself: it is told, too.
  void EndProgram(int signal) {
    if (!program_) return;
    signal == SIGINT ? program_->AwaitEnd() : program_->End();
  }

  // What the program ended with, if it did since the last call.
  std::optional<int> NewStatus() {
    const auto status = program_ ? program_->Status() : std::nullopt;
    if (!status) return std::nullopt;
    program_.reset();
    Notices() << LineEnd() << commandLine_.program.front() << " ended with status " << *status
              << "\n";
    if (received_ == 0) Notices() << "No hit came: does it call Host::Flush before it ends?\n";
    Notices() << std::flush;
    return status;
  }

  void ShowProgress() {
    if (!commandLine_.isQuiet || ::isatty(STDOUT_FILENO) == 0) return;
    const std::string line = progress_.Line(received_, std::chrono::steady_clock::now());
    if (line == shownLine_) return;
    shownLine_ = line;
    std::cout << "\r" << line << "\x1b[K" << std::flush;
  }

  // Ends the line of the progress, if there is one.
  std::string LineEnd() {
    const bool isShown = !shownLine_.empty();
    shownLine_.clear();
    return isShown ? "\n" : "";
  }

  const CommandLine& commandLine_;
  std::atomic<std::int64_t> received_ = 0;
  std::optional<Program> program_;
  Progress progress_;
  std::string shownLine_;
};

int Run(const CommandLine& commandLine) {
  switch (commandLine.task) {
    case CommandLine::Task::ShowHelp:
      std::cout << Veltro::Collector::kUsage;
      return 0;
    case CommandLine::Task::ShowVersion:
      std::cout << "veltro-collector " << VELTRO_COLLECTOR_VERSION << "\n";
      return 0;
    case CommandLine::Task::Serve:
      break;
  }
  return Session(commandLine).Run();
}

int Complain(const std::string& message, int status) {
  std::cerr << "veltro-collector: " << message << std::endl;
  return status;
}

}  // namespace

int main(int count, char** arguments) {
  try {
    const auto commandLine =
        Veltro::Collector::ParseCommandLine({arguments + 1, arguments + count});
    if (!commandLine.error.empty()) return Complain(commandLine.error, 2);
    return Run(commandLine);
  } catch (const std::exception& error) {
    return Complain(error.what(), 1);
  }
}
