#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <utility>
#include <vector>

#include "platform/http_transport.h"

namespace Veltro::Internal::Testing {

/// The results of HTTP requests, in the order of their arrival.
class Results {
 public:
  /// A completion for one request. It may outlive this object.
  HttpTransport::Completion Collect() {
    return [state = state_](HttpResult result) {
      std::lock_guard lock(state->mutex);
      state->results.push_back(std::move(result));
      state->changed.notify_all();
    };
  }

  bool WaitFor(std::size_t count, std::chrono::milliseconds deadline = std::chrono::seconds(5)) {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_until(lock, std::chrono::system_clock::now() + deadline,
                                      [&] { return state_->results.size() >= count; });
  }

  std::size_t Count() {
    std::lock_guard lock(state_->mutex);
    return state_->results.size();
  }

  HttpResult At(std::size_t index) {
    std::lock_guard lock(state_->mutex);
    return state_->results.at(index);
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    std::vector<HttpResult> results;
  };

  std::shared_ptr<State> state_ = std::make_shared<State>();
};

/// Sends `request` and waits for its result. Throws when none comes.
inline HttpResult Fetch(HttpTransport& transport, HttpRequest request) {
  Results results;
  transport.Get(std::move(request), results.Collect());
  if (!results.WaitFor(1)) throw std::runtime_error("the request never ended");
  return results.At(0);
}

}  // namespace Veltro::Internal::Testing
