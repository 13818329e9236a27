#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "base/string_map.h"
#include "media/media_item.h"

namespace Veltro::Internal {

/// What can be reported of a media item. `Monitor` is the clock's own report.
enum class MediaEvent : std::int32_t { Play = 1, Stop, Monitor, Track, Complete, Close, Click };

/// How one media item is played: takes reports, keeps where playback stands, and answers with what
/// is to be tracked. A pure state machine: time comes with each report, and nobody is called. Used
/// by one thread at a time.
///
/// The first report, the view, and each report that reaches a milestone, completes the item, is a
/// click or fills `trackSeconds` of play is tracked. Going back, and what a play skips, is not time
/// played.
class Playback {
 public:
  explicit Playback(MediaItem item) : item_(std::move(item)) {}

  const MediaItem& Item() const { return item_; }

  /// `event` happened at `offset` (seconds; negative for the position by the clock) and at `now`,
  /// which never goes back. Returns the context data of the hit, if there is one, completed with
  /// those entries of `data` that it does not have. A report that does not fit (all but a play
  /// before the first play, a play while it plays, anything but a play or track while it is
  /// stopped) changes nothing.
  std::optional<StringMap> Report(MediaEvent event, double offset, std::chrono::seconds now,
                                  const StringMap& data = {});

  /// Whether the clock moves the position, so that its reports matter.
  bool NeedsMonitor() const { return state_ && state_->isMoving && !state_->isComplete; }

  /// Whether the item was at its end when it was first played, after which it is not to be kept.
  bool BeganAtEnd() const { return beganAtEnd_; }

 private:
  /// What stands after a report. Milestones are counted, those at the very begin included.
  struct State {
    std::chrono::seconds time{0};  ///< of the report
    double offset = 0;             ///< seconds
    std::size_t milestones = 0;
    std::size_t offsetMilestones = 0;
    double secondsSinceHit = 0;  ///< of play
    bool isPlaying = false;      ///< until it is stopped
    bool isMoving = false;       ///< until it is stopped or completed
    bool isComplete = false;
  };

  State Next(MediaEvent event, double offset, std::chrono::seconds now) const;
  double Position(double offset, std::chrono::seconds now) const;
  bool Completes(MediaEvent event, double offset) const;
  StringMap ViewHit();
  std::optional<StringMap> NextHit(const State& last, MediaEvent event, const StringMap& data);
  StringMap TakeNews(const State& last, MediaEvent event);
  void AddSegment(std::size_t number, bool isView, StringMap& hit) const;
  std::size_t SegmentNumber(const State& state) const;
  std::u16string SegmentName(std::size_t number) const;

  const MediaItem item_;
  std::optional<State> state_;  // none before the first play
  std::size_t reportedSegment_ = 0;
  bool isCompletionReported_ = false;
  bool beganAtEnd_ = false;
};

}  // namespace Veltro::Internal
