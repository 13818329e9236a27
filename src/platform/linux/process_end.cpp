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
constinit std::atomic<bool> isEnding{false};
pthread_t endingThread;  // once `isEnding`

void Run() {
  endingThread = pthread_self();
  isEnding = true;
  if (!InForkedChild()) saved.load()();
  isRegistered = false;
}

/// Calls of other threads are no part of the end, and may go on for ever.
bool IsOtherThread() { return pthread_equal(endingThread, pthread_self()) == 0; }

/// What was registered last is run first, also when it is registered at the end of the process.
void Register() {
  std::atexit(Run);
  std::at_quick_exit(Run);
}

}  // namespace

void SaveAtProcessEnd(void (*save)()) {
  if (isRegistered.load(std::memory_order_relaxed)) return;
  if (isEnding && IsOtherThread()) return;
  saved = save;
  if (!isRegistered.exchange(true)) Register();
}

void SaveAtProcessEndFirst() {
  if (saved != nullptr) Register();
}

}  // namespace Veltro::Internal
