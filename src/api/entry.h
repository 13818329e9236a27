#pragma once

#include <memory>
#include <utility>

#include "api/runtime.h"
#include "platform/linux/forked_child.h"
#include "veltro/async_operation.h"

namespace Veltro::Internal {

/// What the entry points have in common: they convert their arguments, post the work, return, and
/// let nothing out.

/// Runs `body` and swallows what it throws: out of memory is all that can go wrong here, and no
/// reason to take the host down. In a child that was forked while the library ran, does nothing.
template <class Body>
void Enter(Body&& body) noexcept {
  if (InForkedChild()) return;
  try {
    std::forward<Body>(body)();
  } catch (...) {
  }
}

/// Delivers `fallback` when the last copy goes without a result having been delivered, so that
/// nobody waits for ever.
template <class T>
class Answer {
 public:
  explicit Answer(T fallback) : fallback_(std::move(fallback)) {}
  ~Answer() { state_->Complete(std::move(fallback_)); }

  Answer(const Answer&) = delete;
  Answer& operator=(const Answer&) = delete;

  void Complete(T value) { state_->Complete(std::move(value)); }
  AsyncOperation<T> Operation() const { return AsyncOperation<T>(state_); }

 private:
  T fallback_;
  std::shared_ptr<typename AsyncOperation<T>::State> state_ =
      std::make_shared<typename AsyncOperation<T>::State>();
};

/// The operation whose result is what `begin(runtime, answer)`, or whoever keeps the answer,
/// delivers to it; else `fallback`.
template <class T, class Begin>
AsyncOperation<T> BeginOperation(T fallback, Begin begin) {
  const auto answer = std::make_shared<Answer<T>>(std::move(fallback));
  const AsyncOperation<T> operation = answer->Operation();
  Enter([&] { begin(Runtime::Current(), answer); });
  return operation;
}

/// Asks for `question(runtime)` on the shared queue, so that it sees every earlier call. The result
/// is `fallback` when the question fails.
template <class T, class Question>
AsyncOperation<T> Ask(T fallback, Question question) {
  return BeginOperation(std::move(fallback), [&](Runtime& runtime, const auto& answer) {
    runtime.SharedQueue().Post(
        [&runtime, answer, question] { answer->Complete(question(runtime)); });
  });
}

}  // namespace Veltro::Internal
