#pragma once

#include <map>
#include <optional>
#include <string>

#include "base/string_map.h"
#include "veltro/context_data.h"

namespace Veltro::Internal {

/// The host's context data as the library keeps it: UTF-16, with values as text. Integers are
/// written in decimal, float and double as the shortest text that reads back to the same value,
/// booleans as "true" or "false". Values of other kinds are left out without a message.
StringMap ConvertContextData(const ContextData& data);

/// `map` as the host gets it: UTF-8.
std::map<std::string, std::string> ToUtf8Map(const StringMap& map);

/// One value in the same form; nothing for a kind that is left out.
std::optional<std::u16string> ContextDataText(const Value& value);

}  // namespace Veltro::Internal
