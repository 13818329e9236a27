#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Veltro::Internal {

/// Conversion between UTF-8 (the host's strings, files, URLs, log lines) and UTF-16 (all text
/// inside the library). Never fails: what is not well-formed (bad UTF-8, a lone surrogate) becomes
/// U+FFFD, one for each longest part of a character, as the Unicode Standard recommends
/// (section 3.9).

/// The code point that starts at `position` of `text`, which must lie inside; `position` moves
/// behind it.
char32_t NextCodePoint(std::string_view text, std::size_t& position);
char32_t NextCodePoint(std::u16string_view text, std::size_t& position);

void AppendCodePoint(char32_t codePoint, std::string& out);
void AppendCodePoint(char32_t codePoint, std::u16string& out);

/// Adds `utf8` at the end of `out`, which grows by at most as many units as `utf8` has bytes.
void AppendUtf16(std::string_view utf8, std::u16string& out);

std::u16string ToUtf16(std::string_view utf8);
std::string ToUtf8(std::u16string_view utf16);

}  // namespace Veltro::Internal
