#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Veltro::Internal {

/// The milestones of a media item, by percentage or by offset: whole numbers in ascending order,
/// the first of which is 0. They cut the item into segments, which are numbered from 1: segment N
/// begins at the Nth milestone.
class Milestones {
 public:
  /// None at all.
  Milestones() = default;

  /// Reads whole numbers, separated by commas, and keeps those up to `most`, each once; 0 is always
  /// among them. Others are ignored, but for a line in the log that names `item`. An empty text has
  /// none.
  Milestones(std::u16string_view text, double most, std::u16string_view item);

  bool Empty() const { return values_.empty(); }

  /// How many milestones lie at or before `position`, which is the number of the segment there.
  std::size_t CountUpTo(double position) const;

  /// The last of the first `count` milestones; 0 when `count` is.
  std::int32_t LastOf(std::size_t count) const { return count == 0 ? 0 : values_[count - 1]; }

  /// The name of the segment `number`: `kind`, a colon, its milestone, a hyphen, and the next
  /// milestone, or `end` for the last segment.
  std::u16string SegmentName(char16_t kind, std::size_t number, std::u16string_view end) const;

 private:
  std::vector<std::int32_t> values_;
};

}  // namespace Veltro::Internal
