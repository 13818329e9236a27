#pragma once

#include <algorithm>
#include <mutex>
#include <string>
#include <vector>

#include "platform/debug_output.h"

namespace Veltro::Internal::Testing {

/// Keeps every log line. Safe to use from any thread.
class RecordingDebugOutput : public DebugOutput {
 public:
  void WriteLine(std::string_view line) noexcept override {
    std::lock_guard lock(mutex_);
    lines_.emplace_back(line);
  }

  /// The lines so far, each with its final line feed.
  std::vector<std::string> Lines() {
    std::lock_guard lock(mutex_);
    return lines_;
  }

  /// Whether any line holds `text`.
  bool Contains(std::string_view text) { return Count(text) > 0; }

  /// The number of lines that hold `text`.
  int Count(std::string_view text) {
    std::lock_guard lock(mutex_);
    return static_cast<int>(std::count_if(lines_.begin(), lines_.end(), [&](const auto& line) {
      return line.find(text) != std::string::npos;
    }));
  }

  void Clear() {
    std::lock_guard lock(mutex_);
    lines_.clear();
  }

 private:
  std::mutex mutex_;
  std::vector<std::string> lines_;
};

}  // namespace Veltro::Internal::Testing
