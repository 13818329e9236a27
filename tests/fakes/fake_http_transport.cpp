#include "fakes/fake_http_transport.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <utility>

namespace Veltro::Internal::Testing {
namespace {

HttpResult Answer(std::int32_t status, std::string body = {}) {
  HttpResult result;
  result.outcome = HttpResult::Outcome::Answered;
  result.status = status;
  result.body = std::move(body);
  return result;
}

std::string HostOf(const std::string& url) {
  const std::size_t scheme = url.find("://");
  const std::size_t start = scheme == std::string::npos ? 0 : scheme + 3;
  return url.substr(start, url.find_first_of(":/?#", start) - start);
}

}  // namespace

/// A connection whose requests the transport answers like all others.
class FakeHttpConnection : public HttpConnection {
 public:
  explicit FakeHttpConnection(FakeHttpTransport& transport) : transport_(transport) {}

  HttpResult Get(const HttpRequest& request) override {
    if (isStopped_) return {};
    const auto promise = std::make_shared<std::promise<HttpResult>>();
    transport_.Begin(this, request,
                     [promise](HttpResult result) { promise->set_value(std::move(result)); });
    if (isStopped_) transport_.CancelPending(this);
    return promise->get_future().get();
  }

  void Stop() override {
    isStopped_ = true;
    transport_.CancelPending(this);
  }

 private:
  FakeHttpTransport& transport_;
  std::atomic<bool> isStopped_ = false;
};

FakeHttpTransport::FakeHttpTransport() : thread_([this] { Run(); }) {}

FakeHttpTransport::~FakeHttpTransport() {
  Stop();
  {
    std::lock_guard lock(mutex_);
    ending_ = true;
    changed_.notify_all();
  }
  thread_.join();
}

void FakeHttpTransport::Get(HttpRequest request, Completion completion) {
  Begin(nullptr, std::move(request), std::move(completion));
}

void FakeHttpTransport::Stop() {
  {
    std::lock_guard lock(mutex_);
    stopped_ = true;
  }
  CancelPending(nullptr);
}

std::unique_ptr<HttpConnection> FakeHttpTransport::NewConnection() {
  return std::make_unique<FakeHttpConnection>(*this);
}

void FakeHttpTransport::SetCookie(const std::string& url, const std::string& name,
                                  const std::string& value) {
  std::lock_guard lock(mutex_);
  cookies_[{HostOf(url), name}] = value;
}

void FakeHttpTransport::ClearCookie(const std::string& url, const std::string& name) {
  std::lock_guard lock(mutex_);
  cookies_.erase({HostOf(url), name});
}

std::string FakeHttpTransport::GetCookie(const std::string& url, const std::string& name) {
  std::lock_guard lock(mutex_);
  const auto found = cookies_.find({HostOf(url), name});
  return found == cookies_.end() ? "" : found->second;
}

void FakeHttpTransport::ScriptAnswer(std::int32_t status, std::string body) {
  Script(Answer(status, std::move(body)));
}

void FakeHttpTransport::ScriptFailure(std::uint32_t error, std::string message) {
  HttpResult result;
  result.outcome = HttpResult::Outcome::Failed;
  result.error = error;
  result.errorMessage = std::move(message);
  Script(std::move(result));
}

bool FakeHttpTransport::AnswerPending(std::int32_t status, std::string body) {
  std::lock_guard lock(mutex_);
  if (pending_.empty()) return false;
  Deliver(std::move(pending_.front().completion), Answer(status, std::move(body)));
  pending_.pop_front();
  return true;
}

bool FakeHttpTransport::WaitForRequests(std::size_t count, std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, std::chrono::system_clock::now() + deadline,
                             [&] { return requests_.size() >= count; });
}

void FakeHttpTransport::Begin(const HttpConnection* connection, HttpRequest request,
                              Completion completion) {
  std::optional<HttpResult> outcome = OutcomeFor(request);
  std::lock_guard lock(mutex_);
  requests_.push_back(std::move(request));
  mostInFlight_ = std::max(mostInFlight_, ++inFlight_);
  if (stopped_ && connection == nullptr) outcome = HttpResult{};
  if (outcome) {
    Deliver(std::move(completion), std::move(*outcome));
  } else {
    pending_.push_back({connection, std::move(completion)});
  }
  changed_.notify_all();
}

void FakeHttpTransport::CancelPending(const HttpConnection* connection) {
  std::lock_guard lock(mutex_);
  const auto isOfOthers = [&](const Pending& pending) { return pending.connection != connection; };
  const auto first = std::stable_partition(pending_.begin(), pending_.end(), isOfOthers);
  for (auto it = first; it != pending_.end(); ++it) Deliver(std::move(it->completion), {});
  pending_.erase(first, pending_.end());
}

void FakeHttpTransport::Run() {
  std::unique_lock lock(mutex_);
  while (true) {
    changed_.wait(lock, [this] { return ending_ || !deliveries_.empty(); });
    if (deliveries_.empty()) return;
    Delivery delivery = std::move(deliveries_.front());
    deliveries_.pop_front();
    --inFlight_;
    lock.unlock();
    delivery.completion(std::move(delivery.result));
    delivery.completion = nullptr;  // what it holds goes outside the lock, too
    lock.lock();
  }
}

void FakeHttpTransport::Script(std::optional<HttpResult> outcome) {
  std::lock_guard lock(mutex_);
  script_.push_back(std::move(outcome));
}

std::optional<HttpResult> FakeHttpTransport::OutcomeFor(const HttpRequest& request) {
  if (request.timeout <= std::chrono::milliseconds(0)) return HttpResult{};
  Responder responder;
  {
    std::lock_guard lock(mutex_);
    if (!script_.empty()) {
      std::optional<HttpResult> outcome = std::move(script_.front());
      script_.pop_front();
      return outcome;
    }
    responder = responder_;
  }
  return responder ? responder(request) : Answer(200);
}

void FakeHttpTransport::Deliver(Completion completion, HttpResult result) {
  deliveries_.push_back({std::move(completion), std::move(result)});
  changed_.notify_all();
}

}  // namespace Veltro::Internal::Testing
