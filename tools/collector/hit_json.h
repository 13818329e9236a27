#pragma once

#include <string>
#include <vector>

#include "collector/hit.h"

namespace Veltro::Collector {

/// The hit as one JSON object on one line, without a line feed. Bytes that are not UTF-8 come out
/// as U+FFFD. Members: "sequence", "receivedTime", "kind", "name", "reportSuites", "codeVersion",
/// "randomPart", "variables", "contextData" (keys with dots), "headers", "malformed",
/// "findings" (an array of {"check", "text"}), "rawTarget".
std::string HitToJson(const Hit& hit);

/// A JSON array of such objects, in the order given.
std::string HitsToJson(const std::vector<Hit>& hits);

/// {"count": all of them, "complete": `complete`, "hits": the array}
std::string WaitResultToJson(const std::vector<Hit>& hits, bool complete);

}  // namespace Veltro::Collector
