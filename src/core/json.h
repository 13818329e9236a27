#pragma once

#include <string_view>

// A namespace of our own: the application may use the library's JSON classes, too, compiled with
// other options or of another version, and the linker must not take ours for its own.
#define NLOHMANN_JSON_NAMESPACE nlohmann::veltro
#define NLOHMANN_JSON_NAMESPACE_BEGIN \
  namespace nlohmann {                \
  inline namespace veltro {
#define NLOHMANN_JSON_NAMESPACE_END \
  }                                 \
  }
#include <nlohmann/json.hpp>

namespace Veltro::Internal {

/// The deepest nesting of a JSON text that is read.
inline constexpr int kMaxJsonNesting = 32;

/// What a JSON text says; null when it is none, or is nested deeper than `kMaxJsonNesting`. The one
/// place where the library parses JSON, so that the parser is compiled once. To be included by
/// source files only.
nlohmann::json ParseJson(std::string_view text);

}  // namespace Veltro::Internal
