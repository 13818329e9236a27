#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace Veltro::Collector {

enum class RequestKind {
  Hit,          ///< GET /b/ss/...
  Id,           ///< GET /id
  Event,        ///< GET /event
  Destination,  ///< GET /destination/...
  Content,      ///< GET /m2/<client code>/ubox/raw
};

/// One request as it came in, whatever became of it.
struct ReceivedRequest {
  std::int64_t receivedTime = 0;               ///< milliseconds since 1970, UTC
  std::string rawTarget;                       ///< path and query exactly as received
  std::map<std::string, std::string> headers;  ///< repeated ones joined by ", "
  std::int32_t status = 0;                     ///< of the answer that it is to get; 0: none
};

}  // namespace Veltro::Collector
