#include "platform/linux/linux_platform.h"

#include <memory>
#include <utility>

#include "base/utf.h"
#include "platform/linux/clock_linux.h"
#include "platform/linux/data_folder.h"
#include "platform/linux/debug_output_linux.h"
#include "platform/linux/device_facts_linux.h"
#include "platform/linux/environment.h"
#include "platform/linux/http_transport_curl.h"
#include "platform/linux/local_folder_linux.h"
#include "platform/linux/package_linux.h"
#include "platform/linux/random_linux.h"
#include "platform/linux/settings_sqlite.h"

#ifndef VELTRO_TARGET_EDGE_DOMAIN  // an option of the build
#define VELTRO_TARGET_EDGE_DOMAIN ".edge.veltro.invalid"
#endif

namespace Veltro::Internal {
namespace {

std::unique_ptr<PackageLinux> MakePackage(const LinuxPlatformOptions& options) {
  return std::make_unique<PackageLinux>(options.packageFolder, options.applicationTitle,
                                        options.applicationVersion);
}

std::string Choose(std::string configured, const char* variable, const char* otherwise) {
  if (!configured.empty()) return configured;
  return EnvironmentVariable(variable).value_or(otherwise);
}

}  // namespace

Platform MakeLinuxPlatform(LinuxPlatformOptions options) {
  const std::shared_ptr<PackageLinux> package = MakePackage(options);
  const auto title = [package] { return ToUtf8(package->Title()); };
  Platform platform;
  platform.dryRunCollector = Choose(std::move(options.dryRunCollector), "VELTRO_DRY_RUN", "");
  // What is recorded in a dry run never gets to the servers, nor the other way round.
  const char* const below = platform.dryRunCollector.empty() ? "" : "dry-run";
  auto dataFolder = std::make_shared<DataFolder>(options.dataFolder, title, below);

  platform.clock = std::make_unique<ClockLinux>();
  platform.debugOutput = std::make_unique<DebugOutputLinux>(std::move(options.logSink));
  platform.deviceFacts = std::make_unique<DeviceFactsLinux>(
      DeviceFactsOptions{std::move(options.deviceManufacturer), std::move(options.deviceModel),
                         std::move(options.windowSize)});
  platform.httpTransport = std::make_unique<HttpTransportCurl>(
      HttpTransferCurl::Options{std::move(options.caFile), platform.dryRunCollector.empty()},
      std::make_unique<LocalFolderLinux>(dataFolder), options.onProblem);
  platform.localFolder = std::make_unique<LocalFolderLinux>(dataFolder);
  platform.package = MakePackage(options);
  platform.randomSource = std::make_unique<RandomLinux>();
  platform.settings =
      std::make_unique<SettingsSqlite>(std::move(dataFolder), std::move(options.onProblem));
  platform.targetEdgeDomain = Choose(std::move(options.targetEdgeDomain),
                                     "VELTRO_TARGET_EDGE_DOMAIN", VELTRO_TARGET_EDGE_DOMAIN);
  return platform;
}

}  // namespace Veltro::Internal
