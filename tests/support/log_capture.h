#pragma once

#include "core/log.h"
#include "fakes/recording_debug_output.h"

namespace Veltro::Internal::Testing {

/// Catches all log lines, debug lines included, for as long as it lives.
class LogCapture : public RecordingDebugOutput {
 public:
  LogCapture() {
    SetDebugOutput(this);
    SetDebugLoggingEnabled(true);
  }
  ~LogCapture() {
    SetDebugLoggingEnabled(false);
    SetDebugOutput(nullptr);
  }
};

}  // namespace Veltro::Internal::Testing
