#include "analytics/timed_action_document.h"

#include <utility>

#include "base/number_text.h"
#include "base/utf.h"
#include "core/json.h"
#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

using nlohmann::json;

json WriteAction(const std::u16string& name, const TimedAction& action) {
  json data = json::object();
  for (const auto [key, value] : action.data) data[ToUtf8(key)] = ToUtf8(value);
  return {{"name", ToUtf8(name)},
          {"start", action.start},
          {"adjusted", action.adjusted},
          {"data", std::move(data)}};
}

void RequireObject(const json& element) { element.get_ref<const json::object_t&>(); }

std::u16string ReadName(const json& element) {
  return element.contains("name") ? ToUtf16(element["name"].get<std::string>()) : u"";
}

std::int32_t ReadTime(const json& element, const char* key) {
  return element.contains(key) ? TruncateToInt32(element[key].get<double>()) : 0;
}

StringMap ReadData(const json& element) {
  StringMap data;
  if (!element.contains("data")) return data;
  for (const auto& [key, value] : element["data"].get_ref<const json::object_t&>()) {
    data.SetUtf8(key, value.get_ref<const std::string&>());
  }
  return data;
}

void ReadAction(const json& element, TimedActions& actions) {
  std::u16string name;
  try {
    RequireObject(element);
    name = ReadName(element);
    TimedAction action{ReadData(element), ReadTime(element, "start"),
                       ReadTime(element, "adjusted")};
    actions.emplace(name, std::move(action));
  } catch (const json::exception& error) {
    LogDebug("Analytics - unable to parse timed action (\"%s\" - %s)", name, error.what());
  }
}

}  // namespace

std::string WriteTimedActions(const TimedActions& actions) {
  json elements = json::array();
  for (const auto& [name, action] : actions) elements.push_back(WriteAction(name, action));
  return json{{"Actions", std::move(elements)}}.dump();
}

TimedActions ReadTimedActions(std::string_view text) {
  const json root = ParseJson(text);
  if (!root.is_object() || !root.contains("Actions") || !root["Actions"].is_array()) {
    throw PlatformError("the file is no JSON object with an array \"Actions\"");
  }
  TimedActions actions;
  for (const json& element : root["Actions"]) ReadAction(element, actions);
  return actions;
}

}  // namespace Veltro::Internal
