#pragma once

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
  /// A file as such, without a name; open files keep theirs when the name gets another.
  struct Inode {
    int id = 0;
    std::string bytes;
  };

  enum class Kind {
    Read,  ///< of a whole file or of a part
    Open,
    Create,  ///< of the temporary file of a replacement
    Write,   ///< by position, or the appending to a replacement
    Sync,    ///< also the first half of a commit
    Rename,  ///< the second half of a commit; `name` is the one that gets the new contents
  };

  /// One operation that succeeded, or a write that failed half-way (with the bytes that arrived).
  /// `file` tells apart files that had the same name one after the other.
  struct Operation {
    Kind kind;
    std::string name;
    int file = 0;  ///< 0 where there was no such file
    std::uint64_t offset = 0;
    std::string bytes;
  };

  struct Counts {
    int operations = 0;  ///< all, failed ones included
    int reads = 0;
    int writes = 0;
    std::uint64_t bytesWritten = 0;
    int syncs = 0;
    int replaces = 0;  ///< committed ones
  };

  enum class Repeat { Once, ForGood };

  // The files, as a test sees and plants them. None of these counts as an operation.
  std::optional<std::string> Contents(std::string_view name);
  void Put(std::string_view name, std::string bytes);
  void Erase(std::string_view name);
  std::vector<std::string> Names();
  std::vector<std::string> TemporaryFiles();

  /// Makes the `n`-th operation from now (1 is the next) throw `PlatformError(message)`: that one
  /// only, or it and all after it.
  void FailAtOperation(int n, Repeat repeat = Repeat::Once,
                       std::string message = "write: No space left on device");

  /// Whether a failing write leaves the first half of its bytes behind.
  void SetShortWrites(bool enabled);

  /// Ends `FailAtOperation` and `SetShortWrites`.
  void Heal();

  /// Whether a failure asked for has come.
  bool HasFailed();

  Counts GetCounts();
  std::vector<Operation> Operations();

  /// Forgets the counts and the record of operations.
  void ResetCounts();

 private:
  friend class FakeLocalFolder;
  friend class FakeLocalFile;
  friend class FakeReplacement;
  using InodePointer = std::shared_ptr<Inode>;

  // These count, record and fail as asked; callers do not hold the lock.
  std::string ReadFrom(const InodePointer& inode, const std::string& name, std::uint64_t offset,
                       std::size_t length);
  std::optional<std::string> ReadWhole(const std::string& name);
  InodePointer OpenFile(const std::string& name);
  InodePointer CreateTemporary(const std::string& name);
  void WriteTo(const InodePointer& inode, const std::string& name, std::uint64_t offset,
               std::string_view bytes);
  void SyncFile(const InodePointer& inode, const std::string& name);
  void Rename(const InodePointer& inode, const std::string& from, const std::string& to);
  void DropTemporary(const std::string& name);

  InodePointer Find(const std::string& name);
  InodePointer NewInode();
  bool CountAndTestFailure();
  void CountOrFail();

  std::mutex mutex_;
  std::map<std::string, InodePointer> files_;
  Counts counts_;
  std::vector<Operation> operations_;
  int lastInode_ = 0;
  int failAfter_ = 0;  // operations until the failing one; 0 when none is to fail
  Repeat repeat_ = Repeat::Once;
  bool failing_ = false;
  bool failed_ = false;
  bool shortWrites_ = false;
  std::string message_;
};

/// The local folder on a fake disk. Names of temporary files are those of the real one.
class FakeLocalFolder : public LocalFolder {
 public:
  explicit FakeLocalFolder(std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>())
      : disk_(std::move(disk)) {}

  std::optional<std::string> Read(std::string_view name) override;
  std::unique_ptr<LocalFile> Open(std::string_view name) override;
  std::unique_ptr<FileReplacement> Replace(std::string_view name) override;

  FakeDisk& Disk() { return *disk_; }

 private:
  std::shared_ptr<FakeDisk> disk_;
};

}  // namespace Veltro::Internal::Testing
