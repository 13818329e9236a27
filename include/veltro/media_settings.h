#pragma once

#include <cstdint>
#include <string>

namespace Veltro {

/// A video, or a video ad, that is about to be played. Texts are UTF-8. "--**--" is taken out of
/// the names of media, player and parent.
struct MediaSettings {
  std::string Name;        ///< what the media is known by; required
  std::string PlayerName;  ///< "Not_Specified" when empty
  std::string PlayerId;    ///< of the player instance; opening media closes what plays in the same

  double Length = 0;  ///< seconds; 0 or less, and what is not finite, when it is not known

  std::string Channel;  ///< the channel of the content, if any

  /// What is reported when playback reaches it, as whole numbers separated by commas: percentages
  /// from 1 to 100, as in "25,50,75", which need a length.
  std::string Milestones;

  /// The same by offsets in seconds, as in "30,60".
  std::string OffsetMilestones;

  /// Whether reports name the segment, which lies between two of the percentages.
  bool SegmentByMilestones = false;

  /// The same for the offsets. When both kinds could, the percentages do.
  bool SegmentByOffsetMilestones = false;

  /// The time played is reported each time that so many seconds have been played; 0 or less for
  /// no such reports.
  std::int32_t TrackSeconds = 0;

  /// How many seconds before its end the media counts as complete when it is completed or closed;
  /// less than 1 stands for 1.
  std::int32_t CompleteCloseOffsetThreshold = 1;

  /// These four matter only when `IsMediaAd`.
  std::string ParentName;        ///< the content that the ad plays in; required then
  std::string ParentPod;         ///< the ad break, if it has a name
  std::string CPM;               ///< cost per thousand, if it is to be reported
  double ParentPodPosition = 0;  ///< place in the ad break, from 1; 0 or less when it is not known

  bool IsMediaAd = false;  ///< the media is an ad
};

}  // namespace Veltro
