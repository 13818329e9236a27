#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>

namespace Veltro::Internal {

/// Whether `text` may be an identifier that a server has assigned: 1 to 256 visible ASCII
/// characters. Such texts go into cookies as they are, and into URLs with what is not allowed there
/// percent-encoded; anything else counts as absent.
template <class Character>
constexpr bool IsAssignedId(std::basic_string_view<Character> text) {
  constexpr std::size_t kMaxLength = 256;
  return !text.empty() && text.size() <= kMaxLength &&
         std::all_of(text.begin(), text.end(), [](Character c) { return c > 0x20 && c < 0x7F; });
}

}  // namespace Veltro::Internal
