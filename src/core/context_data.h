#pragma once

#include <string>
#include <string_view>

#include "base/string_map.h"

namespace Veltro::Internal {

/// Rules for context data, the pairs of key and value that a host passes to tracking calls.

/// Whether tracking takes values of the runtime type `typeName`, compared exactly:
/// "Platform.String", "Int16", "Int32", "Int64", "UInt16", "UInt32", "UInt64", "Single", "Double"
/// or "Boolean". Others (dates, characters, GUIDs, 8-bit integers, maps, arrays) are left out of
/// what is tracked.
bool IsSupportedContextDataType(std::u16string_view typeName);

/// `key` as it may stand in a hit: without characters other than A-Z, a-z, 0-9, "_" and ".", with
/// one dot for each run of dots, without dots at either end. Empty when nothing remains.
std::u16string CleanContextDataKey(std::u16string_view key);

/// A map of the same values under their cleaned keys. Where keys clean to the same text, the first
/// in key order survives; a key that cleans to nothing is left out.
StringMap CleanContextDataKeys(const StringMap& map);

}  // namespace Veltro::Internal
