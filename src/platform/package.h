#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Veltro::Internal {

/// The installed application package: its read-only files, title and version. Safe to use from any
/// thread. Operations throw `PlatformError` when something is there but cannot be read.
class Package {
 public:
  virtual ~Package() = default;

  /// The whole contents of a file in the package folder, or nothing when there is no such file.
  virtual std::optional<std::string> ReadFile(std::string_view name) = 0;

  /// The application's display name. Throws when the package does not tell.
  virtual std::u16string Title() = 0;

  /// Major, minor, build and revision; all 0 when the package does not tell.
  virtual std::array<std::uint16_t, 4> Version() = 0;
};

}  // namespace Veltro::Internal
