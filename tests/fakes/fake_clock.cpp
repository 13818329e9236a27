#include "fakes/fake_clock.h"

#include <algorithm>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace Veltro::Internal::Testing {

using std::chrono::milliseconds;

struct Nap {
  milliseconds until{0};
  bool asleep = false;
  bool interrupted = false;
};

struct FakeClock::State {
  std::mutex mutex;
  std::condition_variable changed;
  milliseconds wall = std::chrono::seconds(kStart);
  milliseconds monotonic{1'000};
  std::int32_t bias = 0;
  std::vector<Nap*> naps;

  std::size_t Asleep() const {
    return static_cast<std::size_t>(
        std::count_if(naps.begin(), naps.end(), [](const Nap* nap) { return nap->asleep; }));
  }
};

class FakeClock::FakeSleeper : public Sleeper {
 public:
  explicit FakeSleeper(std::shared_ptr<State> state) : state_(std::move(state)) {
    std::lock_guard lock(state_->mutex);
    state_->naps.push_back(&nap_);
  }

  ~FakeSleeper() override {
    std::lock_guard lock(state_->mutex);
    std::erase(state_->naps, &nap_);
  }

  void Rearm() override {
    std::lock_guard lock(state_->mutex);
    nap_.interrupted = false;
  }

  bool Sleep(milliseconds duration) override {
    std::unique_lock lock(state_->mutex);
    if (nap_.interrupted) return false;
    if (duration <= milliseconds(0)) return true;
    nap_.until = state_->monotonic + std::min(duration, milliseconds(std::chrono::hours(876'000)));
    nap_.asleep = true;
    state_->changed.notify_all();
    state_->changed.wait(lock, [this] { return !nap_.asleep; });
    return !nap_.interrupted;
  }

  void Interrupt() override {
    std::lock_guard lock(state_->mutex);
    nap_.interrupted = true;
    nap_.asleep = false;
    state_->changed.notify_all();
  }

 private:
  std::shared_ptr<State> state_;
  Nap nap_;
};

FakeClock::FakeClock() : state_(std::make_shared<State>()) {}
FakeClock::~FakeClock() = default;

std::int64_t FakeClock::UnixSeconds() {
  std::lock_guard lock(state_->mutex);
  return std::chrono::floor<std::chrono::seconds>(state_->wall).count();
}

milliseconds FakeClock::Monotonic() {
  std::lock_guard lock(state_->mutex);
  return state_->monotonic;
}

CalendarFields FakeClock::LocalCalendar(std::int64_t unixSeconds) {
  using namespace std::chrono;
  const sys_seconds local{seconds(unixSeconds) - minutes(TimeZoneBiasMinutes())};
  const auto day = floor<days>(local);
  const year_month_day date(day);
  CalendarFields fields;
  fields.year = static_cast<int>(date.year());
  fields.month = static_cast<std::int32_t>(static_cast<unsigned>(date.month())) - 1;
  fields.dayOfMonth = static_cast<std::int32_t>(static_cast<unsigned>(date.day()));
  fields.dayOfWeek = static_cast<std::int32_t>(weekday(day).c_encoding());
  fields.hour = static_cast<std::int32_t>(floor<hours>(local - day).count());
  return fields;
}

std::int32_t FakeClock::TimeZoneBiasMinutes() {
  std::lock_guard lock(state_->mutex);
  return state_->bias;
}

std::unique_ptr<Sleeper> FakeClock::NewSleeper() { return std::make_unique<FakeSleeper>(state_); }

void FakeClock::SetUnixSeconds(std::int64_t seconds) {
  std::lock_guard lock(state_->mutex);
  state_->wall = std::chrono::seconds(seconds);
}

void FakeClock::Advance(milliseconds duration) {
  std::lock_guard lock(state_->mutex);
  state_->wall += duration;
  state_->monotonic += duration;
  for (Nap* nap : state_->naps) {
    if (nap->until <= state_->monotonic) nap->asleep = false;
  }
  state_->changed.notify_all();
}

void FakeClock::SetBias(std::int32_t minutesWestOfGreenwich) {
  std::lock_guard lock(state_->mutex);
  state_->bias = minutesWestOfGreenwich;
}

bool FakeClock::WaitForSleepers(std::size_t count, milliseconds deadline) {
  std::unique_lock lock(state_->mutex);
  return state_->changed.wait_until(lock, std::chrono::system_clock::now() + deadline,
                                    [&] { return state_->Asleep() >= count; });
}

}  // namespace Veltro::Internal::Testing
