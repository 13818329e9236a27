#include "fakes/fake_local_folder.h"

#include <algorithm>
#include <utility>

#include "platform/platform_error.h"

namespace Veltro::Internal::Testing {
namespace {

constexpr std::string_view kTemporarySuffix = ".tmp";

void RequirePlainName(std::string_view name) {
  if (name.empty() || name.find('/') != std::string_view::npos) {
    throw PlatformError("open " + std::string(name) + ": Invalid argument");
  }
}

}  // namespace

class FakeLocalFile : public LocalFile {
 public:
  FakeLocalFile(std::shared_ptr<FakeDisk> disk, FakeDisk::InodePointer inode, std::string name)
      : disk_(std::move(disk)), inode_(std::move(inode)), name_(std::move(name)) {}

  std::string Read(std::uint64_t offset, std::size_t length) override {
    return disk_->ReadFrom(inode_, name_, offset, length);
  }
  void Write(std::uint64_t offset, std::string_view bytes) override {
    disk_->WriteTo(inode_, name_, offset, bytes);
  }
  void Sync() override { disk_->SyncFile(inode_, name_); }

 private:
  std::shared_ptr<FakeDisk> disk_;
  FakeDisk::InodePointer inode_;
  std::string name_;
};

class FakeReplacement : public FileReplacement {
 public:
  FakeReplacement(std::shared_ptr<FakeDisk> disk, std::string name)
      : disk_(std::move(disk)),
        name_(std::move(name)),
        temporary_(name_ + std::string(kTemporarySuffix)),
        inode_(disk_->CreateTemporary(temporary_)) {}

  ~FakeReplacement() override {
    if (!committed_) disk_->DropTemporary(temporary_);
  }

  void Append(std::string_view bytes) override {
    disk_->WriteTo(inode_, temporary_, size_, bytes);
    size_ += bytes.size();
  }

  std::unique_ptr<LocalFile> Commit() override {
    disk_->SyncFile(inode_, temporary_);
    disk_->Rename(inode_, temporary_, name_);
    committed_ = true;
    return std::make_unique<FakeLocalFile>(disk_, inode_, name_);
  }

