#pragma once

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <vector>

#include "core/request_handler.h"
#include "platform/http_connection.h"

namespace Veltro::Internal {

/// Requests that threads wait for and that can be ended together. Each goes over a connection of
/// its own. Safe to use from any thread.
class StoppableRequests {
 public:
  explicit StoppableRequests(HttpTransport& transport) : transport_(transport) {}

  HttpTransport& Transport() { return transport_; }

  /// `get(connection)` for a new connection, whose result is returned. When the requests have been
  /// stopped, the connection cancels.
  template <class Get>
  auto With(Get get) {
    const Open open(*this);
    return get(*open.connection);
  }

  /// Cancels the requests under way and all to come, and returns at once.
  void Stop();

  /// Whether no request is under way any more within `timeout`.
  bool WaitUntilDone(std::chrono::milliseconds timeout);

 private:
  /// A connection while it is used.
  struct Open {
    explicit Open(StoppableRequests& requests);
    ~Open();

    StoppableRequests& requests;
    std::unique_ptr<HttpConnection> connection;
  };

  HttpTransport& transport_;
  std::mutex mutex_;
  std::condition_variable closed_;
  std::vector<HttpConnection*> open_;
  int active_ = 0;
  bool isStopped_ = false;
};

}  // namespace Veltro::Internal
