#pragma once

#include <cstdint>
#include <future>
#include <string>
#include <string_view>
#include <utility>

#include "platform/http_connection.h"
#include "platform/http_transport.h"

namespace Veltro::Internal {

/// The status of a request that timed out.
inline constexpr std::int32_t kRequestTimeoutStatus = 408;

/// A GET under way, whose result has the type T.
template <class T>
class RequestTask {
 public:
  /// How the result is read from an answer, and what it is after a time-out.
  using Read = T (*)(HttpResult& answer);
  RequestTask(std::future<HttpResult> answer, Read read, T onTimeOut)
      : answer_(std::move(answer)), read_(read), onTimeOut_(std::move(onTimeOut)) {}

  /// Waits for the result, once. Throws `PlatformError`, with its HRESULT, when there is none.
  T Get();

  /// Behind `Get`: whether the server is at a public address.
  bool PeerIsPublic() const { return peerIsPublic_; }

 private:
  std::future<HttpResult> answer_;
  Read read_;
  T onTimeOut_;
  bool peerIsPublic_ = true;
};

/// One HTTP GET: the single place where the library talks HTTP. Make a handler for a URI, add
/// headers, carry out one GET, or start it and wait for the status or the body later. Used by one
/// caller at a time; may be dropped while a GET that was started is under way, which goes on.
///
/// A time-out or cancellation is never an error: it yields the status 408 or the empty body. Every
/// other failure is logged here at debug level and raised from the task, so that each caller adds
/// its own message and default.
class RequestHandler {
 public:
  /// `uri` is absolute and http or https; another one fails when the GET starts, with
  /// `kHttpBadUrl`. `timeout` counts from the start of the GET; 0 or less cancels at once.
  RequestHandler(HttpTransport& transport, std::string uri, std::chrono::milliseconds timeout);

  /// Sets a request header, in place of an earlier one of that name.
  void AddHeader(std::string_view name, std::string_view value);

  /// Keeps the GET away from this machine and the networks around it: it fails with
  /// `kHttpCannotConnect` when a host on its way is there. For URLs that a server names.
  void RequirePublicHosts() { request_.publicHostsOnly = true; }

  /// Starts a GET for the status of its answer. Every status is a normal result.
  RequestTask<std::int32_t> GetStatusAsync();

  /// Starts a GET for the whole body of its answer as text, UTF-8, in which bytes that are none
  /// have become U+FFFD. An answer outside 200 to 299, or one longer than `kMaxHttpBodyBytes`,
  /// fails.
  RequestTask<std::string> GetStringAsync();

  /// Carries out a GET over `connection`, on this thread, and returns the status of its answer.
  /// Throws `PlatformError`, with its HRESULT, when there is none.
  std::int32_t GetStatus(HttpConnection& connection) const;

  /// The same for the body, as of `GetStringAsync`.
  std::string GetString(HttpConnection& connection) const;

  // The cookies that go with the URI, before the GET and after it. What is set here counts for the
  // registrable domain of its host and never expires; a cookie that is not there reads as "".
  void SetCookie(const std::string& name, const std::string& value);
  void ClearCookie(const std::string& name);
  std::string GetCookie(const std::string& name);

 private:
  std::future<HttpResult> Start();

  HttpTransport& transport_;
  HttpRequest request_;
};

/// What the log says of a failed request with this HRESULT.
std::string_view RequestErrorText(std::uint32_t hresult);

}  // namespace Veltro::Internal
