#include "platform/linux/clock_linux.h"

#include <time.h>

#include <algorithm>
#include <condition_variable>
#include <mutex>

namespace Veltro::Internal {
namespace {

timespec Now(clockid_t clock) {
  timespec now{};
  clock_gettime(clock, &now);
  return now;
}

class SleeperLinux : public Sleeper {
 public:
  void Rearm() override {
    std::lock_guard lock(mutex_);
    interrupted_ = false;
  }

  bool Sleep(std::chrono::milliseconds duration) override {
    // Far beyond any sensible wait, and far from overflowing the clock.
    constexpr std::chrono::milliseconds kLongest = std::chrono::hours(24 * 365);
    std::unique_lock lock(mutex_);
    return !changed_.wait_for(lock, std::min(duration, kLongest), [this] { return interrupted_; });
  }

  void Interrupt() override {
    std::lock_guard lock(mutex_);
    interrupted_ = true;
    changed_.notify_all();
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool interrupted_ = false;
};

}  // namespace

std::int64_t ClockLinux::UnixSeconds() { return Now(CLOCK_REALTIME).tv_sec; }

std::chrono::milliseconds ClockLinux::Monotonic() {
  const timespec now = Now(CLOCK_MONOTONIC);
  return std::chrono::milliseconds(std::int64_t{now.tv_sec} * 1000 + now.tv_nsec / 1'000'000);
}

CalendarFields ClockLinux::LocalCalendar(std::int64_t unixSeconds) {
  const time_t moment = unixSeconds;
  tm local{};
  tzset();  // localtime_r alone need not notice a change of the time zone
  if (localtime_r(&moment, &local) == nullptr) return {};
  CalendarFields fields;
  fields.year = local.tm_year + 1900;
  fields.month = local.tm_mon;
  fields.dayOfMonth = local.tm_mday;
  fields.dayOfWeek = local.tm_wday;
  fields.hour = local.tm_hour;
  return fields;
}

std::int32_t ClockLinux::TimeZoneBiasMinutes() {
  tzset();
  return static_cast<std::int32_t>(timezone / 60);
}

std::unique_ptr<Sleeper> ClockLinux::NewSleeper() { return std::make_unique<SleeperLinux>(); }

}  // namespace Veltro::Internal
