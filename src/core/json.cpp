#include "core/json.h"

namespace Veltro::Internal {

using nlohmann::json;

json ParseJson(std::string_view text) {
  bool isTooDeep = false;
  const json::parser_callback_t watch = [&](int depth, json::parse_event_t, const json&) {
    isTooDeep = isTooDeep || depth > kMaxJsonNesting;
    return !isTooDeep;
  };
  json parsed = json::parse(text.begin(), text.end(), watch, false);
  return isTooDeep || parsed.is_discarded() ? json() : parsed;
}

}  // namespace Veltro::Internal
