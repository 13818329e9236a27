#include "collector/api.h"

#include <algorithm>
#include <chrono>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>

#include "collector/entry_json.h"
#include "collector/hit_json.h"
#include "collector/query.h"
#include "collector/request_text.h"
#include "collector/same_site.h"

namespace Veltro::Collector {
namespace {

constexpr std::int64_t kLongestWait = 10 * 60 * 1000;
constexpr std::int64_t kDefaultWait = 10 * 1000;
constexpr const char* kJsonType = "application/json";

void AnswerError(const std::string& message, httplib::Response& response) {
  response.status = 400;
  const nlohmann::json body = {{"error", message}};
  using ErrorHandler = nlohmann::json::error_handler_t;
  response.set_content(body.dump(-1, ' ', false, ErrorHandler::replace), kJsonType);
}

// A number of zero or more from the query.
std::optional<std::int64_t> Parameter(const httplib::Request& request, const char* name,
                                      std::int64_t absent) {
  if (!request.has_param(name)) return absent;
  const auto number = WholeNumber<std::int64_t>(request.get_param_value(name));
  return number && *number >= 0 ? number : std::nullopt;
}

}  // namespace

Api::Api(const RequestLog& log, FaultQueue& faults, const Changes& changes,
         const std::atomic<std::size_t>& connections, std::function<void()> forget)
    : log_(log),
      faults_(faults),
      connections_(connections),
      forget_(std::move(forget)),
      feed_(log, faults, changes) {}

void Api::AddRoutes(HttpServer& server) {
  AddHitRoutes(server);
  AddRequestRoutes(server);
  AddLiveRoutes(server);
  AddFaultRoutes(server);
}

void Api::AddHitRoutes(HttpServer& server) {
  server.Get("/api/hits", ForOwnPage([this](const Request&, Response& response) {
               response.set_content(HitsToJson(log_.Hits()), kJsonType);
             }));
  server.Delete("/api/hits", ForOwnPage([this](const Request&, Response&) { forget_(); }));
  server.Get("/api/hits/wait", ForOwnPage([this](const Request& request, Response& response) {
               AnswerWait(request, response);
             }));
  server.Get("/api/stats", ForOwnPage([this](const Request&, Response& response) {
               response.set_content(Stats(), kJsonType);
             }));
}

void Api::AddRequestRoutes(HttpServer& server) {
  const auto add = [&](const char* path, RequestKind kind) {
    server.Get(path, ForOwnPage([this, kind](const Request&, Response& response) {
                 response.set_content(RequestsToJson(log_.Requests(kind)), kJsonType);
               }));
  };
  add("/api/events", RequestKind::Event);
  add("/api/destinations", RequestKind::Destination);
  add("/api/contents", RequestKind::Content);
}

void Api::AddLiveRoutes(HttpServer& server) {
  server.Get("/api/live", ForOwnPage([this](const Request& request, Response& response) {
               feed_.Answer(request, response);
             }));
  server.Get("/api/entries/([0-9]+)",
             ForOwnPage([this](const Request& request, Response& response) {
               AnswerEntry(request, response);
             }));
}

void Api::AddFaultRoutes(HttpServer& server) {
  server.Get("/api/faults", ForOwnPage([this](const Request&, Response& response) {
               response.set_content(FaultsToJson(faults_.Waiting()), kJsonType);
             }));
  server.Post("/api/faults", ForOwnPage([this](const Request& request, Response& response) {
                try {
                  faults_.Push(ParseFaults(request.body));
                } catch (const std::exception& error) {
                  AnswerError(error.what(), response);
                }
              }));
  server.Delete("/api/faults", ForOwnPage([this](const Request&, Response&) { faults_.Clear(); }));
}

std::string Api::Stats() const {
  const auto kept = [this](RequestKind kind) { return log_.KeptRequestCount(kind); };
  const nlohmann::ordered_json stats = {
      {"hits", log_.KeptHitCount()},           {"attempts", kept(RequestKind::Hit)},
      {"connections", connections_.load()},    {"idRequests", log_.RequestCount(RequestKind::Id)},
      {"events", kept(RequestKind::Event)},    {"destinations", kept(RequestKind::Destination)},
      {"contents", kept(RequestKind::Content)}};
  return stats.dump();
}

void Api::AnswerWait(const Request& request, Response& response) const {
  const auto count = Parameter(request, "count", 1);
  const auto timeout = Parameter(request, "timeout", kDefaultWait);
  if (!count || !timeout) {
    return AnswerError("\"count\" and \"timeout\" must be whole numbers", response);
  }
  const std::chrono::milliseconds wait(std::min(*timeout, kLongestWait));
  const bool isComplete = log_.WaitForHits(static_cast<std::size_t>(*count), wait);
  response.set_content(WaitResultToJson(log_.Hits(), isComplete), kJsonType);
}

void Api::AnswerEntry(const Request& request, Response& response) const {
  const auto number = WholeNumber<std::int64_t>(request.matches[1].str());
  const SharedEntry entry = number ? log_.Find(*number) : nullptr;
  if (entry) return response.set_content(WholeEntryToJson(*entry), kJsonType);
  response.status = 404;
}

}  // namespace Veltro::Collector
