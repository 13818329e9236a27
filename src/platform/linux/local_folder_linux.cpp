#include "platform/linux/local_folder_linux.h"

#include <fcntl.h>
#include <stdio.h>
#include <unistd.h>

#include <utility>

#include "platform/linux/lock_file_linux.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::size_t kAppendBuffer = 64 * 1024;

std::string TemporaryName(const std::string& name) { return name + ".tmp"; }

std::string PlainName(std::string_view name) {
  if (name.empty() || name.find('/') != std::string_view::npos) {
    ThrowSystemError("open", name, EINVAL);
  }
  return std::string(name);
}

bool IsNoFile(const FileDescriptor& folder, const std::string& name) {
  struct stat status {};
  return fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
         !S_ISREG(status.st_mode);
}

void SyncToDevice(const FileDescriptor& file, std::string_view name) {
  if (Uninterrupted([&] { return fdatasync(file.Get()); }) != 0) ThrowSystemError("sync", name);
}

class LocalFileLinux : public LocalFile {
 public:
  LocalFileLinux(FileDescriptor file, std::string name)
      : file_(std::move(file)), name_(std::move(name)) {}

  std::string Read(std::uint64_t offset, std::size_t length) override {
    return ReadAt(file_, name_, offset, length);
  }
  void Write(std::uint64_t offset, std::string_view bytes) override {
    WriteAt(file_, name_, offset, bytes);
  }
  void Sync() override { SyncToDevice(file_, name_); }

 private:
  FileDescriptor file_;
  std::string name_;
};

class FileReplacementLinux : public FileReplacement {
 public:
  /// `lock`, which may be null, is kept for as long as the temporary file is in use.
  FileReplacementLinux(FileDescriptor folder, std::string name, std::unique_ptr<LockFile> lock)
      : lock_(std::move(lock)),
        folder_(std::move(folder)),
        name_(std::move(name)),
        temporary_(TemporaryName(name_)) {
    Unlink();
    const auto create = [this] {
      return openat(folder_.Get(), temporary_.c_str(),
                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    };
    file_ = FileDescriptor(Uninterrupted(create));
    if (!file_) ThrowSystemError("open", temporary_);
    fchmod(file_.Get(), 0600);  // an odd umask may have taken the owner's rights
  }

  ~FileReplacementLinux() override {
    if (file_) Unlink();
  }

  void Append(std::string_view bytes) override {
    buffer_.append(bytes);
    if (buffer_.size() >= kAppendBuffer) Flush();
  }

  std::unique_ptr<LocalFile> Commit() override {
    Flush();
    SyncToDevice(file_, temporary_);
    if (renameat(folder_.Get(), temporary_.c_str(), folder_.Get(), name_.c_str()) != 0) {
      ThrowSystemError("rename", temporary_);
    }
    fsync(folder_.Get());  // some file systems cannot; the new contents themselves are safe
    return std::make_unique<LocalFileLinux>(std::move(file_), name_);
  }

 private:
  void Flush() {
    WriteAt(file_, temporary_, written_, buffer_);
    written_ += buffer_.size();
    buffer_.clear();
  }

  void Unlink() { unlinkat(folder_.Get(), temporary_.c_str(), 0); }

  std::unique_ptr<LockFile> lock_;
  FileDescriptor folder_;
  std::string name_;
  std::string temporary_;
  FileDescriptor file_;  // none once committed
  std::string buffer_;
  std::uint64_t written_ = 0;
};

}  // namespace

std::optional<std::string> LocalFolderLinux::Read(std::string_view name) {
  const std::string plainName = PlainName(name);
  const FileDescriptor file = OpenFile(plainName, O_RDONLY);
  if (!file) return std::nullopt;
  return ReadWhole(file, plainName);
}

std::unique_ptr<LocalFile> LocalFolderLinux::Open(std::string_view name) {
  std::string plainName = PlainName(name);
  FileDescriptor file = OpenFile(plainName, O_RDWR);
  if (!file) return nullptr;
  return std::make_unique<LocalFileLinux>(std::move(file), std::move(plainName));
}

std::unique_ptr<FileReplacement> LocalFolderLinux::Replace(std::string_view name) {
  std::string plainName = PlainName(name);
  FileDescriptor folder = folder_->Create();
  return std::make_unique<FileReplacementLinux>(std::move(folder), std::move(plainName),
                                                LockReplacements());
}

/// Keeps other processes from using the same temporary file; null where there are no locks.
std::unique_ptr<LockFile> LocalFolderLinux::LockReplacements() {
  try {
    std::unique_ptr<LockFile> lock = OpenLockFile(kLockFileName);
    lock->Lock(kReplaceLock);
    return lock;
  } catch (const PlatformError&) {
    return nullptr;
  }
}

void LocalFolderLinux::Remove(std::string_view name) {
  const std::string plainName = PlainName(name);
  const FileDescriptor folder = folder_->Open();
  if (!folder) return;
  int error = 0;
  for (const std::string& file : {TemporaryName(plainName), plainName}) {
    if (unlinkat(folder.Get(), file.c_str(), 0) != 0 && errno != ENOENT) error = errno;
  }
  if (error != 0) ThrowSystemError("unlink", name, error);
}

std::unique_ptr<LockFile> LocalFolderLinux::OpenLockFile(std::string_view name) {
  std::string plainName = PlainName(name);
  const FileDescriptor folder = folder_->Create();
  FileDescriptor file = OpenRegularFile(folder.Get(), plainName, O_RDWR | O_CREAT | O_NOFOLLOW);
  if (!file) ThrowSystemError("open", name, ENOENT);
  if (fchmod(file.Get(), 0600) != 0) ThrowSystemError("chmod", name);
  return std::make_unique<LockFileLinux>(std::move(file), std::move(plainName));
}

FileDescriptor LocalFolderLinux::OpenFile(const std::string& name, int flags) {
  const FileDescriptor folder = folder_->Open();
  if (!folder || IsNoFile(folder, name)) return {};
  FileDescriptor file = OpenRegularFile(folder.Get(), name, flags | O_NOFOLLOW);
  if (file) TightenFile(file, name);
  return file;
}

}  // namespace Veltro::Internal
