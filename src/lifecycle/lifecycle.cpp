#include "lifecycle/lifecycle.h"

#include <utility>

#include "base/number_text.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kInstallDate = u"KOVA_InstallDate";
constexpr std::u16string_view kUpgradeDate = u"KOVA_UpgradeDate";
constexpr std::u16string_view kLastDateUsed = u"KOVA_LastDateUsed";
constexpr std::u16string_view kLaunchesAfterUpgrade = u"KOVA_LaunchesAfterUpgrade";
constexpr std::u16string_view kLaunches = u"KOVA_Launches";
constexpr std::u16string_view kLastVersion = u"KOVA_LastVersion";
constexpr std::u16string_view kPauseDate = u"KOVA_PauseDate";
constexpr std::u16string_view kSuccessfulClose = u"KOVA_SuccessfulClose";
constexpr std::u16string_view kSessionStart = u"KOVA_SessionStart";

constexpr std::int32_t kSecondsPerDay = 86400;
constexpr std::int32_t kLongestSession = 604800;  // a longer one is not to be believed

// Sums and differences of times wrap in 32 bits.
std::int32_t Add(std::int32_t time, std::int32_t seconds) {
  return Lower32Bits(std::int64_t{time} + seconds);
}

std::int32_t Difference(std::int32_t later, std::int32_t earlier) {
  return Lower32Bits(std::int64_t{later} - earlier);
}

std::u16string DaysBetween(std::int32_t earlier, std::int32_t later) {
  return DecimalText(Difference(later, earlier) / kSecondsPerDay);
}

/// The day as month, day and year, such as 3/7/2015.
std::u16string DayText(const CalendarFields& calendar) {
  return DecimalText(calendar.month + 1) + u"/" + DecimalText(calendar.dayOfMonth) + u"/" +
         DecimalText(calendar.year);
}

}  // namespace

Lifecycle::Lifecycle(SettingsStore& settings, const Configuration& config,
                     DeviceInformation& device, Clock& clock, LastLifecycleData& lastData,
                     Listeners listeners)
    : settings_(settings),
      config_(config),
      device_(device),
      clock_(clock),
      lastData_(lastData),
      listeners_(std::move(listeners)) {}

void Lifecycle::Start() {
  try {
    if (!Resume()) ReportLaunch();
  } catch (const PlatformError&) {  // the settings fail; the next start tries again
  }
}

void Lifecycle::Pause() {
  try {
    settings_.Write(kSuccessfulClose, true);
    WriteDate(kPauseDate, Now());
  } catch (const PlatformError&) {
  }
}

/// Goes on with the session when the application was paused, and not for long.
bool Lifecycle::Resume() {
  const std::int32_t pauseDate = ReadDate(kPauseDate).value_or(0);
  if (pauseDate <= 0) return false;
  const std::int32_t pauseLength = Difference(Now(), pauseDate);
  listeners_.pauseEnded(pauseLength);
  const std::int32_t sessionStart = ReadDate(kSessionStart).value_or(0);
  if (pauseLength >= config_.lifecycleTimeout || sessionStart <= 0) return false;
  // Moving the start by the pause takes the pause out of the session's length.
  WriteDate(kSessionStart, Add(sessionStart, pauseLength));
  settings_.Write(kSuccessfulClose, false);
  settings_.Remove(kPauseDate);
  return true;
}

void Lifecycle::ReportLaunch() {
  const std::int32_t now = Now();
  Launch launch{now, clock_.LocalCalendar(now), {}};
  if (settings_.HasKey(kInstallDate)) {
    EngagementStep(launch);
    CrashStep(launch);
    UpgradeStep(launch);
    SessionStep(launch);
  } else {
    InstallStep(launch);
  }
  LaunchStep(launch);
  lastData_.Set(launch.data);
  // Dated a second back, so that it comes before what the user does first.
  if (config_.IsAnalyticsConfigured()) listeners_.launched(launch.data, Add(now, -1));
  if (config_.IsAudienceManagerConfigured() && listeners_.signal) listeners_.signal(launch.data);
  PersistStep(launch);
}

void Lifecycle::InstallStep(Launch& launch) {
  launch.data.Set(u"a.InstallDate", DayText(launch.calendar));
  launch.data.Set(u"a.InstallEvent", u"InstallEvent");
  launch.data.Set(u"a.DailyEngUserEvent", u"DailyEngUserEvent");
  launch.data.Set(u"a.MonthlyEngUserEvent", u"MonthlyEngUserEvent");
  WriteDate(kInstallDate, launch.time);
}

