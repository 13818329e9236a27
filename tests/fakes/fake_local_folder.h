#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/local_folder.h"

namespace Veltro::Internal::Testing {

/// The storage behind a `FakeLocalFolder`, and the switches and counters of a test. It outlives the
/// folder: a "restarted process" gets a new folder on the same disk. Safe to use from any thread.
class FakeDisk {
 public:
  struct Counts {
    int operations = 0;  ///< all, failed ones included
    int reads = 0;
    int writes = 0;
    std::uint64_t bytesWritten = 0;
    int replaces = 0;  ///< committed ones
  };

  enum class Repeat { Once, ForGood };

  /// What a loss of power leaves of that which no sync has made safe.
  enum class PowerLoss { KeepsAll, CutsLastWrite, DropsData, DropsDataAndNames };

  // The files, as a test sees and plants them. None of these counts as an operation.
  std::optional<std::string> Contents(std::string_view name);
  void Put(std::string_view name, std::string bytes) {
    std::lock_guard lock(mutex_);
    files_[std::string(name)] = std::make_shared<std::string>(std::move(bytes));
  }
  void Erase(std::string_view name) {
    std::lock_guard lock(mutex_);
    files_.erase(std::string(name));
  }
  std::vector<std::string> TemporaryFiles();

  /// Makes the `n`-th operation from now (1 is the next) throw `PlatformError`: that one only, or
  /// it and all after it.
  void FailAtOperation(int n, Repeat repeat = Repeat::Once);

  /// Whether a failing write leaves the first half of its bytes behind.
  void SetShortWrites(bool enabled) {
    std::lock_guard lock(mutex_);
    shortWrites_ = enabled;
  }

  /// Ends `FailAtOperation` and `SetShortWrites`.
  void Heal() {
    std::lock_guard lock(mutex_);
    failAfter_ = 0;
    failing_ = false;
    shortWrites_ = false;
  }

  /// Remembers all changes from now on; the disk must be empty.
  void StartRecording() { isRecording_ = true; }
  std::size_t RecordedChanges() {
    std::lock_guard lock(mutex_);
    return changes_.size();
  }

  /// A disk as it is when power fails after the first `changes` recorded ones.
  std::shared_ptr<FakeDisk> AfterPowerLoss(std::size_t changes, PowerLoss loss);

  /// Whether replacements are synced before they are renamed, as they should be.
  void SetSyncsReplacements(bool enabled) { syncsReplacements_ = enabled; }

  Counts GetCounts() {
    std::lock_guard lock(mutex_);
    return counts_;
  }
  void ResetCounts() {
    std::lock_guard lock(mutex_);
    counts_ = {};
  }

 private:
  friend class FakeLocalFolder;
  friend class FakeLocalFile;
  friend class FakeReplacement;
  friend class FakeLockFile;

  /// A file as such, without a name; open files keep theirs when the name gets another.
  using File = std::shared_ptr<std::string>;

  /// A lock file: who holds which lock, and its note.
  struct Locks {
    std::map<int, const LockFile*> holders;
    LockFile::Note note{};
  };

  struct Change {
    enum class Kind { Create, Write, Sync, Rename, Remove, SyncNames } kind;
    File file;
    std::string name;
    std::uint64_t offset = 0;
    std::string bytes;
  };

  // These count and fail as asked; callers do not hold the lock.
  std::optional<std::string> ReadWhole(std::string_view name);
  std::string ReadFrom(const File& file, std::uint64_t offset, std::size_t length);
  void WriteTo(const File& file, std::uint64_t offset, std::string_view bytes);
  void Sync(const File& file);
  void SyncNames();
  File OpenFile(std::string_view name);
  File CreateTemporary(const std::string& name);
  void Rename(const std::string& from, const std::string& to);
  void Remove(std::string_view name);

  File Find(std::string_view name);
  bool CountAndTestFailure();
  void CountOrFail();
  void Record(Change change);

  std::mutex mutex_;
  std::map<std::string, File, std::less<>> files_;
  std::map<std::string, Locks, std::less<>> locks_;  // outside of what counts and fails
  std::condition_variable unlocked_;
  Counts counts_;
  int failAfter_ = 0;  // operations until the failing one; 0 when none is to fail
  Repeat repeat_ = Repeat::Once;
  bool failing_ = false;
  bool shortWrites_ = false;
  std::atomic<bool> isRecording_ = false;
  std::atomic<bool> syncsReplacements_ = true;
  std::vector<Change> changes_;
};

/// The local folder on a fake disk. Names of temporary files are those of the real one.
class FakeLocalFolder : public LocalFolder {
 public:
  explicit FakeLocalFolder(std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>())
      : disk_(std::move(disk)) {}

  std::optional<std::string> Read(std::string_view name) override;
  std::unique_ptr<LocalFile> Open(std::string_view name) override;
  std::unique_ptr<FileReplacement> Replace(std::string_view name) override;
  void Remove(std::string_view name) override;
  std::unique_ptr<LockFile> OpenLockFile(std::string_view name) override;

 private:
  std::shared_ptr<FakeDisk> disk_;
};

}  // namespace Veltro::Internal::Testing
