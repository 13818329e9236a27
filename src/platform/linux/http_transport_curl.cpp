#include "platform/linux/http_transport_curl.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/linux/http_connection_curl.h"
#include "platform/linux/thread_signals.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::size_t kMaxIdleTransfers = 4;

HttpResult Cancelled() { return {}; }

}  // namespace

HttpTransportCurl::HttpTransportCurl(HttpTransferCurl::Options options,
                                     std::unique_ptr<LocalFolder> folder,
                                     std::function<void(const std::string&)> onProblem)
    : options_(std::move(options)), cookies_(std::move(folder), std::move(onProblem)) {}

HttpTransportCurl::~HttpTransportCurl() {
  {
    std::lock_guard lock(mutex_);
    isStopped_ = true;
    isEnding_ = true;
    WakeThread();
  }
  if (thread_.joinable()) thread_.join();
}

void HttpTransportCurl::Get(HttpRequest request, Completion completion) {
  const auto deadline = HttpDeadlineAfter(request.timeout);
  std::lock_guard lock(mutex_);
  if (!thread_.joinable()) StartThread();
  Submit({std::move(request), std::move(completion), deadline});
}

void HttpTransportCurl::Stop() {
  std::lock_guard lock(mutex_);
  isStopped_ = true;
  WakeThread();
}

std::unique_ptr<HttpConnection> HttpTransportCurl::NewConnection() {
  return std::make_unique<HttpConnectionCurl>(options_, cookies_);
}

void HttpTransportCurl::SetCookie(const std::string& url, const std::string& name,
                                  const std::string& value) {
  cookies_.Set(url, name, value);
}

void HttpTransportCurl::ClearCookie(const std::string& url, const std::string& name) {
  cookies_.Clear(url, name);
}

std::string HttpTransportCurl::GetCookie(const std::string& url, const std::string& name) {
  return cookies_.Get(url, name);
}

void HttpTransportCurl::StartThread() {
  try {
    thread_ = std::thread([this] { Run(); });
  } catch (const std::system_error& error) {
    throw PlatformError(kHttpUnknownError, error.what());
  }
}

void HttpTransportCurl::Submit(Order order) {
  // Orders that are waiting have woken the thread, or will be seen before it sleeps.
  const bool mayBeAsleep = orders_.empty() && std::this_thread::get_id() != thread_.get_id();
  orders_.push_back(std::move(order));
  if (mayBeAsleep) WakeThread();
}

void HttpTransportCurl::WakeThread() {
  if (multi_) {
    curl_multi_wakeup(multi_.get());
  } else {
    orderCame_.notify_one();
  }
}

void HttpTransportCurl::Run() {
  BlockSignals();
  std::vector<Order> orders;
  while (WaitForOrders(), TakeOrders(orders)) {
    for (Order& order : orders) Obey(order);
    orders.clear();
    if (isStopped_) CancelAllRunning();
    if (!multi_) continue;
    int runningCount = 0;
    curl_multi_perform(multi_.get(), &runningCount);
    FinishLegs();
  }
  CancelAll();
}

/// Sleeps until there are orders or libcurl has something to do.
void HttpTransportCurl::WaitForOrders() {
  std::unique_lock lock(mutex_);
  const auto isNeeded = [this] { return !orders_.empty() || isEnding_; };
  if (!multi_) return orderCame_.wait(lock, isNeeded);
  if (isNeeded()) return;
  lock.unlock();
  WaitForCurlMulti(multi_.get());
}

bool HttpTransportCurl::TakeOrders(std::vector<Order>& orders) {
  std::lock_guard lock(mutex_);
  if (isEnding_) return false;
  orders.swap(orders_);
  return true;
}

void HttpTransportCurl::Obey(Order& order) {
  if (isStopped_) return order.completion(Cancelled());
  try {
    Start(order);
  } catch (const PlatformError& error) {
    order.completion(HttpFailure(error));
  }
}

void HttpTransportCurl::Start(Order& order) {
  std::unique_ptr<HttpTransferCurl> transfer = NewTransfer();
  const auto next = transfer->Start(order.request, order.deadline);
  Running running{std::move(transfer), std::move(order.completion)};
  if (next == HttpTransferCurl::Next::Ended) return End(std::move(running));
  curl_multi_add_handle(multi_.get(), running.transfer->Easy());
  running_.push_back(std::move(running));
}

void HttpTransportCurl::CancelAllRunning() {
  while (!running_.empty()) {
    Running running = std::move(running_.back());
    running_.pop_back();
    TakeOff(*running.transfer);
    Recycle(std::move(running.transfer));
    running.completion(Cancelled());
  }
}

void HttpTransportCurl::CancelAll() {
  CancelAllRunning();
  std::unique_lock lock(mutex_);
  while (!orders_.empty()) {  // completions may add to them
    const std::vector<Order> orders = std::exchange(orders_, {});
    lock.unlock();
    for (const Order& order : orders) order.completion(Cancelled());
    lock.lock();
  }
}

void HttpTransportCurl::FinishLegs() {
  int left = 0;
  while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
    if (message->msg == CURLMSG_DONE) FinishLeg(message->easy_handle, message->data.result);
  }
}

void HttpTransportCurl::FinishLeg(CURL* easy, CURLcode code) {
  const auto found = std::find_if(running_.begin(), running_.end(), [easy](const Running& running) {
    return running.transfer->Easy() == easy;
  });
  TakeOff(*found->transfer);
  if (found->transfer->FinishLeg(code) == HttpTransferCurl::Next::AnotherLeg) {
    curl_multi_add_handle(multi_.get(), easy);
    return;
  }
  Running running = std::move(*found);
  running_.erase(found);
  End(std::move(running));
}

/// Ends a leg: its handle leaves the multi handle.
void HttpTransportCurl::TakeOff(HttpTransferCurl& transfer) {
  curl_multi_remove_handle(multi_.get(), transfer.Easy());
  transfer.KeepCookies();
}

void HttpTransportCurl::End(Running running) {
  HttpResult result = running.transfer->TakeResult();
  Recycle(std::move(running.transfer));
  running.completion(std::move(result));
}

std::unique_ptr<HttpTransferCurl> HttpTransportCurl::NewTransfer() {
  RequireMulti();
  if (idle_.empty()) return std::make_unique<HttpTransferCurl>(options_, cookies_);
  std::unique_ptr<HttpTransferCurl> transfer = std::move(idle_.back());
  idle_.pop_back();
  return transfer;
}

void HttpTransportCurl::Recycle(std::unique_ptr<HttpTransferCurl> transfer) {
  if (idle_.size() < kMaxIdleTransfers) idle_.push_back(std::move(transfer));
}

void HttpTransportCurl::RequireMulti() {
  if (multi_) return;
  cookies_.Share();  // starts libcurl
  CurlMulti multi = MakeCurlMulti();
  std::lock_guard lock(mutex_);
  multi_ = std::move(multi);
}

}  // namespace Veltro::Internal
