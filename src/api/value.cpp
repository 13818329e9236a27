#include "veltro/value.h"

#include <iterator>

namespace Veltro {

Value::Value(const char* text) {
  if (text != nullptr) held_ = std::string(text);
}

const char* Value::TypeName() const noexcept {
  // In the order of the alternatives of `Held`.
  constexpr const char* kNames[] = {
      "",      "Platform.String", "Int8",   "UInt8",  "Int16",   "UInt16", "Int32",    "UInt32",
      "Int64", "UInt64",          "Single", "Double", "Boolean", "Char16", "DateTime", "Guid"};
  static_assert(std::size(kNames) == std::variant_size_v<Held>);
  return kNames[held_.index()];
}

}  // namespace Veltro
