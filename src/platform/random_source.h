#pragma once

#include <cstdint>

#include "veltro/guid.h"

namespace Veltro::Internal {

/// Where randomness comes from. Safe to use from any thread.
class RandomSource {
 public:
  virtual ~RandomSource() = default;

  /// A new identifier from the system's strong generator.
  virtual Guid NewGuid() = 0;

  /// Restarts the C library's sequence of pseudo-random numbers at `seed`. The sequence is this
  /// object's own: the application's `rand` is never disturbed.
  virtual void Seed(std::uint32_t seed) = 0;

  /// The next number of that sequence, 0 to RAND_MAX; starts as after `Seed(1)`.
  virtual std::int32_t Next() = 0;
};

}  // namespace Veltro::Internal
