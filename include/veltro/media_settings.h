#pragma once

#include <cstdint>
#include <string>

namespace Veltro {

/// A video, or a video ad, that is about to be played. Texts are UTF-8. "--**--" is taken out of
/// the names of media, player and parent.
struct MediaSettings {
  std::string Name;        ///< what the media is known by; required
  std::string PlayerName;  ///< "Not_Specified" when empty
  std::string PlayerId;  ///< of the player instance, which plays one media at a time; may be empty

  double Length = 0;  ///< seconds; 0 or less, and what is not finite, when it is not known

  std::string Channel;  ///< the channel of the content, if any

  /// What is reported when playback reaches it, whole numbers separated by commas: percentages of
  /// the length from 1 to 100, as in "25,50,75", and offsets in seconds from 1 to the length.
  std::string Milestones;
  std::string OffsetMilestones;

  /// Whether the parts between the milestones of a kind are reported as segments. Where both are,
  /// those of the percentages are.
  bool SegmentByMilestones = false;
  bool SegmentByOffsetMilestones = false;

  /// After how many seconds of play these are reported, again and again; 0 or less for never.
  std::int32_t TrackSeconds = 0;

  /// How many seconds before the end the media counts as complete when it is completed or closed;
  /// less than 1 stands for 1.
  std::int32_t CompleteCloseOffsetThreshold = 1;

  // Of ads only.
  std::string ParentName;        ///< the content that the ad plays in; required
  std::string ParentPod;         ///< the ad break, if it has a name
  std::string CPM;               ///< cost per thousand, if it is to be reported
  double ParentPodPosition = 0;  ///< place in the ad break, from 1; 0 or less when it is not known

  bool IsMediaAd = false;
};

}  // namespace Veltro
