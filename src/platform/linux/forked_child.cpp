#include "platform/linux/forked_child.h"

#include <pthread.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <mutex>

namespace Veltro::Internal {
namespace {

constexpr int kNone = 0;  // the descriptor of the standard input, which is none of ours

constinit std::atomic<bool> inForkedChild{false};
constinit std::array<std::atomic<int>, 8> toClose{};
constinit std::once_flag watching;

/// In the child, where the one thread left may call nothing that takes a lock.
void OnForked() {
  inForkedChild.store(true, std::memory_order_relaxed);
  for (std::atomic<int>& slot : toClose) {
    const int descriptor = slot.exchange(kNone);
    if (descriptor != kNone) close(descriptor);
  }
}

void Replace(int descriptor, int replacement) {
  for (std::atomic<int>& slot : toClose) {
    int expected = descriptor;
    if (slot.compare_exchange_strong(expected, replacement)) return;
  }
}

}  // namespace

bool InForkedChild() noexcept { return inForkedChild.load(std::memory_order_relaxed); }

void WatchForks() {
  std::call_once(watching, [] { pthread_atfork(nullptr, nullptr, OnForked); });
}

void CloseInForkedChildren(int descriptor) {
  WatchForks();
  Replace(kNone, descriptor);
}

void KeepInForkedChildren(int descriptor) { Replace(descriptor, kNone); }

}  // namespace Veltro::Internal
