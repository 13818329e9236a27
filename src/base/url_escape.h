#pragma once

#include <string>
#include <string_view>

namespace Veltro::Internal {

/// Adds `text` to `out` percent-encoded: every byte of its UTF-8 form outside the unreserved set of
/// RFC 3986 (letters, digits, "-", ".", "_", "~") as "%" and two upper-case hexadecimal digits. A
/// lone surrogate is encoded as U+FFFD.
void AppendUrlEscaped(std::u16string_view text, std::string& out);

}  // namespace Veltro::Internal
