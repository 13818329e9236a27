#include "collector/hit_json.h"

#include <nlohmann/json.hpp>

#include "collector/hit_text.h"

namespace Veltro::Collector {
namespace {

// Keeps the members in the order in which they are written here.
using Json = nlohmann::ordered_json;

Json FindingsOf(const Hit& hit) {
  Json json = Json::array();
  for (const auto& [check, text] : hit.findings) json.push_back({{"check", check}, {"text", text}});
  return json;
}

Json ToJson(const Hit& hit) {
  Json json;
  json["sequence"] = hit.sequence;
  json["receivedTime"] = hit.receivedTime;
  json["kind"] = KindName(KindOf(hit));
  json["name"] = NameOf(hit);
  json["reportSuites"] = hit.reportSuites;
  json["codeVersion"] = hit.codeVersion;
  json["randomPart"] = hit.randomPart;
  json["variables"] = nlohmann::json(hit.variables);
  json["contextData"] = nlohmann::json(hit.contextData);
  json["headers"] = nlohmann::json(hit.headers);
  json["malformed"] = hit.malformed;
  json["findings"] = FindingsOf(hit);
  json["rawTarget"] = hit.rawTarget;
  return json;
}

Json ToJson(const std::vector<Hit>& hits) {
  Json json = Json::array();
  for (const auto& hit : hits) json.push_back(ToJson(hit));
  return json;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string HitToJson(const Hit& hit) { return Dump(ToJson(hit)); }

std::string HitsToJson(const std::vector<Hit>& hits) { return Dump(ToJson(hits)); }

std::string WaitResultToJson(const std::vector<Hit>& hits, bool complete) {
  return Dump({{"count", hits.size()}, {"complete", complete}, {"hits", ToJson(hits)}});
}

}  // namespace Veltro::Collector
