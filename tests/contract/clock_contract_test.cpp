#include <gtest/gtest.h>

#include <memory>
#include <thread>

#include "fakes/fake_clock.h"
#include "platform/linux/clock_linux.h"
#include "support/scoped_variable.h"

namespace Veltro::Internal::Testing {
namespace {

using std::chrono::milliseconds;

struct FakeSubject {
  /// Lets a sleep of `duration` on another thread pass.
  void Pass(milliseconds duration) {
    ASSERT_TRUE(clock.WaitForSleepers(1));
    clock.Advance(duration);
  }
  FakeClock clock;
};

struct LinuxSubject {
  void Pass(milliseconds) {}  // it does so by itself
  ScopedVariable zone{"TZ", "UTC0"};
  ClockLinux clock;
};

template <class Subject>
class ClockContract : public testing::Test {
 protected:
  Subject subject;
  Clock& clock = subject.clock;
  std::unique_ptr<Sleeper> sleeper = clock.NewSleeper();
};

using Subjects = testing::Types<FakeSubject, LinuxSubject>;
TYPED_TEST_SUITE(ClockContract, Subjects);

TYPED_TEST(ClockContract, SleepEndsWithItsTime) {
  constexpr milliseconds kDuration{5};
  const milliseconds start = this->clock.Monotonic();
  bool passed = false;
  std::thread thread([&] { passed = this->sleeper->Sleep(kDuration); });
  this->subject.Pass(kDuration);
  thread.join();
  EXPECT_TRUE(passed);
  EXPECT_GE(this->clock.Monotonic() - start, kDuration);
}

TYPED_TEST(ClockContract, InterruptEndsASleepAndAllLaterOnesUntilRearmed) {
  bool passed = true;
  std::thread thread([&] { passed = this->sleeper->Sleep(milliseconds::max()); });
  this->sleeper->Interrupt();
  thread.join();
  EXPECT_FALSE(passed);
  EXPECT_FALSE(this->sleeper->Sleep(std::chrono::hours(1)));
  EXPECT_FALSE(this->sleeper->Sleep(milliseconds(0)));
  this->sleeper->Rearm();
  EXPECT_TRUE(this->sleeper->Sleep(milliseconds(0)));
  EXPECT_TRUE(this->sleeper->Sleep(milliseconds(-1)));
}

TYPED_TEST(ClockContract, BreaksMomentsIntoCalendarFields) {
  struct {
    std::int64_t moment;
    std::int32_t year, month, dayOfMonth, dayOfWeek, hour;
  } const rows[] = {
      {0, 1970, 0, 1, 4, 0},
      {-1, 1969, 11, 31, 3, 23},
      {951'782'400, 2000, 1, 29, 2, 0},
      {2'147'483'648, 2038, 0, 19, 2, 3},
  };
  for (const auto& row : rows) {
    const CalendarFields fields = this->clock.LocalCalendar(row.moment);
    EXPECT_EQ(fields.year, row.year) << row.moment;
    EXPECT_EQ(fields.month, row.month) << row.moment;
    EXPECT_EQ(fields.dayOfMonth, row.dayOfMonth) << row.moment;
    EXPECT_EQ(fields.dayOfWeek, row.dayOfWeek) << row.moment;
    EXPECT_EQ(fields.hour, row.hour) << row.moment;
  }
}

TEST(ClockLinuxTest, FollowsTheTimeZone) {
  constexpr std::int64_t kSummerNoon = 1'594'296'000;  // 2020-07-09 12:00:00 UTC
  struct {
    const char* zone;
    std::int32_t bias, summerHour;
  } const rows[] = {
      {"UTC0", 0, 12},
      {"EST5EDT,M3.2.0,M11.1.0", 300, 8},
      {"CET-1CEST,M3.5.0,M10.5.0/3", -60, 14},
      {"IST-5:30", -330, 17},
  };
  ClockLinux clock;
  for (const auto& row : rows) {
    const ScopedVariable zone("TZ", row.zone);
    EXPECT_EQ(clock.LocalCalendar(kSummerNoon).hour, row.summerHour) << row.zone;
    EXPECT_EQ(clock.TimeZoneBiasMinutes(), row.bias) << row.zone;
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
