#include "media/playback.h"

#include <algorithm>
#include <utility>

#include "base/number_text.h"

namespace Veltro::Internal {

std::optional<StringMap> Playback::Report(MediaEvent event, double offset, std::chrono::seconds now,
                                          const StringMap& data) {
  const bool isPlay = event == MediaEvent::Play;
  if (!state_) {
    if (!isPlay) return std::nullopt;
    state_ = Next(event, offset, now);
    return ViewHit();
  }
  const bool fits = isPlay != state_->isPlaying;
  if (!fits && event != MediaEvent::Track) return std::nullopt;
  const State last = *state_;
  if (fits) state_ = Next(event, offset, now);
  return NextHit(last, event, data);
}

Playback::State Playback::Next(MediaEvent event, double offset, std::chrono::seconds now) const {
  const State last = state_.value_or(State());
  const bool isPlay = event == MediaEvent::Play;
  const bool isStop = event == MediaEvent::Stop;
  State next;
  next.time = now;
  next.offset = Position(offset, now);
  next.isPlaying = !isStop;
  next.isMoving = isPlay || (last.isMoving && !isStop && event != MediaEvent::Complete);
  if (item_.HasLength()) {
    const bool isAtEnd = next.offset >= item_.length;
    // Multiplied first, so that 29 s of 100 s are 29 per cent and not the number below.
    const double percentage = isAtEnd ? 100 : next.offset * 100 / item_.length;
    next.milestones = item_.milestones.CountUpTo(percentage);
    next.isComplete = isAtEnd || last.isComplete;
  }
  next.isComplete = next.isComplete || Completes(event, next.offset);
  next.offsetMilestones = item_.offsetMilestones.CountUpTo(next.offset);
  const double played = isPlay ? 0 : std::max(next.offset - last.offset, 0.0);
  next.secondsSinceHit = last.secondsSinceHit + played;
  return next;
}

/// `offset` within the item; the position by the clock when it is negative.
double Playback::Position(double offset, std::chrono::seconds now) const {
  if (offset < 0) {
    offset = state_ ? state_->offset : 0;
    if (state_ && state_->isMoving) offset += static_cast<double>((now - state_->time).count());
  }
  return item_.HasLength() ? std::min(offset, item_.length) : offset;
}

/// Whether `event` completes the item before its very end.
bool Playback::Completes(MediaEvent event, double offset) const {
  const bool isComplete = event == MediaEvent::Complete;
  if (!isComplete && event != MediaEvent::Close) return false;
  if (!item_.HasLength()) return isComplete;
  return item_.length - offset <= item_.completeCloseOffsetThreshold;
}

StringMap Playback::ViewHit() {
  beganAtEnd_ = state_->isComplete;
  reportedSegment_ = SegmentNumber(*state_);
  StringMap hit = item_.data;
  hit.Set(u"&&pe", u"m_s");
  hit.Set(item_.Key(u"view"), u"true");
  if (!item_.cpm.empty()) hit.Set(item_.Key(u"CPM"), item_.cpm);
  AddSegment(reportedSegment_, state_->isComplete, hit);
  return hit;
}

std::optional<StringMap> Playback::NextHit(const State& last, MediaEvent event,
                                           const StringMap& data) {
  const std::size_t segment = SegmentNumber(*state_);
  const bool isSegmentNew = std::exchange(reportedSegment_, segment) != segment;
  const StringMap news = TakeNews(last, event);
  const bool isPeriodOver = item_.trackSeconds > 0 && state_->secondsSinceHit >= item_.trackSeconds;
  if (news.Empty() && !isPeriodOver && event != MediaEvent::Track) return std::nullopt;
  StringMap hit = item_.data;
  hit.Set(u"&&pe", u"m_i");
  AddSegment(SegmentNumber(last), isSegmentNew || state_->isComplete, hit);
  hit.Merge(news);
  const std::int32_t played = TruncateToInt32(std::exchange(state_->secondsSinceHit, 0));
  if (played > 0) hit.Set(item_.Key(u"timePlayed"), DecimalText(played));
  hit.Merge(data);
  return hit;
}

/// The entries for what happened since `last`. A completion is news once.
StringMap Playback::TakeNews(const State& last, MediaEvent event) {
  StringMap news;
  if (state_->isComplete && !std::exchange(isCompletionReported_, true)) {
    news.Set(item_.Key(u"complete"), u"true");
  }
  if (event == MediaEvent::Click) news.Set(item_.Key(u"clicked"), u"true");
  if (state_->offsetMilestones > last.offsetMilestones) {
    news.Set(item_.Key(u"offsetMilestone"),
             DecimalText(item_.offsetMilestones.LastOf(state_->offsetMilestones)));
  }
  if (state_->milestones > last.milestones) {
    news.Set(item_.Key(u"milestone"), DecimalText(item_.milestones.LastOf(state_->milestones)));
  }
  return news;
}

/// Adds the segment `number`, if it is one, and whether that is a view of it.
void Playback::AddSegment(std::size_t number, bool isView, StringMap& hit) const {
  if (!item_.segmentByMilestones && !item_.segmentByOffsetMilestones) return;
  if (isView) hit.Set(item_.Key(u"segmentView"), u"true");
  if (number == 0) return;
  hit.Set(item_.Key(u"segmentNum"), DecimalText(static_cast<std::int64_t>(number)));
  hit.Set(item_.Key(u"segment"), SegmentName(number));
}

/// The number of the segment at `state`; 0 when there are none. Percentages go before offsets.
std::size_t Playback::SegmentNumber(const State& state) const {
  if (item_.segmentByMilestones && item_.HasLength()) return state.milestones;
  return item_.segmentByOffsetMilestones ? state.offsetMilestones : 0;
}

std::u16string Playback::SegmentName(std::size_t number) const {
  if (item_.segmentByMilestones && item_.HasLength()) {
    return item_.milestones.SegmentName(u'M', number, u"100");
  }
  const std::u16string end = item_.HasLength() ? DecimalText(TruncateToInt32(item_.length)) : u"E";
  return item_.offsetMilestones.SegmentName(u'O', number, end);
}

}  // namespace Veltro::Internal
