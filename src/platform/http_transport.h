#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
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

  /// For a URL that somebody else chose: whether to stay away, redirects included, from addresses
  /// that are not public (loopback, link-local, private, multicast, unspecified). A request that
  /// would connect to one fails with `kHttpCannotConnect`. It gets connections of its own. With a
  /// proxy it is the proxy's address that counts.
  bool publicHostsOnly = false;
};

/// How a request ended.
struct HttpResult {
  enum class Outcome {
    Answered,   ///< `status` and `body` hold the answer, whatever the status
    Cancelled,  ///< the time-out passed, or the request was stopped
    Failed,     ///< no answer; `error` says why
  };

  Outcome outcome = Outcome::Cancelled;
  std::int32_t status = 0;
  std::string body;          ///< as received, at most `kMaxHttpBodyBytes`
  bool bodyIsWhole = true;   ///< false when the answer was longer than that and was cut off
  bool peerIsPublic = true;  ///< of an answer: whether the first server asked has a public address
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

class HttpConnection;

/// The HTTP client. Safe to use from any thread; connections are kept alive between requests.
///
/// Redirects (301, 302, 303, 307, 308 with a Location) are followed to http and https only, never
/// from https to http; an answer that points elsewhere, or nowhere, is itself the result. More than
/// `kMaxHttpRedirects` of them fail with `kHttpRedirectFailed`.
///
/// Cookies have one store, which outlives the process: every request takes along those that match
/// its URL, and what servers set is kept, for as long as the server says. Cookies that a server
/// sets without an expiry end with the transport. Trouble with the store never fails a request or a
/// cookie operation.
///
/// Dropping the transport stops it.
class HttpTransport {
 public:
  using Completion = std::function<void(HttpResult)>;

  virtual ~HttpTransport() = default;

  /// Starts a GET and returns at once. `completion` is called exactly once, on a thread of the
  /// transport's, and must not block or throw. A time-out of 0 or less cancels at once.
  virtual void Get(HttpRequest request, Completion completion) = 0;

  /// A client for one caller that waits for each of its requests.
  virtual std::unique_ptr<HttpConnection> NewConnection() = 0;

  /// Cancels every request under way and every one to come, whose completions are called as ever,
  /// and returns at once; connections have a `Stop` of their own. Cookies can still be set and
  /// read. May be called more than once.
  virtual void Stop() = 0;

  /// Keeps a cookie, which never expires, for the whole registrable domain of the URL's host and
  /// all paths, in place of one set so before. A host without one (an IP address, a name of one
  /// label, a public suffix) gets it for itself alone. `name` and `value` are visible ASCII without
  /// ";", `name` not empty and without "="; what is not, or comes with a URL that is not http or
  /// https, is ignored.
  virtual void SetCookie(const std::string& url, const std::string& name,
                         const std::string& value) = 0;

  /// Removes every cookie named `name` that a request for `url` would take along.
  virtual void ClearCookie(const std::string& url, const std::string& name) = 0;

  /// The value of the cookie named `name` that a request for `url` would take along; "" when there
  /// is none. Of several it is the one with the longest path, then with the longest domain, then
  /// the one that a host set for itself alone.
  virtual std::string GetCookie(const std::string& url, const std::string& name) = 0;

  /// Removes every cookie. What answers to requests of before still bring goes with them. Whether
  /// within `timeout` none is stored any more.
  virtual bool ForgetCookies(std::chrono::milliseconds timeout) = 0;

  /// Whether within `timeout` all cookies that are to outlive the process have been saved, as far
  /// as that is possible.
  virtual bool WaitUntilSaved(std::chrono::milliseconds timeout) = 0;
};

}  // namespace Veltro::Internal
