#pragma once

#include <string>
#include <string_view>

namespace Veltro::Collector {

/// `text` made safe for a terminal: control characters and bytes that are not UTF-8 come out as
/// escapes (`\n`, `\x1b`), the backslash doubled.
std::string Printable(std::string_view text);

}  // namespace Veltro::Collector
