#pragma once

#include <chrono>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "platform/http_transport.h"
#include "support/raw_server.h"

namespace Veltro::Internal::Testing {

/// A way for a server to answer, and what becomes of the request.
struct ServerFault {
  const char* name;
  RawServer::Reply reply;
  std::chrono::milliseconds timeout;
  HttpResult::Outcome outcome;
  std::int32_t status = 0;
  std::uint32_t error = 0;
  std::string body = {};
  bool bodyIsWhole = true;
  RawServer::Start start = RawServer::Start::Listening;

  /// Whether a hit that meets it is kept, to be tried again after a cooldown.
  bool KeepsHit(bool offlineTracking) const {
    if (outcome == HttpResult::Outcome::Failed) return true;
    return offlineTracking && status != 200 && status != 307;
  }
};

inline void PrintTo(const ServerFault& fault, std::ostream* out) { *out << fault.name; }

/// All the faults that are known, and some answers that only look like one.
std::vector<ServerFault> AllServerFaults();

}  // namespace Veltro::Internal::Testing
