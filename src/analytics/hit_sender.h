#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "analytics/hit_store.h"
#include "config/configuration.h"
#include "config/send_policy.h"
#include "core/device_information.h"
#include "core/request_handler.h"
#include "core/work_queue.h"
#include "platform/clock.h"
#include "platform/device_facts.h"
#include "platform/http_connection.h"
#include "platform/http_transport.h"

namespace Veltro::Internal {

/// What all hit URLs begin with: scheme, server, "/b/ss/", report suites, "/0/WINU-", the library's
/// version and "/".
std::string MakeBaseUrl(const Configuration& config);

/// Sends the stored hits to the collection server, oldest first, one at a time, on a thread of its
/// own, until none is left or sending is not allowed or not possible. A hit leaves the store when
/// the server has taken it; while offline tracking is on, one that the server refused is tried
/// again after a cooldown. While another process that shares the store is sending, it waits for its
/// turn. Knows nothing of the batch rule: whoever starts it decides when.
class HitSender {
 public:
  enum class DrainResult { Done, TimedOut, Offline, NotAllowed };

  static constexpr std::chrono::milliseconds kRequestTimeout{5000};

  HitSender(HitStore& store, const Configuration& config, const SendPolicy& policy,
            DeviceInformation& device, DeviceFacts& facts, HttpTransport& transport, Clock& clock,
            std::chrono::milliseconds requestTimeout = kRequestTimeout);

  /// Stops, and ends the thread.
  ~HitSender();

  /// Cancels the request under way, whose hit stays in the store, and sends no more.
  void Stop();

  /// Starts sending unless it is under way. Returns at once; safe to call from any thread.
  void Start();

  /// Ends a cooldown early.
  void EndCooldown() { sleeper_->Interrupt(); }

  /// Waits until a started sender has stopped or has met trouble, and tells which.
  DrainResult WaitUntilDrained(std::chrono::milliseconds timeout);

 private:
  enum class State { Idle, Sending, CoolingDown };
  enum class Next { Continue, CoolDown, Stop };

  void Run();
  void Drain();
  bool MaySend();
  Next WaitForTurn();
  Next SendFirst();
  Next Send(HitStore::FirstHit& first);
  Next Request(const HitStore::FirstHit& first);
  Next Judge(const HitStore::FirstHit& first, std::int32_t status);
  void CoolDown();
  bool IsStale(const QueuedHit& hit);
  void RepairTimestamp(HitStore::FirstHit& first);
  bool IsStopping();
  void SetState(State state);

  HitStore& store_;
  const Configuration& config_;
  const SendPolicy& policy_;
  DeviceInformation& device_;
  DeviceFacts& facts_;
  HttpTransport& transport_;
  Clock& clock_;
  const std::chrono::milliseconds requestTimeout_;
  const std::unique_ptr<HttpConnection> connection_;
  const std::string baseUrl_;
  const std::string host_;
  const std::unique_ptr<Sleeper> sleeper_;
  std::int32_t lastSentTimestamp_ = 0;  // of the last hit that the server took in this run

  std::mutex mutex_;
  std::condition_variable stateChanged_;
  State state_ = State::Idle;
  bool startAgain_ = false;  // a start was asked for since the sender last looked
  bool stopping_ = false;
  WorkQueue worker_;  // last: its thread uses all of the above
};

}  // namespace Veltro::Internal
