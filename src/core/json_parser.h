#pragma once

#include <nlohmann/json_fwd.hpp>
#include <string_view>

namespace Veltro::Internal {

/// The deepest nesting of a JSON text that is read.
inline constexpr int kMaxJsonNesting = 32;

/// What a JSON text says; null when it is none, or is nested deeper than `kMaxJsonNesting`. The one
/// place where the library parses JSON, so that the parser is compiled once.
nlohmann::json ParseJson(std::string_view text);

}  // namespace Veltro::Internal
