#include "config/configuration.h"

#include <gtest/gtest.h>

#include "fakes/fake_package.h"
#include "fakes/fake_settings.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using Status = VeltroPrivacyStatus;

class ConfigurationTest : public testing::Test {
 protected:
  Configuration Load(const std::string& text) {
    log_.Clear();
    package_.files["VeltroConfig.json"] = text;
    return LoadConfiguration(package_, store_);
  }

  Testing::LogCapture log_;
  Testing::FakePackage package_;
  Testing::FakeSettings settings_;
  SettingsStore store_{settings_};
};

TEST_F(ConfigurationTest, ReadsEveryField) {
  const Configuration config = Load(
      R"({"version":"2.1","analytics":{"rsids":"a,b","server":"c.example:8080","charset":"ISO-8859-1",
      "ssl":true,"offlineEnabled":true,"lifecycleTimeout":299.9,"batchLimit":-3.9,
      "privacyDefault":"optunknown",
      "poi":[["Caf\u00e9",40.1,-111.6,150],["short",1,2],["wrong",1,2,"3"],7,["Home",1,2,3]]},
      "target":{"clientCode":"client","timeout":5},"audienceManager":{"server":"aud.example"}})");
  EXPECT_EQ(config.version, u"2.1");
  EXPECT_EQ(config.rsids, "a,b");
  EXPECT_EQ(config.server, "c.example:8080");
  EXPECT_EQ(config.charset, u"ISO-8859-1");
  EXPECT_TRUE(config.ssl);
  EXPECT_TRUE(config.offlineEnabled);
  EXPECT_EQ(config.lifecycleTimeout, 299);
  EXPECT_EQ(config.batchLimit, -3);
  EXPECT_EQ(config.privacyStatus, Status::Unknown);
  ASSERT_EQ(config.pointsOfInterest.size(), 2U);
  EXPECT_EQ(config.pointsOfInterest[0].name, u"Caf\u00E9");
  EXPECT_EQ(config.pointsOfInterest[0].longitude, -111.6);
  EXPECT_EQ(config.pointsOfInterest[1].radius, 3);
  EXPECT_EQ(config.targetClientCode, "client");
  EXPECT_EQ(config.targetTimeout, 5);
  EXPECT_EQ(config.audienceManagerServer, "aud.example");
  EXPECT_TRUE(config.IsAnalyticsConfigured());
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(ConfigurationTest, LeavesDefaultsWhereAKeyIsAbsentOrOfAnotherType) {
  const Configuration config = Load(
      R"({"version":1,"analytics":{"rsids":7,"server":"s","batchLimit":"3","charset":null,
      "lifecycleTimeout":true,"offlineEnabled":1,"ssl":"true","poi":{},"privacyDefault":2},
      "target":{"timeout":1e99},"audienceManager":[]})");
  EXPECT_EQ(config.version, u"1.0");
  EXPECT_EQ(config.batchLimit, 0);
  EXPECT_EQ(config.charset, u"UTF-8");
  EXPECT_EQ(config.lifecycleTimeout, 300);
  EXPECT_FALSE(config.offlineEnabled);
  EXPECT_FALSE(config.ssl);
  EXPECT_EQ(config.privacyStatus, Status::OptIn);
  EXPECT_EQ(config.targetTimeout, INT32_MAX);
  EXPECT_FALSE(config.IsAnalyticsConfigured());
  EXPECT_EQ(log_.Lines(),
            std::vector<std::string>{"Veltro Debug: Config - Skaipra not configured\n"});
}

TEST_F(ConfigurationTest, LogsAFileItCannotUse) {
  const std::string unparsable =
      "Veltro Debug: Config - Unable to parse local config file (empty or malformed json)\n";
  for (const char* text : {"", "{", "[]", "\xFF", "{\"analytics\":{}} x"}) {
    EXPECT_FALSE(Load(text).IsAnalyticsConfigured());
    EXPECT_EQ(log_.Lines(), std::vector<std::string>{unparsable}) << text;
  }
  Load("{}");
  EXPECT_TRUE(log_.Contains("Config - Analytics not configured"));
  EXPECT_TRUE(log_.Contains("Config - Target not configured"));

  log_.Clear();
  package_.files.clear();
  LoadConfiguration(package_, store_);
  EXPECT_EQ(log_.Lines(),
            std::vector<std::string>{
                "Veltro Debug: Config - Unable to find local VeltroConfig.json file\n"});
  log_.Clear();
  package_.filesFail = true;
  LoadConfiguration(package_, store_);
  EXPECT_TRUE(log_.Contains(
      "Config - Unable to load local config file (open VeltroConfig.json: Permission denied)"));
}

TEST_F(ConfigurationTest, KeepsWhatWasReadBeforeAFailure) {
  settings_.FailNextOperation();
  const Configuration config =
      Load(R"({"analytics":{"rsids":"a","server":"s","ssl":true},"target":{"clientCode":"c"}})");
  EXPECT_TRUE(config.IsAnalyticsConfigured());
  EXPECT_FALSE(config.ssl);
  EXPECT_EQ(config.targetClientCode, "");
  EXPECT_TRUE(log_.Contains("Config - Unable to load local config file (settings failed)"));
}

TEST_F(ConfigurationTest, DecidesThePrivacyStatusAtStart) {
  struct Row {
    const char* name;
    const char* analytics;
    std::optional<std::int32_t> stored;
    std::int32_t status;
    int warnings;
  };
  const Row rows[] = {
      {"nothing said", "{}", {}, 1, 0},
      {"file opts out", R"({"privacyDefault":"optedout"})", {}, 2, 0},
      {"file unknown, offline",
       R"({"privacyDefault":"optunknown","offlineEnabled":true})",
       {},
       3,
       0},
      {"file unknown, online", R"({"privacyDefault":"optunknown"})", {}, 1, 1},
      {"other text", R"({"privacyDefault":"OptedOut"})", {}, 1, 0},
      {"stored wins", R"({"privacyDefault":"optedout"})", 1, 1, 0},
      {"stored unknown, online", R"({"privacyDefault":"optedout"})", 3, 1, 1},
      {"stored nonsense", "{}", 7, 7, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    settings_.Remove(u"PrivacyStatus");
    if (row.stored) settings_.Insert(u"PrivacyStatus", *row.stored);
    const Configuration config = Load("{\"analytics\":" + std::string(row.analytics) + "}");
    EXPECT_EQ(static_cast<std::int32_t>(config.privacyStatus), row.status);
    EXPECT_EQ(
        log_.Count("Veltro Warning: Analytics - Default privacy status cannot be Unknown when "
                   "offline tracking is disabled, overriding to OptIn\n"),
        row.warnings);
  }
  settings_.Insert(u"PrivacyStatus", 2);
  for (const char* file : {"", "{}"}) EXPECT_EQ(Load(file).privacyStatus, Status::OptOut) << file;
  settings_.Insert(u"PrivacyStatus", 3);
  for (const char* file : {"", "{}"}) EXPECT_EQ(Load(file).privacyStatus, Status::OptIn) << file;
}

}  // namespace
}  // namespace Veltro::Internal
