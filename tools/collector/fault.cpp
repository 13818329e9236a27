#include "collector/fault.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace Veltro::Collector {
namespace {

using Json = nlohmann::json;
using BadFault = std::invalid_argument;

constexpr std::int64_t kLongestDelay = 10 * 60 * 1000;
constexpr std::int64_t kMostTimes = 1'000'000;

constexpr std::array<const char*, 5> kKinds = {"status", "delay", "silence", "reset", "close"};
constexpr std::array<const char*, 4> kServers = {"collection", "audience", "content",
                                                 "destination"};

// The value whose name in `names` is `name`.
template <class Value, std::size_t count>
std::optional<Value> Named(const std::array<const char*, count>& names, const Json& name) {
  const auto found = std::find(names.begin(), names.end(), name);
  if (found == names.end()) return std::nullopt;
  return static_cast<Value>(found - names.begin());
}

Fault::Kind ParseKind(const Json& json) {
  if (!json.contains("kind") || !json["kind"].is_string()) {
    throw BadFault("a fault needs a \"kind\"");
  }
  const auto kind = Named<Fault::Kind>(kKinds, json["kind"]);
  if (kind) return *kind;
  throw BadFault("unknown kind of fault; known are status, delay, silence, reset, close");
}

Fault::Server ParseServer(const Json& json) {
  if (!json.contains("server")) return Fault::Server::Collection;
  const auto server = Named<Fault::Server>(kServers, json["server"]);
  if (server) return *server;
  throw BadFault("\"server\" must be one of collection, audience, content, destination");
}

std::int64_t ParseNumber(const Json& json, const std::string& name, std::int64_t lowest,
                         std::int64_t highest, std::int64_t absent) {
  if (!json.contains(name)) return absent;
  const Json& number = json[name];
  const bool isInRange = number.is_number_integer() && number >= lowest && number <= highest;
  if (isInRange) return number.get<std::int64_t>();
  throw BadFault("\"" + name + "\" must be a whole number from " + std::to_string(lowest) + " to " +
                 std::to_string(highest));
}

std::string ParseText(const Json& json, const std::string& name) {
  if (!json.contains(name)) return "";
  if (!json[name].is_string()) throw BadFault("\"" + name + "\" must be a text");
  return json[name].get<std::string>();
}

Fault ParseFault(const Json& json) {
  if (!json.is_object()) throw BadFault("a fault must be a JSON object");
  Fault fault;
  fault.kind = ParseKind(json);
  fault.status = static_cast<std::int32_t>(ParseNumber(json, "status", 200, 599, 500));
  fault.location = ParseText(json, "location");
  fault.body = ParseText(json, "body");
  fault.delay = std::chrono::milliseconds(ParseNumber(json, "milliseconds", 0, kLongestDelay, 0));
  fault.times = static_cast<std::size_t>(ParseNumber(json, "times", 0, kMostTimes, 1));
  fault.server = ParseServer(json);
  return fault;
}

nlohmann::ordered_json ToJson(const Fault& fault) {
  nlohmann::ordered_json json;
  json["kind"] = kKinds[static_cast<std::size_t>(fault.kind)];
  if (fault.kind == Fault::Kind::Status) json["status"] = fault.status;
  if (!fault.location.empty()) json["location"] = fault.location;
  if (!fault.body.empty()) json["body"] = fault.body;
  if (fault.kind == Fault::Kind::Delay) json["milliseconds"] = fault.delay.count();
  json["server"] = kServers[static_cast<std::size_t>(fault.server)];
  json["times"] = fault.times;
  return json;
}

}  // namespace

std::vector<Fault> ParseFaults(std::string_view json) {
  const Json parsed = Json::parse(json);
  if (!parsed.is_array()) return {ParseFault(parsed)};
  std::vector<Fault> faults;
  for (const auto& item : parsed) faults.push_back(ParseFault(item));
  return faults;
}

std::string FaultsToJson(const std::vector<Fault>& faults) {
  auto json = nlohmann::ordered_json::array();
  for (const auto& fault : faults) json.push_back(ToJson(fault));
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void FaultQueue::Push(const std::vector<Fault>& faults) {
  {
    const std::lock_guard lock(mutex_);
    faults_.insert(faults_.end(), faults.begin(), faults.end());
  }
  changes_.Report();
}

void FaultQueue::Clear() {
  {
    const std::lock_guard lock(mutex_);
    faults_.clear();
  }
  changes_.Report();
}

std::optional<Fault> FaultQueue::Take(Fault::Server server) {
  const std::lock_guard lock(mutex_);
  const auto next = std::find_if(faults_.begin(), faults_.end(),
                                 [&](const Fault& fault) { return fault.server == server; });
  if (next == faults_.end()) return std::nullopt;
  const Fault fault = *next;
  if (fault.times == 1) faults_.erase(next);
  if (fault.times > 1) --next->times;
  if (fault.times > 0) changes_.Report();
  return fault;
}

std::vector<Fault> FaultQueue::Waiting() const {
  const std::lock_guard lock(mutex_);
  return {faults_.begin(), faults_.end()};
}

}  // namespace Veltro::Collector
