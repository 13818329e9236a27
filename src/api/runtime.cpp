#include "api/runtime.h"

#include <algorithm>
#include <atomic>
#include <future>
#include <memory>
#include <mutex>
#include <utility>

#include "api/host_options.h"
#include "base/url_host.h"
#include "core/log.h"
#include "platform/linux/forked_child.h"
#include "platform/linux/process_end.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

/// The most that the end of the process waits for accepted calls to reach the disk.
constexpr std::chrono::milliseconds kExitTimeout{250};

constinit std::atomic<Runtime*> current{nullptr};
constinit std::mutex currentMutex;

/// The most that each part of a purge waits for the disk.
constexpr std::chrono::milliseconds kPurgeTimeout{5000};

void RequireGone(bool areGone, const char* what) {
  if (!areGone) throw PlatformError(std::string(what) + " may still be on disk");
}

/// A time-out that several waits share.
class Deadline {
 public:
  Deadline(Clock& clock, std::chrono::milliseconds timeout)
      : clock_(clock), end_(clock.Monotonic() + timeout) {}

  std::chrono::milliseconds Remaining() const { return end_ - clock_.Monotonic(); }

 private:
  Clock& clock_;
  const std::chrono::milliseconds end_;
};

/// The part of it that is kept for requests to end. That takes a few milliseconds, but for one that
/// has just begun to load the certificate authorities.
constexpr std::chrono::milliseconds kRequestsEnd{100};

/// What is left of it, should calls still come while the process ends.
constinit std::chrono::milliseconds exitTimeout = kExitTimeout;

void SaveAtExit() {
  if (Runtime* runtime = Runtime::Peek()) exitTimeout = runtime->SaveForExit(exitTimeout);
}

}  // namespace

Runtime::LogRoute::LogRoute(DebugOutput& output) { SetDebugOutput(&output); }

Runtime::LogRoute::~LogRoute() { SetDebugOutput(nullptr); }

Runtime::Runtime(Platform platform)
    : platform_(std::move(platform)), logRoute_(*platform_.debugOutput) {}

Runtime& Runtime::Current() {
  WatchForks();
  SaveAtProcessEnd(SaveAtExit);
  if (Runtime* runtime = Peek()) return *runtime;
  const std::lock_guard lock(currentMutex);
  if (Runtime* runtime = Peek()) return *runtime;
  auto* const runtime = new Runtime(MakeHostPlatform());
  current.store(runtime, std::memory_order_release);
  return *runtime;
}

Runtime* Runtime::ReplaceCurrent(Runtime* runtime) { return current.exchange(runtime); }

Runtime* Runtime::Peek() { return current.load(std::memory_order_acquire); }

const Configuration& Runtime::GetConfiguration() {
  return configuration_.Get([this] { return MakeConfiguration(); });
}

SettingsStore& Runtime::GetSettings() {
  return settings_.Get([this] { return SettingsStore(*platform_.settings); });
}

DeviceInformation& Runtime::GetDeviceInformation() {
  return deviceInformation_.Get([this] {
    return DeviceInformation(*platform_.deviceFacts, *platform_.package, *platform_.clock);
  });
}

Identifiers& Runtime::GetIdentifiers() {
  return identifiers_.Get([this] {
    return Identifiers(GetSettings(), *platform_.httpTransport, *platform_.randomSource,
                       [this] { return IdentifierUrl(); });
  });
}

Privacy& Runtime::GetPrivacy() {
  return privacy_.Get([this] {
    return Privacy(GetConfiguration(), GetSettings(),
                   [this](VeltroPrivacyStatus status) { OnPrivacySet(status); });
  });
}

HitStore& Runtime::GetHitStore() {
  return hitStore_.Get([this] { return HitStore(*platform_.localFolder); });
}

HitSender& Runtime::GetHitSender() {
  return hitSender_.Get([this] {
    return HitSender(GetHitStore(), GetConfiguration(), GetPrivacy(), GetDeviceInformation(),
                     *platform_.deviceFacts, *platform_.httpTransport, *platform_.clock);
  });
}

