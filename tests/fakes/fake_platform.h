#pragma once

#include <memory>

#include "fakes/fake_clock.h"
#include "fakes/fake_device_facts.h"
#include "fakes/fake_http_transport.h"
#include "fakes/fake_local_folder.h"
#include "fakes/fake_package.h"
#include "fakes/fake_random.h"
#include "fakes/fake_settings.h"
#include "fakes/recording_debug_output.h"
#include "platform/platform.h"

namespace Veltro::Internal::Testing {

/// A whole platform of fakes. A test hands `platform` to the unit and keeps its hold on the fakes,
/// which live as long as the owner of `platform`. A second one made with the `disk` and
/// `settingsStore` of the first is the same device after a restart.
struct FakePlatform {
  explicit FakePlatform(
      std::shared_ptr<FakeDisk> diskToUse = std::make_shared<FakeDisk>(),
      std::shared_ptr<FakeSettingsStore> settingsToUse = std::make_shared<FakeSettingsStore>())
      : disk(std::move(diskToUse)),
        settingsStore(std::move(settingsToUse)),
        clock(Own(platform.clock, std::make_unique<FakeClock>())),
        debugOutput(Own(platform.debugOutput, std::make_unique<RecordingDebugOutput>())),
        deviceFacts(Own(platform.deviceFacts, std::make_unique<FakeDeviceFacts>())),
        httpTransport(Own(platform.httpTransport, std::make_unique<FakeHttpTransport>())),
        localFolder(Own(platform.localFolder, std::make_unique<FakeLocalFolder>(disk))),
        package(Own(platform.package, std::make_unique<FakePackage>())),
        randomSource(Own(platform.randomSource, std::make_unique<FakeRandom>())),
        settings(Own(platform.settings, std::make_unique<FakeSettings>(settingsStore))) {}

  FakePlatform(const FakePlatform&) = delete;
  FakePlatform& operator=(const FakePlatform&) = delete;

  Platform platform;
  std::shared_ptr<FakeDisk> disk;
  std::shared_ptr<FakeSettingsStore> settingsStore;
  FakeClock& clock;
  RecordingDebugOutput& debugOutput;
  FakeDeviceFacts& deviceFacts;
  FakeHttpTransport& httpTransport;
  FakeLocalFolder& localFolder;
  FakePackage& package;
  FakeRandom& randomSource;
  FakeSettings& settings;

 private:
  template <class Seam, class Fake>
  static Fake& Own(std::unique_ptr<Seam>& slot, std::unique_ptr<Fake> fake) {
    Fake& reference = *fake;
    slot = std::move(fake);
    return reference;
  }
};

}  // namespace Veltro::Internal::Testing
