#pragma once

#include <string>
#include <string_view>

namespace Veltro::Internal {

/// Adds `text` to `out` percent-encoded: every byte of its UTF-8 form outside the unreserved set of
/// RFC 3986 (letters, digits, "-", ".", "_", "~") as "%" and two upper-case hexadecimal digits. A
/// lone surrogate is encoded as U+FFFD.
void AppendUrlEscaped(std::u16string_view text, std::string& out);

/// Adds "&", `key` percent-encoded, "=" and `value` percent-encoded.
void AppendUrlParameter(std::u16string_view key, std::u16string_view value, std::string& out);

/// `url`, UTF-8, with the characters percent-encoded that may stand in no URL: controls, blanks,
/// those outside ASCII, the double quote and <>\^`{|}, and those of `more`, which are ASCII. Others
/// stay, "%" among them.
std::string EscapeUrlIllegal(std::string_view url, std::string_view more = {});

}  // namespace Veltro::Internal
