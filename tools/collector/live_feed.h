#pragma once

#include <httplib.h>

#include <atomic>

#include "collector/changes.h"
#include "collector/fault.h"
#include "collector/request_log.h"

namespace Veltro::Collector {

/// Tells browsers, as server-sent events, what is in the log and which faults wait: first all there
/// is, then each change. A slow reader slows nobody else.
class LiveFeed {
 public:
  LiveFeed(const RequestLog& log, const FaultQueue& faults, const Changes& changes)
      : log_(log), faults_(faults), changes_(changes) {}

  /// Answers a request with the feed, until the reader leaves or `changes` are stopped; with status
  /// 503 when there are too many readers, each of whom holds a thread of the server.
  void Answer(const httplib::Request& request, httplib::Response& response);

 private:
  class Reader;

  const RequestLog& log_;
  const FaultQueue& faults_;
  const Changes& changes_;
  std::atomic<int> readers_ = 0;
};

}  // namespace Veltro::Collector
