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

namespace Veltro::Internal::Testing {

/// The fakes of a whole platform.
struct FakePlatform {
  std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
  FakeClock clock;
  RecordingDebugOutput debugOutput;
  FakeDeviceFacts deviceFacts;
  FakeHttpTransport httpTransport;
  FakeLocalFolder localFolder{disk};
  FakePackage package;
  FakeRandom randomSource;
  FakeSettings settings;
};

}  // namespace Veltro::Internal::Testing
