#pragma once

#include <string>

#include "base/lazy.h"
#include "base/string_map.h"
#include "platform/clock.h"
#include "platform/device_facts.h"
#include "platform/package.h"

namespace Veltro::Internal {

/// Describes the device and the host application in the texts that hits and requests carry. Each is
/// computed on first use, kept for the life of the object and never refreshed. Safe to use from any
/// thread. When the platform fails, the getter throws `PlatformError` and the next call tries
/// again.
class DeviceInformation {
 public:
  DeviceInformation(DeviceFacts& facts, Package& package, Clock& clock)
      : facts_(facts), package_(package), clock_(clock) {}

  /// A browser-style user agent that names the device.
  std::u16string GetUserAgent();

  /// Manufacturer, a blank, model; "Unknown" for each that is not known.
  std::u16string GetDeviceName();

  /// The window's width, "x" and height in whole pixels as found on the first call; "Unknown" when
  /// there was no window then.
  std::u16string GetResolution();

  /// Major and minor version of the operating system, such as "10.0".
  std::u16string GetOsVersion();

  /// Always empty.
  std::u16string GetCarrierName() { return {}; }

  /// Name, version and build of the application, such as "Demo 1.2.4 (3)".
  std::u16string GetApplicationId();

  /// The application's title, "Unknown" when the package does not tell.
  std::u16string GetApplicationName();

  /// Major, minor and revision; the build number is not part of it.
  std::u16string GetApplicationVersion();
  std::u16string GetApplicationBuild();

  /// The hit's time parameter: zeros for date and time, then the time-zone bias in minutes.
  std::u16string GetTimeZoneField();

  /// The user's language as a BCP 47 tag.
  std::u16string GetLanguageTag();

  /// The entries "a.DeviceName", "a.Resolution", "a.OSVersion", "a.CarrierName" and "a.AppID".
  StringMap GetDefaultContextData();

 private:
  struct PackageInformation {
    std::u16string title, major, minor, build, revision;
  };

  const PackageInformation& GetPackageInformation();
  const std::u16string& GetManufacturer();
  const std::u16string& GetModel();
  PackageInformation ReadPackage();
  std::u16string ReadTitle();
  std::u16string ReadOsVersion();
  std::u16string ReadResolution();
  std::u16string MakeApplicationId();
  std::u16string MakeUserAgent();

  DeviceFacts& facts_;
  Package& package_;
  Clock& clock_;
  Lazy<PackageInformation> packageInformation_;
  Lazy<StringMap> defaultContextData_;
  Lazy<std::u16string> manufacturer_, model_, osVersion_, resolution_, applicationId_, userAgent_,
      timeZoneField_, languageTag_;
};

}  // namespace Veltro::Internal
