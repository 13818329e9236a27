#include "core/identifiers.h"

#include <gtest/gtest.h>

#include "fakes/fake_http_transport.h"
#include "fakes/fake_random.h"
#include "fakes/fake_settings.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kKey = u"VELTRO_STOREDDEFAULTS_AID";

class IdentifiersTest : public testing::Test {
 protected:
  Identifiers Make() {
    return Identifiers(store_, transport_, random_, [this] { return serverUrl_; });
  }

  Testing::LogCapture output_;
  Testing::FakeSettings settings_;
  Testing::FakeHttpTransport transport_;
  Testing::FakeRandom random_;
  SettingsStore store_{settings_};
  std::optional<std::string> serverUrl_ = "https://c.example/id";
};

TEST_F(IdentifiersTest, TakesTheStoredIdentifierAsItIsAndAsksNobody) {
  settings_.Insert(kKey, std::u16string(u"whatever"));
  EXPECT_EQ(Make().GetAnalyticsId(), u"whatever");
  EXPECT_EQ(transport_.RequestCount(), 0U);
}

TEST_F(IdentifiersTest, KeepsWhatTheServerAssigns) {
  transport_.ScriptAnswer(200, R"({"id":"Server-Made"})");
  Identifiers identifiers = Make();
  EXPECT_EQ(identifiers.GetAnalyticsId(), u"Server-Made");
  EXPECT_EQ(identifiers.GetAnalyticsId(), u"Server-Made");
  ASSERT_EQ(transport_.RequestCount(), 1U);
  EXPECT_EQ(transport_.Requests()[0].url, "https://c.example/id");
  EXPECT_EQ(transport_.Requests()[0].timeout, std::chrono::milliseconds(500));
  EXPECT_EQ(settings_.Lookup(kKey), SettingValue(std::u16string(u"Server-Made")));
}

TEST_F(IdentifiersTest, GeneratesOneWhenTheServerAssignsNone) {
  struct Row {
    const char* name;
    std::function<void(Testing::FakeHttpTransport&)> script;
    int warnings;
  };
  const Row rows[] = {
      {"empty", [](auto& server) { server.ScriptAnswer(200, ""); }, 0},
      {"no object", [](auto& server) { server.ScriptAnswer(200, "[]"); }, 0},
      {"broken", [](auto& server) { server.ScriptAnswer(200, "{\"id\":"); }, 0},
      {"no member", [](auto& server) { server.ScriptAnswer(200, "{}"); }, 0},
      {"wrong type", [](auto& server) { server.ScriptAnswer(200, "{\"id\":7}"); }, 1},
      {"time-out", [](auto& server) { server.ScriptTimeout(); }, 0},
      {"error status", [](auto& server) { server.ScriptAnswer(500, "{\"id\":\"x\"}"); }, 1},
      {"refused", [](auto& server) { server.ScriptFailure(kHttpCannotConnect); }, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    settings_.Remove(kKey);
    output_.Clear();
    row.script(transport_);
    EXPECT_EQ(Make().GetAnalyticsId().size(), 33U);
    EXPECT_EQ(output_.Count("Analytics - Unable to retrieve aid from server ("), row.warnings);
  }
}

TEST_F(IdentifiersTest, AsksNobodyWhileDataMayNotLeave) {
  serverUrl_.reset();
  EXPECT_EQ(Make().GetAnalyticsId().size(), 33U);
  EXPECT_EQ(transport_.RequestCount(), 0U);
}

TEST_F(IdentifiersTest, GeneratesHalvesThatAreSmallSignedNumbers) {
  random_.SetGuid({0x7FFFFFFF, 0xFFFF, 0xFFFF, {0x3A, 0xFF, 0, 0, 0, 0, 0, 1}});
  EXPECT_EQ(Make().GenerateAnalyticsId(), u"7FFFFFFFFFFFFFFF-3AFF000000000001");
  random_.SetGuid({0x80000000, 0, 0, {0x40, 0, 0, 0, 0, 0, 0, 0}});
  for (int i = 0; i < 50; ++i) {
    const std::u16string identifier = Make().GenerateAnalyticsId();
    EXPECT_LE(identifier[0], u'7');
    EXPECT_LE(identifier[17], u'3');
  }
}

}  // namespace
}  // namespace Veltro::Internal
