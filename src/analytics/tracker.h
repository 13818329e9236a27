#pragma once

#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

#include "analytics/hit_queue.h"
#include "base/string_map.h"
#include "config/configuration.h"
#include "config/privacy.h"
#include "core/device_information.h"
#include "core/identifiers.h"
#include "core/last_lifecycle_data.h"
#include "core/settings_store.h"
#include "platform/clock.h"
#include "platform/random_source.h"

namespace Veltro::Internal {

/// Turns tracking calls into hits and hands them to the queue. Whether a call may track at all is
/// decided before it gets here. Safe to use from any worker; the first hit may wait for the server
/// that assigns the analytics identifier.
///
/// Context data is a map of texts whose keys need not be clean. A key longer than two characters
/// that begins with "&&" is a variable of the hit by the rest of its name.
class Tracker {
 public:
  /// What a tracker draws on.
  struct Sources {
    const Configuration& config;
    const Privacy& privacy;
    SettingsStore& settings;
    Identifiers& identifiers;
    DeviceInformation& device;
    const LastLifecycleData& lifecycleData;
    RandomSource& random;
    Clock& clock;
  };

  Tracker(const Sources& sources, HitQueue& queue) : sources_(sources), queue_(queue) {}

  /// The user sees `state`, a screen or page; the application identifier stands for an empty name.
  void TrackState(std::u16string_view state, StringMap data);

  /// The user did `action`.
  void TrackAction(std::u16string_view action, StringMap data);

  /// The library itself reports `action` ("None" when empty), which happened at `timestamp`
  /// (seconds since 1970-01-01 UTC) when that is 1 or more, else now.
  void TrackInternalAction(std::u16string_view action, StringMap data, std::int32_t timestamp);

  /// The path all hits take: completes context data and variables, where the caller's entries win,
  /// builds the hit and queues it.
  void BuildAndQueueHit(StringMap data, StringMap variables, std::int32_t timestamp);

 private:
  std::int32_t Now();
  void TrackLink(std::u16string_view prefix, std::u16string_view action, StringMap data,
                 std::int32_t timestamp);
  void CompleteVariables(StringMap& variables, std::int32_t timestamp);
  std::string NextRandomPart();

  const Sources sources_;
  HitQueue& queue_;
  std::mutex mutex_;
  std::uint32_t hitCounter_ = 0;
};

}  // namespace Veltro::Internal
