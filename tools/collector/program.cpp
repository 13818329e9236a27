#include "collector/program.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstring>
#include <stdexcept>
#include <string_view>
#include <thread>

namespace Veltro::Collector {
namespace {

constexpr std::chrono::seconds kPatience{5};
constexpr std::chrono::milliseconds kTimeBetweenLooks{10};

std::vector<char*> Pointers(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const auto& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

// This program's own, where `variable` replaces one of the same name.
std::vector<std::string> EnvironmentWith(const std::string& variable) {
  std::vector<std::string> environment = {variable};
  const std::string_view nameAndEquals(variable.data(), variable.find('=') + 1);
  for (char** entry = environ; *entry != nullptr; ++entry) {
    if (!std::string_view(*entry).starts_with(nameAndEquals)) environment.emplace_back(*entry);
  }
  return environment;
}

// No signal is blocked, and SIGPIPE not ignored, which HTTP servers do to their whole process.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    sigset_t signals;
    posix_spawnattr_init(&attributes_);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&attributes_, &signals);
    sigaddset(&signals, SIGPIPE);
    posix_spawnattr_setsigdefault(&attributes_, &signals);
    posix_spawnattr_setflags(&attributes_, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&attributes_); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* Get() const { return &attributes_; }

 private:
  posix_spawnattr_t attributes_{};
};

}  // namespace

Program::Program(const std::vector<std::string>& command, const std::string& variable,
                 Output output) {
  const SpawnAttributes attributes;
  posix_spawn_file_actions_t files{};
  posix_spawn_file_actions_init(&files);
  if (output == Output::StandardError) {
    posix_spawn_file_actions_adddup2(&files, STDERR_FILENO, STDOUT_FILENO);
  }
  const auto environment = EnvironmentWith(variable);
  const int error = posix_spawnp(&process_, command.front().c_str(), &files, attributes.Get(),
                                 Pointers(command).data(), Pointers(environment).data());
  posix_spawn_file_actions_destroy(&files);
  if (error == 0) return;
  throw std::runtime_error("cannot start " + command.front() + ": " + std::strerror(error));
}

Program::~Program() { End(); }

std::optional<int> Program::Status() {
  int status = 0;
  if (!status_ && ::waitpid(process_, &status, WNOHANG) == process_) {
    status_ = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  }
  return status_;
}

void Program::AwaitEnd() {
  if (!WaitALittle()) End();
}

void Program::End() {
  if (Status()) return;
  ::kill(process_, SIGTERM);
  if (WaitALittle()) return;
  ::kill(process_, SIGKILL);
  WaitALittle();
}

bool Program::WaitALittle() {
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  while (!Status() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(kTimeBetweenLooks);
  }
  return Status().has_value();
}

}  // namespace Veltro::Collector
