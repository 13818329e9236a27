#pragma once

#include "platform/http_transport.h"

namespace Veltro::Internal {

/// The HTTP client of one caller that asks for one thing after the other and waits for each. A
/// request is carried out on the caller's own thread, handed over to no other, and goes over the
/// connection of the one before it as long as the server keeps that open.
///
/// Requests follow the rules of `HttpTransport` and share its cookies. Otherwise the two know
/// nothing of each other: to stop one leaves the other running. The transport must outlive the
/// connection.
class HttpConnection {
 public:
  virtual ~HttpConnection() = default;

  /// Carries out a GET and returns how it ended. One call at a time, on a thread of the library's
  /// own: the system's signals may be blocked on it from then on.
  virtual HttpResult Get(const HttpRequest& request) = 0;

  /// Cancels the request under way and every one to come, and returns at once. Safe to call from
  /// any thread.
  virtual void Stop() = 0;
};

}  // namespace Veltro::Internal
