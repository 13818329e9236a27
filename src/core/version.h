#pragma once

#include <string_view>

namespace Veltro::Internal {

/// The library's version, which every hit names.
inline constexpr std::string_view kVersion = "4.0.0";

}  // namespace Veltro::Internal
