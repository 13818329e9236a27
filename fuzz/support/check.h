#pragma once

#include <string>
#include <string_view>

#include "platform/debug_output.h"

namespace Veltro::Internal::Fuzz {

/// Ends the process with `message`, which the fuzzer takes for a finding, unless `holds`.
void Require(bool holds, std::string_view message);

/// `text` as a target reads back what it has written. One byte differs when the environment
/// variable VELTRO_FUZZ_SPOIL is set: a target proves by it that it notices damage.
std::string Stored(std::string text);

/// Whether `text` may stand in the line of a request: visible ASCII characters that URLs may have.
bool IsUrlText(std::string_view text);

/// Requires of each log line that it is one line, or several, of text without control characters.
/// Every target begins with debug logging on and its lines going to one.
class LogCheck : public DebugOutput {
 public:
  void WriteLine(std::string_view line) noexcept override;
};

}  // namespace Veltro::Internal::Fuzz
