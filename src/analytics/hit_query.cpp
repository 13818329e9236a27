#include "analytics/hit_query.h"

#include <algorithm>
#include <string_view>

#include "base/url_escape.h"
#include "core/context_data.h"

namespace Veltro::Internal {
namespace {

/// Writes nested levels around parameters that come in key order. A path is a key or the front of
/// one, up to a dot; dots sort before every other character of a clean key, so all keys of a level
/// come one after the other.
class LevelWriter {
 public:
  explicit LevelWriter(std::string& out) : out_(out) {}

  void Write(const StringMap::Entry& entry) {
    CloseDownTo(CommonLength(entry.key));
    OpenUpTo(entry.key.substr(0, ParentLength(entry.key)));
    if (entry.value.empty()) return;
    AppendUrlParameter(entry.key.substr(SegmentStart(open_.size())), entry.value, out_);
  }

  void CloseAll() { CloseDownTo(0); }

 private:
  /// The length of the path in which `path` lies: up to its last dot, 0 when it has none.
  static std::size_t ParentLength(std::u16string_view path) {
    const std::size_t dot = path.rfind(u'.');
    return dot == path.npos ? 0 : dot;
  }

  /// Where the segment behind a path of that length starts.
  static std::size_t SegmentStart(std::size_t pathLength) {
    return pathLength == 0 ? 0 : pathLength + 1;
  }

  /// The length of the longest open path in which `key` lies.
  std::size_t CommonLength(std::u16string_view key) const {
    const auto difference = std::mismatch(open_.begin(), open_.end(), key.begin(), key.end()).first;
    const auto same = static_cast<std::size_t>(difference - open_.begin());
    if (same == open_.size() && same < key.size() && key[same] == u'.') return same;
    return ParentLength(open_.substr(0, same));
  }

  void CloseDownTo(std::size_t pathLength) {
    while (open_.size() > pathLength) {
      const std::size_t parent = ParentLength(open_);
      out_ += "&.";
      AppendUrlEscaped(open_.substr(SegmentStart(parent)), out_);
      open_ = open_.substr(0, parent);
    }
  }

  void OpenUpTo(std::u16string_view path) {
    while (open_.size() < path.size()) {
      const std::size_t start = SegmentStart(open_.size());
      const std::size_t end = std::min(path.find(u'.', start), path.size());
      out_ += '&';
      AppendUrlEscaped(path.substr(start, end - start), out_);
      out_ += '.';
      open_ = path.substr(0, end);
    }
  }

  std::string& out_;
  std::u16string_view open_;  // the path of the levels that are open
};

}  // namespace

void AppendHitParameters(const StringMap& variables, const StringMap& contextData,
                         std::string& out) {
  for (const auto [key, value] : variables) AppendUrlParameter(key, value, out);
  const StringMap cleaned = CleanContextDataKeys(contextData);
  if (cleaned.Empty()) return;
  out += "&c.";
  LevelWriter writer(out);
  for (const StringMap::Entry entry : cleaned) writer.Write(entry);
  writer.CloseAll();
  out += "&.c";
}

}  // namespace Veltro::Internal
