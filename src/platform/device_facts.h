#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace Veltro::Internal {

struct WindowSize {
  double width = 0;
  double height = 0;
};

/// What the system and the application tell about the device. Safe to use from any thread. A fact
/// that nobody tells is empty.
class DeviceFacts {
 public:
  virtual ~DeviceFacts() = default;

  virtual std::u16string Manufacturer() = 0;
  virtual std::u16string Model() = 0;

  /// The kind of device, such as "Linux.Desktop".
  virtual std::u16string DeviceFamily() = 0;

  /// The system's version as the decimal text of a 64-bit number, whose four 16-bit parts are
  /// major, minor, build and revision, major uppermost.
  virtual std::u16string DeviceFamilyVersion() = 0;

  /// The application window's size, when there is one.
  virtual std::optional<WindowSize> Window() = 0;

  /// The user's current language as a BCP 47 tag, such as "en-US".
  virtual std::u16string LanguageTag() = 0;

  /// Whether a request to `host` (a name or an address, without port) has a chance: an interface
  /// other than loopback is up with an address, or `host` is this machine itself. Asks nobody.
  virtual bool IsNetworkReachable(std::string_view host) = 0;
};

}  // namespace Veltro::Internal
