#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "collector/hit.h"
#include "collector/received_request.h"

namespace Veltro::Collector {

/// The requests of each kind so far, and the hits among them decoded, in the order of their
/// arrival. Safe to use from any thread.
class RequestLog {
 public:
  void Add(RequestKind kind, ReceivedRequest request);

  /// Appends `hit` with the next sequence number and returns it with that number.
  Hit AddHit(Hit hit);

  std::vector<ReceivedRequest> Requests(RequestKind kind) const;
  std::vector<Hit> Hits() const;

  /// How many were added so far, also those forgotten since.
  std::size_t RequestCount(RequestKind kind) const;

  /// Wait until there are at least `count` of them; false when `timeout` passed before, or when
  /// waiting was stopped.
  bool WaitForRequests(RequestKind kind, std::size_t count,
                       std::chrono::milliseconds timeout) const;
  bool WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const;

  /// Forgets hits and requests; the sequence numbers and counts go on.
  void Clear();

  /// Ends every wait, present and future.
  void StopWaiting();

 private:
  struct OfKind {
    std::vector<ReceivedRequest> requests;
    std::size_t count = 0;  // with those forgotten
  };

  OfKind& Of(RequestKind kind) { return kinds_[static_cast<std::size_t>(kind)]; }
  const OfKind& Of(RequestKind kind) const { return kinds_[static_cast<std::size_t>(kind)]; }

  template <class Items>
  bool WaitFor(const Items& items, std::size_t count, std::chrono::milliseconds timeout) const;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Hit> hits_;
  std::array<OfKind, 5> kinds_;
  std::int64_t lastSequence_ = 0;
  bool isStopped_ = false;
};

}  // namespace Veltro::Collector
