#pragma once

#include <string>

#include "base/string_map.h"

namespace Veltro::Internal {

/// Adds the parameters of a hit to the query in `out`: "&key=value" for each variable in key order,
/// then, unless there is no context data, "&c.", the context data nested, and "&.c".
///
/// The segments of a key, between its dots, are levels: "&a." opens level a and "&.a" closes it,
/// and what stands between belongs to it. {a.action = buy, x = 1} is "&c.&a.&action=buy&.a&x=1&.c".
/// A key may have a value and levels below it; an empty value is left out. Keys are cleaned here;
/// keys and values are percent-encoded.
void AppendHitParameters(const StringMap& variables, const StringMap& contextData,
                         std::string& out);

}  // namespace Veltro::Internal
