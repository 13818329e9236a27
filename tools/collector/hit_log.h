#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "collector/hit.h"

namespace Veltro::Collector {

/// One request to the collection path, whatever became of it.
struct Attempt {
  std::int64_t receivedTime = 0;  ///< milliseconds since 1970, UTC
  std::string rawTarget;
  std::int32_t status = 0;  ///< of the answer that it is to get; 0: none
};

/// The hits and the attempts so far, in the order of their arrival. Safe to use from any thread.
class HitLog {
 public:
  /// Appends `hit` with the next sequence number and returns it with that number.
  Hit Add(Hit hit);

  void AddAttempt(Attempt attempt);

  std::vector<Hit> Hits() const;
  std::vector<Attempt> Attempts() const;

  /// Wait until there are at least `count` of them; false when `timeout` passed before, or when
  /// waiting was stopped.
  bool WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const;
  bool WaitForAttempts(std::size_t count, std::chrono::milliseconds timeout) const;

  /// Forgets hits and attempts; the sequence numbers go on.
  void Clear();

  /// Ends every wait, present and future.
  void StopWaiting();

 private:
  template <class Items>
  bool WaitFor(const Items& items, std::size_t count, std::chrono::milliseconds timeout) const;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<Hit> hits_;
  std::vector<Attempt> attempts_;
  std::int64_t lastSequence_ = 0;
  bool isStopped_ = false;
};

}  // namespace Veltro::Collector
