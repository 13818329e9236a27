#pragma once

#include <atomic>

#include "platform/device_facts.h"

namespace Veltro::Internal::Testing {

/// A device made of plain fields. Set them before other threads use it; `networkReachable` may
/// change at any time.
class FakeDeviceFacts : public DeviceFacts {
 public:
  std::u16string manufacturer = u"Acme";
  std::u16string model = u"Anvil";
  std::u16string deviceFamily = u"Linux.Desktop";
  std::u16string deviceFamilyVersion = u"1688854155231232";  // 6.1
  std::optional<WindowSize> window = WindowSize{1024, 768};
  std::u16string languageTag = u"en-US";
  std::atomic<bool> networkReachable = true;

  std::u16string Manufacturer() override { return manufacturer; }
  std::u16string Model() override { return model; }
  std::u16string DeviceFamily() override { return deviceFamily; }
  std::u16string DeviceFamilyVersion() override { return deviceFamilyVersion; }
  std::optional<WindowSize> Window() override { return window; }
  std::u16string LanguageTag() override { return languageTag; }
  bool IsNetworkReachable(std::string_view) override { return networkReachable; }
};

}  // namespace Veltro::Internal::Testing
