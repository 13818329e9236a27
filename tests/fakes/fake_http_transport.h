#pragma once

#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "platform/http_connection.h"
#include "platform/http_transport.h"

namespace Veltro::Internal::Testing {

/// An HTTP client without a network: it records requests and answers them from a script. Safe to
/// use from any thread. Completions run on a thread of its own, outside any lock, so they may call
/// back; nothing of the script ever runs inside `Get`.
///
/// A request takes the next scripted outcome; when the script is at its end, the responder's; when
/// there is no responder, 200 with an empty body. Time-outs do not pass by themselves: a request
/// left pending stays so until a test completes it, or the transport or its connection stops.
///
/// Cookies are kept by host and name, whatever they look like; they neither change requests nor
/// come from answers.
class FakeHttpTransport : public HttpTransport {
 public:
  using Responder = std::function<HttpResult(const HttpRequest&)>;

  FakeHttpTransport();
  ~FakeHttpTransport() override;

  void Get(HttpRequest request, Completion completion) override;
  void Stop() override;
  std::unique_ptr<HttpConnection> NewConnection() override;
  void SetCookie(const std::string& url, const std::string& name,
                 const std::string& value) override;
  void ClearCookie(const std::string& url, const std::string& name) override;
  std::string GetCookie(const std::string& url, const std::string& name) override;
  bool ForgetCookies(std::chrono::milliseconds) override {
    std::lock_guard lock(mutex_);
    cookies_.clear();
    return true;
  }
  bool WaitUntilSaved(std::chrono::milliseconds) override { return true; }

  // The script, one line for each request to come.
  void ScriptAnswer(std::int32_t status, std::string body = {});
  void ScriptFailure(std::uint32_t error, std::string message = {});
  void ScriptTimeout() { Script(HttpResult{}); }
  void ScriptPending() { Script(std::nullopt); }

  /// Answers every request after the end of the script. Called on the caller's thread of `Get`,
  /// outside the lock.
  void SetResponder(Responder responder) {
    std::lock_guard lock(mutex_);
    responder_ = std::move(responder);
  }

  /// Ends the oldest request that was left pending; false when there is none.
  bool AnswerPending(std::int32_t status, std::string body = {});

  std::vector<HttpRequest> Requests() {
    std::lock_guard lock(mutex_);
    return requests_;
  }
  std::size_t RequestCount() {
    std::lock_guard lock(mutex_);
    return requests_.size();
  }

  /// The most requests that were ever under way at once, up to the call of their completion.
  std::size_t MostInFlight() {
    std::lock_guard lock(mutex_);
    return mostInFlight_;
  }

  /// Blocks until `count` requests have come; false when `deadline` of real time passes before.
  bool WaitForRequests(std::size_t count,
                       std::chrono::milliseconds deadline = std::chrono::seconds(5));

 private:
  friend class FakeHttpConnection;

  struct Delivery {
    Completion completion;
    HttpResult result;
  };

  /// A request without an outcome yet, of a connection or, when that is null, of the transport.
  struct Pending {
    const HttpConnection* connection;
    Completion completion;
  };

  void Run();
  void Begin(const HttpConnection* connection, HttpRequest request, Completion completion);
  void CancelPending(const HttpConnection* connection);
  void Script(std::optional<HttpResult> outcome);
  std::optional<HttpResult> OutcomeFor(const HttpRequest& request);
  void Deliver(Completion completion, HttpResult result);

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<std::optional<HttpResult>> script_;  // nothing: leave the request pending
  Responder responder_;
  std::vector<HttpRequest> requests_;
  std::deque<Pending> pending_;                                         // oldest first
  std::map<std::pair<std::string, std::string>, std::string> cookies_;  // by host and name
  std::deque<Delivery> deliveries_;
  std::size_t inFlight_ = 0;
  std::size_t mostInFlight_ = 0;
  bool stopped_ = false;  // cancels all requests
  bool ending_ = false;   // ends the thread
  std::thread thread_;
};

}  // namespace Veltro::Internal::Testing
