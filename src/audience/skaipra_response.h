#pragma once

#include <optional>
#include <string>
#include <vector>

#include "base/string_map.h"

namespace Veltro::Internal {

/// What the audience server answers to a signal.
struct SkaipraResponse {
  std::vector<std::string> destinations;  ///< URLs to call, UTF-8, as the server wrote them
  std::u16string userId;                  ///< that the server assigned; empty for none of use
  StringMap segments;                     ///< keys and values, none of them empty
  std::string error;  ///< why all but the destinations could not be read; empty when it could
};

/// Reads the JSON object `body`: "dests" is an array of objects with the URL "c", "uuid" the user's
/// identifier, "stuff" an array of objects with the segment's key "cn" and value "cv". Of equal
/// keys the first counts. Elements that are no objects, or lack something, are skipped; "uuid",
/// "stuff", "cn" or "cv" of another type are an error. Returns nothing for what is no JSON object
/// or nested deeper than 32 levels. Never throws but for lack of memory.
std::optional<SkaipraResponse> ParseSkaipraResponse(const std::string& body);

}  // namespace Veltro::Internal
