#pragma once

#include <memory>
#include <string>

#include "api/runtime.h"
#include "fakes/fake_device_facts.h"
#include "fakes/fake_http_transport.h"
#include "fakes/fake_local_folder.h"
#include "fakes/fake_package.h"
#include "fakes/fake_random.h"
#include "fakes/fake_settings.h"
#include "fakes/recording_debug_output.h"
#include "fakes/watched_clock.h"

namespace Veltro::Internal::Testing {

/// The whole library on fakes, which the public functions act for while it runs. Disk and settings
/// outlive the process, which may end, or be killed, and be started again; everything else is new
/// then. The analytics identifier is there from the start.
class FakeApplication {
 public:
  FakeApplication() {
    FakeSettings(settings_).Insert(u"VELTRO_STOREDDEFAULTS_AID", std::u16string(u"AID"));
  }
  ~FakeApplication() { Stop(); }

  /// Starts, at `now`, with this configuration file.
  void Start(std::string config, std::int64_t now = FakeClock::kStart) {
    Stop();
    Platform platform;
    platform.debugOutput = std::make_unique<RecordingDebugOutput>();
    platform.localFolder = std::make_unique<FakeLocalFolder>(disk_);
    platform.randomSource = std::make_unique<FakeRandom>();
    platform.settings = std::make_unique<FakeSettings>(settings_);
    platform.clock.reset(clock_ = new WatchedClock);
    clock_->SetUnixSeconds(now);
    platform.deviceFacts.reset(facts_ = new FakeDeviceFacts);
    platform.httpTransport.reset(http_ = new FakeHttpTransport);
    auto package = std::make_unique<FakePackage>();
    package->files["VeltroConfig.json"] = std::move(config);
    platform.package = std::move(package);
    runtime_ = std::make_unique<Runtime>(std::move(platform));
    Runtime::ReplaceCurrent(runtime_.get());
  }

  void Stop() {
    if (runtime_) Runtime::ReplaceCurrent(nullptr);
    runtime_.reset();
  }

  /// Ends the process without anything that it still does reaching disk or settings.
  void Kill() {
    const auto disk = std::make_shared<FakeDisk>();
    if (auto queue = disk_->Contents(kQueueFile)) disk->Put(kQueueFile, *std::move(queue));
    const auto settings = std::make_shared<FakeSettingsStore>();
    {
      const std::lock_guard lock(settings_->mutex);
      settings->values = settings_->values;
    }
    Stop();
    disk_ = disk;
    settings_ = settings;
  }

  std::string QueueFile() { return disk_->Contents(kQueueFile).value_or(""); }
  void PutQueueFile(std::string text) { disk_->Put(kQueueFile, std::move(text)); }

  Runtime& Library() { return *runtime_; }
  WatchedClock& Time() { return *clock_; }
  FakeDeviceFacts& Device() { return *facts_; }
  FakeHttpTransport& Server() { return *http_; }

 private:
  static constexpr std::string_view kQueueFile = "VeltroDataCache.json";

  std::shared_ptr<FakeDisk> disk_ = std::make_shared<FakeDisk>();
  std::shared_ptr<FakeSettingsStore> settings_ = std::make_shared<FakeSettingsStore>();
  WatchedClock* clock_ = nullptr;  // these live as long as the runtime
  FakeDeviceFacts* facts_ = nullptr;
  FakeHttpTransport* http_ = nullptr;
  std::unique_ptr<Runtime> runtime_;
};

}  // namespace Veltro::Internal::Testing
