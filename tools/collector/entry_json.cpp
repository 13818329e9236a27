#include "collector/entry_json.h"

#include <nlohmann/json.hpp>

#include "collector/query.h"
#include "collector/request_text.h"

namespace Veltro::Collector {
namespace {

using Json = nlohmann::ordered_json;

void AppendHit(Json& json, const Hit& hit) {
  json["kind"] = TopicOf(hit);
  json["name"] = NameOf(hit);
  json["reportSuites"] = hit.reportSuites;
  if (const auto timestamp = TimestampOf(hit)) json["timestamp"] = *timestamp;
  json["variables"] = nlohmann::json(hit.variables);
  json["contextData"] = nlohmann::json(hit.contextData);
  for (const auto& [check, text] : hit.findings) {
    json["findings"].push_back({{"check", check}, {"text", text}});
  }
}

std::string NameOf(RequestKind kind, const std::string& rawTarget, const Parameters& parameters) {
  if (kind == RequestKind::Content) return ValueOf(parameters, "mbox");
  return kind == RequestKind::Destination ? rawTarget.substr(0, rawTarget.find('?')) : "";
}

Json ToJson(const Entry& entry) {
  const ReceivedRequest& request = entry.request;
  Json json;
  json["number"] = entry.number;
  json["type"] = KindName(entry.kind);
  json["receivedTime"] = request.receivedTime;
  json["status"] = request.status;
  json["length"] = request.rawTarget.size();
  if (entry.hit) {
    AppendHit(json, *entry.hit);
  } else {
    const Parameters parameters = DecodeParameters(request.rawTarget);
    json["name"] = NameOf(entry.kind, request.rawTarget, parameters);
    json["parameters"] = nlohmann::json(parameters);
  }
  return json;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

std::string EntryToJson(const Entry& entry) { return Dump(ToJson(entry)); }

std::string WholeEntryToJson(const Entry& entry) {
  Json json = ToJson(entry);
  json["rawTarget"] = entry.request.rawTarget;
  json["headers"] = nlohmann::json(entry.request.headers);
  if (entry.hit) {
    json["codeVersion"] = entry.hit->codeVersion;
    json["randomPart"] = entry.hit->randomPart;
    json["malformed"] = entry.hit->malformed;
  }
  return Dump(json);
}

}  // namespace Veltro::Collector
