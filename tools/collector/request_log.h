#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <vector>

#include "collector/changes.h"
#include "collector/hit.h"
#include "collector/received_request.h"

namespace Veltro::Collector {

/// A request of any kind, and what it says if it is a hit.
struct Entry {
  std::int64_t number = 0;  ///< in the order of arrival, 1 for the first
  RequestKind kind = RequestKind::Hit;
  ReceivedRequest request{};
  std::optional<Hit> hit{};  ///< without sequence number and headers
};

/// The hit of `entry` with all it has.
Hit WholeHit(const Entry& entry, std::int64_t sequence);

using SharedEntry = std::shared_ptr<const Entry>;

/// The requests of every kind so far, and which of them are hits received, in the order of their
/// arrival. Safe to use from any thread.
class RequestLog {
 public:
  /// What somebody has missed who knows the log up to some number.
  struct News {
    std::optional<std::int64_t> clearedAt;  ///< where all that he knows was forgotten, if it was
    std::vector<SharedEntry> entries;
  };

  /// Reports to `changes` when there are more entries, or fewer.
  explicit RequestLog(Changes& changes) : changes_(changes) {}

  /// Keeps `entry` under the next number.
  SharedEntry Add(Entry entry);

  /// Counts the hit of `entry` among those received; returns its sequence number.
  std::int64_t AddHit(SharedEntry entry);

  std::vector<ReceivedRequest> Requests(RequestKind kind) const;
  std::vector<Hit> Hits() const;

  /// The entry of this number; null when there is none.
  SharedEntry Find(std::int64_t number) const;

  /// The first entries, at most `most`, with numbers above `number`.
  News After(std::int64_t number, std::size_t most) const;

  /// How many were added so far, also those forgotten since.
  std::size_t RequestCount(RequestKind kind) const;

  /// How many were not forgotten.
  std::size_t KeptRequestCount(RequestKind kind) const;
  std::size_t KeptHitCount() const;

  /// Wait until there are at least `count` of them; false when `timeout` passed before, or when
  /// waiting was stopped.
  bool WaitForRequests(RequestKind kind, std::size_t count,
                       std::chrono::milliseconds timeout) const;
  bool WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const;

  /// Forgets hits and requests; the numbers and counts go on.
  void Clear();

  /// Ends every wait, present and future.
  void StopWaiting();

 private:
  struct ReceivedHit {
    std::int64_t sequence;
    SharedEntry entry;
  };

  struct Counts {
    std::size_t kept = 0;
    std::size_t all = 0;
  };

  using Entries = std::deque<SharedEntry>;

  Counts& Of(RequestKind kind) { return counts_[static_cast<std::size_t>(kind)]; }
  const Counts& Of(RequestKind kind) const { return counts_[static_cast<std::size_t>(kind)]; }
  Entries::const_iterator FirstAfter(std::int64_t number) const;

  template <class Condition>
  bool WaitUntil(Condition condition, std::chrono::milliseconds timeout) const;

  Changes& changes_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  Entries entries_;
  std::deque<ReceivedHit> hits_;
  std::array<Counts, 5> counts_;
  std::int64_t lastNumber_ = 0;
  std::int64_t clearedAt_ = 0;  // a number of its own, so that it has its place among the entries
  std::int64_t lastSequence_ = 0;
  bool isStopped_ = false;
};

}  // namespace Veltro::Collector
