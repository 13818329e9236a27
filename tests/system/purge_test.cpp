#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Collector::Fault;
using Collector::RequestKind;

constexpr const char* kAnalytics = R"({"rsids":"s","server":"SERVER","offlineEnabled":true})";
constexpr const char* kOthers =
    R"(,"audienceManager":{"server":"SERVER"},"target":{"clientCode":"shop","timeout":60})";
constexpr const char* kRules = R"({
    "audience": {"uuid": "Uuid-1", "rules": [{"segments": {"hobby": "gardener"}}]},
    "content": {"pcId": "pc-of-1", "sessionId": "session-of-1", "locations": {"home": "Hello"}}})";

/// What the calls of `LeaveTraces` leave in files.
const std::vector<std::string> kTraces = {
    "Uuid-1",      "gardener", "pc-of-1",           "session-of-1",
    "ann@example", "12.34",    "screen%20of%20Ann", "shopping"};

/// Forgetting the user, on real files.
class PurgeTest : public testing::Test {
 protected:
  PurgeTest() { app_.Server().SetRules(kRules); }

  static void LeaveTraces() {
    AudienceManager::SetDpidAndDpuuid("7", "partner's Ann");
    AudienceManager::SignalWithData({}).Get();
    Target::LoadRequest({"home", "", {}}).Get();
    Config::SetUserIdentifier("ann@example");
    Analytics::TrackLifetimeValueIncrease(12.34);
    Config::CollectLifecycleData();
    Analytics::TrackTimedActionStart("shopping");
    EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
    Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
    Analytics::TrackState("screen of Ann");
  }

  /// Those of `texts` that stand in any file of the data folder.
  std::vector<std::string> Found(const std::vector<std::string>& texts) const {
    std::string all;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(app_.DataPath())) {
      std::ifstream file(entry.path(), std::ios::binary);
      all.append(std::istreambuf_iterator<char>(file), {});
    }
    std::vector<std::string> found;
    for (const std::string& text : texts) {
      if (all.find(text) != all.npos) found.push_back(text);
    }
    return found;
  }

  static std::string Known() {
    return AudienceManager::GetDpid() + AudienceManager::GetDpuuid() + Target::GetPcId() +
           Target::GetSessionId() + Config::GetUserIdentifier() +
           (AudienceManager::GetVisitorProfile().empty() ? "" : "profile") +
           (Config::GetLifetimeValue() == 0 ? "" : "value") +
           (Analytics::TrackingTimedActionExists("shopping").Get() ? "action" : "");
  }

  Testing::TestApplication app_;
};

TEST_F(PurgeTest, LeavesNothingOfTheUserInMemoryOrFiles) {
  app_.Start(kAnalytics, kOthers);
  std::vector<std::string> traces = kTraces;
  traces.push_back(Analytics::GetAnalyticsId().Get());
  LeaveTraces();
  const auto setAside = app_.DataPath() / "settings.db.damaged";
  std::ofstream(setAside) << "ann@example";
  ASSERT_EQ(app_.QueueSize(), 1);
  ASSERT_EQ(Found(traces), traces);

  EXPECT_TRUE(Host::Purge().Get());
  for (int run = 0; run < 2; ++run) {
    SCOPED_TRACE(run);
    EXPECT_EQ(Found(traces), std::vector<std::string>());
    EXPECT_EQ(Known(), "");
    EXPECT_EQ(app_.QueueSize(), 0);
    EXPECT_NE(Analytics::GetAnalyticsId().Get(), traces.back());
    EXPECT_EQ(Config::GetPrivacyStatus().Get(), VeltroPrivacyStatus::Unknown);
    app_.Start(kAnalytics, kOthers);
  }
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  app_.Server().Clear();
  Config::CollectLifecycleData();
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(app_.Server().Hits().back().contextData.count("a.InstallEvent"), 1U);
}

TEST_F(PurgeTest, TakesNothingFromAnswersUnderWay) {
  app_.Start(kAnalytics, kOthers);
  Analytics::GetAnalyticsId().Get();
  app_.Server().PushFaults(
      {{.kind = Fault::Kind::Delay, .delay = 500ms, .times = 0, .server = Fault::Server::Audience},
       {.kind = Fault::Kind::Delay, .delay = 500ms, .server = Fault::Server::Content}});
  std::vector<AsyncOperation<std::optional<AudienceManager::Profile>>> signals;
  for (int i = 0; i < 40; ++i) signals.push_back(AudienceManager::SignalWithData({}));
  const auto content = Target::LoadRequest({"home", "", {}});
  ASSERT_TRUE(app_.Server().WaitForRequests(RequestKind::Event, 1, 10s));
  ASSERT_TRUE(app_.Server().WaitForRequests(RequestKind::Content, 1, 10s));
  EXPECT_TRUE(Host::Purge().Get());
  EXPECT_EQ(signals.front().Get(), (AudienceManager::Profile{{"hobby", "gardener"}}));
  EXPECT_EQ(signals.back().Get(), AudienceManager::Profile()) << "had to wait, so is not sent";
  EXPECT_EQ(content.Get(), "Hello");
  EXPECT_EQ(Known(), "");
  EXPECT_NE(Host::Flush(10s), Host::FlushResult::TimedOut);
  EXPECT_EQ(Found(kTraces), std::vector<std::string>());
}

TEST_F(PurgeTest, TellsWhenSomethingStays) {
  app_.Start(kAnalytics, kOthers);
  LeaveTraces();
  EXPECT_EQ(app_.QueueSize(), 1);
  const auto file = app_.DataPath() / "VeltroTimedActions.json";
  std::filesystem::remove(file);
  std::filesystem::create_directories(file / "in the way");
  EXPECT_FALSE(Host::Purge().Get());
  EXPECT_TRUE(app_.Logged("Config - Unable to forget the user (")) << "and goes on with the rest:";
  EXPECT_EQ(Known(), "");
  std::filesystem::remove_all(file);
  EXPECT_TRUE(Host::Purge().Get());
  EXPECT_EQ(Found(kTraces), std::vector<std::string>());
}

}  // namespace
}  // namespace Veltro::Internal
