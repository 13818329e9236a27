#pragma once

#include <string>
#include <string_view>

#include "veltro/async_operation.h"
#include "veltro/export.h"
#include "veltro/privacy_status.h"

namespace Veltro {

/// Settings of the library at run time. Texts are UTF-8. Every function may be called from any
/// thread, returns without waiting for disk or network, and never throws. What is set takes effect
/// in the order of the calls, tracking calls among them.
class VELTRO_EXPORT Config {
 public:
  /// The library's version, "4.0.0".
  static std::string GetVersion();

  /// The privacy status after every earlier call has taken effect.
  static AsyncOperation<VeltroPrivacyStatus> GetPrivacyStatus();

  /// Sets the privacy status, for later runs too. OptIn sends what is queued; OptOut discards it
  /// and refuses all tracking; Unknown collects and holds, and is refused while offline tracking is
  /// off.
  static void SetPrivacyStatus(VeltroPrivacyStatus status);

  /// Whether debug and warning lines are logged; false at start. Error lines always are.
  static bool DebugLogging();

  /// Turns the logging of debug and warning lines on or off, for this run.
  static void DebugLogging(bool enabled);

  /// The application starts, or comes back to the foreground. Back within the "lifecycleTimeout" of
  /// the configuration file (seconds, 300 by default), it goes on with its session. Otherwise this
  /// is a launch: it is recorded with usage metrics (first launch, launches, days since, length of
  /// the previous session, a crash when that did not end with a pause), which all later records of
  /// the run carry too. Call it first thing.
  static void CollectLifecycleData();

  /// The application goes to the background, or ends. What was recorded is brought to the storage
  /// device.
  static void PauseCollectingLifecycleData();

  /// The application's own identifier of its user, as last applied; empty when none was set.
  static std::string GetUserIdentifier();

  /// Sets the application's own identifier of its user, which hits carry from now on, in later runs
  /// too. An empty one takes it out of the hits.
  static void SetUserIdentifier(std::string_view identifier);

  /// The user's lifetime value as last applied: the sum of what
  /// `Analytics::TrackLifetimeValueIncrease` was told, 0 when that is nothing.
  static double GetLifetimeValue();
};

}  // namespace Veltro
