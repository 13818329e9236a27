#pragma once

#include <stdlib.h>

#include <array>
#include <mutex>

#include "platform/random_source.h"

namespace Veltro::Internal {

/// Identifiers from the kernel's generator (version 4, as RFC 4122 has it), and the C library's
/// `rand` sequence on a state of its own.
class RandomLinux : public RandomSource {
 public:
  RandomLinux();
  RandomLinux(const RandomLinux&) = delete;
  RandomLinux& operator=(const RandomLinux&) = delete;

  /// Throws `PlatformError` when the kernel has no generator.
  Guid NewGuid() override;
  void Seed(std::uint32_t seed) override;
  std::int32_t Next() override;

 private:
  std::mutex mutex_;
  // The size that `rand` itself works on; another size would give another sequence.
  alignas(std::int32_t) std::array<char, 128> state_{};
  random_data sequence_{};  // points into state_
};

}  // namespace Veltro::Internal
