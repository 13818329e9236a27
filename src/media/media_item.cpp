#include "media/media_item.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "base/number_text.h"
#include "base/utf.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

std::u16string PlayerNameOf(const MediaSettings& settings) {
  const std::u16string name = CleanMediaText(ToUtf16(settings.PlayerName));
  return name.empty() ? u"Not_Specified" : name;
}

/// Adds `value` unless it is empty.
void AddText(StringMap& data, std::u16string_view key, std::string_view value) {
  if (!value.empty()) data.Add(key, ToUtf16(value));
}

/// Adds `value` without its fraction, provided that it is known, which is greater than 0.
void AddNumber(StringMap& data, std::u16string_view key, double value) {
  if (value > 0) data.Add(key, DecimalText(TruncateToInt32(value)));
}

StringMap ItemData(const MediaItem& item, const MediaSettings& settings,
                   std::u16string_view parentName) {
  StringMap data = {{u"&&pev3", item.isAd ? u"videoAd" : u"video"},
                    {u"a.contentType", item.isAd ? u"videoAd" : u"video"},
                    {item.Key(u"name"), item.name},
                    {item.Key(u"playerName"), PlayerNameOf(settings)}};
  AddNumber(data, item.Key(u"length"), item.length);
  AddText(data, u"a.media.channel", settings.Channel);
  if (item.isAd) {
    data.Add(u"a.media.name", parentName);
    AddText(data, item.Key(u"pod"), settings.ParentPod);
    AddNumber(data, item.Key(u"podPosition"), settings.ParentPodPosition);
  }
  return data;
}

}  // namespace

std::u16string CleanMediaText(std::u16string_view text) {
  constexpr std::u16string_view kMark = u"--**--";
  std::u16string clean;
  std::size_t start = 0;
  for (std::size_t mark; (mark = text.find(kMark, start)) != text.npos;
       start = mark + kMark.size()) {
    clean += text.substr(start, mark - start);
  }
  return clean += text.substr(start);
}

std::u16string MediaItem::Key(std::u16string_view part) const {
  return std::u16string(isAd ? u"a.media.ad." : u"a.media.").append(part);
}

std::optional<MediaItem> MakeMediaItem(const MediaSettings& settings) {
  MediaItem item;
  item.name = CleanMediaText(ToUtf16(settings.Name));
  if (item.name.empty()) {
    LogDebug("Analytics - VLTMediaSettings is required with a valid name. Media item not opened");
    return std::nullopt;
  }
  item.isAd = settings.IsMediaAd;
  const std::u16string parentName = CleanMediaText(ToUtf16(settings.ParentName));
  if (item.isAd && parentName.empty()) {
    LogDebug(
        "Analytics - Media ad requires parent name, please specify a parent name. Media item not "
        "opened");
    return std::nullopt;
  }
  item.playerId = ToUtf16(settings.PlayerId);
  if (settings.Length > 0 && std::isfinite(settings.Length)) item.length = settings.Length;
  item.milestones = Milestones(ToUtf16(settings.Milestones), 100, item.name);
  item.offsetMilestones = Milestones(
      ToUtf16(settings.OffsetMilestones),
      item.HasLength() ? item.length : std::numeric_limits<double>::infinity(), item.name);
  item.segmentByMilestones = settings.SegmentByMilestones && !item.milestones.Empty();
  item.segmentByOffsetMilestones =
      settings.SegmentByOffsetMilestones && !item.offsetMilestones.Empty();
  item.trackSeconds = settings.TrackSeconds;
  item.completeCloseOffsetThreshold = std::max(settings.CompleteCloseOffsetThreshold, 1);
  if (item.isAd) item.cpm = ToUtf16(settings.CPM);
  item.data = ItemData(item, settings, parentName);
  return item;
}

}  // namespace Veltro::Internal
