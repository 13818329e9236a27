#pragma once

#include <chrono>
#include <functional>
#include <vector>

namespace Veltro::Bench {

using Clock = std::chrono::steady_clock;

inline double Microseconds(Clock::duration time) {
  return std::chrono::duration<double, std::micro>(time).count();
}
inline double Seconds(Clock::duration time) { return std::chrono::duration<double>(time).count(); }

/// How long each of many calls took, in microseconds.
class Latencies {
 public:
  void Add(Clock::duration time) { values_.push_back(Microseconds(time)); }
  void Add(const Latencies& others);

  /// The least value that `share` (0 to 1) of all values do not exceed.
  double Quantile(double share) const;
  double Median() const { return Quantile(0.5); }

 private:
  std::vector<double> values_;
};

/// Times `call` `count` times, each starting `pace` after the one before it, or at once.
Latencies TimeCalls(int count, std::chrono::microseconds pace, const std::function<void()>& call);

/// The same from `threads` threads at the same time.
Latencies TimeCallsFromThreads(int threads, int count, std::chrono::microseconds pace,
                               const std::function<void()>& call);

/// Memory of this process that is in use, in kB.
double ResidentMemory();

/// How often threads of this process have gone to sleep, those of the caller's not counted.
long CountSleeps();

}  // namespace Veltro::Bench
