#pragma once

#include <string>

#include "collector/request_log.h"

namespace Veltro::Collector {

/// The entry as one JSON object on one line, for a list of many. Bytes that are not UTF-8 come out
/// as U+FFFD. Members: "number", "type", "receivedTime", "status", "length" (of path and query),
/// "name"; of a hit also "kind" (see `TopicOf`), "reportSuites", "timestamp" (if it has one),
/// "variables", "contextData", "findings" (if there are any); of others also "parameters".
std::string EntryToJson(const Entry& entry);

/// The same with all the rest: "rawTarget", "headers"; of a hit also "codeVersion", "randomPart",
/// "malformed".
std::string WholeEntryToJson(const Entry& entry);

}  // namespace Veltro::Collector
