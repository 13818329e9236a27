#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "core/settings_store.h"
#include "platform/package.h"
#include "veltro/privacy_status.h"

namespace Veltro::Internal {

/// A named circle on the map.
struct PointOfInterest {
  std::u16string name;
  double latitude = 0;   ///< degrees
  double longitude = 0;  ///< degrees
  double radius = 0;     ///< metres
};

/// The settings that the application ships in its package. Loaded once, then never changes; so
/// every thread may read it.
struct Configuration {
  std::u16string version = u"1.0";      ///< of the file, not of the library
  std::int32_t batchLimit = 0;          ///< hits that are held back before the queue drains
  bool offlineEnabled = false;          ///< keep hits while they cannot be sent
  bool ssl = false;                     ///< https for hits and identifiers
  std::int32_t lifecycleTimeout = 300;  ///< seconds in the background that end a session
  std::u16string charset = u"UTF-8";    ///< named in each hit
  std::string rsids;                    ///< report suite ids, comma-separated
  std::string server;                   ///< collection host, optionally with port
  VeltroPrivacyStatus privacyStatus = VeltroPrivacyStatus::OptIn;  ///< at start
  std::vector<PointOfInterest> pointsOfInterest;                   ///< in file order
  std::int32_t targetTimeout = 2;                                  ///< seconds
  std::string targetClientCode;
  std::string audienceManagerServer;  ///< host name

  /// Whether hits can be built at all.
  bool IsAnalyticsConfigured() const { return !rsids.empty() && !server.empty(); }

  /// Whether there is an audience server to ask.
  bool IsAudienceManagerConfigured() const { return !audienceManagerServer.empty(); }
};

/// Whether Analytics is configured. Logs when it is not.
bool CheckAnalyticsConfigured(const Configuration& config);

/// Reads "VeltroConfig.json" from the package, and the stored privacy status from the settings.
/// Never fails: a file that is missing or broken is logged, and a key that is absent or of another
/// type than it should be leaves its default.
Configuration LoadConfiguration(Package& package, SettingsStore& settings);

/// Makes of `config` that of a dry run: `collector`, "HOST:PORT", is all servers, over http. What
/// the file does not have set up is set up as "dry-run". Logs that it is one.
void DirectToCollector(const std::string& collector, Configuration& config);

}  // namespace Veltro::Internal
