#pragma once

#include <chrono>
#include <cstdint>
#include <memory>

namespace Veltro::Internal {

/// A wait that another thread can end. One thread sleeps, any thread interrupts.
class Sleeper {
 public:
  virtual ~Sleeper() = default;

  /// Forgets an interrupt that came before. Call it before testing the conditions whose change
  /// interrupts, so that a change after the test is never slept through.
  virtual void Rearm() = 0;

  /// Blocks for `duration` of monotonic time. Returns false when an interrupt ended the wait, or
  /// had come since the last `Rearm`.
  virtual bool Sleep(std::chrono::milliseconds duration) = 0;

  /// Ends the present sleep and every later one until the next `Rearm`.
  virtual void Interrupt() = 0;
};

/// A moment broken into fields of the device's local calendar.
struct CalendarFields {
  std::int32_t year = 1970;     ///< with the century
  std::int32_t month = 0;       ///< 0 to 11
  std::int32_t dayOfMonth = 1;  ///< 1 to 31
  std::int32_t dayOfWeek = 0;   ///< 0 (Sunday) to 6
  std::int32_t hour = 0;        ///< 0 to 23
};

/// Where time comes from. Safe to use from any thread.
class Clock {
 public:
  virtual ~Clock() = default;

  /// Whole seconds since 1970-01-01 00:00:00 UTC by the system clock, which the user may set.
  virtual std::int64_t UnixSeconds() = 0;

  /// Time since an arbitrary start, which never goes back and ignores changes of the system clock.
  virtual std::chrono::milliseconds Monotonic() = 0;

  /// The local calendar fields of a moment given in seconds since 1970-01-01 UTC.
  virtual CalendarFields LocalCalendar(std::int64_t unixSeconds) = 0;

  /// Minutes to add to local standard time to get UTC: positive west of Greenwich. Daylight saving
  /// is not applied.
  virtual std::int32_t TimeZoneBiasMinutes() = 0;

  /// A new interruptible wait on this clock's monotonic time.
  virtual std::unique_ptr<Sleeper> NewSleeper() = 0;
};

}  // namespace Veltro::Internal
