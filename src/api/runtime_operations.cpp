#include <algorithm>
#include <future>
#include <memory>
#include <utility>

#include "api/runtime.h"
#include "core/log.h"
#include "platform/platform_error.h"

// What is asked of the library as a whole: questions, saving, forgetting, the end.

namespace Veltro::Internal {
namespace {

/// The most that each part of a purge waits for the disk.
constexpr std::chrono::milliseconds kPurgeTimeout{5000};

/// The part of the time for the end of the process that is kept for requests to end. That takes a
/// few milliseconds, but for one that has just begun to load the certificate authorities.
constexpr std::chrono::milliseconds kRequestsEnd{100};

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

}  // namespace

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
