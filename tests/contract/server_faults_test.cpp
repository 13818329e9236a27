#include "support/server_faults.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "analytics/hit_sender.h"
#include "fakes/fake_platform.h"
#include "platform/linux/http_transport_curl.h"
#include "support/log_capture.h"
#include "support/raw_server.h"
#include "support/results.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"
#include "support/tls_server.h"

namespace Veltro::Internal::Testing {
namespace {

using Outcome = HttpResult::Outcome;
using Reply = RawServer::Reply;
using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds kLong = 5s;

/// A hit that is never stale: made later than the tests run.
constexpr auto kTimestamp = static_cast<std::int32_t>(FakeClock::kStart + 3600);

struct AlwaysSend : SendPolicy {
  SendPermission Permission() const override { return SendPermission::Send; }
};

/// Two hits, s1 and s2, on their way to a server on this machine.
class Sending {
 public:
  Sending(int port, bool offlineTracking, HttpTransport& transport, milliseconds timeout,
          bool ssl = false) {
    config_.rsids = "suite";
    config_.server = "127.0.0.1:" + std::to_string(port);
    config_.offlineEnabled = offlineTracking;
    config_.ssl = ssl;
    for (const char* hit : {"s1", "s2"}) store_.Append({hit, kTimestamp});
    sender_ = std::make_unique<HitSender>(store_, config_, policy_, device_, fakes_.deviceFacts,
                                          transport, fakes_.clock, timeout);
    sender_->Start();
  }

  /// The number of hits left when the sender has come to an end or to a cooldown.
  std::size_t Left() {
    EXPECT_NE(sender_->WaitUntilDrained(20s), HitSender::DrainResult::TimedOut);
    return store_.Size();
  }

  bool PassCooldown() {
    for (int second = 0; second < 30; ++second) {
      if (!fakes_.clock.WaitForSleepers(1)) return false;
      fakes_.clock.Advance(1s);
    }
    return true;
  }

  bool Logged(const std::string& text) { return log_.Contains(text); }

 private:
  LogCapture log_;
  FakePlatform fakes_;
  Configuration config_;
  AlwaysSend policy_;
  DeviceInformation device_{fakes_.deviceFacts, fakes_.package, fakes_.clock};
  HitStore store_{fakes_.localFolder};
  std::unique_ptr<HitSender> sender_;
};

class ServerFaultsTest : public testing::Test {
 protected:
  static std::unique_ptr<HttpTransport> MakeTransport(const std::string& caFile = {}) {
    return std::make_unique<HttpTransportCurl>(HttpTransferCurl::Options{.caFile = caFile},
                                               std::make_unique<FakeLocalFolder>(), nullptr);
  }

