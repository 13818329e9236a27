#pragma once

#include <string>

#include "config/configuration.h"
#include "config/send_policy.h"
#include "core/last_lifecycle_data.h"
#include "core/settings_store.h"
#include "platform/clock.h"
#include "platform/http_transport.h"
#include "target/content_ids.h"
#include "target/persistent_parameters.h"
#include "veltro/target_location_request.h"

namespace Veltro::Internal {

/// Asks the content server what to show in named places of the application. Safe to use from any
/// thread; requests may overlap.
class ContentLoader {
 public:
  /// What a request is made of, besides the request itself.
  struct Sources {
    const Configuration& config;
    const SendPolicy& policy;
    SettingsStore& settings;
    PersistentParameters& persistentParameters;
    const LastLifecycleData& lifecycleData;
    Clock& clock;
  };

  /// `host` is the content server's name, and port where that is not 80.
  ContentLoader(const Sources& sources, std::string host, HttpTransport& transport);

  /// The content of the request's location. Waits for the answer, up to `targetTimeout` of the
  /// configuration, so call it on a worker. Yields the default content when there is no answer, or
  /// an empty one, with a line in the log that says why, and "" when Target is not configured.
  std::string LoadRequest(const TargetLocationRequest& request);

  /// The server's identifiers of the user, as far as they are in memory.
  ContentIds::Values GetIds() const { return ids_.InMemory(); }

  /// Forgets these identifiers. Throws `PlatformError` when the settings fail.
  void ClearStoredIds();

 private:
  std::string LocationsUrl() const;
  void AddLifetimeValue();
  std::string Fetch(const TargetLocationRequest& request);
  std::string BuildUrl(const TargetLocationRequest& request, const ContentIds::Values& ids);

  const Sources sources_;
  const std::string host_;
  HttpTransport& transport_;
  ContentIds ids_;
};

}  // namespace Veltro::Internal
