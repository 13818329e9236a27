#pragma once

#include <curl/curl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "platform/http_connection.h"
#include "platform/linux/cookie_jar_curl.h"
#include "platform/linux/curl_multi.h"
#include "platform/linux/http_transfer_curl.h"

namespace Veltro::Internal {

/// A connection on libcurl, which it starts with the first request.
class HttpConnectionCurl : public HttpConnection {
 public:
  /// `options` as in `HttpTransferCurl`. `cookies` must outlive the connection.
  HttpConnectionCurl(HttpTransferCurl::Options options, CookieJarCurl& cookies);

  HttpResult Get(const HttpRequest& request) override;
  void Stop() override;

 private:
  void RequireTransfer();
  std::optional<CURLcode> RunLeg();
  std::optional<CURLcode> TakeEnd();

  const HttpTransferCurl::Options options_;
  CookieJarCurl& cookies_;
  std::atomic<bool> isStopped_ = false;

  // Made and used by the caller of `Get`; the lock guards its making, for who stops it.
  std::mutex mutex_;
  CurlMulti multi_;
  std::unique_ptr<HttpTransferCurl> transfer_;
};

}  // namespace Veltro::Internal