  ScopedVariable noProxy_{"no_proxy", "127.0.0.1,localhost"};
  std::unique_ptr<HttpTransport> transport_ = MakeTransport();
};

class EachServerFault : public ServerFaultsTest, public testing::WithParamInterface<ServerFault> {};

TEST_P(EachServerFault, EndsAsItShould) {
  const ServerFault& fault = GetParam();
  RawServer server([&](const std::string&) { return fault.reply; }, fault.start);
  const auto connection = transport_->NewConnection();
  const HttpRequest request{server.Url(), {}, fault.timeout};
  for (const bool overConnection : {false, false, true, true}) {
    SCOPED_TRACE(overConnection ? "over a connection" : "");
    const auto start = steady_clock::now();
    const HttpResult result =
        overConnection ? connection->Get(request) : Fetch(*transport_, request);
    EXPECT_LT(steady_clock::now() - start, fault.timeout + 2s);
    EXPECT_EQ(result.outcome, fault.outcome) << result.errorMessage;
    EXPECT_EQ(result.status, fault.status);
    EXPECT_EQ(result.error, fault.error) << std::hex << result.error << result.errorMessage;
    EXPECT_TRUE(result.body == fault.body) << result.body.size() << " bytes";
    EXPECT_EQ(result.bodyIsWhole, fault.bodyIsWhole);
    EXPECT_EQ(result.errorMessage.empty(), fault.outcome != Outcome::Failed);
  }
}

/// Whether no other request is under way at the server. A client that has just given one up leaves
/// a moment for the server to see it.
bool IsAlone(RawServer& server) {
  const auto deadline = steady_clock::now() + 200ms;
  while (server.LiveConnections() > 1) {
    if (steady_clock::now() > deadline) return false;
    std::this_thread::yield();
  }
  return true;
}

/// The hits that were asked for, in order.
std::vector<std::string> HitsIn(const std::vector<std::string>& heads) {
  std::vector<std::string> hits;
  for (const std::string& head : heads) {
    const std::string path = head.substr(4, head.find(' ', 4) - 4);
    if (path.starts_with("/b/ss/")) hits.push_back(path.substr(path.rfind('/') + 1));
  }
  return hits;
}

TEST_P(EachServerFault, FollowsTheRuleForTheHit) {
  const ServerFault& fault = GetParam();
  for (const bool offlineTracking : {true, false}) {
    SCOPED_TRACE(offlineTracking ? "offline tracking" : "");
    const bool isKept = fault.KeepsHit(offlineTracking);
    std::atomic<bool> isWell = false;
    std::atomic<bool> wasAlone = true;
    RawServer server(
        [&](const std::string& head) {
          if (!IsAlone(server)) wasAlone = false;
          if (isWell || head.find("/s2 ") != head.npos) return Reply{RawServer::Answer("200 OK")};
          return fault.reply;
        },
        fault.start);
    const auto start = steady_clock::now();
    Sending sending(server.Port(), offlineTracking, *transport_, fault.timeout);
    ASSERT_EQ(sending.Left(), isKept ? 2U : 0U);
    EXPECT_LT(steady_clock::now() - start, fault.timeout + 2s);
    std::vector<std::string> expected = {"s1", "s2"};
    if (isKept) {
      const std::int32_t status = fault.outcome == Outcome::Cancelled ? 408 : fault.status;
      EXPECT_TRUE(sending.Logged(
          fault.outcome == Outcome::Failed
              ? "Veltro Debug: Analytics - Unable to send hit, attempting to recover\n"
              : "Veltro Debug: Analytics - Recoverable network error (" + std::to_string(status) +
                    "), imposing internal cooldown (30 seconds)\n"));
      isWell = true;
      if (fault.start == RawServer::Start::Refusing) {
        server.Listen();
      } else {
        expected.insert(expected.begin(), "s1");
      }
      const std::size_t asked = server.Heads().size();
      ASSERT_TRUE(sending.PassCooldown());
      ASSERT_TRUE(server.WaitForRequests(asked + 2));
      EXPECT_EQ(sending.Left(), 0U);
    }
    EXPECT_EQ(HitsIn(server.Heads()), expected);
    EXPECT_TRUE(wasAlone);
  }
}

INSTANTIATE_TEST_SUITE_P(, EachServerFault, testing::ValuesIn(AllServerFaults()),
                         [](const auto& fault) { return fault.param.name; });

TEST_F(ServerFaultsTest, NoticesTwoRequestsAtOnce) {
  std::promise<void> noticed;
  RawServer server([&](const std::string& head) {
    if (!IsAlone(server) && head.starts_with("GET /2 ")) noticed.set_value();
    return Reply{};
  });
  Results results;
  for (const std::size_t count : {1U, 2U}) {
    transport_->Get({server.Url("/" + std::to_string(count)), {}, kLong}, results.Collect());
    ASSERT_TRUE(server.WaitForRequests(count));
  }
  EXPECT_EQ(noticed.get_future().wait_for(kLong), std::future_status::ready);
}

TEST_F(ServerFaultsTest, TrustsOnlyTheRightCertificateAndNeverLeavesTls) {
  RawServer plain([](const std::string&) { return Reply{RawServer::Answer("200 OK")}; });
  const TlsServer server(plain.Url());
  const TemporaryFolder folder;
  const std::string caFile = folder.Path() / "ca.pem";
  std::ofstream(caFile) << server.Certificate();
  const struct {
    const char* name;
    std::string caFile, host;
    int port;
    const char* path;
    std::int32_t status;
  } rows[] = {
      {"trusted", caFile, "127.0.0.1", server.Port(), "/", 200},
      {"redirect to plain text", caFile, "127.0.0.1", server.Port(), "/plain/", 302},
      {"self-signed", "", "127.0.0.1", server.Port(), "/", 0},
      {"another host's", caFile, "localhost", server.Port(), "/", 0},
      {"answer in plain text", caFile, "127.0.0.1", plain.Port(), "/", 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const auto transport = MakeTransport(row.caFile);
    const std::string url = "https://" + row.host + ":" + std::to_string(row.port) + row.path;
    const HttpResult result = Fetch(*transport, {url, {}, kLong});
    EXPECT_EQ(result.status, row.status) << result.errorMessage;
    EXPECT_EQ(result.error, row.status == 0 ? kHttpTlsFailed : 0) << result.errorMessage;
    if (row.host != "127.0.0.1" || row.status == 302) continue;
    Sending sending(row.port, false, *transport, kLong, true);
    EXPECT_EQ(sending.Left(), row.status == 200 ? 0U : 2U);
  }
  for (const std::string& head : plain.Heads()) EXPECT_NE(head.substr(0, 3), "GET");
}

}  // namespace
}  // namespace Veltro::Internal::Testing
