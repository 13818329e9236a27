#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

#include "analytics/hit_sender.h"
#include "analytics/hit_store.h"
#include "config/configuration.h"
#include "config/send_policy.h"
#include "core/work_queue.h"

namespace Veltro::Internal {

/// Takes the hits that were built, keeps them in the store and decides when the sender starts. Its
/// operations may be called from any thread and return at once; what they ask for happens on a
/// worker of the queue's own, in the order of the calls.
class HitQueue {
 public:
  HitQueue(HitStore& store, HitSender& sender, const Configuration& config,
           const SendPolicy& policy, Clock& clock);

  /// Appends a hit, saves it and calls `StartSendingIfReady`. A hit that gets here after the user
  /// has opted out is dropped.
  void EnqueueHit(std::string hit, std::int32_t timestamp);

  /// Starts the sender if sending is allowed and the batch rule is met: with offline tracking on,
  /// more than `batchLimit` hits must wait (a negative limit is never met); with it off, any hit
  /// may go at once. Ends a cooldown when sending is no longer allowed.
  void StartSendingIfReady();

  /// Removes every hit from memory and file; the one under way will not come back, whatever becomes
  /// of it, and brings no cooldown.
  void ClearHits();

  /// The number of hits waiting or under way after every earlier call has taken effect, which is
  /// waited for up to `timeout`; failing that, the number as of now.
  std::size_t QueuedHitCount(std::chrono::milliseconds timeout);

  /// Makes every earlier call proof against a loss of power.
  void Sync();

  /// Whether every earlier call has taken effect, and is proof against a loss of power as far as
  /// the disk lets it, within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout);

 private:
  bool BatchIsReady() const;
  std::chrono::milliseconds SyncWhenDue();

  HitStore& store_;
  HitSender& sender_;
  const Configuration& config_;
  const SendPolicy& policy_;
  Clock& clock_;
  std::chrono::milliseconds lastSync_{0};  // on the monotonic clock; used by the worker only
  WorkQueue worker_;                       // last: its thread uses all of the above
};

}  // namespace Veltro::Internal
