#include "api/calls.h"

#include <algorithm>
#include <chrono>
#include <limits>
#include <utility>

#include "api/runtime.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

/// The most that an entry point waits for an answer that has to come from a worker.
constexpr std::chrono::milliseconds kAnswerTimeout{100};

}  // namespace

void PostState(std::u16string state, StringMap data) {
  Runtime::Current().PostTracking(
      [state = std::move(state), data = std::move(data)](Tracker& tracker) mutable {
        tracker.TrackState(state, std::move(data));
      });
}

void PostAction(std::u16string action, StringMap data) {
  Runtime::Current().PostTracking(
      [action = std::move(action), data = std::move(data)](Tracker& tracker) mutable {
        tracker.TrackAction(action, std::move(data));
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

void PostUserIdentifier(std::u16string identifier) {
  Runtime& runtime = Runtime::Current();
  runtime.SharedQueue().Post([&runtime, identifier = std::move(identifier)] {
    runtime.GetSettings().SetStoredVisitorId(identifier);
  });
}

std::int32_t TrackingQueueSize() {
  constexpr std::size_t kMost = std::numeric_limits<std::int32_t>::max();
  return static_cast<std::int32_t>(
      std::min(Runtime::Current().QueuedHitCount(kAnswerTimeout), kMost));
}

std::u16string UserIdentifier() { return Runtime::Current().VisitorId(kAnswerTimeout); }

}  // namespace Veltro::Internal
