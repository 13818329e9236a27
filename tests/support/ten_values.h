#pragma once

#include <cstdint>

#include "veltro/context_data.h"

namespace Veltro::Internal::Testing {

/// The context data that calls are measured with, by tests and benchmarks: ten values of all common
/// types.
inline const ContextData& TenValues() {
  static const ContextData values = {{"campaign", "autumn sale, 2nd week"},
                                     {"cart.items", 3},
                                     {"cart.total", 119.85},
                                     {"category", "garden tools"},
                                     {"colour", "dark green"},
                                     {"discount", 0.15F},
                                     {"gift", true},
                                     {"item", "watering can"},
                                     {"member", false},
                                     {"visits", std::int64_t{1234567}}};
  return values;
}

}  // namespace Veltro::Internal::Testing
