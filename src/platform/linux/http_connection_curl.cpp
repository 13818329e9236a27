#include "platform/linux/http_connection_curl.h"

#include <utility>

#include "platform/linux/thread_signals.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {

HttpConnectionCurl::HttpConnectionCurl(HttpTransferCurl::Options options, CookieJarCurl& cookies)
    : options_(std::move(options)), cookies_(cookies) {}

HttpResult HttpConnectionCurl::Get(const HttpRequest& request) {
  const auto deadline = HttpDeadlineAfter(request.timeout);
  if (isStopped_) return {};
  BlockSignals();  // a broken connection raises SIGPIPE
  try {
    RequireTransfer();
    auto next = transfer_->Start(request, deadline);
    while (next == HttpTransferCurl::Next::AnotherLeg) {
      const std::optional<CURLcode> end = RunLeg();
      if (!end) return {};
      next = transfer_->FinishLeg(*end);
    }
    return transfer_->TakeResult();
  } catch (const PlatformError& error) {
    return HttpFailure(error);
  }
}

void HttpConnectionCurl::Stop() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  if (multi_) curl_multi_wakeup(multi_.get());
}

void HttpConnectionCurl::RequireTransfer() {
  if (transfer_) return;
  auto transfer = std::make_unique<HttpTransferCurl>(options_, cookies_);
  CurlMulti multi = MakeCurlMulti();
  const std::lock_guard lock(mutex_);
  multi_ = std::move(multi);
  transfer_ = std::move(transfer);
}

/// How the leg ended; nothing when it was stopped.
std::optional<CURLcode> HttpConnectionCurl::RunLeg() {
  if (curl_multi_add_handle(multi_.get(), transfer_->Easy()) != CURLM_OK) return CURLE_FAILED_INIT;
  std::optional<CURLcode> end;
  while (!isStopped_ && !end) {
    int runningCount = 0;
    curl_multi_perform(multi_.get(), &runningCount);
    end = TakeEnd();
    if (!end) WaitForCurlMulti(multi_.get());
  }
  curl_multi_remove_handle(multi_.get(), transfer_->Easy());
  transfer_->KeepCookies();
  return end;
}

std::optional<CURLcode> HttpConnectionCurl::TakeEnd() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) return message->data.result;
  }
  return std::nullopt;
}

}  // namespace Veltro::Internal
