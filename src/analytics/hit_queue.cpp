#include "analytics/hit_queue.h"

#include <utility>

#include "core/log.h"

namespace Veltro::Internal {
namespace {

/// The least time between two syncs of the queue file, which cost a write of the storage device.
constexpr std::chrono::milliseconds kSyncInterval{1000};

}  // namespace

HitQueue::HitQueue(HitStore& store, HitSender& sender, const Configuration& config,
                   const SendPolicy& policy, Clock& clock)
    : store_(store),
      sender_(sender),
      config_(config),
      policy_(policy),
      clock_(clock),
      worker_([this] { return SyncWhenDue(); }) {}

void HitQueue::EnqueueHit(std::string hit, std::int32_t timestamp) {
  worker_.Post([this, queued = QueuedHit{std::move(hit), timestamp}]() mutable {
    if (policy_.Permission() == SendPermission::Refuse) {
      return LogDebug("Analytics - Ignoring hit due to privacy status being opted out");
    }
    try {
      store_.Append(std::move(queued));
      StartSendingIfReady();
    } catch (const std::exception& error) {
      LogError("Analytics - Unable to queue hit (%s)", error.what());
    }
  });
}

void HitQueue::StartSendingIfReady() {
  if (policy_.Permission() != SendPermission::Send) return sender_.EndCooldown();
  if (BatchIsReady()) sender_.Start();
}

void HitQueue::ClearHits() {
  worker_.Post([this] {
    store_.Clear();
    sender_.EndCooldown();
  });
}

std::size_t HitQueue::QueuedHitCount(std::chrono::milliseconds timeout) {
  worker_.WaitUntilDone(timeout);
  return store_.Size();
}

void HitQueue::Sync() {
  worker_.Post([this] { store_.Sync(); });
}

bool HitQueue::WaitUntilSaved(std::chrono::milliseconds timeout) {
  Sync();
  return worker_.WaitUntilDone(timeout);
}

bool HitQueue::BatchIsReady() const {
  if (!config_.offlineEnabled) return true;
  return config_.batchLimit >= 0 && store_.Size() > static_cast<std::size_t>(config_.batchLimit);
}

std::chrono::milliseconds HitQueue::SyncWhenDue() {
  if (!store_.NeedsSync()) return std::chrono::milliseconds(0);
  const std::chrono::milliseconds elapsed = clock_.Monotonic() - lastSync_;
  if (elapsed < kSyncInterval) return kSyncInterval - elapsed;
  RunWorkItem([this] { store_.Sync(); });
  lastSync_ = clock_.Monotonic();
  return std::chrono::milliseconds(0);
}

}  // namespace Veltro::Internal
