#include <gtest/gtest.h>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Status = VeltroPrivacyStatus;

constexpr const char* kOffline =
    R"({"rsids":"suite1,suite2","server":"SERVER","offlineEnabled":true})";
constexpr const char* kOnline = R"({"rsids":"suite1","server":"SERVER"})";
constexpr const char* kUnknown =
    R"({"rsids":"suite1","server":"SERVER","offlineEnabled":true,"privacyDefault":"optunknown"})";
constexpr const char* kEmptyQueue = R"({"Hits":[]})";

/// The whole library on this machine, from the public functions to the collection server.
class HitRoadTest : public testing::Test {
 protected:
  /// Starts the application and lets it get its identifier, so that faults meet hits only.
  void Start(const char* analytics) {
    app_.Start(analytics);
    Analytics::GetAnalyticsId().Get();
  }

  /// The page names of the hits received, in order.
  std::vector<std::string> Pages() {
    std::vector<std::string> pages;
    for (const auto& hit : app_.Server().Hits()) pages.push_back(hit.variables.at("pageName"));
    return pages;
  }

  Testing::TestApplication app_;
};

TEST_F(HitRoadTest, BringsEveryKindOfValueToTheServerInOneExactQuery) {
  app_.Start(kOffline);
  Config::SetUserIdentifier("Ann & Bob");
  Analytics::TrackAction("b\u00FCy", {{"text", "\u00E4\U0001F600 \"&=%+"},
                                      {"int16", std::int16_t{-16}},
                                      {"int32", 32},
                                      {"int64", std::int64_t{1} << 62},
                                      {"uint16", std::uint16_t{16}},
                                      {"uint32", 32U},
                                      {"uint64", ~std::uint64_t{0}},
                                      {"single", 0.1F},
                                      {"double", 1e21},
                                      {"bool", true},
                                      {"null", nullptr},
                                      {"date", DateTime{1}},
                                      {"guid", Guid{}},
                                      {"char", u'c'},
                                      {"byte", std::uint8_t{8}},
                                      {"dirty key!", "clean"},
                                      {"..n...x.", "level"},
                                      {"n", "value"},
                                      {"n.y.z", "deep"},
                                      {"n.empty", ""},
                                      {"&&products", ";item;1"},
                                      {"&&my var", "1"},
                                      {"&&", "no name"}});
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(
      app_.Server().Hits()[0].rawTarget,
      "/b/ss/suite1,suite2/0/WINU-4.0.0/s1949254?AQB=1&ndh=1"
      "&aid=2D7A4E1F05B3C690-1A52F08C7E6D4B93&ce=UTF-8&my%20var=1"
      "&pageName=Shop%201.2.4%20%283%29&pe=lnk_o&pev2=QXACTION%3Ab%C3%BCy&products=%3Bitem%3B1"
      "&t=00%2F00%2F0000%2000%3A00%3A00%200%200&ts=1600000000&vid=Ann%20%26%20Bob"
      "&c.&a.&action=b%C3%BCy&.a&bool=true&dirtykey=clean&double=1e%2B21&int16=-16&int32=32"
      "&int64=4611686018427387904&n=value&n.&x=level&y.&z=deep&.y&.n&single=0.1"
      "&text=%C3%A4%F0%9F%98%80%20%22%26%3D%25%2B&uint16=16&uint32=32"
      "&uint64=18446744073709551615&.c&AQE=1");
  const auto headers = app_.Server().Hits()[0].headers;
  EXPECT_NE(headers.at("User-Agent").find("; Acme; Box 7) like Gecko"), std::string::npos);
  EXPECT_NE(headers.at("Accept-Language"), "");
}

TEST_F(HitRoadTest, TriesAgainAfterTheCooldownWithOfflineTrackingOn) {
  Start(kOffline);
  app_.Server().PushFaults({{.status = 500}});
  Analytics::TrackState("1");
  Analytics::TrackState("2");
  ASSERT_TRUE(app_.Time().WaitForSleepers(1));
  EXPECT_EQ(app_.Server().Requests(Collector::RequestKind::Hit).size(), 1U);
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Offline);
  for (int second = 0; second < 30; ++second) {
    ASSERT_TRUE(app_.Time().WaitForSleepers(1));
    app_.Time().Advance(1s);
  }
  EXPECT_TRUE(app_.Server().WaitForHits(2, 10s));
  EXPECT_EQ(Pages(), (std::vector<std::string>{"1", "2"}));
  EXPECT_EQ(app_.Server().Requests(Collector::RequestKind::Hit).size(), 3U);
}