HitQueue& Runtime::GetHitQueue() {
  return hitQueue_.Get([this] {
    return HitQueue(GetHitStore(), GetHitSender(), GetConfiguration(), GetPrivacy(),
                    *platform_.clock);
  });
}

Tracker& Runtime::GetTracker() {
  return tracker_.Get([this] {
    return Tracker(
        {GetConfiguration(), GetPrivacy(), GetSettings(), GetIdentifiers(), GetDeviceInformation(),
         lastLifecycleData_, *platform_.randomSource, *platform_.clock},
        GetHitQueue());
  });
}

TimedActionTable& Runtime::GetTimedActions() {
  return timedActions_.Get([this] {
    return TimedActionTable(*platform_.localFolder, GetTracker(), GetHitQueue(), *platform_.clock);
  });
}

Lifecycle& Runtime::GetLifecycle() {
  return lifecycle_.Get([this] {
    return Lifecycle(
        GetSettings(), GetConfiguration(), GetDeviceInformation(), *platform_.clock,
        lastLifecycleData_,
        {.pauseEnded = [this](auto seconds) { GetTimedActions().AdjustTimedActions(seconds); },
         .launched = [this](auto data, auto time) { OnLaunch(std::move(data), time); },
         .signal = [this](auto traits) { OnSignal(std::move(traits)); }});
  });
}

VisitorProfile& Runtime::GetVisitorProfile() {
  return visitorProfile_.Get([this] { return VisitorProfile(GetSettings()); });
}

DestinationForwarder& Runtime::GetDestinationForwarder() {
  return destinationForwarder_.Get(
      [this] { return DestinationForwarder(*platform_.httpTransport, GetPrivacy()); });
}

Skaipra& Runtime::GetSkaipra() {
  return skaipra_.Get([this] {
    return Skaipra(GetConfiguration(), GetPrivacy(), *platform_.httpTransport, GetVisitorProfile(),
                   GetDestinationForwarder());
  });
}

ContentLoader& Runtime::GetContentLoader() {
  return contentLoader_.Get([this] {
    return ContentLoader({GetConfiguration(), GetPrivacy(), GetSettings(), persistentParameters_,
                          lastLifecycleData_, *platform_.clock},
                         ContentHost(), *platform_.httpTransport);
  });
}

MediaTracker& Runtime::GetMedia() {
  return media_.Get([this] {
    return MediaTracker(*platform_.clock,
                        [this](auto data, auto time) { OnMedia(std::move(data), time); });
  });
}

std::size_t Runtime::QueuedHitCount(std::chrono::milliseconds timeout) {
  const Deadline deadline(*platform_.clock, timeout);
  mediaQueue_.WaitUntilDone(timeout);
  RunOnSharedQueue([this] { GetHitQueue(); }, deadline.Remaining());
  HitQueue* const queue = hitQueue_.Peek();
  return queue == nullptr ? 0 : queue->QueuedHitCount(deadline.Remaining());
}

std::u16string Runtime::VisitorId(std::chrono::milliseconds timeout) {
  if (!GetSettings().LoadedVisitorId()) {
    RunOnSharedQueue([this] { GetSettings().GetStoredVisitorId(); }, timeout);
  }
  return GetSettings().LoadedVisitorId().value_or(u"");
}

float Runtime::LifetimeValue(std::chrono::milliseconds timeout) {
  if (!GetSettings().LoadedLifetimeValue()) {
    RunOnSharedQueue([this] { GetSettings().GetStoredLifetimeValue(); }, timeout);
  }
  return GetSettings().LoadedLifetimeValue().value_or(0);
}

StringMap Runtime::StoredProfile(std::chrono::milliseconds timeout) {
  VisitorProfile& profile = GetVisitorProfile();
  if (auto loaded = profile.LoadedProfile()) return *std::move(loaded);
  auto loading = std::make_shared<std::promise<void>>();
  const std::future<void> end = loading->get_future();
  signals_.Post([&profile, loading = std::move(loading)] {
    profile.GetProfile();
    loading->set_value();
  });
  end.wait_for(timeout);
  return profile.LoadedProfile().value_or(StringMap());
}

