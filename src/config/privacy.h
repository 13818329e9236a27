#pragma once

#include <atomic>
#include <functional>
#include <string_view>

#include "config/configuration.h"
#include "config/send_policy.h"
#include "core/settings_store.h"

namespace Veltro::Internal {

/// The setting that keeps the privacy status between runs, an Int32.
inline constexpr std::u16string_view kPrivacyStatusKey = u"PrivacyStatus";

/// The privacy status, which gates all collecting and sending. Owns the status and its setting;
/// knows nothing of queues: whoever must act on a change is told through the listener.
///
/// The status may be read from any thread; `Set` is called by one thread at a time.
class Privacy : public SendPolicy {
 public:
  /// Called after each `Set` that was not refused, on the thread of the setter.
  using Listener = std::function<void(VeltroPrivacyStatus)>;

  Privacy(const Configuration& config, SettingsStore& settings, Listener listener);

  VeltroPrivacyStatus Status() const { return status_.load(); }

  /// Changes the status and stores it. Unknown is refused with a warning while offline tracking is
  /// off. A value outside the enumeration holds for this run, in which nothing is sent then, and is
  /// not stored. Throws `PlatformError` when the settings fail.
  void Set(VeltroPrivacyStatus status);

  SendPermission Permission() const override;

 private:
  const Configuration& config_;
  SettingsStore& settings_;
  const Listener listener_;
  std::atomic<VeltroPrivacyStatus> status_;
};

/// Whether hits may be made now: Analytics is configured and the user has not opted out. Logs why
/// not.
bool MayTrack(const Configuration& config, const SendPolicy& policy);

}  // namespace Veltro::Internal
