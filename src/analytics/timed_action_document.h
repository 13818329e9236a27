#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

#include "base/string_map.h"

namespace Veltro::Internal {

/// An action that has begun and not ended. Times are seconds since 1970-01-01 UTC in 32 bits.
struct TimedAction {
  StringMap data;             ///< context data collected so far
  std::int32_t start = 0;     ///< when the action started
  std::int32_t adjusted = 0;  ///< `start`, moved later by every pause of the application since
  bool operator==(const TimedAction&) const = default;
};

/// The running actions by name.
using TimedActions = std::map<std::u16string, TimedAction, std::less<>>;

/// `actions` as a JSON text, UTF-8: an object whose "Actions" is an array in the order of the
/// names. Each element has a "name", a "start", an "adjusted" and "data", an object of strings.
std::string WriteTimedActions(const TimedActions& actions);

/// The actions of such a text. A member that is missing in an element leaves its default; an
/// element that cannot be read is logged and passed over. Throws `PlatformError` when the text is
/// no JSON object with an array "Actions".
TimedActions ReadTimedActions(std::string_view text);

}  // namespace Veltro::Internal
