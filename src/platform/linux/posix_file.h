#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Veltro::Internal {

/// Owns a file descriptor; -1 when it owns none.
class FileDescriptor {
 public:
  FileDescriptor() = default;
  explicit FileDescriptor(int descriptor) : descriptor_(descriptor) {}
  FileDescriptor(FileDescriptor&& other) noexcept
      : descriptor_(std::exchange(other.descriptor_, -1)) {}
  FileDescriptor& operator=(FileDescriptor&& other) noexcept {
    std::swap(descriptor_, other.descriptor_);
    return *this;
  }
  ~FileDescriptor();

  int Get() const { return descriptor_; }
  explicit operator bool() const { return descriptor_ >= 0; }

 private:
  int descriptor_ = -1;
};

/// Makes a system call again as long as a signal interrupts it.
template <class Call>
auto Uninterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) result = call();
  return result;
}

/// Throws `PlatformError` with a text such as "open settings.db: Permission denied".
[[noreturn]] void ThrowSystemError(std::string_view operation, std::string_view name,
                                   int error = errno);

/// Opens `name` in the open folder `folder` (or, with AT_FDCWD, by its path). Never blocks. Returns
/// no descriptor when there is no such file; throws `PlatformError` when it cannot be opened or is
/// no regular file. `flags` are added to O_CLOEXEC, O_NOCTTY and O_NONBLOCK.
FileDescriptor OpenRegularFile(int folder, const std::string& name, int flags);

/// Takes all rights from everybody but the owner, where they have any.
void TightenFile(const FileDescriptor& file, std::string_view name);

/// Up to `length` bytes of `file` from `offset`; fewer only where the file ends.
std::string ReadAt(const FileDescriptor& file, std::string_view name, std::uint64_t offset,
                   std::size_t length);

/// The whole file.
std::string ReadWhole(const FileDescriptor& file, std::string_view name);

/// Writes all `bytes` at `offset`, with one system call unless the system takes them in parts.
void WriteAt(const FileDescriptor& file, std::string_view name, std::uint64_t offset,
             std::string_view bytes);

}  // namespace Veltro::Internal
