#pragma once

#include <string>
#include <vector>

#include "collector/received_request.h"

namespace Veltro::Collector {

/// The name of a kind, as in "destination".
const char* KindName(RequestKind kind);

/// The request for a person to read: its kind, what it is about, and the status of its answer
/// unless that is 200. Safe on a terminal; ends with a line feed.
std::string RequestToText(RequestKind kind, const ReceivedRequest& request);

/// The request as one JSON object on one line, without a line feed. Bytes that are not UTF-8 come
/// out as U+FFFD. Members: "kind", "receivedTime", "rawTarget", "headers", "status".
std::string RequestToJson(RequestKind kind, const ReceivedRequest& request);

/// A JSON array of objects with the members "rawTarget", "headers" and "status".
std::string RequestsToJson(const std::vector<ReceivedRequest>& requests);

}  // namespace Veltro::Collector
