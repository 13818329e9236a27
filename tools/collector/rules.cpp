#include "collector/rules.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace Veltro::Collector {
namespace {

// Keeps the members in the order in which they were written.
using Json = nlohmann::ordered_json;
using BadRules = std::invalid_argument;
using Names = std::vector<std::string>;

const Json& RequireObject(const Json& json, const std::string& name) {
  if (!json.is_object()) throw BadRules("rules: " + name + " must be an object");
  return json;
}

void RequireMembers(const Json& json, const std::string& name, const Names& known) {
  for (const auto& [member, value] : RequireObject(json, name).items()) {
    if (std::find(known.begin(), known.end(), member) != known.end()) continue;
    std::string message = "rules: unknown member \"" + member + "\" of " + name + "; known are";
    for (const auto& one : known) message += " " + one;
    throw BadRules(message);
  }
}

std::string ParseText(const Json& json, const std::string& name) {
  if (!json.is_string()) throw BadRules("rules: " + name + " must be a text");
  return json.get<std::string>();
}

std::string TextOf(const Json& json, const std::string& name, const std::string& absent) {
  return json.contains(name) ? ParseText(json[name], "\"" + name + "\"") : absent;
}

NamedTexts TextsOf(const Json& json, const std::string& name) {
  NamedTexts texts;
  if (!json.contains(name)) return texts;
  for (const auto& [member, value] : RequireObject(json[name], "\"" + name + "\"").items()) {
    texts.emplace_back(member, ParseText(value, "\"" + member + "\" in \"" + name + "\""));
  }
  return texts;
}

Json ArrayOf(const Json& json, const std::string& name) {
  if (!json.contains(name)) return Json::array();
  if (!json[name].is_array()) throw BadRules("rules: \"" + name + "\" must be an array");
  return json[name];
}

// What needs no quotes in a cookie.
std::string IdOf(const Json& json, const std::string& name, const std::string& absent) {
  const std::string id = TextOf(json, name, absent);
  const bool fits = !id.empty() && std::all_of(id.begin(), id.end(), [](char c) {
    return c > ' ' && c < '\x7F' && std::string_view("\",;\\").find(c) == std::string_view::npos;
  });
  if (!fits) throw BadRules("rules: \"" + name + "\" must consist of the characters of a cookie");
  return id;
}

AudienceRule ParseAudienceRule(const Json& json) {
  RequireMembers(json, "a rule", {"when", "segments", "destinations"});
  AudienceRule rule{TextsOf(json, "when"), TextsOf(json, "segments"), {}};
  for (const auto& url : ArrayOf(json, "destinations")) {
    rule.destinations.push_back(ParseText(url, "each of \"destinations\""));
  }
  return rule;
}

AudienceRules ParseAudience(const Json& json) {
  RequireMembers(json, "\"audience\"", {"uuid", "rules"});
  AudienceRules audience{TextOf(json, "uuid", ""), {}};
  for (const auto& rule : ArrayOf(json, "rules")) audience.rules.push_back(ParseAudienceRule(rule));
  return audience;
}

ContentRules ParseContent(const Json& json) {
  RequireMembers(json, "\"content\"", {"pcId", "sessionId", "locations"});
  ContentRules content;
  content.pcId = IdOf(json, "pcId", content.pcId);
  content.sessionId = IdOf(json, "sessionId", content.sessionId);
  for (auto& [name, text] : TextsOf(json, "locations")) content.locations[name] = text;
  return content;
}

}  // namespace

Rules ParseRules(std::string_view json) {
  const Json parsed = json.empty() ? Json::object() : Json::parse(json);
  RequireMembers(parsed, "the whole", {"audience", "content"});
  Rules rules;
  if (parsed.contains("audience")) rules.audience = ParseAudience(parsed["audience"]);
  if (parsed.contains("content")) rules.content = ParseContent(parsed["content"]);
  return rules;
}

}  // namespace Veltro::Collector
