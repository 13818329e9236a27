#pragma once

#include <curl/curl.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/http_transport.h"
#include "platform/linux/cookie_jar_curl.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {

/// One GET on a libcurl easy handle, over all its redirects. It knows nothing of threads, other
/// requests or who wants the answer; its owner adds the handle to a multi handle for each leg. When
/// the request has ended the transfer may be started again with another one.
///
/// Header names and values lose their control characters before they are sent. A header with an
/// empty value is sent as such; one without a name is not.
class HttpTransferCurl {
 public:
  using TimePoint = std::chrono::steady_clock::time_point;

  enum class Next {
    Ended,       ///< `TakeResult` has the result
    AnotherLeg,  ///< add the handle for it
  };

  /// What all transfers have in common.
  struct Options {
    std::string caFile;       ///< replaces the system's certificate authorities where not empty
    bool mayUseProxy = true;  ///< take the proxies that the environment names
  };

  /// `cookies` are those of all transfers, and must outlive them. Throws `PlatformError` when
  /// libcurl has no handle to give.
  HttpTransferCurl(const Options& options, CookieJarCurl& cookies);
  HttpTransferCurl(const HttpTransferCurl&) = delete;
  HttpTransferCurl& operator=(const HttpTransferCurl&) = delete;

  CURL* Easy() const { return easy_.get(); }

  /// Makes the transfer ready for `request`, which has to end at `deadline` and is cancelled
  /// without a leg when that has passed.
  Next Start(const HttpRequest& request, TimePoint deadline);

  /// Judges a leg that libcurl says is done.
  Next FinishLeg(CURLcode code);

  HttpResult TakeResult() { return std::move(result_); }

  /// To be called when a leg has ended, whether done or not: has the cookies kept that it brought.
  void KeepCookies() {
    if (std::exchange(broughtCookies_, false)) cookies_.Keep(cookieGeneration_);
  }

 private:
  struct EasyCleanup {
    void operator()(CURL* easy) const { curl_easy_cleanup(easy); }
  };
  struct ListFree {
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  using HeaderList = std::unique_ptr<curl_slist, ListFree>;

  static std::size_t OnBody(char* bytes, std::size_t, std::size_t count, void* transfer);
  static std::size_t OnHeader(char* bytes, std::size_t, std::size_t count, void* transfer);
  static HeaderList MakeHeaders(const std::vector<HttpHeader>& headers);

  void SetConstantOptions(const Options& options);
  Next StartLeg(const char* url);
  void SetAddressRule();
  bool IsPeerPublic() const;
  std::chrono::milliseconds TimeLeft() const;
  std::string RedirectTarget() const;
  Next Answered();
  Next Failed(std::uint32_t error, std::string message);

  CookieJarCurl& cookies_;
  std::unique_ptr<CURL, EasyCleanup> easy_;
  HeaderList headers_;
  HttpResult result_;
  TimePoint deadline_;
  bool publicHostsOnly_ = false;
  bool firstPeerIsPublic_ = true;
  std::uint32_t cookieGeneration_ = 0;
  bool broughtCookies_ = false;
  int redirects_ = 0;
  std::size_t headerBytes_ = 0;
  std::array<char, CURL_ERROR_SIZE> errorText_{};
};

/// When a request that starts now has to end.
HttpTransferCurl::TimePoint HttpDeadlineAfter(std::chrono::milliseconds timeout);

/// The result of a request that never started.
HttpResult HttpFailure(const PlatformError& error);

/// The HRESULT that stands for a libcurl failure.
std::uint32_t HttpErrorOf(CURLcode code);

/// Whether `url` starts with http:// or https://.
bool IsWebUrl(std::string_view url);

/// Whether an answer from `origin` may send the request to `target`: to http and https only, and
/// never out of https.
bool MayRedirect(const std::string& origin, const std::string& target);

}  // namespace Veltro::Internal
