#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

namespace Veltro::Internal {

/// A slot for an object that is made on first use, by double-checked locking on a mutex of its own,
/// and then lives as long as the slot. Safe to use from any thread; once the object is made,
/// reaching it costs one load.
template <class T>
class Lazy {
 public:
  /// The object, made by `make()` (which returns a T) on the first call. When `make` throws, the
  /// slot stays empty and the next call tries again. `make` must not reach for this same slot.
  template <class Make>
  T& Get(Make&& make) {
    if (T* object = published_.load(std::memory_order_acquire)) return *object;
    const std::lock_guard lock(mutex_);
    if (!object_) {
      object_.reset(new T(std::forward<Make>(make)()));
      published_.store(object_.get(), std::memory_order_release);
    }
    return *object_;
  }

  /// The object, or null when it has not been made.
  T* Peek() const { return published_.load(std::memory_order_acquire); }

 private:
  std::mutex mutex_;
  std::atomic<T*> published_{nullptr};
  std::unique_ptr<T> object_;
};

}  // namespace Veltro::Internal
