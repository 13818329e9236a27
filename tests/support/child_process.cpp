#include "support/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <stdexcept>

namespace Veltro::Internal::Testing {

ChildProcess::ChildProcess(const std::function<void(const Report&)>& body) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
  id_ = fork();
  if (id_ < 0) throw std::runtime_error("fork failed");
  if (id_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    close(ends[0]);
    body([to = ends[1]](int number) {
      if (write(to, &number, sizeof number) != sizeof number) _exit(3);
    });
    _exit(0);
  }
  close(ends[1]);
  report_ = ends[0];
}

ChildProcess::~ChildProcess() {
  Kill();
  close(report_);
}

std::optional<int> ChildProcess::Next(std::chrono::milliseconds deadline) {
  pollfd waiting{report_, POLLIN, 0};
  int number = 0;
  if (poll(&waiting, 1, static_cast<int>(deadline.count())) != 1) return std::nullopt;
  if (read(report_, &number, sizeof number) != sizeof number) return std::nullopt;
  return number;
}

void ChildProcess::Kill() {
  if (id_ == 0) return;
  kill(id_, SIGKILL);
  Wait();
}

int ChildProcess::Wait(std::chrono::milliseconds deadline) {
  if (id_ == 0) return -1;
  const int status = WaitForEnd(id_, deadline);
  id_ = 0;
  return status;
}

int WaitForEnd(pid_t id, std::chrono::milliseconds deadline) {
  const int process = static_cast<int>(syscall(SYS_pidfd_open, id, 0));
  pollfd waiting{process, POLLIN, 0};
  const bool ended = poll(&waiting, 1, static_cast<int>(deadline.count())) == 1;
  if (!ended) kill(id, SIGKILL);
  close(process);
  int status = 0;
  waitpid(id, &status, 0);
  return ended ? status : -1;
}

}  // namespace Veltro::Internal::Testing
