#include "platform/linux/lock_file_linux.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <utility>

#include "platform/linux/forked_child.h"

namespace Veltro::Internal {
namespace {

/// Process numbers have 22 bits; two files of this process differ in the descriptor.
std::uint32_t NumberOf(const FileDescriptor& file) {
  return (static_cast<std::uint32_t>(getpid()) << 10) ^ static_cast<std::uint32_t>(file.Get());
}

}  // namespace

LockFileLinux::LockFileLinux(FileDescriptor file, std::string name)
    : file_(std::move(file)), name_(std::move(name)), process_(NumberOf(file_)) {
  if (Control(F_OFD_GETLK, F_WRLCK, 0) != 0) ThrowSystemError("lock", name_);
  CloseInForkedChildren(file_.Get());
}

LockFileLinux::~LockFileLinux() { KeepInForkedChildren(file_.Get()); }

void LockFileLinux::Lock(int number) {
  if (Control(F_OFD_SETLKW, F_WRLCK, number) != 0) ThrowSystemError("lock", name_);
}

bool LockFileLinux::TryLock(int number) {
  if (Control(F_OFD_SETLK, F_WRLCK, number) == 0) return true;
  if (errno != EAGAIN && errno != EACCES) ThrowSystemError("lock", name_);
  return false;
}

void LockFileLinux::Unlock(int number) {
  if (Control(F_OFD_SETLK, F_UNLCK, number) != 0) ThrowSystemError("unlock", name_);
}

bool LockFileLinux::IsInPlace() {
  struct stat status {};
  return fstat(file_.Get(), &status) == 0 && status.st_nlink > 0;
}

LockFile::Note LockFileLinux::ReadNote() {
  Note note{};
  const std::string bytes = ReadAt(file_, name_, 0, sizeof note);
  std::memcpy(note.data(), bytes.data(), bytes.size());
  return note;
}

void LockFileLinux::WriteNote(const Note& note) {
  WriteAt(file_, name_, 0, {reinterpret_cast<const char*>(note.data()), sizeof note});
}

int LockFileLinux::Control(int command, short type, int number) {
  if (InForkedChild()) {  // where the descriptor may be somebody else's by now
    errno = EBADF;
    return -1;
  }
  struct flock lock {};
  lock.l_type = type;
  lock.l_whence = SEEK_SET;
  lock.l_start = number;
  lock.l_len = 1;
  return Uninterrupted([&] { return fcntl(file_.Get(), command, &lock); });
}

}  // namespace Veltro::Internal
