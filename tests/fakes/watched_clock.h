#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

#include "fakes/fake_clock.h"

namespace Veltro::Internal::Testing {

/// A fake clock that also tells how often it is asked for the time, and where its only sleeper
/// stands: a spell of sleeps begins with the first since the last `Rearm` and ends with the next.
class WatchedClock : public FakeClock {
 public:
  std::int64_t UnixSeconds() override {
    ++readings_;
    return FakeClock::UnixSeconds();
  }

  std::chrono::milliseconds Monotonic() override {
    ++readings_;
    return FakeClock::Monotonic();
  }

  std::unique_ptr<Sleeper> NewSleeper() override {
    return std::make_unique<WatchedSleeper>(FakeClock::NewSleeper(), state_);
  }

  int Readings() const { return readings_; }

  /// Blocks until `count` spells of sleeps have ended; false when `deadline` of real time passes
  /// before.
  bool WaitForSpells(int count, std::chrono::milliseconds deadline) {
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_until(lock, std::chrono::system_clock::now() + deadline, [&] {
      return state_->spells >= count && !state_->isInSpell;
    });
  }

  /// How many spells of sleeps have begun.
  int Spells() {
    const std::lock_guard lock(state_->mutex);
    return state_->spells;
  }

 private:
  struct State {
    std::mutex mutex;
    std::condition_variable changed;
    int spells = 0;
    bool isInSpell = false;
  };

  class WatchedSleeper : public Sleeper {
   public:
    WatchedSleeper(std::unique_ptr<Sleeper> sleeper, std::shared_ptr<State> state)
        : sleeper_(std::move(sleeper)), state_(std::move(state)) {}

    void Rearm() override {
      sleeper_->Rearm();
      const std::lock_guard lock(state_->mutex);
      state_->isInSpell = false;
      state_->changed.notify_all();
    }

    bool Sleep(std::chrono::milliseconds duration) override {
      {
        const std::lock_guard lock(state_->mutex);
        if (!std::exchange(state_->isInSpell, true)) ++state_->spells;
      }
      return sleeper_->Sleep(duration);
    }

    void Interrupt() override { sleeper_->Interrupt(); }

   private:
    const std::unique_ptr<Sleeper> sleeper_;
    const std::shared_ptr<State> state_;
  };

  std::atomic<int> readings_ = 0;
  std::shared_ptr<State> state_ = std::make_shared<State>();
};

}  // namespace Veltro::Internal::Testing
