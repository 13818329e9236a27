#include "audience/skaipra_response.h"

#include "base/utf.h"
#include "core/assigned_id.h"
#include "core/json.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

using nlohmann::json;

/// The text under `key`, empty when there is none. Throws when it is something else.
std::string TextMember(const json& object, const char* key) {
  const auto found = object.find(key);
  if (found == object.end()) return {};
  if (!found->is_string()) throw PlatformError(std::string("\"").append(key) + "\" is no string");
  return found->get<std::string>();
}

std::vector<std::string> ReadDestinations(const json& root) {
  std::vector<std::string> urls;
  const auto destinations = root.find("dests");
  if (destinations == root.end() || !destinations->is_array()) return urls;
  for (const json& destination : *destinations) {
    if (!destination.is_object()) continue;
    const auto url = destination.find("c");
    if (url != destination.end() && url->is_string()) urls.push_back(url->get<std::string>());
  }
  return urls;
}

std::u16string ReadUserId(const json& root) {
  std::u16string userId = ToUtf16(TextMember(root, "uuid"));
  if (!IsAssignedId<char16_t>(userId)) userId.clear();
  return userId;
}

StringMap ReadSegments(const json& root) {
  StringMap segments;
  const auto stuff = root.find("stuff");
  if (stuff == root.end()) return segments;
  if (!stuff->is_array()) throw PlatformError("\"stuff\" is no array");
  for (const json& segment : *stuff) {
    if (!segment.is_object()) continue;
    const std::string key = TextMember(segment, "cn");
    const std::string value = TextMember(segment, "cv");
    if (!key.empty() && !value.empty()) segments.Add(ToUtf16(key), ToUtf16(value));
  }
  return segments;
}

}  // namespace

std::optional<SkaipraResponse> ParseSkaipraResponse(const std::string& body) {
  const json root = ParseJson(body);
  if (!root.is_object()) return std::nullopt;
  SkaipraResponse response;
  response.destinations = ReadDestinations(root);
  try {
    std::u16string userId = ReadUserId(root);
    response.segments = ReadSegments(root);
    response.userId = std::move(userId);
  } catch (const PlatformError& error) {
    response.error = error.what();
  }
  return response;
}

}  // namespace Veltro::Internal
