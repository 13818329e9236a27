#include "media/media_tracker.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "base/number_text.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

constexpr std::chrono::milliseconds kTick{1000};

/// Stands for the position by the clock.
constexpr double kByTheClock = -1;

std::string_view VerbOf(MediaEvent event) {
  constexpr std::string_view kNames[] = {"",      "play",     "stop",  "monitor",
                                         "track", "complete", "close", "click"};
  return kNames[static_cast<std::size_t>(event)];
}

}  // namespace

MediaTracker::MediaTracker(Clock& clock, Send send) : clock_(clock), send_(std::move(send)) {}

void MediaTracker::Open(const MediaSettings& settings) {
  std::optional<MediaItem> item = MakeMediaItem(settings);
  if (!item) return;
  const std::lock_guard lock(mutex_);
  if (const auto same = items_.find(item->name); same != items_.end()) CloseItem(same);
  const auto rival = std::find_if(items_.begin(), items_.end(), [&](const auto& entry) {
    return !item->playerId.empty() && entry.second.playback.Item().playerId == item->playerId;
  });
  if (rival != items_.end()) CloseItem(rival);
  const std::u16string name = item->name;
  items_.emplace(name, OpenItem{Playback(*std::move(item)), std::nullopt});
}

void MediaTracker::Report(MediaEvent event, std::u16string_view name, double offset) {
  if (!std::isfinite(offset)) {
    LogWarning("Media - Ignoring an offset (%f) of media item (%s)", offset, name);
    offset = kByTheClock;
  }
  WithItem(event, name, [&](Items::iterator item) {
    Pass(event, offset, item->second);
    if (item->second.playback.BeganAtEnd()) items_.erase(item);
  });
}

void MediaTracker::Track(std::u16string_view name, const StringMap& data) {
  WithItem(MediaEvent::Track, name,
           [&](Items::iterator item) { Pass(MediaEvent::Track, kByTheClock, item->second, data); });
}

void MediaTracker::Close(std::u16string_view name) {
  WithItem(MediaEvent::Close, name, [&](Items::iterator item) { CloseItem(item); });
}

std::chrono::milliseconds MediaTracker::Monitor() {
  const std::lock_guard lock(mutex_);
  const std::chrono::milliseconds now = clock_.Monotonic();
  std::chrono::milliseconds wait{0};
  for (auto& [name, item] : items_) {
    if (item.nextTick && *item.nextTick <= now) {
      *item.nextTick += kTick * ((now - *item.nextTick) / kTick + 1);
      Pass(MediaEvent::Monitor, kByTheClock, item);
    }
    if (!item.nextTick) continue;
    const std::chrono::milliseconds left = *item.nextTick - now;
    wait = wait.count() == 0 ? left : std::min(wait, left);
  }
  return wait;
}

/// Runs `action` on the open item `name`; logs that `event` was in vain when there is none.
template <class Action>
void MediaTracker::WithItem(MediaEvent event, std::u16string_view name, Action action) {
  const std::u16string clean = CleanMediaText(name);
  {
    const std::lock_guard lock(mutex_);
    if (const auto item = items_.find(clean); item != items_.end()) return action(item);
  }
  LogDebug("Media - Tried to %s media item (%s) but it doesn't exist", VerbOf(event), clean);
}

void MediaTracker::CloseItem(Items::iterator item) {
  Pass(MediaEvent::Close, kByTheClock, item->second);
  items_.erase(item);
}

/// Passes a report on, sends what comes of it, and starts or ends the item's clock.
void MediaTracker::Pass(MediaEvent event, double offset, OpenItem& item, const StringMap& data) {
  const std::chrono::milliseconds now = clock_.Monotonic();
  auto hit =
      item.playback.Report(event, offset, std::chrono::floor<std::chrono::seconds>(now), data);
  if (!item.playback.NeedsMonitor()) {
    item.nextTick.reset();
  } else if (!item.nextTick) {
    item.nextTick = now + kTick;
  }
  if (hit) send_(*std::move(hit), Lower32Bits(clock_.UnixSeconds()));
}

}  // namespace Veltro::Internal
