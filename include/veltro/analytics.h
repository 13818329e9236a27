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
