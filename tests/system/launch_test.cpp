#include <gtest/gtest.h>

#include <thread>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Entries = std::map<std::string, std::string>;

constexpr const char* kConfig = R"({"rsids":"s","server":"SERVER","offlineEnabled":true,
    "poi":[["Berlin",52.5,13.4,10000]]})";

/// Launches, times, values and places, from the public functions to the collection server.
class LaunchTest : public testing::Test {
 protected:
  std::vector<Collector::Hit> Hits() { return app_.Server().Hits(); }

  Testing::TestApplication app_;
};

/// `data` without the name of the library's own action.
Entries WithoutAction(Entries data) {
  data.erase("a.internalaction");
  return data;
}

TEST_F(LaunchTest, ReportsALaunchWhoseDataAllLaterHitsCarry) {
  app_.Start(kConfig);
  Config::CollectLifecycleData();
  Analytics::TrackState("Home");
  Config::PauseCollectingLifecycleData();
  ASSERT_TRUE(app_.WaitForHits(2));
  app_.Start(kConfig, R"(,"audienceManager":{"server":"127.0.0.1:1"})");
  app_.Time().Advance(300s);
  Config::CollectLifecycleData();
  Analytics::TrackLocation(52.52, 13.405, 9.6);
  Config::PauseCollectingLifecycleData();
  Config::CollectLifecycleData();  // goes on with the session
  ASSERT_TRUE(app_.WaitForHits(4));
  const auto hits = Hits();
  EXPECT_EQ(hits[0].variables.at("pev2"), "VLTINTERNAL:Lifecycle");
  EXPECT_EQ(hits[0].variables.at("ts"), "1599999999");
  EXPECT_EQ(hits[0].contextData.at("a.InstallEvent"), "InstallEvent");
  EXPECT_EQ(hits[1].variables.at("ts"), "1600000000");
  EXPECT_EQ(hits[1].contextData, WithoutAction(hits[0].contextData));
  EXPECT_EQ(hits[2].variables.at("ts"), "1600000299");
  EXPECT_EQ(hits[2].contextData.at("a.PrevSessionLength"), "0");
  EXPECT_EQ(hits[2].contextData.at("a.Launches"), "2");
  Entries location = WithoutAction(hits[2].contextData);
  location.merge(Entries{{"a.loc.acc", "10"},
                         {"a.loc.poi", "Berlin"},
                         {"a.loc.dist", "2249"},
                         {"a.loc.lat.a", "052.5"},
                         {"a.loc.lat.b", "20"},
                         {"a.loc.lat.c", "00"},
                         {"a.loc.lon.a", "013.4"},
                         {"a.loc.lon.b", "05"},
                         {"a.loc.lon.c", "00"}});
  EXPECT_EQ(WithoutAction(hits[3].contextData), location);
}

TEST_F(LaunchTest, MeasuresTimesAndValuesAcrossAPauseAndANewProcess) {
  app_.Start(kConfig);
  Config::CollectLifecycleData();
  EXPECT_EQ(Config::GetLifetimeValue(), 0);
  Analytics::TrackTimedActionStart("checkout", {{"cart", 1}});
  Analytics::TrackTimedActionUpdate("checkout", {{"cart", 2}});
  Analytics::TrackLifetimeValueIncrease(19.75, {{"order", 17}});
  EXPECT_TRUE(Analytics::TrackingTimedActionExists("checkout").Get());
  Config::PauseCollectingLifecycleData();
  ASSERT_TRUE(app_.WaitForHits(2));

  app_.Start(kConfig);
  EXPECT_EQ(Config::GetLifetimeValue(), 19.75);
  app_.Time().Advance(100s);
  Config::CollectLifecycleData();
  EXPECT_TRUE(Analytics::TrackingTimedActionExists("checkout").Get());
  app_.Time().Advance(10s);
  Analytics::TrackTimedActionEnd("checkout");
  EXPECT_FALSE(Analytics::TrackingTimedActionExists("checkout").Get());
  Analytics::TrackLifetimeValueIncrease(0.5);
  ASSERT_TRUE(app_.WaitForHits(4));
  EXPECT_EQ(Config::GetLifetimeValue(), 20.25);
  EXPECT_EQ(Hits()[1].contextData.at("a.ltv.amount"), "19.75");
  EXPECT_EQ(Hits()[1].contextData.at("order"), "17");
  EXPECT_EQ(Hits()[2].contextData, (Entries{{"a.action", "checkout"},
                                            {"a.action.time.total", "110"},
                                            {"a.action.time.inapp", "10"},
                                            {"cart", "2"}}));
  EXPECT_EQ(Hits()[3].contextData.at("a.ltv.amount"), "20.25");
}

TEST_F(LaunchTest, EndsTimedActionsInCallOrder) {
  app_.Start(kConfig);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
  const auto track = [] {
    Analytics::TrackTimedActionStart("a");
    Analytics::TrackTimedActionEnd("a");
  };
  for (int i = 0; i < 20; ++i) {
    track();
    EXPECT_EQ(Runtime::Peek()->QueuedHitCount(10s), 1U);
    track();
    Analytics::ClearTrackingQueue();
    EXPECT_EQ(app_.QueueSize(), 0);
    track();
    Config::SetPrivacyStatus(VeltroPrivacyStatus::OptOut);
    Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
    EXPECT_EQ(app_.QueueSize(), 0);
  }
}

TEST_F(LaunchTest, BringsHitsToTheStorageDeviceWithAPause) {
  app_.Start(kConfig);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
  HitStore& store = Runtime::Peek()->GetHitStore();
  const auto isSynced = [&] {
    for (int i = 0; i < 5000 && store.NeedsSync(); ++i) std::this_thread::sleep_for(1ms);
    return !store.NeedsSync();
  };
  Analytics::TrackState("synced as the worker falls idle");
  EXPECT_EQ(Runtime::Peek()->QueuedHitCount(10s), 1U);
  EXPECT_TRUE(isSynced());
  Analytics::TrackState("within the same second");
  EXPECT_EQ(Runtime::Peek()->QueuedHitCount(10s), 2U);
  EXPECT_TRUE(store.NeedsSync());
  Config::PauseCollectingLifecycleData();
  EXPECT_TRUE(isSynced());
}

TEST_F(LaunchTest, RefusesAllOfItAfterAnOptOutButKeepsCountOfLaunches) {
  app_.Start(kConfig);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptOut);
  Config::CollectLifecycleData();
  Analytics::TrackTimedActionStart("checkout");
  EXPECT_FALSE(Analytics::TrackingTimedActionExists("checkout").Get());
  Analytics::TrackLifetimeValueIncrease(1);
  Analytics::TrackLocation(0, 0);
  EXPECT_EQ(app_.QueueSize(), 0);
  EXPECT_EQ(app_.CountLogged("Analytics - Ignoring hit due to privacy status being opted out"), 5);
  EXPECT_EQ(Config::GetLifetimeValue(), 0);

  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  EXPECT_FALSE(Analytics::TrackingTimedActionExists("checkout").Get());
  Config::CollectLifecycleData();
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(Hits()[0].contextData.at("a.Launches"), "2");
}

}  // namespace
}  // namespace Veltro::Internal
