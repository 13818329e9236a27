#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Veltro::Collector {

/// A developer's mistake that a hit shows.
struct Finding {
  std::string check;  ///< its name, as in "missing page name"
  std::string text;   ///< a sentence that says what to do
  bool operator==(const Finding&) const = default;
};

/// One request to the collection path, taken apart. Text is UTF-8 with percent escapes resolved,
/// unless said otherwise.
///
/// A hit is malformed when its path or query is not of the form that the library sends: a missing
/// part of the path, no AQB=1 at the start or AQE=1 at the end of the query, bad escapes or UTF-8,
/// levels that do not close, a name that comes twice, a segment that is nothing of all this. What
/// could be decoded is there all the same: bad escapes stay as they are, of a name that comes twice
/// the last value counts.
struct Hit {
  std::int64_t sequence = 0;      ///< 1 for the first hit received
  std::int64_t receivedTime = 0;  ///< milliseconds since 1970, UTC
  std::string rawTarget;          ///< path and query exactly as received

  std::vector<std::string> reportSuites;
  std::string codeVersion;  ///< as in "WINU-4.0.0"
  std::string randomPart;   ///< the last part of the path, as in "s1234567"

  std::map<std::string, std::string> variables;    ///< the markers AQB, ndh and AQE among them
  std::map<std::string, std::string> contextData;  ///< keys with dots between the levels
  std::map<std::string, std::string> headers;      ///< repeated ones joined by ", "

  bool malformed = false;

  std::string notes;  ///< what the library in a dry run remarks on the hit, one a line
  std::vector<Finding> findings;
};

enum class HitKind {
  State,
  Action,
  InternalAction,
  Other,  ///< has a "pe" that is none of the above
};

/// Takes the request target `rawTarget` apart; never fails. Time and memory are linear in the
/// length of the target: keys that are very deep and very many are left out, and the hit is
/// malformed. Leaves out what the target does not tell: sequence, time, headers and findings.
Hit DecodeHit(std::string_view rawTarget);

HitKind KindOf(const Hit& hit);

/// What the hit is about, finer than its kind: "state", "action", "timed action", "lifecycle",
/// "media", "location", "lifetime value", "internal action" or "other".
std::string_view TopicOf(const Hit& hit);

/// The time that the hit itself tells, in seconds since 1970.
std::optional<std::int64_t> TimestampOf(const Hit& hit);

/// The state or action; empty when the hit names none.
std::string NameOf(const Hit& hit);

}  // namespace Veltro::Collector
