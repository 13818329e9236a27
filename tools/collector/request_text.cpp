#include "collector/request_text.h"

#include <nlohmann/json.hpp>

#include "collector/printable.h"
#include "collector/query.h"

namespace Veltro::Collector {
namespace {

using Json = nlohmann::ordered_json;

std::string ParametersText(const Parameters& parameters) {
  std::string text;
  for (const auto& [name, value] : parameters)
    text += (text.empty() ? "" : " ") + name + "=" + value;
  return text;
}

std::string Subject(RequestKind kind, const std::string& rawTarget) {
  if (kind == RequestKind::Event) return ParametersText(DecodeParameters(rawTarget));
  if (kind == RequestKind::Content) return ValueOf(DecodeParameters(rawTarget), "mbox");
  return rawTarget;
}

std::string Remark(std::int32_t status) {
  if (status == 200) return "";
  return status == 0 ? " (no answer)" : " (" + std::to_string(status) + ")";
}

void Append(Json& json, const ReceivedRequest& request) {
  json["rawTarget"] = request.rawTarget;
  json["headers"] = nlohmann::json(request.headers);
  json["status"] = request.status;
}

std::string Dump(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace

const char* KindName(RequestKind kind) {
  switch (kind) {
    case RequestKind::Hit:
      return "hit";
    case RequestKind::Id:
      return "id";
    case RequestKind::Event:
      return "event";
    case RequestKind::Destination:
      return "destination";
    case RequestKind::Content:
      break;
  }
  return "content";
}

std::string RequestToText(RequestKind kind, const ReceivedRequest& request) {
  return KindName(kind) + (" " + Printable(Subject(kind, request.rawTarget))) +
         Remark(request.status) + "\n";
}

std::string RequestToJson(RequestKind kind, const ReceivedRequest& request) {
  Json json = {{"kind", KindName(kind)}, {"receivedTime", request.receivedTime}};
  Append(json, request);
  return Dump(json);
}

std::string RequestsToJson(const std::vector<ReceivedRequest>& requests) {
  Json json = Json::array();
  for (const auto& request : requests) Append(json.emplace_back(), request);
  return Dump(json);
}

}  // namespace Veltro::Collector
