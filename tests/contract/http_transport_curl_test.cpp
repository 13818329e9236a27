#include "platform/linux/http_transport_curl.h"

#include <gtest/gtest.h>
#include <signal.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "fakes/fake_local_folder.h"
#include "support/raw_server.h"
#include "support/results.h"
#include "support/scoped_variable.h"

namespace Veltro::Internal::Testing {
namespace {

using Outcome = HttpResult::Outcome;
using Reply = RawServer::Reply;
using Then = RawServer::Then;
using std::chrono::milliseconds;

constexpr milliseconds kLong{5000};

std::string PathOf(const std::string& head) { return head.substr(4, head.find(' ', 4) - 4); }

class HttpTransportCurlTest : public testing::Test {
 protected:
  HttpResult Get(RawServer& server, milliseconds timeout = kLong) {
    return Fetch(transport, {server.Url(), {}, timeout});
  }
  HttpResult GetOverConnection(RawServer& server, milliseconds timeout = kLong) {
    return connection->Get({server.Url(), {}, timeout});
  }

  ScopedVariable noProxy{"no_proxy", "127.0.0.1"};
  std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
  HttpTransportCurl transport{{}, std::make_unique<FakeLocalFolder>(disk), nullptr};
  std::unique_ptr<HttpConnection> connection = transport.NewConnection();
};

TEST_F(HttpTransportCurlTest, UrlsThatCannotBeAskedFail) {
  struct {
    std::string url;
    std::uint32_t error;
  } const rows[] = {{"", kHttpBadUrl},
                    {"127.0.0.1/no/scheme", kHttpBadUrl},
                    {"file:///etc/passwd", kHttpBadUrl},
                    {"http://", kHttpBadUrl},
                    {"http://127.0.0.1:99999/", kHttpBadUrl},
                    {"http://127.0.0.1:1/", kHttpCannotConnect},
                    // Too long a label for any query: fails without asking a name server.
                    {"http://" + std::string(64, 'a') + "/", kHttpNameNotResolved}};
  for (const auto& row : rows) {
    const HttpResult result = Fetch(transport, {row.url, {}, kLong});
    EXPECT_EQ(result.outcome, Outcome::Failed) << row.url;
    EXPECT_EQ(result.error, row.error) << row.url << ": " << result.errorMessage;
  }
}

TEST_F(HttpTransportCurlTest, SequentialRequestsShareOneConnection) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK", "a")}; });
  for (int i = 0; i < 10; ++i) ASSERT_EQ(Get(server).status, 200);
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(server.Heads().size(), 10U);
  for (int i = 0; i < 10; ++i) ASSERT_EQ(GetOverConnection(server).status, 200);
  EXPECT_EQ(server.Connections(), 2);
}

TEST_F(HttpTransportCurlTest, ConnectionKeepsBrokenPipesFromRaisingSignals) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  std::thread([&] {
    EXPECT_EQ(GetOverConnection(server).status, 200);
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    EXPECT_TRUE(sigismember(&blocked, SIGPIPE));
    EXPECT_FALSE(sigismember(&blocked, SIGSEGV));
  }).join();
}

TEST_F(HttpTransportCurlTest, ConnectionSharesTheCookiesAndFollowsRedirects) {
  RawServer server([](const std::string& head) {
    if (PathOf(head) == "/") return Reply{RawServer::Redirect("302 Found", "/there")};
    return Reply{RawServer::Answer("200 OK", "", "Set-Cookie: brought=1; Max-Age=600\r\n")};
  });
  EXPECT_EQ(GetOverConnection(server).status, 200);
  EXPECT_EQ(transport.GetCookie(server.Url("/there"), "brought"), "1");
  EXPECT_TRUE(transport.WaitUntilSaved(kLong));
  EXPECT_NE(disk->Contents("cookies.txt").value_or("").find("brought"), std::string::npos);
  transport.SetCookie(server.Url(), "known", "yes");
  GetOverConnection(server);
  EXPECT_NE(server.Heads().back().find("brought=1"), std::string::npos);
  EXPECT_NE(server.Heads().back().find("known=yes"), std::string::npos);
}

