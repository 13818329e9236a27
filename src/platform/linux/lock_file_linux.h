#pragma once

#include <string>

#include "platform/linux/posix_file.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// A lock file on locks of its open file, one byte each. Another one on the same file counts as
/// another process, even in this one. Children forked by this process have no part in the locks.
class LockFileLinux : public LockFile {
 public:
  /// Throws `PlatformError` when there are no such locks on the file's system.
  LockFileLinux(FileDescriptor file, std::string name);
  ~LockFileLinux() override;

  void Lock(int number) override;
  bool TryLock(int number) override;
  void Unlock(int number) override;
  bool IsInPlace() override;
  std::uint32_t Process() override { return process_; }
  Note ReadNote() override;
  void WriteNote(const Note& note) override;

 private:
  int Control(int command, short type, int number);

  const FileDescriptor file_;
  const std::string name_;
  const std::uint32_t process_;
};

}  // namespace Veltro::Internal
