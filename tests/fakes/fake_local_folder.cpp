#include "fakes/fake_local_folder.h"

#include <utility>

#include "platform/platform_error.h"

namespace Veltro::Internal::Testing {
namespace {

constexpr std::string_view kTemporarySuffix = ".tmp";
constexpr const char* kFailure = "write: No space left on device";

void RequirePlainName(std::string_view name) {
  if (name.empty() || name.find('/') != std::string_view::npos) {
    throw PlatformError("open " + std::string(name) + ": Invalid argument");
  }
}

}  // namespace

class FakeLocalFile : public LocalFile {
 public:
  FakeLocalFile(std::shared_ptr<FakeDisk> disk, FakeDisk::File file)
      : disk_(std::move(disk)), file_(std::move(file)) {}

  std::string Read(std::uint64_t offset, std::size_t length) override {
    return disk_->ReadFrom(file_, offset, length);
  }
  void Write(std::uint64_t offset, std::string_view bytes) override {
    disk_->WriteTo(file_, offset, bytes);
  }
  void Sync() override { disk_->Sync(); }

 private:
  std::shared_ptr<FakeDisk> disk_;
  FakeDisk::File file_;
};

class FakeReplacement : public FileReplacement {
 public:
  FakeReplacement(std::shared_ptr<FakeDisk> disk, std::string name)
      : disk_(std::move(disk)),
        name_(std::move(name)),
        temporary_(name_ + std::string(kTemporarySuffix)),
        file_(disk_->CreateTemporary(temporary_)) {}

  ~FakeReplacement() override {
    if (!committed_) disk_->Erase(temporary_);
  }

  void Append(std::string_view bytes) override {
    disk_->WriteTo(file_, size_, bytes);
    size_ += bytes.size();
  }

  std::unique_ptr<LocalFile> Commit() override {
    disk_->Sync();
    disk_->Rename(temporary_, name_);
    committed_ = true;
    return std::make_unique<FakeLocalFile>(disk_, file_);
  }

 private:
  std::shared_ptr<FakeDisk> disk_;
  std::string name_;
  std::string temporary_;
  FakeDisk::File file_;
  std::uint64_t size_ = 0;
  bool committed_ = false;
};

std::optional<std::string> FakeDisk::Contents(std::string_view name) {
  std::lock_guard lock(mutex_);
  const File file = Find(name);
  return file ? std::optional(*file) : std::nullopt;
}

std::vector<std::string> FakeDisk::TemporaryFiles() {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [name, file] : files_) {
    if (name.ends_with(kTemporarySuffix)) names.push_back(name);
  }
  return names;
}

void FakeDisk::FailAtOperation(int n, Repeat repeat) {
  std::lock_guard lock(mutex_);
  failAfter_ = n;
  repeat_ = repeat;
  failing_ = false;
}

std::optional<std::string> FakeDisk::ReadWhole(std::string_view name) {
  std::lock_guard lock(mutex_);
  ++counts_.reads;
  CountOrFail();
  const File file = Find(name);
  return file ? std::optional(*file) : std::nullopt;
}

std::string FakeDisk::ReadFrom(const File& file, std::uint64_t offset, std::size_t length) {
  std::lock_guard lock(mutex_);
  ++counts_.reads;
  CountOrFail();
  if (offset >= file->size()) return {};
  return file->substr(static_cast<std::size_t>(offset), length);
}

void FakeDisk::WriteTo(const File& file, std::uint64_t offset, std::string_view bytes) {
  std::lock_guard lock(mutex_);
  ++counts_.writes;
  const bool fails = CountAndTestFailure();
  if (fails) bytes = bytes.substr(0, shortWrites_ ? bytes.size() / 2 : 0);
  if (!bytes.empty()) {
    const auto start = static_cast<std::size_t>(offset);
    if (file->size() < start + bytes.size()) file->resize(start + bytes.size());
    file->replace(start, bytes.size(), bytes);
    counts_.bytesWritten += bytes.size();
  }
  if (fails) throw PlatformError(kFailure);
}

void FakeDisk::Sync() {
  std::lock_guard lock(mutex_);
  CountOrFail();
}

FakeDisk::File FakeDisk::OpenFile(std::string_view name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  return Find(name);
}

FakeDisk::File FakeDisk::CreateTemporary(const std::string& name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  return files_[name] = std::make_shared<std::string>();
}

void FakeDisk::Rename(const std::string& from, const std::string& to) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  files_[to] = std::move(files_[from]);
  files_.erase(from);
  ++counts_.replaces;
}

FakeDisk::File FakeDisk::Find(std::string_view name) {
  const auto found = files_.find(name);
  return found == files_.end() ? nullptr : found->second;
}

bool FakeDisk::CountAndTestFailure() {
  ++counts_.operations;
  if (failAfter_ == 0 || --failAfter_ > 0) return failing_;
  failing_ = repeat_ == Repeat::ForGood;
  return true;
}

void FakeDisk::CountOrFail() {
  if (CountAndTestFailure()) throw PlatformError(kFailure);
}

std::optional<std::string> FakeLocalFolder::Read(std::string_view name) {
  RequirePlainName(name);
  return disk_->ReadWhole(name);
}

std::unique_ptr<LocalFile> FakeLocalFolder::Open(std::string_view name) {
  RequirePlainName(name);
  FakeDisk::File file = disk_->OpenFile(name);
  if (!file) return nullptr;
  return std::make_unique<FakeLocalFile>(disk_, std::move(file));
}

std::unique_ptr<FileReplacement> FakeLocalFolder::Replace(std::string_view name) {
  RequirePlainName(name);
  return std::make_unique<FakeReplacement>(disk_, std::string(name));
}

}  // namespace Veltro::Internal::Testing
