#pragma once

#include <curl/curl.h>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/http_connection.h"
#include "platform/http_transport.h"
#include "platform/linux/cookie_jar_curl.h"
#include "platform/linux/curl_multi.h"
#include "platform/linux/http_transfer_curl.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// The HTTP client on libcurl: one network thread, started with the first request, on which
/// everything happens, completions included. While nothing is under way it sleeps without waking.
///
/// Proxies are taken from the environment as libcurl does it. A completion may call everything, but
/// must not destroy the transport. A request made while the transport is being destroyed is
/// cancelled. Cookies are in the hands of `CookieJarCurl`.
class HttpTransportCurl : public HttpTransport {
 public:
  /// `options` as in `HttpTransferCurl`. `folder` is where
  /// cookies are kept; `onProblem` gets one UTF-8 text when they cannot be.
  HttpTransportCurl(HttpTransferCurl::Options options, std::unique_ptr<LocalFolder> folder,
                    std::function<void(const std::string&)> onProblem);
  ~HttpTransportCurl() override;

  /// Throws `PlatformError` when the network thread cannot be started.
  void Get(HttpRequest request, Completion completion) override;
  void Stop() override;
  std::unique_ptr<HttpConnection> NewConnection() override;
  void SetCookie(const std::string& url, const std::string& name,
                 const std::string& value) override;
  void ClearCookie(const std::string& url, const std::string& name) override;
  std::string GetCookie(const std::string& url, const std::string& name) override;
  bool ForgetCookies(std::chrono::milliseconds timeout) override {
    return cookies_.ForgetAll(timeout);
  }
  bool WaitUntilSaved(std::chrono::milliseconds timeout) override {
    return cookies_.WaitUntilSaved(timeout);
  }

 private:
  /// A request that the network thread is to start.
  struct Order {
    HttpRequest request;
    Completion completion;
    HttpTransferCurl::TimePoint deadline;
  };

  struct Running {
    std::unique_ptr<HttpTransferCurl> transfer;
    Completion completion;
  };

  void StartThread();
  void Submit(Order order);
  void WakeThread();

  // On the network thread:
  void Run();
  void WaitForOrders();
  bool TakeOrders(std::vector<Order>& orders);
  void Obey(Order& order);
  void Start(Order& order);
  void CancelAllRunning();
  void CancelAll();
  void FinishLegs();
  void FinishLeg(CURL* easy, CURLcode code);
  void TakeOff(HttpTransferCurl& transfer);
  void End(Running running);
  std::unique_ptr<HttpTransferCurl> NewTransfer();
  void Recycle(std::unique_ptr<HttpTransferCurl> transfer);
  void RequireMulti();

  const HttpTransferCurl::Options options_;
  CookieJarCurl cookies_;  // goes after the handles that share it

  std::mutex mutex_;
  std::condition_variable orderCame_;  // wakes the thread as long as it has no multi handle
  std::vector<Order> orders_;
  std::atomic<bool> isStopped_ = false;  // set under the lock; cancels all requests
  bool isEnding_ = false;                // ends the thread
  // Made and used by the network thread; the lock guards its making, for those who wake it.
  CurlMulti multi_;
  std::thread thread_;

  // Of the network thread alone:
  std::vector<Running> running_;
  std::vector<std::unique_ptr<HttpTransferCurl>> idle_;
};

}  // namespace Veltro::Internal
