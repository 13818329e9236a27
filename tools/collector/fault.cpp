#include "collector/fault.h"

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace Veltro::Collector {
namespace {

using Json = nlohmann::json;
using BadFault = std::invalid_argument;

constexpr std::int64_t kLongestDelay = 10 * 60 * 1000;
constexpr std::int64_t kMostTimes = 1'000'000;

Fault::Kind ParseKind(const Json& json) {
  const std::map<std::string, Fault::Kind> kinds = {{"status", Fault::Kind::Status},
                                                    {"delay", Fault::Kind::Delay},
                                                    {"silence", Fault::Kind::Silence},
                                                    {"reset", Fault::Kind::Reset},
                                                    {"close", Fault::Kind::Close}};
  if (!json.contains("kind") || !json["kind"].is_string()) {
    throw BadFault("a fault needs a \"kind\"");
  }
  const auto found = kinds.find(json["kind"].get<std::string>());
  if (found == kinds.end()) {
    throw BadFault("unknown kind of fault; known are status, delay, silence, reset, close");
  }
  return found->second;
}

Fault::Server ParseServer(const Json& json) {
  const std::map<Json, Fault::Server> servers = {{"collection", Fault::Server::Collection},
                                                 {"audience", Fault::Server::Audience},
                                                 {"content", Fault::Server::Content},
                                                 {"destination", Fault::Server::Destination}};
  if (!json.contains("server")) return Fault::Server::Collection;
  const auto found = servers.find(json["server"]);
  if (found != servers.end()) return found->second;
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

}  // namespace

std::vector<Fault> ParseFaults(std::string_view json) {
  const Json parsed = Json::parse(json);
  if (!parsed.is_array()) return {ParseFault(parsed)};
  std::vector<Fault> faults;
  for (const auto& item : parsed) faults.push_back(ParseFault(item));
  return faults;
}

void FaultQueue::Push(const std::vector<Fault>& faults) {
  const std::lock_guard lock(mutex_);
  faults_.insert(faults_.end(), faults.begin(), faults.end());
}

void FaultQueue::Clear() {
  const std::lock_guard lock(mutex_);
  faults_.clear();
}

std::optional<Fault> FaultQueue::Take(Fault::Server server) {
  const std::lock_guard lock(mutex_);
  const auto next = std::find_if(faults_.begin(), faults_.end(),
                                 [&](const Fault& fault) { return fault.server == server; });
  if (next == faults_.end()) return std::nullopt;
  const Fault fault = *next;
  if (fault.times == 1) faults_.erase(next);
  if (fault.times > 1) --next->times;
  return fault;
}

}  // namespace Veltro::Collector