std::u16string Runtime::Dpid() const {
  const Skaipra* const skaipra = skaipra_.Peek();
  return skaipra == nullptr ? std::u16string() : skaipra->GetDpid();
}

std::u16string Runtime::Dpuuid() const {
  const Skaipra* const skaipra = skaipra_.Peek();
  return skaipra == nullptr ? std::u16string() : skaipra->GetDpuuid();
}

ContentIds::Values Runtime::LoadedContentIds() const {
  const ContentLoader* const loader = contentLoader_.Peek();
  return loader == nullptr ? ContentIds::Values() : loader->GetIds();
}

bool Runtime::Purge() {
  ++purges_;
  lastLifecycleData_.Set({});
  persistentParameters_.Clear();
  GetHitQueue().ClearHits();
  GetIdentifiers().Forget();
  if (Skaipra* const skaipra = skaipra_.Peek()) skaipra->ForgetPartner();
  if (DestinationForwarder* const forwarder = destinationForwarder_.Peek()) {
    forwarder->DropWaiting();
  }
  using Step = void (*)(Runtime&);
  constexpr Step kSteps[] = {
      [](Runtime& runtime) { runtime.GetTimedActions().Forget(); },
      [](Runtime& runtime) { runtime.GetVisitorProfile().Forget(); },
      [](Runtime& runtime) { runtime.GetContentLoader().ClearStoredIds(); },
      [](Runtime& runtime) { runtime.GetSettings().ClearExcept(kPrivacyStatusKey); },
      [](Runtime& runtime) {
        RequireGone(runtime.platform_.httpTransport->ForgetCookies(kPurgeTimeout), "cookies");
      },
      [](Runtime& runtime) {
        const bool areSaved = runtime.GetHitQueue().WaitUntilSaved(kPurgeTimeout);
        RequireGone(areSaved && runtime.GetHitStore().IsStored(), "hits");
      }};
  bool isDone = true;
  for (const Step step : kSteps) {
    try {
      step(*this);
    } catch (const std::exception& error) {
      LogError("Config - Unable to forget the user (%s)", error.what());
      isDone = false;
    }
  }
  return isDone;
}

void Runtime::SyncHits() {
  if (HitQueue* const queue = hitQueue_.Peek()) queue->Sync();
}

HitSender::DrainResult Runtime::Flush(std::chrono::milliseconds timeout) {
  const Deadline deadline(*platform_.clock, timeout);
  sharedQueue_.Post([this] { GetHitSender(); });  // whose making waits for the disk
  if (!WaitUntilSaved(timeout)) return HitSender::DrainResult::TimedOut;
  HitSender* const sender = hitSender_.Peek();
  if (sender == nullptr) return HitSender::DrainResult::TimedOut;
  if (GetPrivacy().Permission() != SendPermission::Send) return HitSender::DrainResult::NotAllowed;
  sender->Start();
  return sender->WaitUntilDrained(deadline.Remaining());
}

std::chrono::milliseconds Runtime::SaveForExit(std::chrono::milliseconds timeout) {
  const Deadline deadline(*platform_.clock, timeout);
  StopRequests();
  const bool haveEnded = hitSender_.Peek() != nullptr && WaitUntilRequestsEnded({});
  WaitUntilSaved(haveEnded ? timeout : timeout - kRequestsEnd);
  StopRequests();  // the sender may be new
  WaitUntilRequestsEnded(deadline.Remaining());
  return std::max(deadline.Remaining(), std::chrono::milliseconds(0));
}

