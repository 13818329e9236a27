#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

#include "platform/clock.h"

namespace Veltro::Internal::Testing {

/// A clock that stands still until a test moves it. Safe to use from any thread.
///
/// Its sleepers sleep on the fake time: a test waits with `WaitForSleepers` until the threads it
/// cares about are asleep, then advances. A sleeper whose time has come, or that was interrupted,
/// no longer counts as asleep from that very moment, so the next `WaitForSleepers` never sees the
/// sleep before. Sleepers may outlive the clock.
class FakeClock : public Clock {
 public:
  /// 2020-09-13 12:26:40 UTC.
  static constexpr std::int64_t kStart = 1'600'000'000;

  FakeClock();
  ~FakeClock() override;

  std::int64_t UnixSeconds() override;
  std::chrono::milliseconds Monotonic() override;
  CalendarFields LocalCalendar(std::int64_t unixSeconds) override;
  std::int32_t TimeZoneBiasMinutes() override;
  std::unique_ptr<Sleeper> NewSleeper() override;

  /// Sets the system clock, as a user does. Monotonic time stays.
  void SetUnixSeconds(std::int64_t seconds);

  /// Lets time pass, on the system clock and the monotonic one.
  void Advance(std::chrono::milliseconds duration);

  void SetBias(std::int32_t minutesWestOfGreenwich);

  /// Blocks until at least `count` threads are asleep; false when `deadline` of real time passes
  /// before.
  bool WaitForSleepers(std::size_t count,
                       std::chrono::milliseconds deadline = std::chrono::seconds(5));

 private:
  struct State;
  class FakeSleeper;

  std::shared_ptr<State> state_;
};

}  // namespace Veltro::Internal::Testing
