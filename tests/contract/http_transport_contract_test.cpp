#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "fakes/fake_http_transport.h"
#include "fakes/fake_local_folder.h"
#include "platform/linux/http_transport_curl.h"
#include "support/raw_server.h"
#include "support/results.h"
#include "support/scoped_variable.h"

namespace Veltro::Internal::Testing {
namespace {

using Outcome = HttpResult::Outcome;
using std::chrono::milliseconds;

/// The fake, and how to make it answer.
struct FakeSubject {
  std::unique_ptr<HttpTransport> Make() {
    auto transport = std::make_unique<FakeHttpTransport>();
    fake = transport.get();
    return transport;
  }
  std::string AnsweringUrl(const std::string& status, const std::string& body) {
    fake->ScriptAnswer(std::stoi(status), body);
    return "http://server/";
  }
  std::string SilentUrl() {
    fake->ScriptPending();
    return "http://server/";
  }
  bool WaitForRequests(std::size_t count) { return fake->WaitForRequests(count); }

  FakeHttpTransport* fake = nullptr;
};

/// The real client on a server that takes its answers from the requested path.
struct CurlSubject {
  std::unique_ptr<HttpTransport> Make() {
    return std::make_unique<HttpTransportCurl>(HttpTransferCurl::Options{},
                                               std::make_unique<FakeLocalFolder>(), nullptr);
  }
  std::string AnsweringUrl(const std::string& status, const std::string& body) {
    return server.Url("/" + status + "/" + body);
  }
  std::string SilentUrl() { return server.Url("/silent"); }
  bool WaitForRequests(std::size_t count) { return server.WaitForRequests(count); }

  static RawServer::Reply ReplyTo(const std::string& head) {
    const std::string path = head.substr(5, head.find(' ', 5) - 5);
    if (path == "silent") return {};
    const std::size_t slash = path.find('/');
    return {RawServer::Answer(path.substr(0, slash) + " Reason", path.substr(slash + 1))};
  }

  ScopedVariable noProxy{"no_proxy", "127.0.0.1"};
  RawServer server{ReplyTo};
};

template <class Subject>
class HttpTransportContract : public testing::Test {
 protected:
  HttpRequest Answering(const std::string& status, const std::string& body = {}) {
    return {subject.AnsweringUrl(status, body), {}, std::chrono::seconds(5)};
  }
  HttpRequest Silent() { return {subject.SilentUrl(), {}, std::chrono::seconds(60)}; }