bool Runtime::WaitUntilSaved(std::chrono::milliseconds timeout) {
  const Deadline deadline(*platform_.clock, timeout);
  const bool mediaSaved = mediaQueue_.WaitUntilDone(timeout);
  if (!sharedQueue_.WaitUntilDone(deadline.Remaining())) return false;
  HitQueue* const queue = hitQueue_.Peek();
  const bool hitsSaved = queue == nullptr || queue->WaitUntilSaved(deadline.Remaining());
  TimedActionTable* const actions = timedActions_.Peek();
  const bool actionsSaved = actions == nullptr || actions->WaitUntilSaved(deadline.Remaining());
  const bool cookiesSaved = platform_.httpTransport->WaitUntilSaved(deadline.Remaining());
  return mediaSaved && hitsSaved && actionsSaved && cookiesSaved;
}

/// Runs `item` behind all earlier work, and waits for it.
void Runtime::RunOnSharedQueue(WorkItem item, std::chrono::milliseconds timeout) {
  sharedQueue_.Post(std::move(item));
  sharedQueue_.WaitUntilDone(timeout);
}

Configuration Runtime::MakeConfiguration() {
  Configuration config = LoadConfiguration(*platform_.package, GetSettings());
  if (IsDryRun()) DirectToCollector(platform_.dryRunCollector, config);
  return config;
}

std::string Runtime::ContentHost() {
  if (IsDryRun()) return platform_.dryRunCollector;
  return GetConfiguration().targetClientCode + platform_.targetEdgeDomain;
}

/// Where the analytics identifier is asked for, while data may leave the device.
std::optional<std::string> Runtime::IdentifierUrl() {
  if (GetPrivacy().Permission() != SendPermission::Send) return std::nullopt;
  const Configuration& config = GetConfiguration();
  if (!IsHostAndPort(config.server)) return std::nullopt;
  return (config.ssl ? "https://" : "http://") + config.server + "/id";
}

void Runtime::OnPrivacySet(VeltroPrivacyStatus status) {
  if (status == VeltroPrivacyStatus::OptOut) GetHitQueue().ClearHits();
  GetHitQueue().StartSendingIfReady();
}

void Runtime::OnLaunch(StringMap data, std::int32_t timestamp) {
  if (!MayTrack(GetConfiguration(), GetPrivacy())) return;
  GetTracker().TrackInternalAction(u"Lifecycle", std::move(data), timestamp);
}

void Runtime::OnSignal(StringMap traits) {
  PostUnlessPurged(signals_, [traits = std::move(traits)](Runtime& runtime) {
    runtime.GetSkaipra().SignalWithData(traits);
  });
}

void Runtime::OnMedia(StringMap data, std::int32_t timestamp) {
  PostTracking([data = std::move(data), timestamp](Runtime& runtime) mutable {
    runtime.GetTracker().TrackInternalAction(u"Media", std::move(data), timestamp);
  });
}

std::chrono::milliseconds Runtime::MonitorMedia() {
  std::chrono::milliseconds next = std::chrono::seconds(1);
  RunWorkItem([&] { next = GetMedia().Monitor(); });
  return next;
}

/// Ends the requests whose end the application does not see.
void Runtime::StopRequests() {
  GetIdentifiers().Requests().Stop();
  if (DestinationForwarder* const destinations = destinationForwarder_.Peek()) {
    destinations->Requests().Stop();
  }
  if (HitSender* const sender = hitSender_.Peek()) sender->Stop();
}

bool Runtime::WaitUntilRequestsEnded(std::chrono::milliseconds timeout) {
  const Deadline deadline(*platform_.clock, timeout);
  DestinationForwarder* const destinations = destinationForwarder_.Peek();
  HitSender* const sender = hitSender_.Peek();
  return GetIdentifiers().Requests().WaitUntilDone(timeout) &&
         (destinations == nullptr ||
          destinations->Requests().WaitUntilDone(deadline.Remaining())) &&
         (sender == nullptr ||
          sender->WaitUntilDrained(deadline.Remaining()) != HitSender::DrainResult::TimedOut);
}

void Runtime::StopNetwork() {
  StopRequests();
  platform_.httpTransport->Stop();
}

}  // namespace Veltro::Internal
