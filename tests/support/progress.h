#pragma once

#include <unistd.h>

#include <cstddef>
#include <cstdio>
#include <string>
#include <utility>

namespace Veltro::Internal::Testing {

/// Shows a person how far a long run is: "what, 12 of 300" on one line of standard error, which is
/// taken away in the end. Shows nothing when that is no terminal.
class Progress {
 public:
  Progress(std::string what, std::size_t total) : what_(std::move(what)), total_(total) { Show(); }
  ~Progress() {
    if (isWatched_) std::fputs("\r\033[K", stderr);
  }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// One more is done.
  void Step() {
    ++done_;
    Show();
  }

 private:
  void Show() const {
    if (isWatched_) std::fprintf(stderr, "\r\033[K%s, %zu of %zu", what_.c_str(), done_, total_);
  }

  const bool isWatched_ = isatty(STDERR_FILENO) == 1;
  const std::string what_;
  const std::size_t total_;
  std::size_t done_ = 0;
};

}  // namespace Veltro::Internal::Testing
