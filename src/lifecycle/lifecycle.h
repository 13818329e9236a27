#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "base/string_map.h"
#include "config/configuration.h"
#include "core/device_information.h"
#include "core/last_lifecycle_data.h"
#include "core/settings_store.h"
#include "platform/clock.h"

namespace Veltro::Internal {

/// Turns the starts and pauses of the application into usage metrics: install, upgrade, launch and
/// crash events, engaged users, days and launches since, session lengths. Its memory between runs
/// is nine keys of the settings; what each call does follows from them, the clock and the
/// configuration alone. Knows nothing of hits: what comes of a launch is told to listeners.
///
/// Used by one thread at a time. When the settings fail, the call ends where it stands, without a
/// word. Times are seconds since 1970-01-01 UTC in 32 bits; hours, days and months are those of the
/// device's time zone.
class Lifecycle {
 public:
  /// Told of what happens, on the thread of the caller.
  struct Listeners {
    /// A pause that lasted this many seconds is over.
    std::function<void(std::int32_t seconds)> pauseEnded;

    /// The application was launched: the context data to track, and the time to track it at. Only
    /// while Analytics is configured.
    std::function<void(StringMap data, std::int32_t timestamp)> launched;

    /// The context data of a launch as traits of the user. Only while Skaipra is configured. Null
    /// when there is nobody to tell.
    std::function<void(StringMap traits)> signal;
  };

  Lifecycle(SettingsStore& settings, const Configuration& config, DeviceInformation& device,
            Clock& clock, LastLifecycleData& lastData, Listeners listeners);

  /// The application starts, or comes back to the foreground. Within `lifecycleTimeout` of the last
  /// pause the session goes on; otherwise this is a launch, which is reported, and whose data
  /// replaces the last lifecycle data.
  void Start();

  /// The application goes to the background.
  void Pause();

 private:
  /// One launch on its way through the steps.
  struct Launch {
    std::int32_t time;
    CalendarFields calendar;  ///< of `time`
    StringMap data;
  };

  bool Resume();
  void ReportLaunch();
  void InstallStep(Launch& launch);
  void EngagementStep(Launch& launch);
  void CrashStep(Launch& launch);
  void UpgradeStep(Launch& launch);
  void SessionStep(Launch& launch);
  void LaunchStep(Launch& launch);
  void PersistStep(const Launch& launch);

  std::int32_t Now();
  std::optional<std::int32_t> ReadDate(std::u16string_view key);
  void WriteDate(std::u16string_view key, std::int32_t date);

  SettingsStore& settings_;
  const Configuration& config_;
  DeviceInformation& device_;
  Clock& clock_;
  LastLifecycleData& lastData_;
  const Listeners listeners_;
};

}  // namespace Veltro::Internal
