#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "platform/platform.h"

namespace Veltro::Internal {

/// What the host application may tell about itself. Texts are UTF-8; empty ones and missing
/// functions leave the choice to the environment and the system. The functions are called on the
/// library's threads.
struct LinuxPlatformOptions {
  std::filesystem::path packageFolder;  ///< else VELTRO_PACKAGE_DIR, else the program's folder
  std::filesystem::path dataFolder;     ///< else VELTRO_DATA_DIR, else one of the user's own
  std::string applicationTitle;         ///< else the manifest's
  std::string applicationVersion;       ///< "1.2.3.4"; else the manifest's
  std::string deviceManufacturer;
  std::string deviceModel;
  std::string targetEdgeDomain;                   ///< else VELTRO_TARGET_EDGE_DOMAIN, else built in
  std::string dryRunCollector;                    ///< else VELTRO_DRY_RUN, else no dry run
  std::string caFile;                             ///< trusted certificate authorities, PEM
  std::function<void(std::string_view)> logSink;  ///< gets log lines; else standard error
  std::function<std::optional<WindowSize>()> windowSize;

  /// Gets a text when something goes wrong of which no caller is told.
  std::function<void(const std::string&)> onProblem;
};

/// The platform on this Linux system. Making it touches no file and starts no thread: each part
/// does so when it is first used.
Platform MakeLinuxPlatform(LinuxPlatformOptions options);

}  // namespace Veltro::Internal
