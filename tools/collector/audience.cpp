#include "collector/audience.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Veltro::Collector {
namespace {

using Json = nlohmann::ordered_json;

bool Applies(const AudienceRule& rule, const Parameters& parameters) {
  return std::all_of(rule.when.begin(), rule.when.end(), [&](const auto& condition) {
    const auto found = parameters.find(condition.first);
    return found != parameters.end() && found->second == condition.second;
  });
}

std::string WithHost(std::string url, const std::string& host) {
  constexpr std::string_view kSelf = "SELF";
  for (std::size_t at = 0; (at = url.find(kSelf, at)) != std::string::npos; at += host.size()) {
    url.replace(at, kSelf.size(), host);
  }
  return url;
}

}  // namespace

Answer AnswerEvent(const AudienceRules& rules, const Parameters& parameters,
                   const std::string& host) {
  Json json = Json::object();
  if (!rules.uuid.empty()) json["uuid"] = rules.uuid;
  Json segments = Json::array();
  Json destinations = Json::array();
  for (const auto& rule : rules.rules) {
    if (!Applies(rule, parameters)) continue;
    for (const auto& [key, value] : rule.segments) segments.push_back({{"cn", key}, {"cv", value}});
    for (const auto& url : rule.destinations) destinations.push_back({{"c", WithHost(url, host)}});
  }
  if (!segments.empty()) json["stuff"] = segments;
  if (!destinations.empty()) json["dests"] = destinations;
  return {.body = json.dump(), .contentType = "application/json"};
}

}  // namespace Veltro::Collector
