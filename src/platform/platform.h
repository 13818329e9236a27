#pragma once

#include <memory>
#include <string>

#include "platform/clock.h"
#include "platform/debug_output.h"
#include "platform/device_facts.h"
#include "platform/http_transport.h"
#include "platform/local_folder.h"
#include "platform/package.h"
#include "platform/random_source.h"
#include "platform/settings_map.h"

namespace Veltro::Internal {

/// Everything the library asks of the system it runs on: one of each, and what the host has told.
struct Platform {
  std::unique_ptr<Clock> clock;
  std::unique_ptr<DebugOutput> debugOutput;
  std::unique_ptr<DeviceFacts> deviceFacts;
  std::unique_ptr<HttpTransport> httpTransport;
  std::unique_ptr<LocalFolder> localFolder;
  std::unique_ptr<Package> package;
  std::unique_ptr<RandomSource> randomSource;
  std::unique_ptr<SettingsMap> settings;

  /// What follows the client code in the name of the content server, such as ".example" or
  /// ".localhost:8900".
  std::string targetEdgeDomain;

  /// "HOST:PORT" of the collector that plays all servers in a dry run; else empty.
  std::string dryRunCollector;
};

}  // namespace Veltro::Internal
