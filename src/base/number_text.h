#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

namespace Veltro::Internal {

/// `value` in decimal, independent of the locale.
std::u16string DecimalText(std::int64_t value);

/// `value` with exactly `decimals` digits behind the point, as "%.<decimals>f" in the C locale.
std::u16string FixedText(double value, int decimals);

/// The shortest text that reads back to the same `value`, as in 3, 0.1 and 1e+21.
std::u16string ShortestText(float value);

/// Reads the number that `text` begins with, behind white space and whatever may follow it, in
/// decimal and independent of the locale. Returns `std::errc::invalid_argument` when there is none
/// and `std::errc::result_out_of_range` when it is too large or too small for `Number`, which is
/// `float`, `double` or `std::int32_t`; `number` is left as it was then.
template <class Number>
std::errc ReadNumber(std::u16string_view text, Number& number);

/// `value` without its fraction, held within the range of a signed 32-bit integer; 0 for NaN.
std::int32_t TruncateToInt32(double value);

/// The lower 32 bits of `value`, as times are carried: seconds since 1970 wrap in 2038.
constexpr std::int32_t Lower32Bits(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

}  // namespace Veltro::Internal
