#include "api/calls.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "analytics/lifetime_value.h"
#include "api/entry.h"
#include "api/runtime.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

/// The most that an entry point waits for an answer that has to come from a worker.
constexpr std::chrono::milliseconds kAnswerTimeout{100};

/// The context data of a hit to be.
StringMap Convert(const ContextDataCopy& data, const Runtime& runtime) {
  return runtime.IsDryRun() ? data.ConvertWithNotes() : data.Convert();
}

}  // namespace

void PostState(std::u16string state, ContextDataCopy data) {
  Runtime::Current().PostTracking(
      [state = std::move(state), data = std::move(data)](Runtime& runtime) mutable {
        runtime.GetTracker().TrackState(state, Convert(data, runtime));
      });
}

void PostAction(std::u16string action, ContextDataCopy data) {
  Runtime::Current().PostTracking(
      [action = std::move(action), data = std::move(data)](Runtime& runtime) mutable {
        runtime.GetTracker().TrackAction(action, Convert(data, runtime));
      });
}

void PostTimedActionStart(std::u16string action, ContextDataCopy data) {
  Runtime::Current().PostTracking(
      [action = std::move(action), data = std::move(data)](Runtime& runtime) mutable {
        runtime.GetTimedActions().TrackTimedActionStart(action, Convert(data, runtime));
      });
}

void PostTimedActionUpdate(std::u16string action, ContextDataCopy data) {
  Runtime::Current().PostTracking(
      [action = std::move(action), data = std::move(data)](Runtime& runtime) {
        // Without notes, which would take the place of those that the start came with.
        runtime.GetTimedActions().TrackTimedActionUpdate(action, data.Convert());
      });
}

void PostTimedActionEnd(std::u16string action) {
  Runtime::Current().PostTracking([action = std::move(action)](Runtime& runtime) {
    runtime.GetTimedActions().TrackTimedActionEnd(action);
  });
}

AsyncOperation<bool> AskWhetherTimedActionExists(std::u16string action) {
  return BeginOperation(false, [&](Runtime& current, const auto& answer) {
    current.PostTrackingQuestion([answer, action = std::move(action)](Runtime& runtime) {
      runtime.GetTimedActions().TrackingTimedActionExists(
          action, [answer](bool exists) { answer->Complete(exists); });
    });
  });
}

void PostLifetimeValueIncrease(double amount, ContextDataCopy data) {
  Runtime::Current().PostTracking([amount, data = std::move(data)](Runtime& runtime) mutable {
    TrackLifetimeValueIncrease(amount, Convert(data, runtime), runtime.GetSettings(),
                               runtime.GetTracker());
  });
}

void PostLocation(Position position, double accuracy, ContextDataCopy data) {
  Runtime::Current().PostTracking(
      [position, accuracy, data = std::move(data)](Runtime& runtime) mutable {
        TrackLocation(position, accuracy, Convert(data, runtime), runtime.GetConfiguration(),
                      runtime.GetPersistentParameters(), runtime.GetTracker());
      });
}

void PostClearTrackingQueue() {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime] { runtime.GetHitQueue().ClearHits(); });
}

void PostPrivacyStatus(VeltroPrivacyStatus status) {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime, status] { runtime.GetPrivacy().Set(status); });
}

void PostDebugLogging(bool enabled) {
  Runtime::Current().SharedQueue().Post([enabled] { SetDebugLoggingEnabled(enabled); });
}

void PostLifecycleStart() {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime] { runtime.GetLifecycle().Start(); });
}

void PostLifecyclePause() {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime] {
    runtime.GetLifecycle().Pause();
    // The system may end a paused application without a word, and run out of power.
    runtime.SyncHits();
  });
}

void PostUserIdentifier(std::u16string identifier) {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime, identifier = std::move(identifier)] {
    runtime.GetSettings().SetStoredVisitorId(identifier);
  });
}

void PostDpidAndDpuuid(std::u16string dpid, std::u16string dpuuid) {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime, dpid = std::move(dpid), dpuuid = std::move(dpuuid)] {
    runtime.GetSkaipra().SetDpidAndDpuuid(dpid, dpuuid);
  });
}

void PostClearStoredIds() {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime] { runtime.GetContentLoader().ClearStoredIds(); });
}

void PostMediaReport(MediaEvent event, std::u16string name, double offset) {
  Runtime::Current().PostMedia([event, name = std::move(name), offset](MediaTracker& media) {
    media.Report(event, name, offset);
  });
}

void PostMediaTrack(std::u16string name, ContextDataCopy data) {
  Runtime& runtime = Runtime::Current();
  runtime.PostMedia([&runtime, name = std::move(name), data = std::move(data)](
                        MediaTracker& media) { media.Track(name, Convert(data, runtime)); });
}

void OpenMedia(MediaSettings settings) {
  Runtime::Current().ChangeMedia(
      [settings = std::move(settings)](MediaTracker& media) { media.Open(settings); });
}

void CloseMedia(std::u16string name) {
  Runtime::Current().ChangeMedia(
      [name = std::move(name)](MediaTracker& media) { media.Close(name); });
}

AsyncOperation<std::optional<AudienceManager::Profile>> Signal(ContextDataCopy traits) {
  using Result = std::optional<AudienceManager::Profile>;
  return BeginOperation(Result(std::in_place), [&](Runtime& current, const auto& answer) {
    current.PostSignal([answer, traits = std::move(traits)](Runtime& runtime) {
      const std::optional<StringMap> profile =
          runtime.GetSkaipra().SignalWithData(traits.Convert());
      answer->Complete(profile ? Result(ToUtf8Map(*profile)) : std::nullopt);
    });
  });
}

AsyncOperation<std::string> AskForContent(std::optional<TargetLocationRequest> request) {
  const std::string fallback = request ? request->DefaultContent : std::string();
  return BeginOperation(fallback, [&](Runtime& current, const auto& answer) {
    if (!request) {
      LogDebug("Target - Attempted to Load a null request, returning empty string");
      return;
    }
    current.PostContentRequest([answer, request = *std::move(request)](Runtime& runtime) {
      answer->Complete(runtime.GetContentLoader().LoadRequest(request));
    });
  });
}

std::int32_t TrackingQueueSize() {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(
      std::min(Runtime::Current().QueuedHitCount(kAnswerTimeout), kMost));
}

std::u16string UserIdentifier() { return Runtime::Current().VisitorId(kAnswerTimeout); }

double LifetimeValue() { return Runtime::Current().LifetimeValue(kAnswerTimeout); }

StringMap StoredProfile() { return Runtime::Current().StoredProfile(kAnswerTimeout); }

std::u16string Dpid() { return Runtime::Current().Dpid(); }

std::u16string Dpuuid() { return Runtime::Current().Dpuuid(); }

std::string PcId() { return Runtime::Current().LoadedContentIds().pcId; }

std::string SessionId() { return Runtime::Current().LoadedContentIds().sessionId; }

}  // namespace Veltro::Internal
