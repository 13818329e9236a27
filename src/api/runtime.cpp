#include "api/runtime.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>

#include "api/host_options.h"
#include "base/url_host.h"
#include "core/log.h"
#include "platform/linux/forked_child.h"
#include "platform/linux/process_end.h"

namespace Veltro::Internal {
namespace {

/// The most that the end of the process waits for accepted calls to reach the disk.
constexpr std::chrono::milliseconds kExitTimeout{250};

constinit std::atomic<Runtime*> current{nullptr};
constinit std::mutex currentMutex;

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

}  // namespace Veltro::Internal
