#include "fakes/fake_http_transport.h"

#include <algorithm>
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

/// A connection whose requests the transport answers like all others.
class FakeHttpConnection : public HttpConnection {
 public:
  explicit FakeHttpConnection(FakeHttpTransport& transport) : transport_(transport) {}

  HttpResult Get(const HttpRequest& request) override {
    std::promise<HttpResult> promise;
    {
      const std::lock_guard lock(mutex_);
      if (isStopped_) return {};
      id_ =
          transport_.Get(request, [&](HttpResult result) { promise.set_value(std::move(result)); });
    }
    return promise.get_future().get();
  }

  void Stop() override {
    const std::lock_guard lock(mutex_);
    isStopped_ = true;
    transport_.Cancel(id_);
  }

 private:
  FakeHttpTransport& transport_;
  std::mutex mutex_;
  bool isStopped_ = false;
  HttpTransport::RequestId id_ = 0;
};

}  // namespace

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

HttpTransport::RequestId FakeHttpTransport::Get(HttpRequest request, Completion completion) {
  std::optional<HttpResult> outcome = OutcomeFor(request);
  std::lock_guard lock(mutex_);
  const RequestId id = ++lastId_;
  requests_.push_back(std::move(request));
  mostInFlight_ = std::max(mostInFlight_, ++inFlight_);
  if (stopped_) outcome = HttpResult{};
  if (outcome) {
    Deliver(std::move(completion), std::move(*outcome));
  } else {
    pending_.emplace(id, std::move(completion));
  }
  changed_.notify_all();
  return id;
}

void FakeHttpTransport::Cancel(RequestId id) {
  std::lock_guard lock(mutex_);
  const auto found = pending_.find(id);
  if (found == pending_.end()) return;
  Deliver(std::move(found->second), {});
  pending_.erase(found);
}

void FakeHttpTransport::Stop() {
  std::lock_guard lock(mutex_);
  stopped_ = true;
  for (auto& [id, completion] : pending_) Deliver(std::move(completion), {});
  pending_.clear();
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
  Deliver(std::move(pending_.begin()->second), Answer(status, std::move(body)));
  pending_.erase(pending_.begin());
  return true;
}

bool FakeHttpTransport::WaitForRequests(std::size_t count, std::chrono::milliseconds deadline) {
  std::unique_lock lock(mutex_);
  return changed_.wait_until(lock, std::chrono::system_clock::now() + deadline,
                             [&] { return requests_.size() >= count; });
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
