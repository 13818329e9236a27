#include "collector/hit_log.h"

#include <algorithm>
#include <utility>

namespace Veltro::Collector {
namespace {

// Far enough for anybody, and safe to add to a point in time.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24);

}  // namespace

Hit HitLog::Add(Hit hit) {
  const std::lock_guard lock(mutex_);
  hit.sequence = ++lastSequence_;
  hits_.push_back(hit);
  changed_.notify_all();
  return hit;
}

void HitLog::AddAttempt(Attempt attempt) {
  const std::lock_guard lock(mutex_);
  attempts_.push_back(std::move(attempt));
  changed_.notify_all();
}

std::vector<Hit> HitLog::Hits() const {
  const std::lock_guard lock(mutex_);
  return hits_;
}

std::vector<Attempt> HitLog::Attempts() const {
  const std::lock_guard lock(mutex_);
  return attempts_;
}

bool HitLog::WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const {
  return WaitFor(hits_, count, timeout);
}

bool HitLog::WaitForAttempts(std::size_t count, std::chrono::milliseconds timeout) const {
  return WaitFor(attempts_, count, timeout);
}

void HitLog::Clear() {
  const std::lock_guard lock(mutex_);
  hits_.clear();
  attempts_.clear();
}

void HitLog::StopWaiting() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  changed_.notify_all();
}

template <class Items>
bool HitLog::WaitFor(const Items& items, std::size_t count,
                     std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::min(timeout, kLongestWait),
                    [&] { return isStopped_ || items.size() >= count; });
  return items.size() >= count;
}

}  // namespace Veltro::Collector
