#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace Veltro::Internal {

/// An open file of the local folder, read and written by position. Used by one thread at a time.
/// Every operation throws `PlatformError` when the system refuses it.
class LocalFile {
 public:
  virtual ~LocalFile() = default;

  /// Up to `length` bytes from `offset`; fewer only where the file ends.
  virtual std::string Read(std::uint64_t offset, std::size_t length) = 0;

  /// Writes `bytes` at `offset` with one system call, extending the file where needed. A failure
  /// may leave part of `bytes` written.
  virtual void Write(std::uint64_t offset, std::string_view bytes) = 0;

  /// Returns when everything written so far is on the storage device.
  virtual void Sync() = 0;
};

/// The new contents of a file, collected beside the old ones. Dropping it uncommitted leaves the
/// old file as it was and no temporary file behind.
class FileReplacement {
 public:
  virtual ~FileReplacement() = default;

  /// Adds `bytes` at the end of the new contents.
  virtual void Append(std::string_view bytes) = 0;

  /// Syncs the new contents and puts them in the place of the old file in one step, so that a
  /// reader finds either the old or the new contents whole. Returns the new file, open.
  virtual std::unique_ptr<LocalFile> Commit() = 0;
};

/// The lock file of the data folder, and what its locks are for.
inline constexpr std::string_view kLockFileName = "veltro.lock";
enum LockNumber : int {
  kChangeLock,   ///< using the queue file
  kSendLock,     ///< sending
  kReplaceLock,  ///< replacing a file, whichever
};

/// What the processes that share the folder agree by: numbered locks, each held by one process at a
/// time and free again when that ends, however it ends, and a note that all can read. Used by one
/// thread at a time. Every operation throws `PlatformError` when the system refuses it.
class LockFile {
 public:
  /// Two numbers, 0 until somebody writes others.
  using Note = std::array<std::uint64_t, 2>;

  /// Frees all locks.
  virtual ~LockFile() = default;

  /// Takes a lock; waits for as long as another process holds it.
  virtual void Lock(int number) = 0;

  /// Takes a lock unless another process holds it; whether it is ours now.
  virtual bool TryLock(int number) = 0;

  virtual void Unlock(int number) = 0;

  /// Whether the file still stands in the folder. One that was removed joins nobody any more.
  virtual bool IsInPlace() = 0;

  /// A number by which the processes that have the file open differ.
  virtual std::uint32_t Process() = 0;

  virtual Note ReadNote() = 0;
  virtual void WriteNote(const Note& note) = 0;
};

/// The folder in which the library keeps its files, readable and writable by the user only. Safe to
/// use from any thread; callers see to it that one file has one user. The folder is created with
/// the first file in it. Operations throw `PlatformError` when the system refuses them.
class LocalFolder {
 public:
  virtual ~LocalFolder() = default;

  /// The whole contents of the file, or nothing when there is no such file.
  virtual std::optional<std::string> Read(std::string_view name) = 0;

  /// Opens an existing file for positional access; nothing when there is no such file.
  virtual std::unique_ptr<LocalFile> Open(std::string_view name) = 0;

  /// Starts new contents for the file `name`.
  virtual std::unique_ptr<FileReplacement> Replace(std::string_view name) = 0;

  /// Removes the file, and what a replacement that was never finished has left beside it. One that
  /// is not there is no error.
  virtual void Remove(std::string_view name) = 0;

  /// Opens the lock file `name`, and creates it where there is none.
  virtual std::unique_ptr<LockFile> OpenLockFile(std::string_view name) = 0;
};

}  // namespace Veltro::Internal
