#include "platform/linux/data_folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <utility>

#include "platform/linux/environment.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kUnknownApplication = "Unknown";
constexpr std::size_t kLongestName = 255;

void CreateWithParents(const std::filesystem::path& folder) {
  std::filesystem::path built;
  for (const auto& part : folder) {
    built /= part;
    if (mkdir(built.c_str(), 0700) == 0 || errno == EEXIST) continue;
    const int error = errno;
    struct stat status {
    };  // a parent may exist where nothing may be created, as on a read-only disk
    if (stat(built.c_str(), &status) != 0) ThrowSystemError("mkdir", built.native(), error);
  }
}

void Tighten(const FileDescriptor& folder, const std::string& path) {
  struct stat status {};
  if (fstat(folder.Get(), &status) != 0) ThrowSystemError("stat", path);
  if ((status.st_mode & 077U) == 0) return;
  if ((status.st_mode & S_ISVTX) != 0) {
    throw PlatformError("open " + path + ": The folder is shared with other users");
  }
  if (fchmod(folder.Get(), status.st_mode & 0700U) != 0) ThrowSystemError("chmod", path);
}

std::filesystem::path ApplicationsFolder() {
  const std::filesystem::path configured = EnvironmentVariable("XDG_DATA_HOME").value_or("");
  if (configured.is_absolute()) return configured;
  const std::filesystem::path home = HomeFolder();
  if (!home.is_absolute()) throw PlatformError("no data folder: the user has no home folder");
  return home / ".local" / "share";
}

std::filesystem::path Absolute(const std::filesystem::path& path) {
  std::error_code error;
  std::filesystem::path absolute = std::filesystem::absolute(path, error);
  if (error) ThrowSystemError("getcwd", path.native(), error.value());
  return absolute;
}

}  // namespace

DataFolder::DataFolder(std::filesystem::path configured, std::function<std::string()> title,
                       const char* below)
    : configured_(std::move(configured)), title_(std::move(title)), below_(below) {}

std::filesystem::path DataFolder::Path() {
  std::lock_guard lock(mutex_);
  if (path_.empty()) path_ = Absolute(*below_ == '\0' ? Resolve() : Resolve() / below_);
  return path_;
}

FileDescriptor DataFolder::Open() {
  const std::string path = Path().native();
  FileDescriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder && errno == ENOENT) return {};
  if (!folder) ThrowSystemError("open", path);
  Tighten(folder, path);
  return folder;
}

FileDescriptor DataFolder::Create() {
  if (FileDescriptor folder = Open()) return folder;
  CreateWithParents(Path());
  FileDescriptor folder = Open();
  if (!folder) ThrowSystemError("open", Path().native(), ENOENT);
  return folder;
}

std::filesystem::path DataFolder::Resolve() const {
  if (!configured_.empty()) return configured_;
  if (const auto path = EnvironmentVariable("VELTRO_DATA_DIR")) return *path;
  std::string title;
  try {
    title = title_();
  } catch (const PlatformError&) {
    title = kUnknownApplication;
  }
  return ApplicationsFolder() / FolderNameOf(title) / "veltro";
}

std::string FolderNameOf(std::string_view title) {
  std::size_t length = std::min(title.size(), kLongestName);
  const auto isContinuation = [](char byte) { return (byte & '\xC0') == '\x80'; };
  while (length < title.size() && length > 0 && isContinuation(title[length])) --length;
  std::string name(title.substr(0, length));
  for (char& character : name) {
    const auto code = static_cast<unsigned char>(character);
    if (code < 0x20 || code == 0x7F || character == '/') character = '_';
  }
  if (name.empty() || name == "." || name == "..") return std::string(kUnknownApplication);
  return name;
}

}  // namespace Veltro::Internal
