#pragma once

#include <cstdint>

namespace Veltro {

/// Whether the user lets the application collect and send data.
enum class VeltroPrivacyStatus : std::int32_t {
  OptIn = 1,    ///< collect and send
  OptOut = 2,   ///< neither collect nor send; what is still queued is discarded
  Unknown = 3,  ///< collect, and hold until the user has decided; needs offline tracking
};

}  // namespace Veltro
