#include "support/file_faults.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <mutex>

namespace Veltro::Internal::Testing {
namespace {

enum class Kind { Read, Change, Write, Other };
enum class Verdict { Go, Half, Fail };

struct Watch {
  std::mutex mutex;
  std::string folder;
  FileFault fault;
  int left = 0;  // operations until the one that goes wrong; 0 when none will
  bool struck = false;
  std::vector<std::string> calls;
};

std::atomic<bool> isWatching = false;

Watch& TheWatch() {
  static auto* const watch = new Watch;  // outlives every thread
  return *watch;
}

std::string PathOf(int descriptor) {
  const std::string link = "/proc/self/fd/" + std::to_string(descriptor);
  char path[PATH_MAX];
  const ssize_t length = readlink(link.c_str(), path, sizeof path);
  return {path, length > 0 ? static_cast<std::size_t>(length) : 0};
}

std::string PathOf(int folder, const char* name) {
  if (name[0] == '/' || folder == AT_FDCWD) return name;
  return PathOf(folder) + "/" + name;
}

bool Strikes(FileFault::Strikes strikes, Kind kind) {
  if (strikes == FileFault::Strikes::Reads) return kind == Kind::Read;
  if (strikes == FileFault::Strikes::Writes) return kind == Kind::Write;
  if (strikes == FileFault::Strikes::Changes) return kind == Kind::Write || kind == Kind::Change;
  return true;
}

Verdict Judge(const char* call, const std::string& path, Kind kind) {
  Watch& watch = TheWatch();
  const std::lock_guard lock(watch.mutex);
  if (!path.starts_with(watch.folder)) return Verdict::Go;
  watch.calls.push_back(std::string(call) + path.substr(path.rfind('/')).replace(0, 1, " "));
  if (watch.left == 0 || !Strikes(watch.fault.strikes, kind)) return Verdict::Go;
  if (watch.left > 1) {
    --watch.left;
    return Verdict::Go;
  }
  if (!watch.fault.forGood) watch.left = 0;
  watch.struck = true;
  if (watch.fault.error == 0) return Verdict::Half;
  errno = watch.fault.error;
  return Verdict::Fail;
}

/// Whether a call is to fail, with errno set; `where` is a descriptor, or a folder and a name.
template <class... Where>
bool Fails(Kind kind, const char* call, Where... where) {
  return isWatching && Judge(call, PathOf(where...), kind) == Verdict::Fail;
}

}  // namespace

FileFaults::FileFaults(const std::filesystem::path& folder, int n, const FileFault& fault) {
  Watch& watch = TheWatch();
  {
    const std::lock_guard lock(watch.mutex);
    watch.folder = folder;
    watch.fault = fault;
    watch.left = n;
    watch.struck = false;
    watch.calls.clear();
  }
  Resume();
}

FileFaults::~FileFaults() { Pause(); }

void FileFaults::Pause() { isWatching = false; }

void FileFaults::Resume() { isWatching = true; }

bool FileFaults::Struck() const {
  const std::lock_guard lock(TheWatch().mutex);
  return TheWatch().struck;
}

std::vector<std::string> FileFaults::Calls() const {
  const std::lock_guard lock(TheWatch().mutex);
  return TheWatch().calls;
}

namespace {

template <class... Arguments>
int Call(std::int64_t number, Arguments... arguments) {
  return static_cast<int>(syscall(number, arguments...));
}

int OpenAt(int folder, const char* name, int flags, mode_t mode) {
  const bool changes = (flags & (O_WRONLY | O_RDWR | O_CREAT)) != 0;
  if (Fails(changes ? Kind::Change : Kind::Other, "open", folder, name)) return -1;
  return Call(SYS_openat, folder, name, flags, mode);
}

ssize_t ReadFrom(int file, void* bytes, std::size_t size, off_t offset) {
  if (Fails(Kind::Read, "pread", file)) return -1;
  return syscall(SYS_pread64, file, bytes, size, offset);
}

ssize_t WriteTo(int file, const void* bytes, std::size_t size, off_t offset) {
  if (isWatching) {
    const Verdict verdict = Judge("pwrite", PathOf(file), Kind::Write);
    if (verdict == Verdict::Fail) return -1;
    if (verdict == Verdict::Half) size /= 2;
    if (verdict == Verdict::Half && size == 0) errno = ENOSPC;
    if (verdict == Verdict::Half && size == 0) return -1;
  }
  return syscall(SYS_pwrite64, file, bytes, size, offset);
}

int Truncate(int file, off_t size) {
  return Fails(Kind::Change, "ftruncate", file) ? -1 : Call(SYS_ftruncate, file, size);
}

}  // namespace
}  // namespace Veltro::Internal::Testing

// The functions that the library and SQLite call: found before those of the C library.
using namespace Veltro::Internal::Testing;

namespace {

mode_t ModeOf(int flags, va_list arguments) {
  return (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : 0;
}

}  // namespace

extern "C" {

int open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAt(AT_FDCWD, path, flags, mode);
}

int open64(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAt(AT_FDCWD, path, flags, mode);
}

int openat(int folder, const char* name, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = ModeOf(flags, arguments);
  va_end(arguments);
  return OpenAt(folder, name, flags, mode);
}

ssize_t pread(int file, void* bytes, std::size_t size, off_t offset) {
  return ReadFrom(file, bytes, size, offset);
}
ssize_t pread64(int file, void* bytes, std::size_t size, off64_t offset) {
  return ReadFrom(file, bytes, size, offset);
}
ssize_t pwrite(int file, const void* bytes, std::size_t size, off_t offset) {
  return WriteTo(file, bytes, size, offset);
}
ssize_t pwrite64(int file, const void* bytes, std::size_t size, off64_t offset) {
  return WriteTo(file, bytes, size, offset);
}
int ftruncate(int file, off_t size) noexcept { return Truncate(file, size); }
int ftruncate64(int file, off64_t size) noexcept { return Truncate(file, size); }

/// What SQLite waits with, for 10 s where a disk turned read-only at the wrong moment.
int usleep(useconds_t) { return 0; }

int fdatasync(int file) { return Fails(Kind::Other, "fdatasync", file) ? -1 : 0; }
int fsync(int file) { return Fails(Kind::Other, "fsync", file) ? -1 : 0; }

int renameat(int fromFolder, const char* from, int toFolder, const char* to) noexcept {
  if (Fails(Kind::Change, "renameat", toFolder, to)) return -1;
  return Call(SYS_renameat2, fromFolder, from, toFolder, to, 0);
}
int unlinkat(int folder, const char* name, int flags) noexcept {
  return Fails(Kind::Change, "unlink", folder, name) ? -1 : Call(SYS_unlinkat, folder, name, flags);
}
int unlink(const char* path) noexcept { return unlinkat(AT_FDCWD, path, 0); }
int mkdir(const char* path, mode_t mode) noexcept {
  return Fails(Kind::Change, "mkdir", AT_FDCWD, path) ? -1
                                                      : Call(SYS_mkdirat, AT_FDCWD, path, mode);
}
int faccessat(int folder, const char* name, int mode, int) noexcept {
  const Kind kind = (mode & W_OK) != 0 ? Kind::Change : Kind::Other;
  return Fails(kind, "access", folder, name) ? -1 : Call(SYS_faccessat, folder, name, mode);
}
int fchmod(int file, mode_t mode) noexcept {
  return Fails(Kind::Change, "fchmod", file) ? -1 : Call(SYS_fchmod, file, mode);
}

}  // extern "C"
