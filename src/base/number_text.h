#pragma once

#include <cstdint>
#include <string>

namespace Veltro::Internal {

/// `value` in decimal, independent of the locale.
std::u16string DecimalText(std::int64_t value);

/// `value` with exactly `decimals` digits behind the point, as "%.<decimals>f" in the C locale.
std::u16string FixedText(double value, int decimals);

/// `value` without its fraction, held within the range of a signed 32-bit integer; 0 for NaN.
std::int32_t TruncateToInt32(double value);

/// The lower 32 bits of `value`, as times are carried: seconds since 1970 wrap in 2038.
constexpr std::int32_t Lower32Bits(std::int64_t value) {
  return static_cast<std::int32_t>(static_cast<std::uint32_t>(value));
}

}  // namespace Veltro::Internal
