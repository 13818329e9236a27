#include "collector/collector.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "collector/answer.h"
#include "collector/audience.h"
#include "collector/content.h"
#include "collector/hit_json.h"
#include "collector/http_server.h"
#include "collector/request_log.h"
#include "collector/request_text.h"
#include "collector/rules.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;

constexpr std::int64_t kLongestWait = 10 * 60 * 1000;
constexpr std::int64_t kDefaultWait = 10 * 1000;
constexpr const char* kJsonType = "application/json";

std::int64_t Now() {
  const auto now = std::chrono::system_clock::now().time_since_epoch();
  return std::chrono::duration_cast<milliseconds>(now).count();
}

// What was received, without what the server adds about the connection.
std::map<std::string, std::string> ReceivedHeaders(const httplib::Request& request) {
  std::map<std::string, std::string> headers;
  for (const auto& [name, value] : request.headers) {
    const bool isAdded = name == "REMOTE_ADDR" || name == "REMOTE_PORT" || name == "LOCAL_ADDR" ||
                         name == "LOCAL_PORT";
    if (isAdded) continue;
    std::string& joined = headers[name];
    joined += (joined.empty() ? "" : ", ") + value;
  }
  return headers;
}

Fault::Server ServerOf(RequestKind kind) {
  switch (kind) {
    case RequestKind::Hit:
    case RequestKind::Id:
      break;
    case RequestKind::Event:
      return Fault::Server::Audience;
    case RequestKind::Destination:
      return Fault::Server::Destination;
    case RequestKind::Content:
      return Fault::Server::Content;
  }
  return Fault::Server::Collection;
}

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
  const std::string text = request.get_param_value(name);
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  const bool isNumber = error == std::errc() && end == text.data() + text.size();
  return isNumber && number >= 0 ? std::optional(number) : std::nullopt;
}

}  // namespace

