#pragma once

#include <httplib.h>

#include <atomic>
#include <cstddef>
#include <functional>
#include <string>

#include "collector/fault.h"
#include "collector/http_server.h"
#include "collector/live_feed.h"
#include "collector/request_log.h"

namespace Veltro::Collector {

/// What the collector tells and takes over HTTP under /api, see `Collector`.
class Api {
 public:
  /// `forget` is called to forget hits and requests; `connections` counts as `ConnectionCount`.
  Api(const RequestLog& log, FaultQueue& faults, const Changes& changes,
      const std::atomic<std::size_t>& connections, std::function<void()> forget);

  void AddRoutes(HttpServer& server);

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;

  void AddHitRoutes(HttpServer& server);
  void AddRequestRoutes(HttpServer& server);
  void AddLiveRoutes(HttpServer& server);
  void AddFaultRoutes(HttpServer& server);
  std::string Stats() const;
  void AnswerWait(const Request& request, Response& response) const;
  void AnswerEntry(const Request& request, Response& response) const;

  const RequestLog& log_;
  FaultQueue& faults_;
  const std::atomic<std::size_t>& connections_;
  const std::function<void()> forget_;
  LiveFeed feed_;
};

}  // namespace Veltro::Collector
