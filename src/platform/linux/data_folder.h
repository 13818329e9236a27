#pragma once

#include <filesystem>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "platform/linux/posix_file.h"

namespace Veltro::Internal {

/// The folder that holds everything the library stores, readable and writable by the user only.
/// Where it is gets decided at first use. Knows nothing of the files in it. Safe to use from any
/// thread.
class DataFolder {
 public:
  /// The folder `below`, a literal, unless that is empty, in `configured`, else VELTRO_DATA_DIR,
  /// else <application>/veltro in XDG_DATA_HOME or in
  /// ~/.local/share. `title` gives the application's title, UTF-8; it may throw `PlatformError`,
  /// and the folder then belongs to the application "Unknown".
  DataFolder(std::filesystem::path configured, std::function<std::string()> title,
             const char* below = "");

  /// Where the folder is or would be. Throws `PlatformError` when the user has no home.
  std::filesystem::path Path();

  /// The folder, open; no descriptor when it does not exist. A folder that others may enter is
  /// closed to them first. Throws `PlatformError` when that fails, and for a folder that is shared
  /// on purpose (sticky, such as /tmp).
  FileDescriptor Open();

  /// As `Open`, but creates the folder, and those above it, where they do not exist.
  FileDescriptor Create();

 private:
  std::filesystem::path Resolve() const;

  const std::filesystem::path configured_;
  const std::function<std::string()> title_;
  const char* const below_;
  std::mutex mutex_;
  std::filesystem::path path_;  // empty until resolved
};

/// `title` as the name of one folder: without separators and control characters, at most 255 bytes,
/// "Unknown" when nothing usable is left.
std::string FolderNameOf(std::string_view title);

}  // namespace Veltro::Internal
