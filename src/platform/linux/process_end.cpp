#include "platform/linux/process_end.h"

#include <pthread.h>

#include <atomic>
#include <cstdlib>

#include "platform/linux/forked_child.h"

namespace Veltro::Internal {
namespace {

using Save = void (*)();

constinit std::atomic<Save> saved{nullptr};
constinit std::atomic<bool> isRegistered{false};
constinit std::atomic<pthread_t> endingThread{0};  // 0: the process is not ending

void Run() {
  endingThread = pthread_self();
  try {
    if (!InForkedChild()) saved.load()();
  } catch (...) {
    // Out of memory: what can be saved is saved.
  }
  isRegistered = false;
}

/// Whether the process ends and this thread has no part in that: its calls may go on for ever.
bool IsBesideTheEnd() {
  const pthread_t ending = endingThread;
  return ending != 0 && pthread_equal(ending, pthread_self()) == 0;
}

/// What was registered last is run first, also when it is registered at the end of the process.
void Register() {
  std::atexit(Run);
  std::at_quick_exit(Run);
}

}  // namespace

void SaveAtProcessEnd(void (*save)()) {
  if (isRegistered.load(std::memory_order_relaxed)) return;
  if (IsBesideTheEnd()) return;
  saved = save;
  if (!isRegistered.exchange(true)) Register();
}

void SaveAtProcessEndFirst() {
  if (saved != nullptr) Register();
}

}  // namespace Veltro::Internal