TEST_F(HitRoadTest, KeepsTheHitUnderWayAndThoseBehindItWhenTheProcessEnds) {
  app_.Start(kOnline, R"(,"target":{"clientCode":"shop","timeout":60})");
  Analytics::GetAnalyticsId().Get();
  app_.Server().PushFaults({{.kind = Collector::Fault::Kind::Silence, .times = 0}});
  for (const char* page : {"1", "2", "3"}) Analytics::TrackState(page);
  ASSERT_TRUE(app_.Server().WaitForRequests(Collector::RequestKind::Hit, 1, 10s));
  EXPECT_EQ(app_.QueueSize(), 3);
  app_.Server().PushFaults({{.kind = Collector::Fault::Kind::Silence,
                             .times = 0,
                             .server = Collector::Fault::Server::Content}});
  Target::LoadRequest({"home", "", {}}).Completed([this](const std::string&) {
    // Keeps the process from ending for long enough to see another hit being sent.
    app_.Server().WaitForRequests(Collector::RequestKind::Hit, 2, 300ms);
  });
  ASSERT_TRUE(app_.Server().WaitForRequests(Collector::RequestKind::Content, 1, 10s));
  app_.Stop();
  app_.Server().ClearFaults();
  Start(kOnline);
  Analytics::TrackState("4");
  ASSERT_TRUE(app_.WaitForHits(4));
}

TEST_F(HitRoadTest, SendsWhatAnEarlierProcessQueuedAndRepairsItsTimestamps) {
  app_.Start(kUnknown);
  for (const char* page : {"1", "2", "3"}) Analytics::TrackState(page);
  EXPECT_EQ(app_.QueueSize(), 3);
  app_.Time().SetUnixSeconds(1'599'999'000);  // the user sets the clock back
  Analytics::TrackState("4");
  app_.Stop();
  EXPECT_EQ(app_.Server().RequestCount(Collector::RequestKind::Hit), 0U);

  app_.Start(kUnknown);
  Config::SetPrivacyStatus(Status::OptIn);
  ASSERT_TRUE(app_.WaitForHits(4));
  EXPECT_EQ(Pages(), (std::vector<std::string>{"1", "2", "3", "4"}));
  EXPECT_EQ(app_.Server().Hits()[2].variables.at("ts"), "1600000000");
  EXPECT_EQ(app_.Server().Hits()[3].variables.at("ts"), "1600000001");
  EXPECT_EQ(app_.Server().Hits()[0].contextData.at("a.privacy.mode"), "unknown");
  EXPECT_EQ(app_.QueueFile(), kEmptyQueue);
}

TEST_F(HitRoadTest, ClearsTheQueueInCallOrder) {
  app_.Start(kUnknown);
  Analytics::TrackState("cleared");
  Analytics::ClearTrackingQueue();
  Analytics::TrackState("kept");
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::NotAllowed);
  Config::SetPrivacyStatus(Status::OptIn);
  EXPECT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(Pages(), std::vector<std::string>{"kept"});
}

TEST_F(HitRoadTest, DrainsOverOneConnection) {
  app_.Start(kUnknown);
  for (int i = 0; i < 200; ++i) Analytics::TrackState(std::to_string(i));
  Config::SetPrivacyStatus(Status::OptIn);
  ASSERT_TRUE(app_.WaitForHits(200));
  EXPECT_EQ(app_.Server().ConnectionCount(), 1U);
}

TEST_F(HitRoadTest, AnswersWhatTheApplicationAsks) {
  app_.Start(kOffline);
  EXPECT_EQ(Config::GetVersion(), "4.0.0");
  EXPECT_EQ(Config::GetUserIdentifier(), "");
  Config::SetUserIdentifier("Ann \xF0");
  EXPECT_EQ(Analytics::GetAnalyticsId().Get(), "2D7A4E1F05B3C690-1A52F08C7E6D4B93");
  EXPECT_EQ(Config::GetUserIdentifier(), "Ann \uFFFD");
  EXPECT_TRUE(Config::DebugLogging());

  app_.Start(kOffline);
  EXPECT_EQ(Config::GetUserIdentifier(), "Ann \uFFFD");
  EXPECT_EQ(Analytics::GetAnalyticsId().Get(), "2D7A4E1F05B3C690-1A52F08C7E6D4B93");
  EXPECT_EQ(app_.Server().RequestCount(Collector::RequestKind::Id), 1U);
  Config::SetPrivacyStatus(Status{7});
  EXPECT_EQ(Config::GetPrivacyStatus().Get(), Status{7});
  Analytics::TrackState("held");
  EXPECT_EQ(app_.QueueSize(), 1);
}

TEST_F(HitRoadTest, RemovesHitsForAServerThatMakesNoUrl) {
  app_.Start(R"({"rsids":"s","server":"not a host","offlineEnabled":true})");
  Analytics::TrackState("1");
  Host::Flush(10s);
  EXPECT_EQ(app_.QueueSize(), 0);
  EXPECT_TRUE(app_.Logged("Veltro Error: Analytics - Invalid hit (removed)"));
}

TEST_F(HitRoadTest, SendsTheCompleteHitsOfATornQueueFile) {
  app_.PutQueueFile(R"({"Hits":[{"H":"s1?AQB=1&pageName=whole&AQE=1","T":1600000000},{"H":"s2?AQ)");
  app_.Start(kOffline);
  Analytics::TrackState("new");
  EXPECT_TRUE(app_.WaitForHits(2));
  EXPECT_EQ(Pages(), (std::vector<std::string>{"whole", "new"}));
  EXPECT_EQ(app_.CountLogged("Veltro Error: Analytics - Unable to load queued hits ("), 1);
}

}  // namespace
}  // namespace Veltro::Internal
