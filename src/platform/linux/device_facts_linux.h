#pragma once

#include <functional>
#include <string>

#include "platform/device_facts.h"

namespace Veltro::Internal {

/// What the host application may tell about the device in the system's stead.
struct DeviceFactsOptions {
  std::string manufacturer;  ///< UTF-8; empty: ask the system
  std::string model;         ///< UTF-8; empty: ask the system
  std::function<std::optional<WindowSize>()> window;
};

/// Facts from the firmware's tables (DMI), the kernel and the environment.
class DeviceFactsLinux : public DeviceFacts {
 public:
  explicit DeviceFactsLinux(DeviceFactsOptions options) : options_(std::move(options)) {}

  std::u16string Manufacturer() override;
  std::u16string Model() override;
  std::u16string DeviceFamily() override;

  /// The kernel's major and minor version.
  std::u16string DeviceFamilyVersion() override;
  std::optional<WindowSize> Window() override;

  /// The language of LC_ALL, LC_MESSAGES or LANG, whichever is set first; "en-US" without.
  std::u16string LanguageTag() override;
  bool IsNetworkReachable(std::string_view host) override;

 private:
  const DeviceFactsOptions options_;
};

/// A text of the firmware without surrounding blanks; empty for what makers leave in when they fill
/// in nothing.
std::string CleanFirmwareText(std::string_view text);

/// Major and minor of a kernel release such as "6.1.0-13-amd64", uppermost in 64 bits.
std::uint64_t FamilyVersionOf(std::string_view release);

/// The BCP 47 tag of a locale name such as "de_DE.UTF-8@euro"; "en-US" for "C", "POSIX" and names
/// of no known form.
std::string LanguageTagOf(std::string_view locale);

/// Whether `host` is this machine by its loopback name or address.
bool IsLoopbackHost(std::string_view host);

}  // namespace Veltro::Internal
