#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>

namespace Veltro::Collector {

/// How fast hits come in, for a person who watches.
class Progress {
 public:
  using Time = std::chrono::steady_clock::time_point;

  /// A line such as "12,345 hits, 5,120 a second", where `hits` is how many there are at `now`;
  /// the speed is that of the last second or so. To be called a few times a second.
  std::string Line(std::int64_t hits, Time now);

 private:
  std::optional<Time> since_;  // what the speed is measured from
  std::int64_t hitsBefore_ = 0;
  std::int64_t speed_ = 0;
};

}  // namespace Veltro::Collector
