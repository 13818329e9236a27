#pragma once

#include <curl/curl.h>

#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "platform/http_transport.h"
#include "platform/linux/http_transfer_curl.h"

namespace Veltro::Internal {

/// The HTTP client on libcurl: one network thread, started with the first request, on which
/// everything happens, completions included. While nothing is under way it sleeps without waking.
///
/// Proxies are taken from the environment as libcurl does it. A completion may call `Get` and
/// `Cancel`, but must not destroy the transport. A request made while the transport is being
/// destroyed is cancelled.
class HttpTransportCurl : public HttpTransport {
 public:
  /// `caFile`, where not empty, replaces the system's certificate authorities.
  explicit HttpTransportCurl(std::string caFile) : caFile_(std::move(caFile)) {}
  ~HttpTransportCurl() override;

  /// Throws `PlatformError` when the network thread cannot be started.
  RequestId Get(HttpRequest request, Completion completion) override;
  void Cancel(RequestId id) override;

 private:
  struct MultiCleanup {
    void operator()(CURLM* multi) const { curl_multi_cleanup(multi); }
  };

  /// An order to the network thread: to start a request, or to cancel it when there is no
  /// completion.
  struct Order {
    RequestId id = 0;
    HttpRequest request;
    Completion completion;
    HttpTransferCurl::TimePoint deadline;
  };

  struct Running {
    RequestId id = 0;
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
  void CancelRunning(RequestId id);
  void CancelAll();
  void FinishLegs();
  void FinishLeg(CURL* easy, CURLcode code);
  void End(Running running);
  std::unique_ptr<HttpTransferCurl> NewTransfer();
  void Recycle(std::unique_ptr<HttpTransferCurl> transfer);
  void RequireMulti();

  const std::string caFile_;

  std::mutex mutex_;
  std::condition_variable orderCame_;  // wakes the thread as long as it has no multi handle
  std::vector<Order> orders_;
  RequestId lastId_ = 0;
  bool isStopping_ = false;
  // Made and used by the network thread; the lock guards its making, for those who wake it.
  std::unique_ptr<CURLM, MultiCleanup> multi_;
  std::thread thread_;

  // Of the network thread alone:
  std::vector<Running> running_;
  std::vector<std::unique_ptr<HttpTransferCurl>> idle_;
};

}  // namespace Veltro::Internal
