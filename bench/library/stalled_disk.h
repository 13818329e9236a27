#pragma once

#include <chrono>

namespace Veltro::Bench {

/// While one lives, or until `duration` has passed, every positional write and every sync of this
/// process waits, as they do when the storage device hangs. The program has its own `pwrite` and
/// `fdatasync` for that, which the libraries that it loads use, too.
class StalledDisk {
 public:
  explicit StalledDisk(std::chrono::milliseconds duration);
  ~StalledDisk();

  StalledDisk(const StalledDisk&) = delete;
  StalledDisk& operator=(const StalledDisk&) = delete;
};

/// Positional writes and syncs of this process so far.
long CountDiskOperations();

}  // namespace Veltro::Bench
