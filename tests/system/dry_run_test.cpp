#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "support/scoped_variable.h"
#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Collector::RequestKind;

class DryRunTest : public testing::Test {
 protected:
  std::string LastNotes() {
    EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
    return app_.Server().Hits().back().notes;
  }

  Testing::TestApplication app_;
  const Testing::ScopedVariable variable_{"VELTRO_DRY_RUN", app_.Server().Host().c_str()};
};

TEST_F(DryRunTest, NeedsNoConfigurationAndSendsEverythingToTheCollector) {
  app_.Server().SetRules(R"({"audience": {"rules": [{"segments": {"hobby": "garden"}}]},
                             "content": {"locations": {"home": "Hello"}}})");
  app_.StartWithFile(nullptr);
  Analytics::TrackState("Home");
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(app_.Server().Hits().front().reportSuites, std::vector<std::string>{"dry-run"});
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Id), 1U);
  EXPECT_EQ(AudienceManager::SignalWithData({}).Get()->at("hobby"), "garden");
  EXPECT_EQ(Target::LoadRequest({"home", "", {}}).Get(), "Hello");
}

TEST_F(DryRunTest, LeavesServersAndDataOfTheApplicationAlone) {
  {
    const Testing::ScopedVariable none("VELTRO_DRY_RUN", nullptr);
    app_.Start(R"({"rsids":"live","server":"SERVER","offlineEnabled":true})");
    Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
    Analytics::TrackState("live");
    EXPECT_EQ(app_.QueueSize(), 1);
  }
  const std::string queue = app_.QueueFile();
  app_.StartWithFile(
      R"({"analytics":{"rsids":"live","server":"live.example","ssl":true,"offlineEnabled":true},
          "audienceManager":{"server":"live.example"}, "target":{"clientCode":"live"}})");
  Analytics::TrackState("dry");
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(app_.Server().Hits().front().variables["pageName"], "dry");
  EXPECT_EQ(app_.Server().Hits().front().reportSuites, std::vector<std::string>{"live"});
  AudienceManager::SignalWithData({}).Get();
  Target::LoadRequest({"home", "", {}}).Get();
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Event), 1U);
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Content), 1U);
  EXPECT_EQ(app_.QueueFile(), queue);
  EXPECT_TRUE(std::filesystem::exists(app_.DataPath() / "dry-run" / "settings.db"));
}

TEST_F(DryRunTest, NotesWhatHappensToContextData) {
  struct Row {
    const char* name;
    ContextData data;
    const char* notes;
  };
  const Row rows[] = {
      {"nothing", {{"a.b", "x"}, {"&&prop1", 1}, {"n", 2}}, ""},
      {"keys",
       {{"my key!", "x"}, {"!", "x"}, {"a..b", "x"}},
       "key \"!\" was cleaned to \"\"\n"
       "key \"a..b\" was cleaned to \"a.b\"\n"
       "key \"my key!\" was cleaned to \"mykey\""},
      {"values",
       {{"guid", Guid{}}, {"none", nullptr}, {"small", std::int8_t{1}}, {"ok", 1}},
       "value of \"guid\" was left out: Guid\n"
       "value of \"none\" was left out: null\n"
       "value of \"small\" was left out: Int8"},
  };
  app_.StartWithFile(nullptr);
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    Analytics::TrackAction("action", row.data);
    EXPECT_EQ(LastNotes(), row.notes);
    Analytics::TrackTimedActionStart("timed", row.data);
    Analytics::TrackTimedActionEnd("timed");
    EXPECT_EQ(LastNotes(), row.notes);
  }
}

TEST_F(DryRunTest, SaysThatAHostIsNone) {
  const Testing::ScopedVariable bad("VELTRO_DRY_RUN", "http://127.0.0.1");
  app_.Start(R"({"rsids":"live","server":"SERVER","offlineEnabled":true})");
  Analytics::TrackState("Home");
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  EXPECT_TRUE(app_.Logged("Config - http://127.0.0.1 is no HOST:PORT for a dry run"));
  EXPECT_EQ(app_.Server().Hits().size(), 0U);
}

}  // namespace
}  // namespace Veltro::Internal
