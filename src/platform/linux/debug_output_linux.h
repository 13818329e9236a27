#pragma once

#include <functional>
#include <utility>

#include "platform/debug_output.h"

namespace Veltro::Internal {

/// Log lines to the host application's sink, or to standard error when it gave none.
class DebugOutputLinux : public DebugOutput {
 public:
  using Sink = std::function<void(std::string_view)>;

  /// `sink` gets each line without the line feed that ends it, on the thread that logs, possibly on
  /// several at once. What it throws is dropped.
  explicit DebugOutputLinux(Sink sink) : sink_(std::move(sink)) {}

  void WriteLine(std::string_view line) noexcept override;

 private:
  const Sink sink_;
};

}  // namespace Veltro::Internal
