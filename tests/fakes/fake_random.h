#pragma once

#include <mutex>

#include "platform/random_source.h"

namespace Veltro::Internal::Testing {

/// Randomness without chance: one fixed identifier and a linear congruential sequence. Safe to use
/// from any thread.
class FakeRandom : public RandomSource {
 public:
  Guid NewGuid() override {
    std::lock_guard lock(mutex_);
    return guid_;
  }

  void Seed(std::uint32_t seed) override {
    std::lock_guard lock(mutex_);
    state_ = seed;
  }

  std::int32_t Next() override {
    std::lock_guard lock(mutex_);
    state_ = state_ * 1103515245U + 12345U;
    return static_cast<std::int32_t>(state_ & 0x7FFFFFFFU);
  }

  void SetGuid(const Guid& guid) {
    std::lock_guard lock(mutex_);
    guid_ = guid;
  }

 private:
  std::mutex mutex_;
  Guid guid_{0x01234567, 0x89AB, 0x4CDE, {0x8F, 0x01, 0x23, 0x45, 0x67, 0x89, 0xAB, 0xCD}};
  std::uint32_t state_ = 1;
};

}  // namespace Veltro::Internal::Testing
