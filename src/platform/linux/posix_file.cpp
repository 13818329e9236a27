#include "platform/linux/posix_file.h"

#include <fcntl.h>
#include <string.h>
#include <unistd.h>

#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

struct stat StatusOf(const FileDescriptor& file, std::string_view name) {
  struct stat status {};
  if (fstat(file.Get(), &status) != 0) ThrowSystemError("stat", name);
  return status;
}

}  // namespace

FileDescriptor::~FileDescriptor() {
  if (descriptor_ >= 0) close(descriptor_);
}

void ThrowSystemError(std::string_view operation, std::string_view name, int error) {
  const char* text = strerrordesc_np(error);
  throw PlatformError(std::string(operation) + " " + std::string(name) + ": " +
                      (text != nullptr ? text : "error " + std::to_string(error)));
}

FileDescriptor OpenRegularFile(int folder, const std::string& name, int flags) {
  const int allFlags = flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  FileDescriptor file(Uninterrupted([&] { return openat(folder, name.c_str(), allFlags, 0600); }));
  if (!file && (errno == ENOENT || errno == ENOTDIR)) return {};
  if (!file) ThrowSystemError("open", name);
  if (!S_ISREG(StatusOf(file, name).st_mode)) {
    throw PlatformError("open " + name + ": Not a regular file");
  }
  return file;
}

void TightenFile(const FileDescriptor& file, std::string_view name) {
  const mode_t mode = StatusOf(file, name).st_mode & 07777U;
  if ((mode & 077U) == 0) return;
  if (fchmod(file.Get(), mode & 0600U) != 0) ThrowSystemError("chmod", name);
}

std::string ReadAt(const FileDescriptor& file, std::string_view name, std::uint64_t offset,
                   std::size_t length) {
  std::string bytes(length, '\0');
  std::size_t done = 0;
  while (done < bytes.size()) {
    const ssize_t count = Uninterrupted([&] {
      return pread(file.Get(), bytes.data() + done, bytes.size() - done,
                   static_cast<off_t>(offset + done));
    });
    if (count < 0) ThrowSystemError("read", name);
    if (count == 0) break;
    done += static_cast<std::size_t>(count);
  }
  bytes.resize(done);
  return bytes;
}

std::string ReadWhole(const FileDescriptor& file, std::string_view name) {
  return ReadAt(file, name, 0, static_cast<std::size_t>(StatusOf(file, name).st_size));
}

void WriteAt(const FileDescriptor& file, std::string_view name, std::uint64_t offset,
             std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = Uninterrupted(
        [&] { return pwrite(file.Get(), bytes.data(), bytes.size(), static_cast<off_t>(offset)); });
    if (count < 0) ThrowSystemError("write", name);
    if (count == 0) ThrowSystemError("write", name, ENOSPC);
    offset += static_cast<std::uint64_t>(count);
    bytes.remove_prefix(static_cast<std::size_t>(count));
  }
}

}  // namespace Veltro::Internal
