#pragma once

#include <string_view>

#include "veltro/context_data.h"
#include "veltro/export.h"
#include "veltro/media_settings.h"

namespace Veltro {

/// Records how videos and video ads are played. The application opens a media item, then reports
/// what its player does with it, by the item's name; the library records the view, milestones,
/// clicks, the completion and the time played, and follows the clock between reports. Texts are
/// UTF-8. Every function may be called from any thread, returns without waiting for disk or
/// network, and never throws.
///
/// `offset` is the position of playback in seconds. One that is negative or not finite stands for
/// the position by the clock; one past the end for the end.
///
/// Calls take effect in their order, on a worker; opening and closing at once, when no earlier call
/// waits for it. Nothing but a log line comes of a name that is not open. As elsewhere, nothing is
/// recorded while the configuration file names no report suite or server, or after the user has
/// opted out.
class VELTRO_EXPORT Media {
 public:
  /// Opens a media item. Closes the one of the same name first, and one of the same player id, if
  /// there are any. Settings without a name, or of an ad without the name of its parent, are
  /// refused.
  static void Open(const MediaSettings& settings);

  /// Closes the item and forgets it. One that is playing is complete when it is near its end.
  static void Close(std::string_view name);

  /// The item starts to play, for the first time or after a stop; else the call is ignored. One
  /// that is at its end when it is first played is viewed, but not complete, and closed.
  static void Play(std::string_view name, double offset);

  /// The playing item has come to its end. That is recorded when it is near its end, or when its
  /// length is not known. The clock stands still from here on; to play it again, stop it first.
  static void Complete(std::string_view name, double offset);

  /// The playing item stops: a pause, or the beginning of a seek, which ends with `Play`.
  static void Stop(std::string_view name, double offset);

  /// The user clicks on the playing item, such as an ad.
  static void Click(std::string_view name, double offset);

  /// Records where the item stands, with `data`, whose entries yield to the library's own.
  /// Always does, unless the item has never been played.
  static void Track(std::string_view name, const ContextData& data = {});
};

}  // namespace Veltro
