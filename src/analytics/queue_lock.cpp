#include "analytics/queue_lock.h"

#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::uint64_t kUnknown = ~std::uint64_t{0};

}  // namespace

std::optional<std::uint64_t> QueueLock::Acquire() {
  if (RequireFile() == nullptr) return std::nullopt;
  file_->Lock(kChangeLock);
  if (!file_->IsInPlace()) {
    file_.reset();
    if (RequireFile() == nullptr) return std::nullopt;
    file_->Lock(kChangeLock);
    version_ = attempted_ = kUnknown;
  }
  const auto [version, firstId] = file_->ReadNote();
  const bool isKnown = version == version_ || version == attempted_;
  version_ = version;
  return isKnown ? std::nullopt : std::optional(firstId);
}

void QueueLock::Announce(std::uint64_t firstId) {
  if (!file_) return;
  attempted_ = (((version_ >> 32) + 1) << 32) | file_->Process();  // ours, and nobody else's
  file_->WriteNote({attempted_, firstId});
  version_ = attempted_;
}

void QueueLock::TryAnnounce(std::uint64_t firstId) noexcept {
  try {
    Announce(firstId);
  } catch (...) {
    // The others will not notice before the next announcement.
  }
}

void QueueLock::Release() noexcept { Unlock(kChangeLock); }

bool QueueLock::ClaimSending() noexcept {
  try {
    return !file_ || file_->TryLock(kSendLock);
  } catch (...) {
    return true;
  }
}

void QueueLock::YieldSending() noexcept { Unlock(kSendLock); }

LockFile* QueueLock::RequireFile() {
  if (file_) return file_.get();
  try {
    file_ = folder_.OpenLockFile(kLockFileName);
  } catch (const PlatformError& error) {
    LogDebug("Analytics - The hit queue is not shared with other processes (%s)", error.what());
  }
  return file_.get();
}

void QueueLock::Unlock(int number) noexcept {
  try {
    if (file_) file_->Unlock(number);
  } catch (...) {
    // The lock goes with the process.
  }
}

}  // namespace Veltro::Internal
