#include "analytics/hit_sender.h"

#include <gtest/gtest.h>

#include "analytics/hit_queue.h"
#include "base/utf.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;

constexpr std::int32_t kNow = static_cast<std::int32_t>(Testing::FakeClock::kStart);

class FixedPolicy : public SendPolicy {
 public:
  std::atomic<SendPermission> permission = SendPermission::Send;
  SendPermission Permission() const override { return permission; }
};

/// Queue, sender and store as the product wires them, on fakes; hits are told by their text.
class HitSenderTest : public testing::Test {
 protected:
  HitSenderTest() {
    config_.server = "c.example";
    config_.rsids = "suite";
    config_.offlineEnabled = true;
  }

  ~HitSenderTest() override { Stop(); }

  void Start() {
    sender_ = std::make_unique<HitSender>(store_, config_, policy_, device_, fakes_.deviceFacts,
                                          fakes_.httpTransport, fakes_.clock);
    queue_ = std::make_unique<HitQueue>(store_, *sender_, config_, policy_, fakes_.clock);
  }

  void Stop() {
    queue_.reset();
    sender_.reset();
  }

  /// The hits sent so far, in order.
  std::vector<std::string> Sent() {
    std::vector<std::string> sent;
    for (const HttpRequest& request : fakes_.httpTransport.Requests()) {
      sent.push_back(request.url.substr(request.url.rfind('/') + 1));
    }
    return sent;
  }

  /// The number of hits left once the queue's worker and the sender have come to rest.
  std::size_t LeftAfterDraining() {
    queue_->QueuedHitCount(5s);
    EXPECT_NE(sender_->WaitUntilDrained(5s), HitSender::DrainResult::TimedOut);
    return store_.Size();
  }

  Testing::LogCapture log_;
  Testing::FakePlatform fakes_;
  Configuration config_;
  FixedPolicy policy_;
  DeviceInformation device_{fakes_.deviceFacts, fakes_.package, fakes_.clock};
  HitStore store_{fakes_.localFolder};
  std::unique_ptr<HitSender> sender_;
  std::unique_ptr<HitQueue> queue_;
};

TEST_F(HitSenderTest, SendsOneAtATimeInOrderWithItsHeaders) {
  Start();
  for (const char* hit : {"s1", "s2", "s3"}) queue_->EnqueueHit(hit, kNow);
  EXPECT_EQ(LeftAfterDraining(), 0U);
  EXPECT_EQ(Sent(), (std::vector<std::string>{"s1", "s2", "s3"}));
  EXPECT_EQ(fakes_.httpTransport.MostInFlight(), 1U);
  const HttpRequest request = fakes_.httpTransport.Requests()[0];
  EXPECT_EQ(request.url, "http://c.example/b/ss/suite/0/WINU-4.0.0/s1");
  EXPECT_EQ(request.timeout, 5000ms);
  ASSERT_EQ(request.headers.size(), 2U);
  EXPECT_EQ(request.headers[0].name, "User-Agent");
  EXPECT_EQ(request.headers[0].value, ToUtf8(device_.GetUserAgent()));
  EXPECT_EQ(request.headers[1].name, "Accept-Language");
  EXPECT_EQ(request.headers[1].value, "en-US");
}

TEST_F(HitSenderTest, RepairsTimestampsThatGoBackAndSavesThemBeforeSending) {
  fakes_.httpTransport.ScriptAnswer(200);
  fakes_.httpTransport.ScriptPending();
  Start();
  queue_->EnqueueHit("s1?&ts=100&x=&ts=100&AQE=1", 100);
  queue_->EnqueueHit("s2?&ts=90&x=&ts=90&AQE=1", 90);
  ASSERT_TRUE(fakes_.httpTransport.WaitForRequests(2));
  EXPECT_EQ(Sent()[1], "s2?&ts=101&x=&ts=90&AQE=1");
  EXPECT_TRUE(fakes_.disk->Contents("VeltroDataCache.json")
                  ->ends_with(R"({"H":"s2?&ts=101&x=&ts=90&AQE=1","T":101}]})"));
  EXPECT_TRUE(
      log_.Contains("Veltro Debug: Analytics - Adjusting out of order hit timestamp(90->101)\n"));
  fakes_.httpTransport.AnswerPending(200);
  queue_->EnqueueHit("s3?&ts=101&AQE=1", 101);  // equal is in order
  EXPECT_EQ(LeftAfterDraining(), 0U);
  EXPECT_EQ(Sent()[2], "s3?&ts=101&AQE=1");
}

TEST_F(HitSenderTest, RemovesTheHitThatTheServerTookWhileGoingDown) {
  policy_.permission = SendPermission::Hold;
  Start();
  queue_->EnqueueHit("s1", kNow);
  queue_->EnqueueHit("s2", kNow);
  queue_->QueuedHitCount(5s);
  fakes_.httpTransport.SetResponder([this](const HttpRequest&) {
    sender_->Stop();
    HttpResult answer;
    answer.outcome = HttpResult::Outcome::Answered;
    answer.status = 200;
    return answer;
  });
  policy_.permission = SendPermission::Send;
  queue_->StartSendingIfReady();
  EXPECT_NE(sender_->WaitUntilDrained(5s), HitSender::DrainResult::TimedOut);
  EXPECT_EQ(Sent(), std::vector<std::string>{"s1"});
  EXPECT_EQ(store_.Size(), 1U);
}

TEST_F(HitSenderTest, DropsAHitThatComesAfterAnOptOut) {
  Start();
  policy_.permission = SendPermission::Refuse;
  queue_->EnqueueHit("refused", kNow);
  EXPECT_EQ(queue_->QueuedHitCount(5s), 0U);
}

TEST_F(HitSenderTest, TakesTurnsWithAnotherProcess) {
  HitStore theirs(fakes_.localFolder);
  ASSERT_TRUE(theirs.ClaimSending());
  Start();
  queue_->EnqueueHit("s1", kNow);
  ASSERT_TRUE(fakes_.clock.WaitForSleepers(1));
  EXPECT_EQ(fakes_.httpTransport.RequestCount(), 0U);
  theirs.YieldSending();
  fakes_.clock.Advance(250ms);
  ASSERT_TRUE(fakes_.httpTransport.WaitForRequests(1));
  EXPECT_EQ(LeftAfterDraining(), 0U);
  EXPECT_TRUE(theirs.ClaimSending());
  theirs.YieldSending();
  fakes_.httpTransport.ScriptAnswer(500);
  queue_->EnqueueHit("s2", kNow);
  ASSERT_TRUE(fakes_.clock.WaitForSleepers(1));
  EXPECT_TRUE(theirs.ClaimSending()) << "during our cooldown";
}

}  // namespace
}  // namespace Veltro::Internal
