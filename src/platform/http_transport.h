#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Veltro::Internal {

struct HttpHeader {
  std::string name;
  std::string value;
};

/// One GET request.
struct HttpRequest {
  std::string url;                       ///< absolute, http or https
  std::vector<HttpHeader> headers;       ///< added to the client's own
  std::chrono::milliseconds timeout{0};  ///< from the start, name resolution and redirects included
};

/// How a request ended.
struct HttpResult {
  enum class Outcome {
    Answered,   ///< `status` and `body` hold the answer, whatever the status
    Cancelled,  ///< the time-out passed, or the request was cancelled
    Failed,     ///< no answer; `error` says why
  };

  Outcome outcome = Outcome::Cancelled;
  std::int32_t status = 0;
  std::string body;          ///< as received, at most `kMaxHttpBodyBytes`
  bool bodyIsWhole = true;   ///< false when the answer was longer than that and was cut off
  std::uint32_t error = 0;   ///< HRESULT
  std::string errorMessage;  ///< UTF-8, for log lines
};

/// The most bytes of an answer's body that are taken, counted after decoding.
inline constexpr std::size_t kMaxHttpBodyBytes = 1024 * 1024ULL;

/// The most redirects that one request follows.
inline constexpr int kMaxHttpRedirects = 10;

/// HRESULTs with which requests fail.
inline constexpr std::uint32_t kHttpBadUrl = 0x0000007B;
inline constexpr std::uint32_t kHttpNameNotResolved = 0x80072EE7;
inline constexpr std::uint32_t kHttpCannotConnect = 0x80072EFD;
inline constexpr std::uint32_t kHttpConnectionClosed = 0x80072EFE;
inline constexpr std::uint32_t kHttpConnectionReset = 0x80072EFF;
inline constexpr std::uint32_t kHttpRedirectFailed = 0x80072F80;
inline constexpr std::uint32_t kHttpTlsFailed = 0x80072F30;
inline constexpr std::uint32_t kHttpUnknownError = 0x80004005;

/// The HTTP client. Safe to use from any thread; connections are kept alive between requests.
///
/// Redirects (301, 302, 303, 307, 308 with a Location) are followed to http and https only, never
/// from https to http; an answer that points elsewhere, or nowhere, is itself the result. More than
/// `kMaxHttpRedirects` of them fail with `kHttpRedirectFailed`.
///
/// Dropping the transport cancels what is under way.
class HttpTransport {
 public:
  using RequestId = std::uint64_t;
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpTransport() = default;

  /// Starts a GET and returns at once. `completion` is called exactly once, on a thread of the
  /// transport's, and must not block or throw. A time-out of 0 or less cancels at once.
  virtual RequestId Get(HttpRequest request, Completion completion) = 0;

  /// Ends a request early with `Cancelled`; one that has ended is left alone.
  virtual void Cancel(RequestId id) = 0;
};

}  // namespace Veltro::Internal