 private:
  std::shared_ptr<FakeDisk> disk_;
  std::string name_;
  std::string temporary_;
  FakeDisk::InodePointer inode_;
  std::uint64_t size_ = 0;
  bool committed_ = false;
};

std::optional<std::string> FakeDisk::Contents(std::string_view name) {
  std::lock_guard lock(mutex_);
  const InodePointer inode = Find(std::string(name));
  return inode ? std::optional(inode->bytes) : std::nullopt;
}

void FakeDisk::Put(std::string_view name, std::string bytes) {
  std::lock_guard lock(mutex_);
  InodePointer inode = NewInode();
  inode->bytes = std::move(bytes);
  files_[std::string(name)] = std::move(inode);
}

void FakeDisk::Erase(std::string_view name) {
  std::lock_guard lock(mutex_);
  files_.erase(std::string(name));
}

std::vector<std::string> FakeDisk::Names() {
  std::lock_guard lock(mutex_);
  std::vector<std::string> names;
  for (const auto& [name, inode] : files_) names.push_back(name);
  return names;
}

std::vector<std::string> FakeDisk::TemporaryFiles() {
  std::vector<std::string> names = Names();
  std::erase_if(names, [](const std::string& name) { return !name.ends_with(kTemporarySuffix); });
  return names;
}

void FakeDisk::FailAtOperation(int n, Repeat repeat, std::string message) {
  std::lock_guard lock(mutex_);
  failAfter_ = n;
  repeat_ = repeat;
  failing_ = false;
  failed_ = false;
  message_ = std::move(message);
}

void FakeDisk::SetShortWrites(bool enabled) {
  std::lock_guard lock(mutex_);
  shortWrites_ = enabled;
}

void FakeDisk::Heal() {
  std::lock_guard lock(mutex_);
  failAfter_ = 0;
  failing_ = false;
  shortWrites_ = false;
}

bool FakeDisk::HasFailed() {
  std::lock_guard lock(mutex_);
  return failed_;
}

FakeDisk::Counts FakeDisk::GetCounts() {
  std::lock_guard lock(mutex_);
  return counts_;
}

std::vector<FakeDisk::Operation> FakeDisk::Operations() {
  std::lock_guard lock(mutex_);
  return operations_;
}

void FakeDisk::ResetCounts() {
  std::lock_guard lock(mutex_);
  counts_ = {};
  operations_.clear();
}

std::string FakeDisk::ReadFrom(const InodePointer& inode, const std::string& name,
                               std::uint64_t offset, std::size_t length) {
  std::lock_guard lock(mutex_);
  ++counts_.reads;
  CountOrFail();
  operations_.push_back({Kind::Read, name, inode->id, offset, {}});
  if (offset >= inode->bytes.size()) return {};
  return inode->bytes.substr(static_cast<std::size_t>(offset), length);
}

std::optional<std::string> FakeDisk::ReadWhole(const std::string& name) {
  std::lock_guard lock(mutex_);
  ++counts_.reads;
  CountOrFail();
  const InodePointer inode = Find(name);
  operations_.push_back({Kind::Read, name, inode ? inode->id : 0, 0, {}});
  return inode ? std::optional(inode->bytes) : std::nullopt;
}

FakeDisk::InodePointer FakeDisk::OpenFile(const std::string& name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  InodePointer inode = Find(name);
  operations_.push_back({Kind::Open, name, inode ? inode->id : 0, 0, {}});
  return inode;
}

FakeDisk::InodePointer FakeDisk::CreateTemporary(const std::string& name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  InodePointer inode = NewInode();
  files_[name] = inode;
  operations_.push_back({Kind::Create, name, inode->id, 0, {}});
  return inode;
}

void FakeDisk::WriteTo(const InodePointer& inode, const std::string& name, std::uint64_t offset,
                       std::string_view bytes) {
  std::lock_guard lock(mutex_);
  ++counts_.writes;
  const bool fails = CountAndTestFailure();
  if (fails) bytes = bytes.substr(0, shortWrites_ ? bytes.size() / 2 : 0);
  if (!bytes.empty()) {
    const auto start = static_cast<std::size_t>(offset);
    if (inode->bytes.size() < start + bytes.size()) inode->bytes.resize(start + bytes.size());
    inode->bytes.replace(start, bytes.size(), bytes);
    counts_.bytesWritten += bytes.size();
    operations_.push_back({Kind::Write, name, inode->id, offset, std::string(bytes)});
  }
  if (fails) throw PlatformError(message_);
}

void FakeDisk::SyncFile(const InodePointer& inode, const std::string& name) {
  std::lock_guard lock(mutex_);
  ++counts_.syncs;
  CountOrFail();
  operations_.push_back({Kind::Sync, name, inode->id, 0, {}});
}

void FakeDisk::Rename(const InodePointer& inode, const std::string& from, const std::string& to) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  files_.erase(from);
  files_[to] = inode;
  ++counts_.replaces;
  operations_.push_back({Kind::Rename, to, inode->id, 0, {}});
}

void FakeDisk::DropTemporary(const std::string& name) {
  std::lock_guard lock(mutex_);
  files_.erase(name);
}

FakeDisk::InodePointer FakeDisk::Find(const std::string& name) {
  const auto found = files_.find(name);
  return found == files_.end() ? nullptr : found->second;
}

FakeDisk::InodePointer FakeDisk::NewInode() {
  auto inode = std::make_shared<Inode>();
  inode->id = ++lastInode_;
  return inode;
}

bool FakeDisk::CountAndTestFailure() {
  ++counts_.operations;
  if (failAfter_ > 0 && --failAfter_ == 0) {
    failed_ = true;
    failing_ = repeat_ == Repeat::ForGood;
    return true;
  }
  return failing_;
}

void FakeDisk::CountOrFail() {
  if (CountAndTestFailure()) throw PlatformError(message_);
}

std::optional<std::string> FakeLocalFolder::Read(std::string_view name) {
  RequirePlainName(name);
  return disk_->ReadWhole(std::string(name));
}

std::unique_ptr<LocalFile> FakeLocalFolder::Open(std::string_view name) {
  RequirePlainName(name);
  FakeDisk::InodePointer inode = disk_->OpenFile(std::string(name));
  if (!inode) return nullptr;
  return std::make_unique<FakeLocalFile>(disk_, std::move(inode), std::string(name));
}

std::unique_ptr<FileReplacement> FakeLocalFolder::Replace(std::string_view name) {
  RequirePlainName(name);
  return std::make_unique<FakeReplacement>(disk_, std::string(name));
}

}  // namespace Veltro::Internal::Testing
