#include "collector/collector.h"

#include <atomic>
#include <mutex>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <utility>

#include "collector/answer.h"
#include "collector/api.h"
#include "collector/audience.h"
#include "collector/content.h"
#include "collector/hit_checks.h"
#include "collector/http_server.h"
#include "collector/page.h"
#include "collector/request_log.h"
#include "collector/rules.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;

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

bool IsTaken(std::int32_t status) { return status == 200 || status == 307; }

Hit HitOf(const ReceivedRequest& request) {
  Hit hit = DecodeHit(request.rawTarget);
  hit.receivedTime = request.receivedTime;
  return hit;
}

}  // namespace

class Collector::Service {
 public:
  explicit Service(Options options)
      : options_(std::move(options)), rules_(ParseRules(options_.rules)) {
    AddCollectionRoutes();
    AddAudienceAndContentRoutes();
    api_.AddRoutes(server_);
    AddPageRoutes(server_);
    if (!server_.Start(options_.port)) {
      throw std::runtime_error("cannot listen on 127.0.0.1:" + std::to_string(options_.port) +
                               "; is the port in use?");
    }
  }

  ~Service() {
    log_.StopWaiting();
    changes_.Stop();
  }

  std::string Host() const { return "127.0.0.1:" + std::to_string(Port()); }
  std::uint16_t Port() const { return server_.Port(); }
  RequestLog& Log() { return log_; }
  FaultQueue& Faults() { return faults_; }
  std::size_t ConnectionCount() const { return connections_; }

  void Clear() {
    const std::lock_guard lock(arrivalMutex_);
    log_.Clear();
    checks_.Clear();
  }

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

  // Keeps the present request, then answers it with `answer` or as the next fault will have it.
  // Whether it was answered at all.
  bool Receive(RequestKind kind, const Request& request, const Answer& answer, Response& response) {
    const auto fault = faults_.Take(ServerOf(kind));
    Keep(kind, request, StatusUnder(fault, answer));
    return Send(answer, fault, response);
  }

  SharedEntry Keep(RequestKind kind, const Request& request, std::int32_t status) {
    Entry entry{.kind = kind,
                .request = {Now(), HttpServer::CurrentConnection().RawTarget(),
                            ReceivedHeaders(request), status}};
    if (kind == RequestKind::Hit) entry.hit = HitOf(entry.request);
    const SharedEntry kept = Number(std::move(entry));
    Show(*kept);
    return kept;
  }

  // Hits are checked in the order of their numbers.
  SharedEntry Number(Entry entry) {
    const std::lock_guard lock(arrivalMutex_);
    if (entry.hit && IsTaken(entry.request.status)) checks_.AddFindings(*entry.hit);
    return log_.Add(std::move(entry));
  }

  void Show(const Entry& entry) {
    if (!options_.onRequest) return;
    const std::lock_guard lock(deliveryMutex_);
    options_.onRequest(entry.kind, entry.request);
  }

  void AnswerHit(const Request& request, Response& response) {
    CountConnection();
    const auto fault = faults_.Take(Fault::Server::Collection);
    const SharedEntry entry = Keep(RequestKind::Hit, request, StatusUnder(fault, {}));
    if (Send({}, fault, response) && IsTaken(entry->request.status)) Deliver(entry);
  }

  void Deliver(const SharedEntry& entry) {
    const std::lock_guard lock(deliveryMutex_);
    const std::int64_t sequence = log_.AddHit(entry);
    if (options_.onHit) options_.onHit(WholeHit(*entry, sequence));
  }

  const Options options_;
  Changes changes_;
  RequestLog log_{changes_};
  FaultQueue faults_{changes_};
  std::mutex arrivalMutex_;  // one request after the other gets its findings and number
  HitChecks checks_;
  mutable std::mutex rulesMutex_;
  Rules rules_;
  std::mutex deliveryMutex_;  // one call out at a time; keeps those of `onHit` in order
  std::atomic<std::size_t> connections_ = 0;
  Api api_{log_, faults_, changes_, connections_, [this] { Clear(); }};
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

void Collector::Clear() { service_->Clear(); }

void Collector::SetRules(std::string_view json) { service_->SetRules(json); }

void Collector::PushFaults(const std::vector<Fault>& faults) { service_->Faults().Push(faults); }

void Collector::ClearFaults() { service_->Faults().Clear(); }

std::size_t Collector::ConnectionCount() const { return service_->ConnectionCount(); }

std::size_t Collector::RequestCount(RequestKind kind) const {
  return service_->Log().RequestCount(kind);
}

}  // namespace Veltro::Collector
