#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>

#include "veltro/export.h"
#include "veltro/guid.h"

namespace Veltro {

/// A moment as the platform counts it: ticks of 100 ns since 1601-01-01 UTC.
struct DateTime {
  std::int64_t universalTime = 0;  ///< the ticks
};

/// A boxed value: a text, a number, a boolean, or nothing at all. Made implicitly from any of them,
/// so that context data can be written as {{"name", "Ann"}, {"age", 42}, {"member", true}}.
///
/// Tracking takes texts (UTF-8), integers of 16 to 64 bits, float, double and bool. A value may
/// also hold 8-bit integers, a UTF-16 unit, a DateTime or a Guid; tracking leaves those out, and
/// nulls.
class VELTRO_EXPORT Value {
 public:
  /// Everything that may be held.
  using Held = std::variant<std::nullptr_t, std::string, std::int8_t, std::uint8_t, std::int16_t,
                            std::uint16_t, std::int32_t, std::uint32_t, std::int64_t, std::uint64_t,
                            float, double, bool, char16_t, DateTime, Guid>;

  // NOLINTBEGIN(google-explicit-constructor): context data is to be written without ado.

  /// Holds nothing, as the values made of a null pointer do.
  Value() = default;
  Value(std::nullptr_t) {}                                    ///< nothing
  Value(const char* text);                                    ///< UTF-8
  Value(std::string text) : held_(std::move(text)) {}         ///< UTF-8
  Value(std::string_view text) : held_(std::string(text)) {}  ///< UTF-8
  Value(float value) : held_(value) {}                        ///< a number
  Value(double value) : held_(value) {}                       ///< a number
  Value(char16_t unit) : held_(unit) {}                       ///< left out by tracking
  Value(DateTime moment) : held_(moment) {}                   ///< left out by tracking
  Value(Guid guid) : held_(guid) {}                           ///< left out by tracking

  /// A boolean, and nothing that would only convert to one, such as a pointer.
  template <class Boolean, std::enable_if_t<std::is_same<Boolean, bool>::value, int> = 0>
  Value(Boolean value) : held_(value) {}

  /// Any integer type, held by its size and sign; a plain `char` is an 8-bit integer.
  template <class Integer,
            class = std::enable_if_t<
                std::is_integral<Integer>::value && !std::is_same<Integer, bool>::value &&
                !std::is_same<Integer, char16_t>::value &&
                !std::is_same<Integer, char32_t>::value && !std::is_same<Integer, wchar_t>::value>>
  Value(Integer value) : held_(static_cast<SizedInteger<Integer>>(value)) {}

  // NOLINTEND(google-explicit-constructor)

  /// The runtime type name: "Platform.String", "Int16", "Int32", "Int64", "UInt16", "UInt32",
  /// "UInt64", "Single", "Double", "Boolean"; "Int8", "UInt8", "Char16", "DateTime", "Guid"; empty
  /// when nothing is held.
  const char* TypeName() const noexcept;

  /// What is held.
  const Held& Get() const noexcept { return held_; }

 private:
  template <class Integer, class Signed, class Unsigned>
  using BySign = std::conditional_t<std::is_signed<Integer>::value, Signed, Unsigned>;
  template <class Integer>
  using SizedInteger = std::conditional_t<
      sizeof(Integer) == 1, BySign<Integer, std::int8_t, std::uint8_t>,
      std::conditional_t<
          sizeof(Integer) == 2, BySign<Integer, std::int16_t, std::uint16_t>,
          std::conditional_t<sizeof(Integer) == 4, BySign<Integer, std::int32_t, std::uint32_t>,
                             BySign<Integer, std::int64_t, std::uint64_t>>>>;

  Held held_;
};

}  // namespace Veltro
