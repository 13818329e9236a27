#include "collector/collector.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "collector/hit_json.h"
#include "collector/http_server.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kLongestSilence = std::chrono::seconds(60);
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

std::int32_t StatusUnder(const std::optional<Fault>& fault) {
  if (!fault || fault->kind == Fault::Kind::Delay) return 200;
  return fault->kind == Fault::Kind::Status ? fault->status : 0;
}

void AnswerStatus(const Fault& fault, httplib::Response& response) {
  response.status = fault.status;
  if (!fault.location.empty()) response.set_header("Location", fault.location);
}

// Lets `fault` happen to the present request; whether it is answered all the same.
bool Play(const Fault& fault, httplib::Response& response) {
  Connection& connection = HttpServer::CurrentConnection();
  switch (fault.kind) {
    case Fault::Kind::Status:
      AnswerStatus(fault, response);
      return true;
    case Fault::Kind::Delay:
      if (!connection.WaitUntilClientLeaves(fault.delay)) return true;
      break;
    case Fault::Kind::Silence:
      connection.WaitUntilClientLeaves(kLongestSilence);
      break;
    case Fault::Kind::Reset:
      connection.Abandon(Connection::Ending::Reset);
      return false;
    case Fault::Kind::Close:
      break;
  }
  connection.Abandon(Connection::Ending::Close);
  return false;
}

bool AnswerWithFault(const std::optional<Fault>& fault, httplib::Response& response) {
  response.status = 200;
  return !fault || Play(*fault, response);
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
  explicit Service(Options options) : options_(std::move(options)) {
    AddCollectionRoutes();
    AddHitRoutes();
    AddFaultRoutes();
    if (!server_.Start(options_.port)) {
      throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(options_.port) +
                               "; is the port in use?");
    }
  }

  ~Service() { log_.StopWaiting(); }

  std::uint16_t Port() const { return server_.Port(); }
  HitLog& Log() { return log_; }
  FaultQueue& Faults() { return faults_; }
  std::size_t ConnectionCount() const { return connections_; }
  std::size_t RequestCount(RequestKind kind) const {
    return kind == RequestKind::Hit ? hitRequests_ : idRequests_;
  }

 private:
  using Request = httplib::Request;
  using Response = httplib::Response;

  void AddCollectionRoutes() {
    server_.Get(R"(/b/ss/[\s\S]*)", [this](const Request& request, Response& response) {
      AnswerHit(request, response);
    });
    server_.Get("/id", [this](const Request&, Response& response) { AnswerId(response); });
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
      const nlohmann::ordered_json stats = {{"hits", log_.Hits().size()},
                                            {"attempts", log_.Attempts().size()},
                                            {"connections", connections_.load()},
                                            {"idRequests", idRequests_.load()}};
      response.set_content(stats.dump(), kJsonType);
    });
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

  void Count(std::atomic<std::size_t>& requests) {
    ++requests;
    if (HttpServer::CurrentConnection().TakeIsFirst()) ++connections_;
  }

  void AnswerHit(const Request& request, Response& response) {
    Count(hitRequests_);
    const std::string& target = HttpServer::CurrentConnection().RawTarget();
    const auto fault = faults_.Take();
    const std::int64_t receivedTime = Now();
    log_.AddAttempt({receivedTime, target, StatusUnder(fault)});
    if (!AnswerWithFault(fault, response)) return;
    if (response.status != 200 && response.status != 307) return;
    Hit hit = DecodeHit(target);
    hit.receivedTime = receivedTime;
    hit.headers = ReceivedHeaders(request);
    Deliver(std::move(hit));
  }

  void Deliver(Hit hit) {
    const std::lock_guard lock(deliveryMutex_);
    const Hit numbered = log_.Add(std::move(hit));
    if (options_.onHit) options_.onHit(numbered);
  }

  void AnswerId(Response& response) {
    Count(idRequests_);
    if (!AnswerWithFault(faults_.Take(), response) || response.status != 200) return;
    const nlohmann::json body = {{"id", options_.identifier}};
    response.set_content(body.dump(), kJsonType);
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
  HitLog log_;
  FaultQueue faults_;
  std::mutex deliveryMutex_;  // keeps the calls of `onHit` in the order of the hits
  std::atomic<std::size_t> connections_ = 0;
  std::atomic<std::size_t> hitRequests_ = 0;
  std::atomic<std::size_t> idRequests_ = 0;
  HttpServer server_;  // the last one, so that it stops first: its threads use all the others
};

Collector::Collector(Options options) : service_(std::make_unique<Service>(std::move(options))) {}

Collector::~Collector() = default;

std::uint16_t Collector::Port() const { return service_->Port(); }

std::string Collector::Host() const { return "127.0.0.1:" + std::to_string(Port()); }

std::vector<Hit> Collector::Hits() const { return service_->Log().Hits(); }

std::vector<Attempt> Collector::Attempts() const { return service_->Log().Attempts(); }

bool Collector::WaitForHits(std::size_t count, milliseconds timeout) const {
  return service_->Log().WaitForHits(count, timeout);
}

bool Collector::WaitForAttempts(std::size_t count, milliseconds timeout) const {
  return service_->Log().WaitForAttempts(count, timeout);
}

void Collector::Clear() { service_->Log().Clear(); }

void Collector::PushFaults(const std::vector<Fault>& faults) { service_->Faults().Push(faults); }

void Collector::ClearFaults() { service_->Faults().Clear(); }

std::size_t Collector::ConnectionCount() const { return service_->ConnectionCount(); }

std::size_t Collector::RequestCount(RequestKind kind) const { return service_->RequestCount(kind); }

}  // namespace Veltro::Collector
