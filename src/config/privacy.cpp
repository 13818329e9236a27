#include "config/privacy.h"

#include <utility>

#include "core/log.h"

namespace Veltro::Internal {

Privacy::Privacy(const Configuration& config, SettingsStore& settings, Listener listener)
    : config_(config),
      settings_(settings),
      listener_(std::move(listener)),
      status_(config.privacyStatus) {}

void Privacy::Set(VeltroPrivacyStatus status) {
  if (status == VeltroPrivacyStatus::Unknown && !config_.offlineEnabled) {
    return LogWarning(
        "Analytics - Cannot set privacy status to unknown when offline tracking is disabled.");
  }
  status_ = status;
  switch (status) {
    case VeltroPrivacyStatus::OptIn:
    case VeltroPrivacyStatus::OptOut:
    case VeltroPrivacyStatus::Unknown:
      settings_.Write(kPrivacyStatusKey, static_cast<std::int32_t>(status));
      break;
    default:
      LogWarning("Analytics - Invalid privacy status was ignored (%d)",
                 static_cast<std::int32_t>(status));
  }
  listener_(status);
}

SendPermission Privacy::Permission() const {
  switch (status_.load()) {
    case VeltroPrivacyStatus::OptIn:
      return SendPermission::Send;
    case VeltroPrivacyStatus::OptOut:
      return SendPermission::Refuse;
    default:
      return SendPermission::Hold;
  }
}

bool MayTrack(const Configuration& config, const SendPolicy& policy) {
  if (!CheckAnalyticsConfigured(config)) return false;
  if (policy.Permission() == SendPermission::Refuse) {
    LogDebug("Analytics - Ignoring hit due to privacy status being opted out");
    return false;
  }
  return true;
}

}  // namespace Veltro::Internal
