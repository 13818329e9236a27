#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#if __cplusplus >= 202002L
#include <coroutine>
#endif

namespace Veltro {

/// A result that the library delivers later, from a thread of its own. It always arrives: failures
/// become defaults, never errors. Copies share the result. Safe to use from any thread.
template <class T>
class AsyncOperation {
 public:
  /// What is called with the result.
  using Handler = std::function<void(const T&)>;

  /// Where the library puts the result.
  class State {
   public:
    /// Delivers the result, once: later calls change nothing.
    void Complete(T value) {
      std::vector<Handler> handlers;
      {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (result_) return;
        result_.emplace(std::move(value));
        handlers.swap(handlers_);
      }
      arrived_.notify_all();
      for (const Handler& handler : handlers) handler(*result_);
    }

   private:
    friend class AsyncOperation;
    std::mutex mutex_;
    std::condition_variable arrived_;
    std::optional<T> result_;  // does not change once it is there
    std::vector<Handler> handlers_;
  };

  /// The operation whose result comes through `state`, which must not be null. The library makes
  /// operations; an application needs this for fakes of its own only.
  explicit AsyncOperation(std::shared_ptr<State> state) : state_(std::move(state)) {}

  /// Waits for the result. Do not call it from a completion handler of another operation: handlers
  /// run on the thread that delivers results.
  T Get() const {
    std::unique_lock<std::mutex> lock(state_->mutex_);
    state_->arrived_.wait(lock, [this] { return state_->result_.has_value(); });
    return *state_->result_;
  }

  /// Waits for the result, no longer than `timeout`. Returns whether it has arrived.
  bool WaitFor(std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(state_->mutex_);
    return state_->arrived_.wait_for(lock, timeout, [this] { return state_->result_.has_value(); });
  }

  /// Calls `handler` with the result: on a thread of the library's when it arrives, or at once, on
  /// this thread, when it has arrived. The handler must not throw; it should be short.
  void Completed(Handler handler) const {
    {
      const std::lock_guard<std::mutex> lock(state_->mutex_);
      if (!state_->result_) {
        state_->handlers_.push_back(std::move(handler));
        return;
      }
    }
    handler(*state_->result_);
  }

#if __cplusplus >= 202002L
  /// `co_await operation` yields the result; the coroutine goes on where a handler would run.
  auto operator co_await() const {
    struct Awaiter {
      AsyncOperation operation;
      bool await_ready() const { return operation.WaitFor(std::chrono::milliseconds(0)); }
      void await_suspend(std::coroutine_handle<> coroutine) const {
        operation.Completed([coroutine](const T&) { coroutine.resume(); });
      }
      T await_resume() const { return operation.Get(); }
    };
    return Awaiter{*this};
  }
#endif

 private:
  std::shared_ptr<State> state_;
};

}  // namespace Veltro
