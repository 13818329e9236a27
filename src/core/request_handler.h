#pragma once

#include <cstdint>
#include <future>
#include <memory>
#include <string>
#include <string_view>

#include "platform/http_transport.h"

namespace Veltro::Internal {

/// One HTTP GET: the single place where the library talks HTTP. Make a handler for a URI, add
/// headers, start one GET, wait for the status or the body. Used by one caller at a time; may be
/// dropped while the GET is under way, which goes on.
///
/// A time-out or cancellation is never an error: it yields the status 408 or the empty body. Every
/// other failure is logged here at debug level and raised from the future as a `PlatformError` with
/// its HRESULT, so that each caller adds its own message and default.
class RequestHandler {
 public:
  /// `uri` is absolute and http or https; another one fails when the GET starts, with
  /// `kHttpBadUrl`. `timeout` counts from the start of the GET; 0 or less cancels at once.
  RequestHandler(HttpTransport& transport, std::string uri, std::chrono::milliseconds timeout);

  /// Sets a request header, in place of an earlier one of that name.
  void AddHeader(std::string_view name, std::string_view value);

  /// Starts a GET for the status of its answer. Every status is a normal result.
  std::future<std::int32_t> GetStatusAsync();

  /// Starts a GET for the whole body of its answer as text. An answer outside 200 to 299, or one
  /// longer than `kMaxHttpBodyBytes`, fails.
  std::future<std::string> GetStringAsync();

  /// Ends the GET under way as a time-out would.
  void Cancel();

 private:
  template <class T>
  std::future<T> Start(T (*read)(HttpResult&), T onTimeOut);

  HttpTransport& transport_;
  HttpRequest request_;
  HttpTransport::RequestId id_ = 0;
};

/// What the log says of a failed request with this HRESULT.
std::string_view RequestErrorText(std::uint32_t hresult);

}  // namespace Veltro::Internal
