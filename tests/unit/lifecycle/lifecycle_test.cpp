#include "lifecycle/lifecycle.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>

#include "base/utf.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using Settings = std::map<std::string, std::string>;

constexpr std::int64_t kNow = Testing::FakeClock::kStart;  // Sunday 2020-09-13 12:26:40 UTC
constexpr std::int64_t kSaturdayNight = 1599953400;        // 2020-09-12 23:30
constexpr std::int64_t kFebruary1 = 1422766800;            // Sunday 2015-02-01 05:00
constexpr std::int64_t kApril5 = 1428235200;               // Sunday 2015-04-05 12:00

constexpr const char* kKeys[] = {"InstallDate",     "UpgradeDate",  "LastDateUsed",
                                 "Launches",        "PauseDate",    "LaunchesAfterUpgrade",
                                 "SuccessfulClose", "SessionStart", "LastVersion"};

constexpr std::pair<std::u16string_view, std::u16string_view> kDeviceData[] = {
    {u"a.AppID", u"Shop 1.2.4 (3)"},
    {u"a.CarrierName", u""},
    {u"a.DeviceName", u"Acme Anvil"},
    {u"a.OSVersion", u"Windows 6.1"},
    {u"a.Resolution", u"1024x768"}};

/// The words of a row, "key=value" or "key" alone. In a value "@5" is the time of the row and 5 s
/// and "#5" the integer 5; true and false are booleans, and everything else is text.
Settings Parse(const std::string& line, std::int64_t now) {
  Settings settings;
  std::istringstream words(line);
  for (std::string word; words >> word;) {
    const std::string key = word.substr(0, word.find('='));
    std::string value = word.substr(std::min(key.size() + 1, word.size()));
    if (value.starts_with('@')) value = std::to_string(now + std::stoll(value.substr(1)));
    settings[key] = value;
  }
  return settings;
}

SettingValue Box(const std::string& value) {
  if (value == "true" || value == "false") return value == "true";
  if (value.starts_with('#')) return std::stoi(value.substr(1));
  return ToUtf16(value);
}

std::string Unbox(const SettingValue& value) {
  if (const auto* text = std::get_if<std::u16string>(&value)) return ToUtf8(*text);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "true" : "false";
  return "#" + std::to_string(std::get<std::int32_t>(value));
}

/// An application on a device of its own.
class Application {
 public:
  Application() {
    config.rsids = "suite";
    config.server = "c.example";
  }

  /// Makes the calls of a row: "S5" starts and "P5" pauses, 5 s after its time.
  void Call(const std::string& calls, std::int64_t now) {
    std::istringstream words(calls);
    for (std::string word; words >> word;) {
      fakes.clock.SetUnixSeconds(now + std::stoll(word.substr(1)));
      word[0] == 'S' ? lifecycle.Start() : lifecycle.Pause();
    }
  }

  Settings StoredSettings() {
    Settings stored;
    for (const char* const key : kKeys) {
      const auto value = fakes.settings.Lookup(u"KOVA_" + ToUtf16(key));
      if (value) stored[key] = Unbox(*value);
    }
    return stored;
  }

  /// The data of the last launch without "a." and what the device adds to each; "none" without a
  /// launch. The value of an event is its name, and left out.
  Settings LaunchedData() {
    if (!launched) return {{"none", ""}};
    StringMap data = *launched;
    for (const auto& [key, value] : kDeviceData) {
      EXPECT_EQ(data.Find(key), value);
      data.Remove(key);
    }
    Settings entries;
    for (const auto [key, value] : data) {
      const bool isEvent = key.ends_with(u"Event") && value == key.substr(2);
      entries[ToUtf8(key.substr(2))] = isEvent ? "" : ToUtf8(value);
    }
    return entries;
  }

  Testing::LogCapture log;
  Testing::FakePlatform fakes;
  Configuration config;
  SettingsStore settings{fakes.settings};
  DeviceInformation device{fakes.deviceFacts, fakes.package, fakes.clock};
  LastLifecycleData lastData;
  std::string pauses;
  std::optional<StringMap> launched, signal;
  std::int32_t timestamp = 0;
  Lifecycle lifecycle{settings,
                      config,
                      device,
                      fakes.clock,
                      lastData,
                      {.pauseEnded = [this](auto time) { pauses += std::to_string(time) + " "; },
                       .launched =
                           [this](StringMap data, std::int32_t time) {
                             launched = std::move(data);
                             timestamp = time;
                           },
                       .signal = [this](StringMap traits) { signal = std::move(traits); }}};
};

// An application installed ten days ago, used yesterday, in its third run; its next launch; and
// what that reports.
const std::string kThird =
    "InstallDate=@-864000 LastDateUsed=@-86400 Launches=#3 LastVersion=1.2.4 ";
const std::string kClosed = kThird + "SuccessfulClose=true ";
const std::string kRunning = kThird + "SuccessfulClose=false SessionStart=@-1000 ";
const std::string kPaused = kClosed + "SessionStart=@-1000 ";
const std::string kFourth =
    "InstallDate=@-864000 LastDateUsed=@0 Launches=#4 LastVersion=1.2.4 SuccessfulClose=false ";
