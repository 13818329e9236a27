#pragma once

#include <functional>
#include <map>

#include "platform/package.h"
#include "platform/platform_error.h"

namespace Veltro::Internal::Testing {

/// An application package in memory. Set it up before other threads use it.
class FakePackage : public Package {
 public:
  std::map<std::string, std::string, std::less<>> files;
  std::u16string title = u"Shop";
  std::array<std::uint16_t, 4> version{1, 2, 3, 4};
  bool titleFails = false;  ///< `Title` throws, as without a manifest
  bool filesFail = false;   ///< `ReadFile` throws, as for a file that may not be read

  std::optional<std::string> ReadFile(std::string_view name) override {
    if (filesFail) throw PlatformError("open " + std::string(name) + ": Permission denied");
    const auto found = files.find(name);
    return found == files.end() ? std::nullopt : std::optional(found->second);
  }

  std::u16string Title() override {
    if (titleFails) throw PlatformError("open AppxManifest.xml: No such file or directory");
    return title;
  }

  std::array<std::uint16_t, 4> Version() override { return version; }
};

}  // namespace Veltro::Internal::Testing
