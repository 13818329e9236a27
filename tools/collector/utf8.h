#pragma once

#include <cstddef>
#include <string_view>

namespace Veltro::Collector {

/// The length in bytes, 1 to 4, of the UTF-8 character that starts at `position`; 0 when no valid
/// character starts there (overlong forms, surrogates and cut-off sequences are not valid).
/// `position` must lie inside `text`.
std::size_t CharacterLength(std::string_view text, std::size_t position);

/// Whether all of `text` is valid UTF-8.
bool IsUtf8(std::string_view text);

}  // namespace Veltro::Collector
