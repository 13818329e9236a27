#include "collector/hit.h"

#include "collector/query.h"

namespace Veltro::Collector {
namespace {

// Nested keys repeat the names of their levels, so a hostile query could ask for the square of its
// own length. What the library sends stays far below this.
constexpr std::size_t kMostKeyBytes = 16 * 1024 * 1024;

constexpr std::string_view kContextData = "c.";
constexpr const char* kNotes = "veltroNotes";
constexpr const char* kTimeTotal = "a.action.time.total";
constexpr std::string_view kActionPrefix = "QXACTION:";
constexpr std::string_view kInternalActionPrefix = "VLTINTERNAL:";

// Walks through the segments of one query and fills the variables and the context data of a hit.
class QueryDecoder {
 public:
  explicit QueryDecoder(Hit& hit) : hit_(hit) {}

  void Decode(std::string_view query) {
    const auto segments = Split(query, '&');
    if (segments.front() != "AQB=1" || segments.back() != "AQE=1") hit_.malformed = true;
    for (const auto segment : segments) DecodeSegment(segment);
    if (!levelStarts_.empty()) hit_.malformed = true;
  }

 private:
  void DecodeSegment(std::string_view segment) {
    const std::size_t equals = segment.find('=');
    if (equals != std::string_view::npos) {
      if (equals == 0) hit_.malformed = true;
      return Keep(segment.substr(0, equals), segment.substr(equals + 1));
    }
    if (segment.size() > 1 && segment.front() == '.') return Close(segment.substr(1));
    if (segment.size() > 1 && segment.back() == '.') return Open(segment);
    hit_.malformed = true;
    if (!segment.empty() && segment != ".") Keep(segment, "");
  }

  void Open(std::string_view nameAndDot) {
    const std::string level = Unescape(nameAndDot, hit_.malformed);
    levelStarts_.push_back(prefix_.size());
    prefix_ += level;
    ++openLevels_[level];
  }

  // A level that is closed too early takes those inside it along; one that is not open is ignored.
  void Close(std::string_view name) {
    const std::string level = Unescape(name, hit_.malformed) + '.';
    if (!openLevels_.contains(level)) {
      hit_.malformed = true;
      return;
    }
    while (PopLevel() != level) hit_.malformed = true;
  }

  std::string PopLevel() {
    std::string level = prefix_.substr(levelStarts_.back());
    prefix_.resize(levelStarts_.back());
    levelStarts_.pop_back();
    const auto open = openLevels_.find(level);
    if (--open->second == 0) openLevels_.erase(open);
    return level;
  }

  void Keep(std::string_view name, std::string_view value) {
    std::string key = Unescape(name, hit_.malformed);
    keyBytes_ += prefix_.size() + key.size();
    if (keyBytes_ > kMostKeyBytes) {
      hit_.malformed = true;
      return;
    }
    const bool inContextData = prefix_.starts_with(kContextData);
    key.insert(0, prefix_, inContextData ? kContextData.size() : 0);
    auto& map = inContextData ? hit_.contextData : hit_.variables;
    const bool isNew = map.insert_or_assign(std::move(key), Unescape(value, hit_.malformed)).second;
    if (!isNew) hit_.malformed = true;
  }

  Hit& hit_;
  std::string prefix_;                             // the open levels, each followed by a dot
  std::vector<std::size_t> levelStarts_;           // where in `prefix_` each of them starts
  std::map<std::string, std::size_t> openLevels_;  // how often each is open
  std::size_t keyBytes_ = 0;
};

void DecodePath(std::string_view path, Hit& hit) {
  const auto parts = Split(path, '/');
  const auto part = [&parts](std::size_t i) {
    return i < parts.size() ? parts[i] : std::string_view();
  };
  const bool hasForm = parts.size() == 7 && part(0).empty() && part(1) == "b" && part(2) == "ss" &&
                       part(4) == "0" && !part(5).empty() && part(6).starts_with('s');
  if (!hasForm) hit.malformed = true;
  for (const auto suite : Split(part(3), ',')) {
    if (suite.empty()) hit.malformed = true;
    if (!suite.empty()) hit.reportSuites.push_back(Unescape(suite, hit.malformed));
  }
  hit.codeVersion = Unescape(part(5), hit.malformed);
  hit.randomPart = Unescape(part(6), hit.malformed);
}

// What the library's own actions are about.
std::string_view InternalTopic(std::string_view name) {
  if (name == "Lifecycle") return "lifecycle";
  if (name == "Media") return "media";
  if (name == "Location") return "location";
  if (name == "LifetimeValueIncrease") return "lifetime value";
  return "internal action";
}

}  // namespace

Hit DecodeHit(std::string_view rawTarget) {
  Hit hit;
  hit.rawTarget = rawTarget;
  const std::size_t mark = rawTarget.find('?');
  DecodePath(rawTarget.substr(0, mark), hit);
  const bool hasQuery = mark != std::string_view::npos;
  QueryDecoder(hit).Decode(hasQuery ? rawTarget.substr(mark + 1) : std::string_view());
  if (const auto notes = hit.variables.extract(kNotes)) hit.notes = notes.mapped();
  return hit;
}

HitKind KindOf(const Hit& hit) {
  if (!hit.variables.contains("pe")) return HitKind::State;
  const std::string detail = ValueOf(hit.variables, "pev2");
  if (detail.starts_with(kActionPrefix)) return HitKind::Action;
  if (detail.starts_with(kInternalActionPrefix)) return HitKind::InternalAction;
  return HitKind::Other;
}

std::string_view TopicOf(const Hit& hit) {
  switch (KindOf(hit)) {
    case HitKind::State:
      return "state";
    case HitKind::Action:
      return hit.contextData.contains(kTimeTotal) ? "timed action" : "action";
    case HitKind::InternalAction:
      return InternalTopic(NameOf(hit));
    case HitKind::Other:
      break;
  }
  return "other";
}

std::optional<std::int64_t> TimestampOf(const Hit& hit) {
  return WholeNumber<std::int64_t>(ValueOf(hit.variables, "ts"));
}

std::string NameOf(const Hit& hit) {
  const HitKind kind = KindOf(hit);
  if (kind == HitKind::State) return ValueOf(hit.variables, "pageName");
  const std::string detail = ValueOf(hit.variables, "pev2");
  if (kind == HitKind::Action) return detail.substr(kActionPrefix.size());
  if (kind == HitKind::InternalAction) return detail.substr(kInternalActionPrefix.size());
  return detail;
}

}  // namespace Veltro::Collector