  Subject subject;
  Results results;
  std::unique_ptr<HttpTransport> transport = subject.Make();
};

using Subjects = testing::Types<FakeSubject, CurlSubject>;
TYPED_TEST_SUITE(HttpTransportContract, Subjects);

TYPED_TEST(HttpTransportContract, AnswersWithAnyStatus) {
  for (const char* status : {"200", "206", "301", "404", "503"}) {
    const HttpResult result = Fetch(*this->transport, this->Answering(status, "body"));
    EXPECT_EQ(result.outcome, Outcome::Answered) << status;
    EXPECT_EQ(result.status, std::stoi(status));
    EXPECT_EQ(result.body, "body") << status;
    EXPECT_TRUE(result.bodyIsWhole) << status;
  }
}

TYPED_TEST(HttpTransportContract, TimeoutOfZeroOrLessCancelsWithoutARequest) {
  for (const milliseconds timeout : {milliseconds(0), milliseconds(-1), milliseconds::min()}) {
    EXPECT_EQ(Fetch(*this->transport, {"http://127.0.0.1:1/", {}, timeout}).outcome,
              Outcome::Cancelled);
  }
}

TYPED_TEST(HttpTransportContract, DroppingCancelsEverythingExactlyOnce) {
  for (int i = 0; i < 3; ++i) this->transport->Get(this->Silent(), this->results.Collect());
  ASSERT_TRUE(this->subject.WaitForRequests(1));
  this->transport.reset();
  ASSERT_EQ(this->results.Count(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(this->results.At(i).outcome, Outcome::Cancelled);
  }
}

TYPED_TEST(HttpTransportContract, StoppingCancelsWhatRunsAndWhatComesButKeepsCookies) {
  for (int i = 0; i < 2; ++i) this->transport->Get(this->Silent(), this->results.Collect());
  ASSERT_TRUE(this->subject.WaitForRequests(2));
  std::thread([this] { this->transport->Stop(); }).join();
  this->transport->Stop();
  ASSERT_TRUE(this->results.WaitFor(2));
  EXPECT_EQ(this->results.At(0).outcome, Outcome::Cancelled);
  EXPECT_EQ(this->results.At(1).outcome, Outcome::Cancelled);
  EXPECT_EQ(Fetch(*this->transport, this->Answering("200")).outcome, Outcome::Cancelled);
  EXPECT_EQ(Fetch(*this->transport, {"no URL", {}, milliseconds(1000)}).outcome,
            Outcome::Cancelled);
  this->transport->SetCookie("http://a.example/", "name", "value");
  EXPECT_EQ(this->transport->GetCookie("http://a.example/", "name"), "value");
}

TYPED_TEST(HttpTransportContract, StoppingBeforeTheFirstRequestOrInACompletionCancelsToo) {
  const HttpRequest first = this->Answering("200");
  const HttpRequest second = this->Answering("200");
  this->transport->Get(first, [&](HttpResult) {
    this->transport->Stop();
    this->transport->Get(second, this->results.Collect());
  });
  ASSERT_TRUE(this->results.WaitFor(1));
  const auto fresh = this->subject.Make();
  fresh->Stop();
  EXPECT_EQ(this->results.At(0).outcome, Outcome::Cancelled);
  EXPECT_EQ(Fetch(*fresh, this->Answering("200")).outcome, Outcome::Cancelled);
}

TYPED_TEST(HttpTransportContract, ConnectionAnswersOneRequestAfterTheOtherUntilStopped) {
  const auto connection = this->transport->NewConnection();
  for (const char* status : {"200", "404"}) {
    const HttpResult result = connection->Get(this->Answering(status, "body"));
    EXPECT_EQ(result.outcome, Outcome::Answered);
    EXPECT_EQ(result.status, std::stoi(status));
    EXPECT_EQ(result.body, "body");
  }
  EXPECT_EQ(connection->Get({"http://127.0.0.1:1/", {}, milliseconds(0)}).outcome,
            Outcome::Cancelled);
  const HttpRequest silent = this->Silent();
  std::thread stopper([&] {
    this->subject.WaitForRequests(3);
    connection->Stop();
  });
  EXPECT_EQ(connection->Get(silent).outcome, Outcome::Cancelled);
  stopper.join();
  EXPECT_EQ(connection->Get(this->Answering("200")).outcome, Outcome::Cancelled);
}

TYPED_TEST(HttpTransportContract, StoppingAConnectionOrTheTransportLeavesOthersAlone) {
  const auto stopped = this->transport->NewConnection();
  const auto other = this->transport->NewConnection();
  stopped->Stop();
  this->transport->Stop();
  EXPECT_EQ(stopped->Get({"http://127.0.0.1:1/", {}, milliseconds(5000)}).outcome,
            Outcome::Cancelled);
  EXPECT_EQ(other->Get(this->Answering("200")).status, 200);
}

TYPED_TEST(HttpTransportContract, KeepsCookiesByHostAndName) {
  HttpTransport& client = *this->transport;
  EXPECT_EQ(client.GetCookie("http://a.example/", "name"), "");
  client.SetCookie("http://a.example/path?query", "name", "first");
  client.SetCookie("http://a.example/", "name", "second");
  client.SetCookie("http://a.example/", "other", "o");
  client.SetCookie("http://b.test/", "name", "b");
  EXPECT_EQ(client.GetCookie("http://a.example:8080/elsewhere", "name"), "second");
  client.ClearCookie("https://a.example/", "name");
  EXPECT_EQ(client.GetCookie("http://a.example/", "name"), "");
  EXPECT_EQ(client.GetCookie("http://a.example/", "other"), "o");
  EXPECT_EQ(client.GetCookie("http://b.test/", "name"), "b");
}

TYPED_TEST(HttpTransportContract, CompletionMayGet) {
  const HttpRequest first = this->Answering("200");
  const HttpRequest second = this->Answering("200", "second");
  this->transport->Get(first,
                       [&](HttpResult) { this->transport->Get(second, this->results.Collect()); });
  ASSERT_TRUE(this->results.WaitFor(1));
  EXPECT_EQ(this->results.At(0).body, "second");
}

}  // namespace
}  // namespace Veltro::Internal::Testing
