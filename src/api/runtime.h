#pragma once

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "analytics/hit_queue.h"
#include "analytics/hit_sender.h"
#include "analytics/hit_store.h"
#include "analytics/timed_action_table.h"
#include "analytics/tracker.h"
#include "base/lazy.h"
#include "config/configuration.h"
#include "config/privacy.h"
#include "core/device_information.h"
#include "core/identifiers.h"
#include "core/last_lifecycle_data.h"
#include "core/settings_store.h"
#include "core/work_queue.h"
#include "lifecycle/lifecycle.h"
#include "platform/platform.h"
#include "target/persistent_parameters.h"

namespace Veltro::Internal {

/// The whole library, wired together: one of every object, each made on first use from the objects
/// it needs. The functions below are the wiring diagram.
///
/// The product has one runtime, `Current()`, made on first use and never destroyed. Tests make as
/// many as they like, each on a platform of its own.
class Runtime {
 public:
  explicit Runtime(Platform platform);

  /// Finishes the work that was accepted, cancels the request under way and ends all threads.
  ~Runtime() = default;

  /// The runtime that the entry points use. The first call makes the one of the product, unless a
  /// test has put another in its place.
  static Runtime& Current();

  /// Puts `runtime` in the place of the current one and returns the one before, either null. For
  /// tests, which then call the public functions as an application does.
  static Runtime* ReplaceCurrent(Runtime* runtime);

  /// The current runtime when there is one.
  static Runtime* Peek();

  /// The queue on which the entry points' work runs, in call order.
  WorkQueue& SharedQueue() { return sharedQueue_; }

  const Configuration& GetConfiguration();
  SettingsStore& GetSettings();
  DeviceInformation& GetDeviceInformation();
  Identifiers& GetIdentifiers();
  Privacy& GetPrivacy();
  HitStore& GetHitStore();
  HitSender& GetHitSender();
  HitQueue& GetHitQueue();
  Tracker& GetTracker();
  TimedActionTable& GetTimedActions();
  Lifecycle& GetLifecycle();
  LastLifecycleData& GetLastLifecycleData() { return lastLifecycleData_; }
  PersistentParameters& GetPersistentParameters() { return persistentParameters_; }

  /// Runs `track(runtime)` on the shared queue, provided that hits may be made when its turn comes.
  template <class Track>
  void PostTracking(Track track) {
    sharedQueue_.Post([this, track = std::move(track)]() mutable {
      if (MayTrack(GetConfiguration(), GetPrivacy())) track(*this);
    });
  }

  /// The number of queued hits after every earlier call has taken effect, which is waited for up to
  /// `timeout`; failing that, the number as of now.
  std::size_t QueuedHitCount(std::chrono::milliseconds timeout);

  /// The custom visitor identifier as last applied. Waits for the settings to be loaded, up to
  /// `timeout`; failing that it is empty.
  std::u16string VisitorId(std::chrono::milliseconds timeout);

  /// The user's lifetime value as last applied. Waits for the settings to be loaded, up to
  /// `timeout`; failing that it is 0.
  float LifetimeValue(std::chrono::milliseconds timeout);

  /// Makes the hits tracked so far proof against a loss of power.
  void SyncHits();

  /// Sends the queue after every accepted call has taken effect and is on disk.
  HitSender::DrainResult Flush(std::chrono::milliseconds timeout);

  /// Whether every accepted call has taken effect and is on disk within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout);

 private:
  /// Sends log lines to an output for as long as it lives.
  struct LogRoute {
    explicit LogRoute(DebugOutput& output);
    ~LogRoute();
  };

  void RunOnSharedQueue(WorkQueue::Item item, std::chrono::milliseconds timeout);
  std::optional<std::string> IdentifierUrl();
  void OnPrivacySet(VeltroPrivacyStatus status);
  void OnLaunch(StringMap data, std::int32_t timestamp);

  // In the order of need: each object uses only those above it, and goes down before them.
  const Platform platform_;
  const LogRoute logRoute_;
  LastLifecycleData lastLifecycleData_;
  PersistentParameters persistentParameters_;
  Lazy<SettingsStore> settings_;
  Lazy<Configuration> configuration_;
  Lazy<DeviceInformation> deviceInformation_;
  Lazy<Privacy> privacy_;
  Lazy<Identifiers> identifiers_;
  Lazy<HitStore> hitStore_;
  Lazy<HitSender> hitSender_;
  Lazy<HitQueue> hitQueue_;
  Lazy<Tracker> tracker_;
  Lazy<TimedActionTable> timedActions_;
  Lazy<Lifecycle> lifecycle_;
  WorkQueue sharedQueue_;
};

}  // namespace Veltro::Internal
