#include "platform/linux/process_end.h"

#include <atomic>
#include <cstdlib>

#include "platform/linux/forked_child.h"

namespace Veltro::Internal {
namespace {

using Save = void (*)();

constinit std::atomic<Save> saved{nullptr};
constinit std::atomic<bool> isRegistered{false};

void Run() {
  isRegistered = false;
  if (!InForkedChild()) saved.load()();
}

/// What was registered last is run first, also when it is registered at the end of the process.
void Register() {
  std::atexit(Run);
  std::at_quick_exit(Run);
}

}  // namespace

void SaveAtProcessEnd(void (*save)()) {
  if (isRegistered.load(std::memory_order_relaxed)) return;
  saved = save;
  if (!isRegistered.exchange(true)) Register();
}

void SaveAtProcessEndFirst() {
  if (saved != nullptr) Register();
}

}  // namespace Veltro::Internal
