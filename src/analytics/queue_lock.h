#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "platform/local_folder.h"

namespace Veltro::Internal {

/// The understanding between processes that share a queue file: one at a time uses the file, and
/// one at a time sends. It lies in "veltro.lock", with a note of which version the file has and
/// which number its first hit. Where there can be no lock file each process takes itself to be
/// alone. Used by one thread at a time.
class QueueLock {
 public:
  explicit QueueLock(LocalFolder& folder) : folder_(folder) {}

  /// Waits until the file is ours. Returns the number of its first hit when another process has
  /// changed it since it was last ours. Throws `PlatformError` when the system refuses.
  std::optional<std::uint64_t> Acquire();

  /// Tells the others that the file changes, and the number of the first hit after the change. To
  /// be called before the change, as this process may not live to see its end. Throws
  /// `PlatformError` when the system refuses.
  void Announce(std::uint64_t firstId);

  /// The same, as far as it goes.
  void TryAnnounce(std::uint64_t firstId) noexcept;

  void Release() noexcept;

  /// Whether no other process is sending. It stays this one's turn until `YieldSending`.
  bool ClaimSending() noexcept;
  void YieldSending() noexcept;

 private:
  LockFile* RequireFile();
  void Unlock(int number) noexcept;

  LocalFolder& folder_;
  std::unique_ptr<LockFile> file_;  // null when there is none to be had
  std::uint64_t version_ = 0;       // of the queue file, as last read or announced
  std::uint64_t attempted_ = 0;     // the version that we announced last, or at least tried to
};

}  // namespace Veltro::Internal