class Collector::Service {
 public:
  explicit Service(Options options)
      : options_(std::move(options)), rules_(ParseRules(options_.rules)) {
    AddCollectionRoutes();
    AddAudienceAndContentRoutes();
    AddHitRoutes();
    AddRequestRoutes();
    AddFaultRoutes();
    if (!server_.Start(options_.port)) {
      throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(options_.port) +
                               "; is the port in use?");
    }
  }

  ~Service() { log_.StopWaiting(); }

  std::string Host() const { return "127.0.0.1:" + std::to_string(Port()); }
  std::uint16_t Port() const { return server_.Port(); }
  RequestLog& Log() { return log_; }
  FaultQueue& Faults() { return faults_; }
  std::size_t ConnectionCount() const { return connections_; }

  void SetRules(std::string_view json) {
    Rules rules = ParseRules(json);
    const std::lock_guard lock(rulesMutex_);
    rules_ = std::move(rules);
  }

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;

  void AddCollectionRoutes() {
    server_.Get(R"(/b/ss/[\s\S]*)", [this](const Request& request, Response& response) {
      AnswerHit(request, response);
    });
    server_.Get("/id", [this](const Request& request, Response& response) {
      CountConnection();
      const nlohmann::json body = {{"id", options_.identifier}};
      Receive(RequestKind::Id, request, {.body = body.dump(), .contentType = kJsonType}, response);
    });
  }

  void AddAudienceAndContentRoutes() {
    server_.Get("/event", [this](const Request& request, Response& response) {
      const Answer answer = AnswerEvent(CurrentRules().audience, CurrentParameters(), Host());
      Receive(RequestKind::Event, request, answer, response);
    });
    server_.Get(R"(/destination/[\s\S]*)", [this](const Request& request, Response& response) {
      Receive(RequestKind::Destination, request, {}, response);
    });
    server_.Get(R"(/m2/[\s\S]+/ubox/raw)", [this](const Request& request, Response& response) {
      const Answer answer = AnswerContent(CurrentRules().content, CurrentParameters(),
                                          request.get_header_value("Cookie"));
      Receive(RequestKind::Content, request, answer, response);
    });
  }

  void AddHitRoutes() {
    server_.Get("/api/hits", [this](const Request&, Response& response) {
      response.set_content(HitsToJson(log_.Hits()), kJsonType);
    });
    server_.Delete("/api/hits", [this](const Request&, Response&) { log_.Clear(); });
    server_.Get("/api/hits/wait", [this](const Request& request, Response& response) {
      AnswerWait(request, response);
    });
    server_.Get("/api/stats", [this](const Request&, Response& response) {
      response.set_content(Stats(), kJsonType);
    });
  }

  void AddRequestRoutes() {
    const auto add = [this](const char* path, RequestKind kind) {
      server_.Get(path, [this, kind](const Request&, Response& response) {
        response.set_content(RequestsToJson(log_.Requests(kind)), kJsonType);
      });
    };
    add("/api/events", RequestKind::Event);
    add("/api/destinations", RequestKind::Destination);
    add("/api/contents", RequestKind::Content);
  }

  void AddFaultRoutes() {
    server_.Post("/api/faults", [this](const Request& request, Response& response) {
      try {
        faults_.Push(ParseFaults(request.body));
      } catch (const std::exception& error) {
        AnswerError(error.what(), response);
      }
    });
    server_.Delete("/api/faults", [this](const Request&, Response&) { faults_.Clear(); });
  }

  Rules CurrentRules() const {
    const std::lock_guard lock(rulesMutex_);
    return rules_;
  }

  // The server itself sees only the start of a long target.
  static Parameters CurrentParameters() {
    return DecodeParameters(HttpServer::CurrentConnection().RawTarget());
  }

  // Only the collection server asks its connections, so one that began with an event counts, too.
  void CountConnection() {
    if (HttpServer::CurrentConnection().TakeIsFirst()) ++connections_;
  }

  // Keeps the present request, then answers it with `answer` or as the next fault will have it. The
  // request that it returns has the status that was really sent.
  ReceivedRequest Receive(RequestKind kind, const Request& request, const Answer& answer,
                          Response& response) {
    const auto fault = faults_.Take(ServerOf(kind));
    ReceivedRequest received{Now(), HttpServer::CurrentConnection().RawTarget(),
                             ReceivedHeaders(request), StatusUnder(fault, answer)};
    log_.Add(kind, received);
    Show(kind, received);
    if (!Send(answer, fault, response)) received.status = 0;
    return received;
  }

  void Show(RequestKind kind, const ReceivedRequest& request) {
    if (!options_.onRequest) return;
    const std::lock_guard lock(deliveryMutex_);
    options_.onRequest(kind, request);
  }

  void AnswerHit(const Request& request, Response& response) {
    CountConnection();
    const ReceivedRequest received = Receive(RequestKind::Hit, request, {}, response);
    if (received.status != 200 && received.status != 307) return;
    Hit hit = DecodeHit(received.rawTarget);
    hit.receivedTime = received.receivedTime;
    hit.headers = received.headers;
    Deliver(std::move(hit));
  }

  void Deliver(Hit hit) {
    const std::lock_guard lock(deliveryMutex_);
    const Hit numbered = log_.AddHit(std::move(hit));
    if (options_.onHit) options_.onHit(numbered);
  }

  std::string Stats() const {
    const auto kept = [this](RequestKind kind) { return log_.Requests(kind).size(); };
    const nlohmann::ordered_json stats = {{"hits", log_.Hits().size()},
                                          {"attempts", kept(RequestKind::Hit)},
                                          {"connections", connections_.load()},
                                          {"idRequests", log_.RequestCount(RequestKind::Id)},
                                          {"events", kept(RequestKind::Event)},
                                          {"destinations", kept(RequestKind::Destination)},
                                          {"contents", kept(RequestKind::Content)}};
    return stats.dump();
  }

  void AnswerWait(const Request& request, Response& response) const {
    const auto count = Parameter(request, "count", 1);
    const auto timeout = Parameter(request, "timeout", kDefaultWait);
    if (!count || !timeout) {
      return AnswerError("\"count\" and \"timeout\" must be whole numbers", response);
    }
    const milliseconds wait(std::min(*timeout, kLongestWait));
    const bool isComplete = log_.WaitForHits(static_cast<std::size_t>(*count), wait);
    response.set_content(WaitResultToJson(log_.Hits(), isComplete), kJsonType);
  }

  const Options options_;
  RequestLog log_;
  FaultQueue faults_;
  mutable std::mutex rulesMutex_;
  Rules rules_;
  std::mutex deliveryMutex_;  // one call out at a time; keeps those of `onHit` in order
  std::atomic<std::size_t> connections_ = 0;
  HttpServer server_;  // the last one, so that it stops first: its threads use all the others
};

Collector::Collector(Options options) : service_(std::make_unique<Service>(std::move(options))) {}

Collector::~Collector() = default;

std::uint16_t Collector::Port() const { return service_->Port(); }

std::string Collector::Host() const { return service_->Host(); }

std::vector<Hit> Collector::Hits() const { return service_->Log().Hits(); }

std::vector<ReceivedRequest> Collector::Requests(RequestKind kind) const {
  return service_->Log().Requests(kind);
}

bool Collector::WaitForHits(std::size_t count, milliseconds timeout) const {
  return service_->Log().WaitForHits(count, timeout);
}

bool Collector::WaitForRequests(RequestKind kind, std::size_t count, milliseconds timeout) const {
  return service_->Log().WaitForRequests(kind, count, timeout);
}

void Collector::Clear() { service_->Log().Clear(); }

void Collector::SetRules(std::string_view json) { service_->SetRules(json); }

void Collector::PushFaults(const std::vector<Fault>& faults) { service_->Faults().Push(faults); }

void Collector::ClearFaults() { service_->Faults().Clear(); }

std::size_t Collector::ConnectionCount() const { return service_->ConnectionCount(); }

std::size_t Collector::RequestCount(RequestKind kind) const {
  return service_->Log().RequestCount(kind);
}

}  // namespace Veltro::Collector
