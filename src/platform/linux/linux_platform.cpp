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

std::string EdgeDomain(std::string configured) {
  if (!configured.empty()) return configured;
  return EnvironmentVariable("VELTRO_TARGET_EDGE_DOMAIN").value_or(VELTRO_TARGET_EDGE_DOMAIN);
}

std::string DryRunCollector(std::string configured) {
  if (!configured.empty()) return configured;
  return EnvironmentVariable("VELTRO_DRY_RUN").value_or("");
}

}  // namespace

Platform MakeLinuxPlatform(LinuxPlatformOptions options) {
  const auto title = [options] { return ToUtf8(MakePackage(options)->Title()); };
  Platform platform;
  platform.dryRunCollector = DryRunCollector(std::move(options.dryRunCollector));
  // What is recorded in a dry run never gets to the servers, nor the other way round.
  const char* const below = platform.dryRunCollector.empty() ? "" : "dry-run";
  auto dataFolder = std::make_shared<DataFolder>(options.dataFolder, title, below);

  platform.clock = std::make_unique<ClockLinux>();
  platform.debugOutput = std::make_unique<DebugOutputLinux>(std::move(options.logSink));
  platform.deviceFacts = std::make_unique<DeviceFactsLinux>(
      DeviceFactsOptions{std::move(options.deviceManufacturer), std::move(options.deviceModel),
                         std::move(options.windowSize)});
  platform.httpTransport = std::make_unique<HttpTransportCurl>(
      std::move(options.caFile), std::make_unique<LocalFolderLinux>(dataFolder), options.onProblem);
  platform.localFolder = std::make_unique<LocalFolderLinux>(dataFolder);
  platform.package = MakePackage(options);
  platform.randomSource = std::make_unique<RandomLinux>();
  platform.settings =
      std::make_unique<SettingsSqlite>(std::move(dataFolder), std::move(options.onProblem));
  platform.targetEdgeDomain = EdgeDomain(std::move(options.targetEdgeDomain));
  return platform;
}

}  // namespace Veltro::Internal