const std::string kEvents = "InstallEvent DailyEngUserEvent MonthlyEngUserEvent LaunchEvent ";
const std::string kSunday = "LaunchEvent HourOfDay=12 DayOfWeek=1 ";
const std::string kSince = "DailyEngUserEvent DaysSinceFirstUse=10 DaysSinceLastUse=1 Launches=4 ";
const std::string kInstalled =
    "InstallDate=@0 LastDateUsed=@0 Launches=#1 LastVersion=1.2.4 SuccessfulClose=false "
    "SessionStart=@0 ";

struct Row {
  std::string name, before = kClosed, calls = "S0";
  std::string after = kFourth + "SessionStart=@0";
  std::string data = "none";  ///< of the last launch, without that of the device
  std::string pauses = "";
  std::int64_t now = kNow;
  std::int32_t bias = 0;  ///< minutes west of Greenwich
};

const Row kRows[] = {
    {.name = "install",
     .before = "",
     .after = kInstalled,
     .data = kEvents + "InstallDate=9/13/2020 Launches=1 HourOfDay=12 DayOfWeek=1"},
    {.name = "pause", .before = kRunning, .calls = "P0", .after = kPaused + "PauseDate=@0"},
    {.name = "resume just inside the time-out",
     .before = kPaused + "PauseDate=@-299",
     .after = kThird + "SuccessfulClose=false SessionStart=@-701",
     .pauses = "299 "},
    {.name = "launch exactly at the time-out",
     .before = kPaused + "PauseDate=@-300",
     .data = kSunday + kSince + "PrevSessionLength=700",
     .pauses = "300 "},
    {.name = "two pauses in one session",
     .calls = "S0 P100 S200 P260 S1000",
     .after = "InstallDate=@-864000 LastDateUsed=@1000 Launches=#5 LastVersion=1.2.4 "
              "SuccessfulClose=false SessionStart=@1000",
     .data = kSunday + "DaysSinceFirstUse=10 DaysSinceLastUse=0 Launches=5 PrevSessionLength=160",
     .pauses = "100 740 "},
    {.name = "paused twice in a row",
     .before = kPaused + "PauseDate=@-500",
     .calls = "P0 S100",
     .after = kThird + "SuccessfulClose=false SessionStart=@-900",
     .pauses = "100 "},
    {.name = "crash", .before = kRunning, .data = kSunday + kSince + "CrashEvent"},
    {.name = "crash after a resume",
     .before = kPaused + "PauseDate=@-10",
     .calls = "S0 S0",
     .data = kSunday + kSince + "CrashEvent",
     .pauses = "10 "},
    {.name = "crash with a pause date left behind",
     .before = kRunning + "PauseDate=@-400",
     .data = kSunday + kSince + "CrashEvent",
     .pauses = "400 "},
    {.name = "upgrade",
     .before = kClosed + "LastVersion=1.2.3 LaunchesAfterUpgrade=#7 UpgradeDate=@-500000",
     .after = kFourth + "SessionStart=@0 UpgradeDate=@0 LaunchesAfterUpgrade=#1",
     .data = kSunday + kSince + "UpgradeEvent LaunchesSinceUpgrade=1"},
    {.name = "the launch after an upgrade",
     .before = kClosed + "LaunchesAfterUpgrade=#1 UpgradeDate=@-172799",
     .after = kFourth + "SessionStart=@0 UpgradeDate=@-172799 LaunchesAfterUpgrade=#2",
     .data = kSunday + kSince + "DaysSinceLastUpgrade=1 LaunchesSinceUpgrade=2"},
    {.name = "previous session of 604,799 s",
     .before = kClosed + "SessionStart=@-605199 PauseDate=@-400",
     .data = kSunday + kSince + "PrevSessionLength=604799",
     .pauses = "400 "},
    {.name = "previous session of 604,800 s",
     .before = kClosed + "SessionStart=@-605200 PauseDate=@-400",
     .data = kSunday + kSince + "ignoredSessionLength=604800",
     .pauses = "400 "},
    {.name = "last used on 31 January, launched on 1 February",
     .data = kSince + "LaunchEvent HourOfDay=5 DayOfWeek=1 MonthlyEngUserEvent",
     .now = kFebruary1},
    {.name = "last used on 5 March, launched on 5 April",
     .before = kClosed + "InstallDate=@-2678400 LastDateUsed=@-2678400",
     .after = kFourth + "InstallDate=@-2678400 SessionStart=@0",
     .data = "MonthlyEngUserEvent LaunchEvent HourOfDay=12 DayOfWeek=1 Launches=4 "
             "DaysSinceFirstUse=31 DaysSinceLastUse=31",
     .now = kApril5},
    {.name = "launched a year after the last use",
     .before = kClosed + "InstallDate=@-31536000 LastDateUsed=@-31536000",
     .after = kFourth + "InstallDate=@-31536000 SessionStart=@0",
     .data = "LaunchEvent HourOfDay=12 DayOfWeek=1 Launches=4 DaysSinceFirstUse=365 "
             "DaysSinceLastUse=365",
     .now = kApril5},
    {.name = "installed on a Saturday night",
     .before = "",
     .after = kInstalled,
     .data = kEvents + "InstallDate=9/12/2020 Launches=1 HourOfDay=23 DayOfWeek=7",
     .now = kSaturdayNight},
    {.name = "the same time east of Greenwich",
     .before = "",
     .after = kInstalled,
     .data = kEvents + "InstallDate=9/13/2020 Launches=1 HourOfDay=5 DayOfWeek=1",
     .now = kSaturdayNight,
     .bias = -330},
    {.name = "the day before and the same in the west",
     .before = kClosed + "LastDateUsed=@-3600",
     .calls = "S1800",
     .after = kFourth + "LastDateUsed=@1800 SessionStart=@1800",
     .data = "LaunchEvent HourOfDay=16 DayOfWeek=7 Launches=4 DaysSinceFirstUse=10 "
             "DaysSinceLastUse=0",
     .now = kSaturdayNight,
     .bias = 480},
    {.name = "clock set back during a pause",
     .before = kPaused + "PauseDate=@5000",
     .after = kThird + "SuccessfulClose=false SessionStart=@-6000",
     .pauses = "-5000 "},
    {.name = "dates of other forms",
     .before = "InstallDate=#1599136000 LastDateUsed=1.5999136009e9 Launches=#3 LastVersion=1.2.4",
     .after = kFourth + "InstallDate=#1599136000 SessionStart=@0",
     .data = kSunday + kSince},
    {.name = "no pause date to speak of",
     .before = kPaused + "PauseDate=soon",
     .after = kFourth + "SessionStart=@-1000",
     .data = kSunday + kSince},
    {.name = "no session start to speak of",
     .before = kPaused + "PauseDate=@-10 SessionStart=early",
     .data = kSunday + kSince + "ignoredSessionLength=1599999990",
     .pauses = "10 "},
    {.name = "no session start",
     .before = kClosed + "PauseDate=@-10",
     .data = kSunday + kSince,
     .pauses = "10 "},
    {.name = "nothing but the install date",
     .before = "InstallDate=@-864000",
     .after = kFourth + "Launches=#1 SessionStart=@0 UpgradeDate=@0 LaunchesAfterUpgrade=#1",
     .data = kSunday + "DaysSinceFirstUse=10 DaysSinceLastUse=0 Launches=1 UpgradeEvent "
                       "LaunchesSinceUpgrade=1"},
    {.name = "a counter that is no number",
     .before = kRunning + "Launches=many",
     .after = kThird + "Launches=many SuccessfulClose=false"},
};

