#pragma once

#include <string_view>

namespace Veltro::Internal {

/// Where log lines go. Called from any thread.
class DebugOutput {
 public:
  virtual ~DebugOutput() = default;

  /// Takes one line, UTF-8, with the line feed that ends it. Never throws.
  virtual void WriteLine(std::string_view line) noexcept = 0;
};

}  // namespace Veltro::Internal
