#pragma once

#include <memory>

#include "platform/linux/data_folder.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// The library's files in the data folder. Each is a regular file of mode 0600; one that others may
/// read is closed to them when it is opened. What stands at a file's name but is no regular file (a
/// symbolic link, a FIFO, a folder) counts as no file and is never followed or waited for; all but
/// a folder makes room for a replacement.
class LocalFolderLinux : public LocalFolder {
 public:
  explicit LocalFolderLinux(std::shared_ptr<DataFolder> folder) : folder_(std::move(folder)) {}

  std::optional<std::string> Read(std::string_view name) override;
  std::unique_ptr<LocalFile> Open(std::string_view name) override;

  /// The new contents are collected in "<name>.tmp".
  std::unique_ptr<FileReplacement> Replace(std::string_view name) override;

  void Remove(std::string_view name) override;
  std::unique_ptr<LockFile> OpenLockFile(std::string_view name) override;

 private:
  std::unique_ptr<LockFile> LockReplacements();
  FileDescriptor OpenFile(const std::string& name, int flags);

  std::shared_ptr<DataFolder> folder_;
};

}  // namespace Veltro::Internal
