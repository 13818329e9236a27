#include "api/host_options.h"

#include <mutex>
#include <utility>

#include "core/log.h"
#include "platform/linux/linux_platform.h"

namespace Veltro::Internal {
namespace {

/// What the host has told so far. Made on first use and never destroyed: nothing of it may run when
/// the process ends.
struct Told {
  std::mutex mutex;
  Host::Options options;
  std::optional<WindowSize> window;
  bool optionsAreFinal = false;
};

Told& GetTold() {
  static Told* const told = new Told;
  return *told;
}

std::optional<WindowSize> GetHostWindow() {
  Told& told = GetTold();
  const std::lock_guard lock(told.mutex);
  return told.window;
}

void LogProblem(const std::string& problem) { LogWarning("Config - %s", problem); }

}  // namespace

bool SetHostOptions(Host::Options options) {
  Told& told = GetTold();
  const std::lock_guard lock(told.mutex);
  if (told.optionsAreFinal) return false;
  told.options = std::move(options);
  return true;
}

void SetHostWindow(WindowSize size) {
  Told& told = GetTold();
  const std::lock_guard lock(told.mutex);
  told.window = size;
}

Platform MakeHostPlatform() {
  Told& told = GetTold();
  const std::lock_guard lock(told.mutex);
  told.optionsAreFinal = true;
  const Host::Options& options = told.options;
  return MakeLinuxPlatform({.packageFolder = options.packageFolder,
                            .dataFolder = options.dataFolder,
                            .applicationTitle = options.applicationTitle,
                            .applicationVersion = options.applicationVersion,
                            .deviceManufacturer = options.deviceManufacturer,
                            .deviceModel = options.deviceModel,
                            .targetEdgeDomain = options.targetEdgeDomain,
                            .dryRunCollector = options.dryRunCollector,
                            .caFile = options.caFile,
                            .logSink = options.logSink,
                            .windowSize = GetHostWindow,
                            .onProblem = LogProblem});
}

}  // namespace Veltro::Internal
