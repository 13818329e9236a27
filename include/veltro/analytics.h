#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "veltro/async_operation.h"
#include "veltro/context_data.h"
#include "veltro/export.h"

namespace Veltro {

/// Records what the user does. Texts are UTF-8. Every function may be called from any thread,
/// returns without waiting for disk or network, and never throws; calls take effect in their order.
///
/// Nothing is recorded, but for a log line, while the configuration file names no report suite or
/// server, or after the user has opted out.
class VELTRO_EXPORT Analytics {
 public:
  /// The user sees a screen or page. An empty name stands for the application's name and version.
  static void TrackState(std::string_view state, const ContextData& data = {});

  /// The user does something.
  static void TrackAction(std::string_view action, const ContextData& data = {});

  /// The user begins to do something that takes time. `action` runs until it is ended, in later
  /// runs of the application too; starting one that runs already begins it anew, without the data
  /// it had. Its name must not be empty.
  static void TrackTimedActionStart(std::string_view action, const ContextData& data = {});

  /// Adds to the context data of the running `action`; new values replace those of the same keys.
  static void TrackTimedActionUpdate(std::string_view action, const ContextData& data);

  /// Ends the running `action` and records it with its context data and how long it took, in whole
  /// seconds: "a.action.time.total" in all, and "a.action.time.inapp" without the time between
  /// `Config::PauseCollectingLifecycleData` and the next `Config::CollectLifecycleData`.
  static void TrackTimedActionEnd(std::string_view action);

  /// Whether `action` runs after every earlier call has taken effect. False while nothing is
  /// recorded.
  static AsyncOperation<bool> TrackingTimedActionExists(std::string_view action);

  /// The user has become worth `amount` more, in whatever unit the application counts. Records the
  /// sum of all such amounts, which is kept in later runs, in single precision and with two
  /// decimals. A negative amount, and one that takes the sum out of range, is refused.
  static void TrackLifetimeValueIncrease(double amount, const ContextData& data = {});

  /// The user is at this place: `latitude` from -90 to 90 degrees, `longitude` from -180 to 180;
  /// others are refused. Records it with the first point of interest of the configuration file
  /// around it.
  static void TrackLocation(double latitude, double longitude, const ContextData& data = {});

  /// The same when the position is known to within `accuracy` metres; 0 or less when it is not.
  static void TrackLocation(double latitude, double longitude, double accuracy,
                            const ContextData& data = {});

  /// The number of records that wait to be sent, the one under way included. It takes earlier calls
  /// into account, unless that would take longer than 100 ms.
  static std::int32_t GetTrackingQueueSize();

  /// Discards every record that waits to be sent.
  static void ClearTrackingQueue();

  /// The identifier of this installation: the stored one; in the first run the one that the server
  /// assigns, or else a random one.
  static AsyncOperation<std::string> GetAnalyticsId();
};

}  // namespace Veltro
