// The file of timed actions: whatever it holds, the actions read from it are saved without loss.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "analytics/timed_action_document.h"
#include "core/json.h"
#include "platform/platform_error.h"
#include "support/check.h"

namespace Veltro::Internal::Fuzz {
namespace {

std::optional<TimedActions> Read(const std::string& text) {
  try {
    return ReadTimedActions(text);
  } catch (const PlatformError&) {
    return std::nullopt;
  }
}

void CheckTimedActions(const std::string& text) {
  const std::optional<TimedActions> actions = Read(text);
  if (!actions) return;
  const std::string written = WriteTimedActions(*actions);
  Require(nlohmann::json::accept(written), "the file is no JSON");
  Require(Read(Stored(written)) == actions, "what was saved is not what is read");
}

}  // namespace
}  // namespace Veltro::Internal::Fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Veltro::Internal::Fuzz::CheckTimedActions(std::string(data, data + size));
  return 0;
}
