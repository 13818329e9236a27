#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>

namespace Veltro::Internal::Testing {

/// A process forked from this one, which must not have had other threads before. It runs `body` and
/// ends, without what a process otherwise does at its end. Killed when dropped.
class ChildProcess {
 public:
  /// Tells the parent a number, at once.
  using Report = std::function<void(int)>;

  explicit ChildProcess(const std::function<void(const Report&)>& body);
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  /// The next number that it told; nothing when it ended, or `deadline` passed, before.
  std::optional<int> Next(std::chrono::milliseconds deadline = std::chrono::seconds(20));

  /// Ends it with SIGKILL. What it told before can still be read.
  void Kill();

  /// Waits for its end and returns its status, as of waitpid; -1 when it does not end in time.
  int Wait(std::chrono::milliseconds deadline = std::chrono::seconds(20));

 private:
  pid_t id_ = 0;
  int report_ = -1;
};

/// Waits for the end of the child `id`, and kills it when it does not come within `deadline`: then
/// it returns -1, else the status.
int WaitForEnd(pid_t id, std::chrono::milliseconds deadline);

}  // namespace Veltro::Internal::Testing
