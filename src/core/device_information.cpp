#include "core/device_information.h"

#include <charconv>
#include <cstdint>

#include "base/number_text.h"
#include "base/utf.h"
#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kUnknown = u"Unknown";

std::u16string OrUnknown(const std::u16string& text) {
  return text.empty() ? std::u16string(kUnknown) : text;
}

std::uint64_t ParseUnsigned(std::u16string_view text) {
  const std::string digits = ToUtf8(text);
  std::uint64_t number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc()) throw PlatformError("the device family version is no number");
  return number;
}

}  // namespace

std::u16string DeviceInformation::GetUserAgent() {
  return userAgent_.Get([this] { return MakeUserAgent(); });
}

std::u16string DeviceInformation::GetDeviceName() {
  return OrUnknown(GetManufacturer()) + u" " + OrUnknown(GetModel());
}

std::u16string DeviceInformation::GetResolution() {
  return resolution_.Get([this] { return ReadResolution(); });
}

std::u16string DeviceInformation::GetOsVersion() {
  return osVersion_.Get([this] { return ReadOsVersion(); });
}

std::u16string DeviceInformation::GetApplicationId() {
  return applicationId_.Get([this] { return MakeApplicationId(); });
}

std::u16string DeviceInformation::GetApplicationName() { return GetPackageInformation().title; }

std::u16string DeviceInformation::GetApplicationVersion() {
  const PackageInformation& package = GetPackageInformation();
  return package.major + u"." + package.minor + u"." + package.revision;
}

std::u16string DeviceInformation::GetApplicationBuild() { return GetPackageInformation().build; }

std::u16string DeviceInformation::GetTimeZoneField() {
  return timeZoneField_.Get(
      [this] { return u"00/00/0000 00:00:00 0 " + DecimalText(clock_.TimeZoneBiasMinutes()); });
}

std::u16string DeviceInformation::GetLanguageTag() {
  return languageTag_.Get([this] { return facts_.LanguageTag(); });
}

StringMap DeviceInformation::GetDefaultContextData() {
  return defaultContextData_.Get([this] {
    return StringMap{{u"a.AppID", GetApplicationId()},
                     {u"a.CarrierName", GetCarrierName()},
                     {u"a.DeviceName", GetDeviceName()},
                     {u"a.OSVersion", u"Windows " + GetOsVersion()},
                     {u"a.Resolution", GetResolution()}};
  });
}

const DeviceInformation::PackageInformation& DeviceInformation::GetPackageInformation() {
  return packageInformation_.Get([this] { return ReadPackage(); });
}

const std::u16string& DeviceInformation::GetManufacturer() {
  return manufacturer_.Get([this] { return facts_.Manufacturer(); });
}

const std::u16string& DeviceInformation::GetModel() {
  return model_.Get([this] { return facts_.Model(); });
}

DeviceInformation::PackageInformation DeviceInformation::ReadPackage() {
  const auto [major, minor, build, revision] = package_.Version();
  return {ReadTitle(), DecimalText(major), DecimalText(minor), DecimalText(build),
          DecimalText(revision)};
}

std::u16string DeviceInformation::ReadTitle() {
  try {
    return package_.Title();
  } catch (const PlatformError& error) {
    LogError("Analytics - Unable to read AppxManifest file to obtain Application name (%s)",
             error.what());
    return std::u16string(kUnknown);
  }
}

std::u16string DeviceInformation::ReadOsVersion() {
  const std::uint64_t version = ParseUnsigned(facts_.DeviceFamilyVersion());
  return DecimalText(static_cast<std::int64_t>(version >> 48)) + u"." +
         DecimalText(static_cast<std::int64_t>((version >> 32) & 0xFFFF));
}

std::u16string DeviceInformation::ReadResolution() {
  const std::optional<WindowSize> window = facts_.Window();
  if (!window) return std::u16string(kUnknown);
  return FixedText(window->width, 0) + u"x" + FixedText(window->height, 0);
}

std::u16string DeviceInformation::MakeApplicationId() {
  return GetApplicationName() + u" " + GetApplicationVersion() + u" (" + GetApplicationBuild() +
         u")";
}

std::u16string DeviceInformation::MakeUserAgent() {
  // The desktop form claims a 64-bit processor whatever the device is: receivers know it so.
  std::u16string agent = u"Mozilla/5.0 (Windows ";
  if (facts_.DeviceFamily() == u"Windows.Mobile") {
    agent += u"Phone " + GetOsVersion() + u"; Android 4.2.1";
  } else {
    agent += u"NT " + GetOsVersion() + u"; Win64; x64";
  }
  agent += u"; Trident/7.0; Touch; rv:11.0";
  const std::u16string& manufacturer = GetManufacturer();
  if (manufacturer == u"Microsoft") {
    agent += u"; Microsoft Corporation";
  } else if (!manufacturer.empty()) {
    agent += u"; " + manufacturer;
  }
  if (!GetModel().empty()) agent += u"; " + GetModel();
  return agent + u") like Gecko";
}

}  // namespace Veltro::Internal
