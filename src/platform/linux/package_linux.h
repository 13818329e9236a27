#pragma once

#include <filesystem>
#include <mutex>
#include <string>

#include "platform/package.h"

namespace Veltro::Internal {

/// The folder an application is installed in, with its AppxManifest.xml. The manifest is read once,
/// when title or version are first asked for and the host did not tell both.
class PackageLinux : public Package {
 public:
  /// Uses `folder`, else VELTRO_PACKAGE_DIR, else the folder of the running program. `title` and
  /// `version` ("1.2.3.4"), where not empty, stand in for those of the manifest.
  PackageLinux(std::filesystem::path folder, std::string title, std::string version);

  std::optional<std::string> ReadFile(std::string_view name) override;
  std::u16string Title() override;
  std::array<std::uint16_t, 4> Version() override;

 private:
  struct Facts {
    std::string title;
    std::string version;
    std::string problem;  // why there is no title
  };

  const Facts& ReadFacts();
  Facts ParseManifest();

  const std::filesystem::path folder_;
  const std::string title_;
  const std::string version_;
  std::mutex mutex_;
  std::optional<Facts> facts_;
};

/// The parts of "1.2.3.4"; all 0 for anything but four numbers of at most 65535.
std::array<std::uint16_t, 4> ParseVersion(std::string_view text);

}  // namespace Veltro::Internal
