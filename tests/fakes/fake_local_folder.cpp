#include "fakes/fake_local_folder.h"

#include <utility>

#include "platform/platform_error.h"

namespace Veltro::Internal::Testing {
namespace {

constexpr std::string_view kTemporarySuffix = ".tmp";
constexpr const char* kFailure = "write: No space left on device";

void Overwrite(std::string& text, std::uint64_t offset, std::string_view bytes) {
  const auto start = static_cast<std::size_t>(offset);
  if (text.size() < start + bytes.size()) text.resize(start + bytes.size());
  text.replace(start, bytes.size(), bytes);
}

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
  void Sync() override { disk_->Sync(file_); }

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
    if (disk_->syncsReplacements_) disk_->Sync(file_);
    disk_->Rename(temporary_, name_);
    disk_->SyncNames();
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

class FakeLockFile : public LockFile {
 public:
  FakeLockFile(std::shared_ptr<FakeDisk> disk, std::string name)
      : disk_(std::move(disk)), name_(std::move(name)) {}

  ~FakeLockFile() override {
    const std::lock_guard lock(disk_->mutex_);
    std::erase_if(Locks().holders, [this](const auto& entry) { return entry.second == this; });
    disk_->unlocked_.notify_all();
  }

  void Lock(int number) override {
    std::unique_lock lock(disk_->mutex_);
    disk_->unlocked_.wait(lock, [&] { return Take(number); });
  }
  bool TryLock(int number) override {
    const std::lock_guard lock(disk_->mutex_);
    return Take(number);
  }
  void Unlock(int number) override {
    const std::lock_guard lock(disk_->mutex_);
    const auto found = Locks().holders.find(number);
    if (found != Locks().holders.end() && found->second == this) Locks().holders.erase(found);
    disk_->unlocked_.notify_all();
  }
  bool IsInPlace() override { return true; }
  std::uint32_t Process() override {
    return static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(this) >> 4);
  }
  Note ReadNote() override {
    const std::lock_guard lock(disk_->mutex_);
    return Locks().note;
  }
  void WriteNote(const Note& note) override {
    const std::lock_guard lock(disk_->mutex_);
    Locks().note = note;
  }

 private:
  FakeDisk::Locks& Locks() { return disk_->locks_[name_]; }
  bool Take(int number) { return Locks().holders.emplace(number, this).first->second == this; }

  std::shared_ptr<FakeDisk> disk_;
  std::string name_;
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

std::shared_ptr<FakeDisk> FakeDisk::AfterPowerLoss(std::size_t changes, PowerLoss loss) {
  using Kind = Change::Kind;
  std::lock_guard lock(mutex_);
  std::map<File, std::string> written;
  std::map<File, std::string> synced;
  std::map<std::string, File> names;
  std::map<std::string, File> syncedNames;
  for (std::size_t i = 0; i < changes; ++i) {
    const auto& [kind, file, name, offset, bytes] = changes_[i];
    const bool isCut = loss == PowerLoss::CutsLastWrite && i + 1 == changes;
    if (kind == Kind::Create) names[name] = file;
    if (kind == Kind::Write) {
      Overwrite(written[file], offset, bytes.substr(0, isCut ? bytes.size() / 2 : bytes.npos));
    }
    if (kind == Kind::Sync) synced[file] = written[file];
    if (kind == Kind::Rename || kind == Kind::Remove) {
      names.erase(name + std::string(kTemporarySuffix));
      names.erase(name);
    }
    if (kind == Kind::Rename) names[name] = file;
    if (kind == Kind::SyncNames) syncedNames = names;
  }
  const bool dropsData = loss == PowerLoss::DropsData || loss == PowerLoss::DropsDataAndNames;
  auto disk = std::make_shared<FakeDisk>();
  for (const auto& [name, file] : loss == PowerLoss::DropsDataAndNames ? syncedNames : names) {
    disk->Put(name, (dropsData ? synced : written)[file]);
  }
  return disk;
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
    Overwrite(*file, offset, bytes);
    Record({Change::Kind::Write, file, "", offset, std::string(bytes)});
    counts_.bytesWritten += bytes.size();
  }
  if (fails) throw PlatformError(kFailure);
}

void FakeDisk::Sync(const File& file) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  Record({Change::Kind::Sync, file, "", 0, ""});
}

void FakeDisk::SyncNames() {
  std::lock_guard lock(mutex_);
  Record({Change::Kind::SyncNames, nullptr, "", 0, ""});
}

FakeDisk::File FakeDisk::OpenFile(std::string_view name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  return Find(name);
}

FakeDisk::File FakeDisk::CreateTemporary(const std::string& name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  File& file = files_[name] = std::make_shared<std::string>();
  Record({Change::Kind::Create, file, name, 0, ""});
  return file;
}

void FakeDisk::Rename(const std::string& from, const std::string& to) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  files_[to] = std::move(files_[from]);
  files_.erase(from);
  ++counts_.replaces;
  Record({Change::Kind::Rename, files_[to], to, 0, ""});
}

void FakeDisk::Remove(std::string_view name) {
  std::lock_guard lock(mutex_);
  CountOrFail();
  files_.erase(std::string(name) + std::string(kTemporarySuffix));
  files_.erase(std::string(name));
  Record({Change::Kind::Remove, nullptr, std::string(name), 0, ""});
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

void FakeDisk::Record(Change change) {
  if (isRecording_) changes_.push_back(std::move(change));
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

void FakeLocalFolder::Remove(std::string_view name) {
  RequirePlainName(name);
  disk_->Remove(name);
}

std::unique_ptr<LockFile> FakeLocalFolder::OpenLockFile(std::string_view name) {
  RequirePlainName(name);
  return std::make_unique<FakeLockFile>(disk_, std::string(name));
}

}  // namespace Veltro::Internal::Testing
