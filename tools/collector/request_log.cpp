#include "collector/request_log.h"

#include <algorithm>
#include <utility>

namespace Veltro::Collector {
namespace {

// Far enough for anybody, and safe to add to a point in time.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24);

}  // namespace

void RequestLog::Add(RequestKind kind, ReceivedRequest request) {
  const std::lock_guard lock(mutex_);
  Of(kind).requests.push_back(std::move(request));
  ++Of(kind).count;
  changed_.notify_all();
}

Hit RequestLog::AddHit(Hit hit) {
  const std::lock_guard lock(mutex_);
  hit.sequence = ++lastSequence_;
  hits_.push_back(hit);
  changed_.notify_all();
  return hit;
}

std::vector<ReceivedRequest> RequestLog::Requests(RequestKind kind) const {
  const std::lock_guard lock(mutex_);
  return Of(kind).requests;
}

std::vector<Hit> RequestLog::Hits() const {
  const std::lock_guard lock(mutex_);
  return hits_;
}

std::size_t RequestLog::RequestCount(RequestKind kind) const {
  const std::lock_guard lock(mutex_);
  return Of(kind).count;
}

bool RequestLog::WaitForRequests(RequestKind kind, std::size_t count,
                                 std::chrono::milliseconds timeout) const {
  return WaitFor(Of(kind).requests, count, timeout);
}

bool RequestLog::WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const {
  return WaitFor(hits_, count, timeout);
}

void RequestLog::Clear() {
  const std::lock_guard lock(mutex_);
  hits_.clear();
  for (OfKind& kind : kinds_) kind.requests.clear();
}

void RequestLog::StopWaiting() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  changed_.notify_all();
}

template <class Items>
bool RequestLog::WaitFor(const Items& items, std::size_t count,
                         std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::min(timeout, kLongestWait),
                    [&] { return isStopped_ || items.size() >= count; });
  return items.size() >= count;
}

}  // namespace Veltro::Collector
