#include "media/milestones.h"

#include <algorithm>
#include <system_error>

#include "base/number_text.h"
#include "core/log.h"

namespace Veltro::Internal {

Milestones::Milestones(std::u16string_view text, double most, std::u16string_view item) {
  if (text.empty()) return;
  values_.push_back(0);
  for (std::size_t start = 0; start <= text.size();) {
    const std::size_t end = std::min(text.find(u',', start), text.size());
    const std::u16string_view piece = text.substr(start, end - start);
    std::int32_t value = 0;
    if (ReadNumber(piece, value) == std::errc() && value >= 0 && value <= most) {
      values_.push_back(value);
    } else {
      LogDebug("Media - Ignoring milestone (%s) of media item (%s)", piece, item);
    }
    start = end + 1;
  }
  std::sort(values_.begin(), values_.end());
  values_.erase(std::unique(values_.begin(), values_.end()), values_.end());
}

std::size_t Milestones::CountUpTo(double position) const {
  const auto behind = std::upper_bound(values_.begin(), values_.end(), position);
  return static_cast<std::size_t>(behind - values_.begin());
}

std::u16string Milestones::SegmentName(char16_t kind, std::size_t number,
                                       std::u16string_view end) const {
  std::u16string name(1, kind);
  name.append(u":").append(DecimalText(LastOf(number))).append(u"-");
  return name.append(number < values_.size() ? DecimalText(values_[number]) : end);
}

}  // namespace Veltro::Internal
