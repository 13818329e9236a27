#pragma once

#include "platform/clock.h"

namespace Veltro::Internal {

/// The system's clocks and the time zone of the process (TZ, else the system's).
class ClockLinux : public Clock {
 public:
  std::int64_t UnixSeconds() override;
  std::chrono::milliseconds Monotonic() override;
  CalendarFields LocalCalendar(std::int64_t unixSeconds) override;
  std::int32_t TimeZoneBiasMinutes() override;
  std::unique_ptr<Sleeper> NewSleeper() override;
};

}  // namespace Veltro::Internal
