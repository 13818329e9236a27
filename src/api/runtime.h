#pragma once

#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "analytics/hit_queue.h"
#include "analytics/hit_sender.h"
#include "analytics/hit_store.h"
#include "analytics/timed_action_table.h"
#include "analytics/tracker.h"
#include "audience/destination_forwarder.h"
#include "audience/skaipra.h"
#include "audience/visitor_profile.h"
#include "base/lazy.h"
#include "config/configuration.h"
#include "config/privacy.h"
#include "core/device_information.h"
#include "core/identifiers.h"
#include "core/last_lifecycle_data.h"
#include "core/settings_store.h"
#include "core/thread_pool.h"
#include "core/work_queue.h"
#include "lifecycle/lifecycle.h"
#include "media/media_tracker.h"
#include "platform/platform.h"
#include "target/content_loader.h"
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
  VisitorProfile& GetVisitorProfile();
  DestinationForwarder& GetDestinationForwarder();
  Skaipra& GetSkaipra();
  ContentLoader& GetContentLoader();
  MediaTracker& GetMedia();
  LastLifecycleData& GetLastLifecycleData() { return lastLifecycleData_; }
  PersistentParameters& GetPersistentParameters() { return persistentParameters_; }

  /// Whether everything goes to a collector of the developer's.
  bool IsDryRun() const { return !platform_.dryRunCollector.empty(); }

  /// Runs `track(runtime)` on the shared queue, provided that hits may be made when its turn comes.
  template <class Track>
  void PostTracking(Track track) {
    sharedQueue_.PostSoon(Guarded(std::move(track)));
  }

  /// The same for a question whose answer somebody awaits.
  template <class Question>
  void PostTrackingQuestion(Question question) {
    sharedQueue_.Post(Guarded(std::move(question)));
  }

  /// Runs `report(media)` on the media queue, provided that Analytics is configured.
  template <class Report>
  void PostMedia(Report report) {
    mediaQueue_.Post([this, report = std::move(report)] {
      if (CheckAnalyticsConfigured(GetConfiguration())) report(GetMedia());
    });
  }

  /// The same before it returns, unless that would overtake an earlier report or has to wait for
  /// the configuration to be loaded.
  template <class Change>
  void ChangeMedia(Change change) {
    const Configuration* const config = configuration_.Peek();
    if (config == nullptr || !mediaQueue_.IsDone()) return PostMedia(std::move(change));
    if (CheckAnalyticsConfigured(*config)) change(GetMedia());
  }

  /// Run `request(runtime)`, which may wait for the network, on a thread of a pool, after every
  /// earlier call has taken effect.
  template <class Request>
  void PostSignal(Request request) {
    PostTo(signals_, std::move(request));
  }
  template <class Request>
  void PostContentRequest(Request request) {
    PostTo(contentRequests_, std::move(request));
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

  /// The user's profile as last received. Waits for it to be loaded, up to `timeout`; failing that
  /// it is empty.
  StringMap StoredProfile(std::chrono::milliseconds timeout);

  /// The identifiers of the user that are in memory; touch neither settings nor disk.
  std::u16string Dpid() const;
  std::u16string Dpuuid() const;
  ContentIds::Values LoadedContentIds() const;

  /// Forgets the user: removes what is recorded, in memory and on disk, all identifiers, the
  /// profile, cookies and settings, but not the privacy status. Whether all of it is gone. To be
  /// called on the shared queue.
  bool Purge();

  /// Makes the hits tracked so far proof against a loss of power.
  void SyncHits();

  /// Sends the queue after every accepted call has taken effect and is on disk.
  HitSender::DrainResult Flush(std::chrono::milliseconds timeout);

  /// Whether every accepted call has taken effect and is on disk within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout);

  /// The same at the end of the process, when other libraries may be about to clean up after
  /// themselves: nobody but signals and content requests is at the network any more. Goes on taking
  /// calls. Returns what is left of `timeout`.
  std::chrono::milliseconds SaveForExit(std::chrono::milliseconds timeout);

 private:
  /// How many signals, and how many content requests, run side by side.
  static constexpr std::size_t kMaxRequests = 32;

  /// Sends log lines to an output for as long as it lives.
  struct LogRoute {
    explicit LogRoute(DebugOutput& output);
    ~LogRoute();
  };

  /// Ends the requests under way when it goes, so that nobody waits for them any longer.
  struct NetworkStop {
    Runtime& runtime;
    ~NetworkStop() { runtime.StopNetwork(); }
  };

  template <class Track>
  auto Guarded(Track track) {
    return [this, track = std::move(track)]() mutable {
      if (MayTrack(GetConfiguration(), GetPrivacy())) track(*this);
    };
  }

  template <class Request>
  void PostTo(ThreadPool& pool, Request request) {
    sharedQueue_.Post([this, &pool, request = std::move(request)]() mutable {
      PostUnlessPurged(pool, std::move(request));
    });
  }

  /// To be called on the shared queue. A request that waits in the pool at a purge is dropped.
  template <class Request>
  void PostUnlessPurged(ThreadPool& pool, Request request) {
    pool.Post([this, purges = purges_.load(), request = std::move(request)] {
      if (purges == purges_) request(*this);
    });
  }

  void RunOnSharedQueue(WorkItem item, std::chrono::milliseconds timeout);
  Configuration MakeConfiguration();
  std::string ContentHost();
  std::optional<std::string> IdentifierUrl();
  void OnPrivacySet(VeltroPrivacyStatus status);
  void OnLaunch(StringMap data, std::int32_t timestamp);
  void OnSignal(StringMap traits);
  void OnMedia(StringMap data, std::int32_t timestamp);
  std::chrono::milliseconds MonitorMedia();
  void StopRequests();
  bool WaitUntilRequestsEnded(std::chrono::milliseconds timeout);
  void StopNetwork();

  std::atomic<std::uint32_t> purges_ = 0;

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
  Lazy<VisitorProfile> visitorProfile_;
  Lazy<DestinationForwarder> destinationForwarder_;
  Lazy<Skaipra> skaipra_;
  Lazy<ContentLoader> contentLoader_;
  ThreadPool signals_{kMaxRequests};
  ThreadPool contentRequests_{kMaxRequests};
  const NetworkStop networkStop_{*this};
  WorkQueue sharedQueue_;
  Lazy<MediaTracker> media_;
  WorkQueue mediaQueue_{[this] { return MonitorMedia(); }};
};

}  // namespace Veltro::Internal
