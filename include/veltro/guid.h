#pragma once

#include <array>
#include <cstdint>

namespace Veltro {

/// A globally unique identifier, field by field.
struct Guid {
  std::uint32_t data1 = 0;              ///< the first eight hexadecimal digits
  std::uint16_t data2 = 0;              ///< the next four
  std::uint16_t data3 = 0;              ///< the next four
  std::array<std::uint8_t, 8> data4{};  ///< the last sixteen
};

}  // namespace Veltro