TEST_F(HttpTransportCurlTest, ForgetsCookiesAndThoseThatAnswersUnderWayBring) {
  std::atomic<int> forgot = 0;
  RawServer server([&](const std::string& head) {
    if (PathOf(head) == "/late") forgot += transport.ForgetCookies(kLong);
    return Reply{RawServer::Answer("200 OK", "", "Set-Cookie: brought=1; Max-Age=600\r\n")};
  });
  const HttpRequest late{server.Url("/late"), {}, kLong};
  transport.GetCookie(server.Url(), "loads what is stored");
  disk->Put("cookies.txt", "what another process has stored");
  EXPECT_TRUE(transport.ForgetCookies(kLong));
  EXPECT_EQ(disk->Contents("cookies.txt"), std::nullopt);
  for (const bool overConnection : {false, true}) {
    SCOPED_TRACE(overConnection);
    Get(server);
    EXPECT_EQ(transport.GetCookie(server.Url(), "brought"), "1");
    const HttpResult result = overConnection ? connection->Get(late) : Fetch(transport, late);
    EXPECT_EQ(result.status, 200);
    EXPECT_EQ(transport.GetCookie(server.Url(), "brought"), "");
    EXPECT_TRUE(transport.WaitUntilSaved(kLong));
    EXPECT_EQ(disk->Contents("cookies.txt"), std::nullopt);
  }
  EXPECT_EQ(forgot, 2);
}

TEST_F(HttpTransportCurlTest, FollowsRedirectsToTheLimitAndNoFurther) {
  for (const int redirects : {1, 10, 11}) {
    RawServer server([&](const std::string& head) {
      const int step = std::stoi(PathOf(head).substr(1));
      if (step == redirects) return Reply{RawServer::Answer("200 OK", "arrived")};
      return Reply{
          RawServer::Redirect(step % 2 == 0 ? "301 Moved" : "307 Moved", std::to_string(step + 1))};
    });
    const HttpResult result = Fetch(transport, {server.Url("/0"), {}, kLong});
    const bool arrives = redirects <= kMaxHttpRedirects;
    EXPECT_EQ(result.outcome, arrives ? Outcome::Answered : Outcome::Failed) << redirects;
    EXPECT_EQ(result.error, arrives ? 0 : kHttpRedirectFailed) << redirects;
    EXPECT_EQ(result.body, arrives ? "arrived" : "") << redirects;
  }
}

TEST_F(HttpTransportCurlTest, FollowsARedirectToAnotherServerWithTheSameHeaders) {
  RawServer target([](const std::string&) { return Reply{RawServer::Answer("200 OK", "there")}; });
  RawServer server(
      [&](const std::string&) { return Reply{RawServer::Redirect("302 Moved", target.Url())}; });
  const HttpResult result = Fetch(transport, {server.Url(), {{"X-Token", "1"}}, kLong});
  EXPECT_EQ(result.body, "there");
  EXPECT_NE(target.Heads().at(0).find("\r\nX-Token: 1\r\n"), std::string::npos);
}

TEST_F(HttpTransportCurlTest, RedirectsShareOneDeadline) {
  RawServer server([](const std::string& head) {
    if (PathOf(head) == "/silent") return Reply{};
    return Reply{RawServer::Redirect("302 Moved", "/silent"), Then::KeepOpen, 1, milliseconds(200)};
  });
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(Get(server, milliseconds(300)).outcome, Outcome::Cancelled);
  EXPECT_LT(std::chrono::steady_clock::now() - start, milliseconds(480));
}

TEST(HttpTransferCurlTest, RedirectsStayOnTheWebAndNeverLeaveTls) {
  struct {
    const char* origin;
    const char* target;
    bool allowed;
  } const rows[] = {
      {"http://a/", "http://b/", true},   {"http://a/", "https://b/", true},
      {"https://a/", "HTTPS://b/", true}, {"https://a/", "http://b/", false},
      {"HTTPS://a/", "http://b/", false}, {"http://a/", "file:///etc/passwd", false},
      {"http://a/", "ftp://b/", false},   {"http://a/", "httpx://b/", false},
      {"http://a/", "http://", false},    {"http://a/", "http://b:99999/", false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(MayRedirect(row.origin, row.target), row.allowed) << row.origin << row.target;
  }
}

TEST_F(HttpTransportCurlTest, PublicHostsOnlyStaysAwayFromThisMachine) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  for (int i = 0; i < 2; ++i) {
    const HttpResult open = Get(server);  // leaves a connection behind that could be used
    EXPECT_EQ(open.status, 200);
    EXPECT_FALSE(open.peerIsPublic);
    for (const char* host : {"127.0.0.1", "localhost", "[::ffff:127.0.0.1]"}) {
      const std::string url = "http://" + std::string(host) + ":" + std::to_string(server.Port());
      const HttpResult result = Fetch(transport, {url, {}, kLong, true});
      EXPECT_EQ(result.outcome, Outcome::Failed) << host;
      EXPECT_EQ(result.error, kHttpCannotConnect) << host;
    }
  }
  EXPECT_EQ(server.Connections(), 1);
  EXPECT_EQ(server.Heads().size(), 2U);
}

