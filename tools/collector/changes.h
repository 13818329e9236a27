#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>

namespace Veltro::Collector {

/// Tells those who watch that there is something new, and when it is over. Safe to use from any
/// thread.
class Changes {
 public:
  void Report() {
    const std::lock_guard lock(mutex_);
    ++count_;
    changed_.notify_all();
  }

  /// Ends every wait, present and future.
  void Stop() {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    changed_.notify_all();
    stopped_.notify_all();
  }

  /// How many were reported so far.
  std::uint64_t Count() const {
    const std::lock_guard lock(mutex_);
    return count_;
  }

  /// Waits until more than `count` were reported, at most for `timeout`; false when it is over.
  bool WaitForMore(std::uint64_t count, std::chrono::milliseconds timeout) const {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, timeout, [&] { return isStopped_ || count_ > count; });
    return !isStopped_;
  }

  /// Waits for `time`, whatever is reported; false when it is over.
  bool Pause(std::chrono::milliseconds time) const {
    std::unique_lock lock(mutex_);
    return !stopped_.wait_for(lock, time, [&] { return isStopped_; });
  }

 private:
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  mutable std::condition_variable stopped_;
  std::uint64_t count_ = 0;
  bool isStopped_ = false;
};

}  // namespace Veltro::Collector
