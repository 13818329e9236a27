#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "base/string_map.h"
#include "media/milestones.h"
#include "veltro/media_settings.h"

namespace Veltro::Internal {

/// `text`, a name of media, player or parent, without each "--**--".
std::u16string CleanMediaText(std::u16string_view text);

/// A video or video ad as it was opened. Does not change while it is played.
struct MediaItem {
  std::u16string name;
  std::u16string playerId;      ///< may be empty
  double length = -1;           ///< seconds; -1 when it is not known
  Milestones milestones;        ///< percentages, which mean nothing while the length is not known
  Milestones offsetMilestones;  ///< seconds
  bool segmentByMilestones = false;  ///< never without milestones
  bool segmentByOffsetMilestones = false;
  std::int32_t trackSeconds = 0;                  ///< 0 or less for no periodic hit
  std::int32_t completeCloseOffsetThreshold = 1;  ///< seconds
  bool isAd = false;
  std::u16string cpm;  ///< of an ad; may be empty
  StringMap data;      ///< what every hit tells of the item

  bool HasLength() const { return length > 0; }

  /// The key of context data for `part`, which differs for content and ads.
  std::u16string Key(std::u16string_view part) const;
};

/// The item that `settings` describe, with defaults for what they leave out. Nothing, but a line in
/// the log, when there is no name, or no parent name for an ad.
std::optional<MediaItem> MakeMediaItem(const MediaSettings& settings);

}  // namespace Veltro::Internal
