#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

#include "base/string_map.h"
#include "media/playback.h"
#include "platform/clock.h"
#include "veltro/media_settings.h"

namespace Veltro::Internal {

/// The open media items, by name. Reports reach an item through here, and what it has to tell
/// leaves as context data. Knows nothing of hits, nor who may track them. Has no thread: whoever
/// owns it has `Monitor` called in time. Safe to use from any thread; touches neither disk nor
/// network.
class MediaTracker {
 public:
  /// Takes the context data of a hit and the time of it, in seconds since 1970-01-01 UTC. Called in
  /// the order of the reports, with the tracker locked: it must not wait nor call back.
  using Send = std::function<void(StringMap data, std::int32_t timestamp)>;

  MediaTracker(Clock& clock, Send send);

  /// Opens the item that `settings` describe; logs why it cannot. Before that, an open one of the
  /// same name is closed, then the first by name of the same player id, when that is not empty.
  void Open(const MediaSettings& settings);

  /// Passes `event` on to the item `name`; see `Playback::Report`. Logs when it is not open.
  /// `offset` is in seconds; one that is negative or not finite stands for the position by the
  /// clock.
  void Report(MediaEvent event, std::u16string_view name, double offset);

  /// The same for `MediaEvent::Track`, by the clock and with `data`.
  void Track(std::u16string_view name, const StringMap& data);

  /// The same for `MediaEvent::Close`, by the clock. The item is forgotten.
  void Close(std::u16string_view name);

  /// Makes the clock's report for every playing item that is due for it, which is each second of
  /// its own since it was played. Returns how long until the next is due; zero while none plays.
  std::chrono::milliseconds Monitor();

 private:
  struct OpenItem {
    Playback playback;
    std::optional<std::chrono::milliseconds> nextTick;  ///< in monotonic time, while it plays
  };
  using Items = std::map<std::u16string, OpenItem, std::less<>>;

  template <class Action>
  void WithItem(MediaEvent event, std::u16string_view name, Action action);
  void CloseItem(Items::iterator item);
  void Pass(MediaEvent event, double offset, OpenItem& item, const StringMap& data = {});

  Clock& clock_;
  const Send send_;
  std::mutex mutex_;
  Items items_;
};

}  // namespace Veltro::Internal