TEST(Lifecycle, TurnsSettingsAndCallsIntoSettingsAndData) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    Application app;
    app.fakes.clock.SetBias(row.bias);
    for (const auto& [key, value] : Parse(row.before, row.now)) {
      app.fakes.settings.Insert(u"KOVA_" + ToUtf16(key), Box(value));
    }
    app.Call(row.calls, row.now);
    EXPECT_EQ(app.StoredSettings(), Parse(row.after, row.now));
    EXPECT_EQ(app.pauses, row.pauses);
    EXPECT_EQ(app.LaunchedData(), Parse(row.data, row.now));
    EXPECT_EQ(*app.lastData.Get(), app.launched.value_or(StringMap{}));
    EXPECT_EQ(app.timestamp, app.launched ? app.fakes.clock.UnixSeconds() - 1 : 0);
    EXPECT_EQ(app.log.Lines().size(), 0U);
  }
}

TEST(Lifecycle, TellsOnlyTheProductsThatAreConfigured) {
  Application app;
  app.config.rsids = "";
  app.lifecycle.Start();
  EXPECT_FALSE(app.launched || app.signal);
  EXPECT_EQ(app.lastData.Get()->Find(u"a.Launches"), u"1");

  app.config.audienceManagerServer = "audience.example";
  app.lifecycle.Start();
  EXPECT_FALSE(app.launched);
  EXPECT_EQ(app.signal->Find(u"a.Launches"), u"2");
  EXPECT_EQ(*app.signal, *app.lastData.Get());
}

TEST(Lifecycle, EndsQuietlyWhenTheSettingsFailAndGoesOnWithTheNextCall) {
  Application app;
  app.fakes.settings.FailNextOperation();
  app.lifecycle.Start();
  EXPECT_FALSE(app.launched);
  app.lifecycle.Start();
  app.fakes.settings.FailNextOperation();
  app.lifecycle.Pause();
  EXPECT_EQ(app.StoredSettings().count("PauseDate"), 0U);
  app.lifecycle.Pause();
  EXPECT_EQ(app.StoredSettings().at("SuccessfulClose"), "true");
  EXPECT_EQ(app.log.Lines().size(), 0U);
}

}  // namespace
}  // namespace Veltro::Internal
