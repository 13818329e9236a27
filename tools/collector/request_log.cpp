#include "collector/request_log.h"

#include <algorithm>
#include <utility>

namespace Veltro::Collector {
namespace {

// Far enough for anybody, and safe to add to a point in time.
constexpr std::chrono::milliseconds kLongestWait = std::chrono::hours(24);

}  // namespace

Hit WholeHit(const Entry& entry, std::int64_t sequence) {
  Hit hit = *entry.hit;
  hit.sequence = sequence;
  hit.headers = entry.request.headers;
  return hit;
}

SharedEntry RequestLog::Add(Entry entry) {
  const auto added = std::make_shared<Entry>(std::move(entry));
  {
    const std::lock_guard lock(mutex_);
    added->number = ++lastNumber_;
    entries_.push_back(added);
    ++Of(added->kind).kept;
    ++Of(added->kind).all;
    changed_.notify_all();
  }
  changes_.Report();
  return added;
}

std::int64_t RequestLog::AddHit(SharedEntry entry) {
  const std::lock_guard lock(mutex_);
  hits_.push_back({++lastSequence_, std::move(entry)});
  changed_.notify_all();
  return lastSequence_;
}

std::vector<ReceivedRequest> RequestLog::Requests(RequestKind kind) const {
  std::vector<ReceivedRequest> requests;
  const std::lock_guard lock(mutex_);
  requests.reserve(Of(kind).kept);
  for (const auto& entry : entries_) {
    if (entry->kind == kind) requests.push_back(entry->request);
  }
  return requests;
}

std::vector<Hit> RequestLog::Hits() const {
  const auto received = [this] {
    const std::lock_guard lock(mutex_);
    return hits_;
  }();
  std::vector<Hit> hits;
  hits.reserve(received.size());
  for (const auto& [sequence, entry] : received) {
    hits.push_back(WholeHit(*entry, sequence));
  }
  return hits;
}

SharedEntry RequestLog::Find(std::int64_t number) const {
  const std::lock_guard lock(mutex_);
  const auto found = FirstAfter(number - 1);
  return found != entries_.end() && (*found)->number == number ? *found : nullptr;
}

RequestLog::News RequestLog::After(std::int64_t number, std::size_t most) const {
  News news;
  const std::lock_guard lock(mutex_);
  // A number that was not given yet is one of an earlier collector's.
  const bool knowsNothing = number > lastNumber_;
  if (number != 0 && (number < clearedAt_ || knowsNothing)) news.clearedAt = clearedAt_;
  auto next = FirstAfter(knowsNothing ? 0 : number);
  for (; next != entries_.end() && news.entries.size() < most; ++next) {
    news.entries.push_back(*next);
  }
  return news;
}

std::size_t RequestLog::RequestCount(RequestKind kind) const {
  const std::lock_guard lock(mutex_);
  return Of(kind).all;
}

std::size_t RequestLog::KeptRequestCount(RequestKind kind) const {
  const std::lock_guard lock(mutex_);
  return Of(kind).kept;
}

std::size_t RequestLog::KeptHitCount() const {
  const std::lock_guard lock(mutex_);
  return hits_.size();
}

bool RequestLog::WaitForRequests(RequestKind kind, std::size_t count,
                                 std::chrono::milliseconds timeout) const {
  return WaitUntil([&] { return Of(kind).kept >= count; }, timeout);
}

bool RequestLog::WaitForHits(std::size_t count, std::chrono::milliseconds timeout) const {
  return WaitUntil([&] { return hits_.size() >= count; }, timeout);
}

void RequestLog::Clear() {
  Entries forgotten;  // is destroyed without the lock
  {
    const std::lock_guard lock(mutex_);
    forgotten.swap(entries_);
    hits_.clear();
    for (Counts& counts : counts_) counts.kept = 0;
    clearedAt_ = ++lastNumber_;
  }
  changes_.Report();
}

void RequestLog::StopWaiting() {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  changed_.notify_all();
}

RequestLog::Entries::const_iterator RequestLog::FirstAfter(std::int64_t number) const {
  return std::upper_bound(
      entries_.begin(), entries_.end(), number,
      [](std::int64_t value, const SharedEntry& entry) { return value < entry->number; });
}

template <class Condition>
bool RequestLog::WaitUntil(Condition condition, std::chrono::milliseconds timeout) const {
  std::unique_lock lock(mutex_);
  changed_.wait_for(lock, std::min(timeout, kLongestWait),
                    [&] { return isStopped_ || condition(); });
  return condition();
}

}  // namespace Veltro::Collector