TEST_F(HttpTransportCurlTest, TakesNoServerBehindAProxyForNearBy) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  const ScopedVariable everyHost("no_proxy", "");
  const ScopedVariable proxy("http_proxy", server.Url().c_str());
  EXPECT_TRUE(Fetch(transport, {"http://public.example/", {}, kLong}).peerIsPublic);
  EXPECT_FALSE(Get(server).peerIsPublic);
}

TEST_F(HttpTransportCurlTest, PassesByTheProxyWhenToldTo) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  const ScopedVariable everyHost("no_proxy", "");
  const ScopedVariable proxy("http_proxy", "http://127.0.0.1:1");
  EXPECT_EQ(Get(server).outcome, Outcome::Failed);
  HttpTransportCurl direct({"", false}, std::make_unique<FakeLocalFolder>(), nullptr);
  EXPECT_EQ(Fetch(direct, {server.Url(), {}, kLong}).status, 200);
  EXPECT_EQ(direct.NewConnection()->Get({server.Url(), {}, kLong}).status, 200);
}

TEST_F(HttpTransportCurlTest, PublicHostsOnlyHoldsAfterARedirectToo) {
  RawServer server(
      [](const std::string&) { return Reply{RawServer::Redirect("302 Moved", "/again")}; });
  CookieJarCurl cookies(std::make_unique<FakeLocalFolder>(disk), nullptr);
  HttpTransferCurl transfer({}, cookies);
  const auto deadline = std::chrono::steady_clock::now() + kLong;
  ASSERT_EQ(transfer.Start({server.Url(), {}, kLong, true}, deadline),
            HttpTransferCurl::Next::AnotherLeg);
  // Lets the first leg through as if its server were a public one, and leaves its connection.
  curl_easy_setopt(transfer.Easy(), CURLOPT_OPENSOCKETFUNCTION, nullptr);
  curl_easy_setopt(transfer.Easy(), CURLOPT_FORBID_REUSE, 0L);
  ASSERT_EQ(transfer.FinishLeg(curl_easy_perform(transfer.Easy())),
            HttpTransferCurl::Next::AnotherLeg);
  EXPECT_EQ(transfer.FinishLeg(curl_easy_perform(transfer.Easy())), HttpTransferCurl::Next::Ended);
  EXPECT_EQ(transfer.TakeResult().error, kHttpCannotConnect);
  EXPECT_EQ(server.Heads().size(), 1U);
}

TEST_F(HttpTransportCurlTest, HeadersLoseTheirControlCharacters) {
  struct {
    HttpHeader header;
    std::string line;
  } const rows[] = {
      {{"X-Plain", "a b"}, "\r\nX-Plain: a b\r\n"},
      {{"X-Broken", "a\r\nX-Evil: 1"}, "\r\nX-Broken: aX-Evil: 1\r\n"},
      {{"X-Nul", std::string("a\0b\x7F", 4)}, "\r\nX-Nul: ab\r\n"},
      {{"X-Na\r\nme", "v"}, "\r\nX-Name: v\r\n"},
      {{"X-Empty", ""}, "\r\nX-Empty:\r\n"},
      {{"User-Agent", "caf\xC3\xA9"}, "\r\nUser-Agent: caf\xC3\xA9\r\n"},
  };
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  for (const auto& row : rows) {
    ASSERT_EQ(Fetch(transport, {server.Url(), {row.header}, kLong}).status, 200);
    const std::string head = server.Heads().back();
    EXPECT_NE(head.find(row.line), std::string::npos) << head;
  }
}

TEST_F(HttpTransportCurlTest, ConnectionClosedWhileIdleIsReplacedUnnoticed) {
  RawServer server([](const std::string&) {
    return Reply{RawServer::Answer("200 OK"), Then::Close};
  });
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(server).status, 200);
}

TEST_F(HttpTransportCurlTest, HeadersOfOneRequestAreNotThoseOfTheNext) {
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  Fetch(transport, {server.Url(), {{"X-First", "1"}}, kLong});
  Fetch(transport, {server.Url(), {}, kLong});
  EXPECT_EQ(server.Heads().at(1).find("X-First"), std::string::npos);
}

TEST_F(HttpTransportCurlTest, SilentRequestHoldsUpNobodyElse) {
  RawServer silent([](const std::string&) { return Reply{}; });
  RawServer server([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  Results results;
  transport.Get({silent.Url(), {}, kLong}, results.Collect());
  ASSERT_TRUE(silent.WaitForRequests(1));
  for (int i = 0; i < 3; ++i) EXPECT_EQ(Get(server).status, 200);
  EXPECT_EQ(results.Count(), 0U);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