void Lifecycle::EngagementStep(Launch& launch) {
  const std::int32_t lastUse = ReadDate(kLastDateUsed).value_or(launch.time);
  // Each field by itself, by definition: the same day of another month is no daily event.
  const CalendarFields lastCalendar = clock_.LocalCalendar(lastUse);
  if (lastCalendar.dayOfMonth != launch.calendar.dayOfMonth) {
    launch.data.Set(u"a.DailyEngUserEvent", u"DailyEngUserEvent");
  }
  if (lastCalendar.month != launch.calendar.month) {
    launch.data.Set(u"a.MonthlyEngUserEvent", u"MonthlyEngUserEvent");
  }
  launch.data.Set(u"a.DaysSinceFirstUse",
                  DaysBetween(ReadDate(kInstallDate).value_or(0), launch.time));
  launch.data.Set(u"a.DaysSinceLastUse", DaysBetween(lastUse, launch.time));
}

/// A run that did not end with a pause has crashed.
void Lifecycle::CrashStep(Launch& launch) {
  if (settings_.ReadBoolean(kSuccessfulClose).value_or(true)) return;
  launch.data.Set(u"a.CrashEvent", u"CrashEvent");
  settings_.Remove(kPauseDate);
  settings_.Remove(kSessionStart);
}

void Lifecycle::UpgradeStep(Launch& launch) {
  const std::u16string version = device_.GetApplicationVersion();
  const bool isUpgrade = version != settings_.ReadString(kLastVersion);
  if (isUpgrade) {
    launch.data.Set(u"a.UpgradeEvent", u"UpgradeEvent");
    settings_.Write(kLastVersion, version);
    WriteDate(kUpgradeDate, launch.time);
    settings_.Write(kLaunchesAfterUpgrade, 0);
  }
  const std::optional<std::int32_t> upgradeDate = ReadDate(kUpgradeDate);
  if (!upgradeDate) return;
  if (!isUpgrade) {
    launch.data.Set(u"a.DaysSinceLastUpgrade", DaysBetween(*upgradeDate, launch.time));
  }
  const std::int32_t launches = Add(settings_.ReadInt32(kLaunchesAfterUpgrade).value_or(0), 1);
  launch.data.Set(u"a.LaunchesSinceUpgrade", DecimalText(launches));
  settings_.Write(kLaunchesAfterUpgrade, launches);
}

void Lifecycle::SessionStep(Launch& launch) {
  const std::int32_t pauseDate = ReadDate(kPauseDate).value_or(0);
  const std::optional<std::int32_t> sessionStart = ReadDate(kSessionStart);
  if (pauseDate < 1 || !sessionStart) return;
  const std::int32_t length = Difference(pauseDate, *sessionStart);
  launch.data.Set(length < kLongestSession ? u"a.PrevSessionLength" : u"a.ignoredSessionLength",
                  DecimalText(length));
  settings_.Remove(kSessionStart);
}

void Lifecycle::LaunchStep(Launch& launch) {
  const std::int32_t launches = Add(settings_.ReadInt32(kLaunches).value_or(0), 1);
  launch.data.Merge(device_.GetDefaultContextData());
  launch.data.Set(u"a.LaunchEvent", u"LaunchEvent");
  launch.data.Set(u"a.Launches", DecimalText(launches));
  launch.data.Set(u"a.HourOfDay", DecimalText(launch.calendar.hour));
  launch.data.Set(u"a.DayOfWeek", DecimalText(launch.calendar.dayOfWeek + 1));
  settings_.Write(kLaunches, launches);
  WriteDate(kLastDateUsed, launch.time);
}

void Lifecycle::PersistStep(const Launch& launch) {
  if (!settings_.HasKey(kSessionStart)) WriteDate(kSessionStart, launch.time);
  settings_.Write(kLastVersion, device_.GetApplicationVersion());
  settings_.Write(kSuccessfulClose, false);
  settings_.Remove(kPauseDate);
}

std::int32_t Lifecycle::Now() { return Lower32Bits(clock_.UnixSeconds()); }

/// The date under `key`; one that is no number reads as 0, so that it heals with the next write.
std::optional<std::int32_t> Lifecycle::ReadDate(std::u16string_view key) {
  if (!settings_.HasKey(key)) return std::nullopt;
  double date = 0;
  ReadNumber(settings_.ReadString(key), date);
  return TruncateToInt32(date);
}

void Lifecycle::WriteDate(std::u16string_view key, std::int32_t date) {
  settings_.Write(key, DecimalText(date));
}

}  // namespace Veltro::Internal
