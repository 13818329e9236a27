#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace Veltro::Collector {

/// A program that this one started.
class Program {
 public:
  /// Where the program's standard output goes.
  enum class Output { Usual, StandardError };

  /// Starts `command`, a name or path and its arguments, with `variable` ("NAME=value") added to
  /// the environment and the usual signals. Throws std::runtime_error when that is not possible.
  Program(const std::vector<std::string>& command, const std::string& variable,
          Output output = Output::Usual);

  /// Ends it if it runs.
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  /// The status it ended with, 128 and the number of the signal if one ended it; nothing while it
  /// runs.
  std::optional<int> Status();

  /// Waits a while for it to end, asks it to (SIGTERM), waits again, then has it killed.
  void AwaitEnd();

  /// The same without the first wait.
  void End();

 private:
  bool WaitALittle();

  pid_t process_ = 0;
  std::optional<int> status_;
};

}  // namespace Veltro::Collector
