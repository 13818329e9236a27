#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <thread>

#include "fakes/fake_local_folder.h"
#include "platform/linux/local_folder_linux.h"
#include "platform/platform_error.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

struct FakeSubject {
  std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
  FakeLocalFolder folder{disk};
  bool HasTemporaryFiles() { return !disk->TemporaryFiles().empty(); }
};

struct LinuxSubject {
  TemporaryFolder temporary;
  fs::path path = temporary.Path() / "deep" / "data";
  LocalFolderLinux folder{std::make_shared<DataFolder>(path, [] { return std::string(); })};

  bool HasTemporaryFiles() {
    for (const auto& entry : fs::directory_iterator(path)) {
      if (entry.path().extension() == ".tmp") return true;
    }
    return false;
  }
};

template <class Subject>
class LocalFolderContract : public testing::Test {
 protected:
  std::unique_ptr<LocalFile> Put(std::string_view name, std::string_view bytes) {
    const auto replacement = folder.Replace(name);
    replacement->Append(bytes);
    return replacement->Commit();
  }

  Subject subject;
  LocalFolder& folder = subject.folder;
};

using Subjects = testing::Types<FakeSubject, LinuxSubject>;
TYPED_TEST_SUITE(LocalFolderContract, Subjects);

TYPED_TEST(LocalFolderContract, LocksHoldOffOtherOpenersUntilTheyAreFreed) {
  using Note = LockFile::Note;
  const auto ours = this->folder.OpenLockFile("lock");
  auto theirs = this->folder.OpenLockFile("lock");
  EXPECT_TRUE(ours->IsInPlace());
  EXPECT_TRUE(ours->TryLock(0));
  EXPECT_FALSE(theirs->TryLock(0));
  EXPECT_TRUE(theirs->TryLock(1));
  std::thread waiting([&] { theirs->Lock(0); });
  ours->Unlock(0);
  waiting.join();
  EXPECT_FALSE(ours->TryLock(0));
  EXPECT_EQ(ours->ReadNote(), Note{});
  theirs->WriteNote({7, 9});
  theirs.reset();
  EXPECT_TRUE(ours->TryLock(0));
  EXPECT_TRUE(ours->TryLock(1));
  EXPECT_EQ(ours->ReadNote(), (Note{7, 9}));
}

TYPED_TEST(LocalFolderContract, RemovesAFileAndWhatAReplacementLeft) {
  this->Put("a", "old");
  const auto unfinished = this->folder.Replace("a");
  unfinished->Append("new");
  this->folder.Remove("a");
  EXPECT_FALSE(this->folder.Read("a"));
  EXPECT_FALSE(this->subject.HasTemporaryFiles());
  this->folder.Remove("a");
}

TYPED_TEST(LocalFolderContract, MissingFilesAreNoError) {
  EXPECT_EQ(this->folder.Read("a"), std::nullopt);
  EXPECT_EQ(this->folder.Open("a"), nullptr);
  this->Put("b", "");
  EXPECT_EQ(this->folder.Read("a"), std::nullopt);
  EXPECT_EQ(this->folder.Read("b"), "");
}

TYPED_TEST(LocalFolderContract, ReplacementCollectsAnyBytes) {
  const std::string large(200'000, 'x');
  const std::string zeros("a\0b", 3);
  auto replacement = this->folder.Replace("a");
  for (const std::string& part : {zeros, large, std::string(), zeros}) replacement->Append(part);
  const auto file = replacement->Commit();
  replacement.reset();
  EXPECT_EQ(this->folder.Read("a"), zeros + large + zeros);
  EXPECT_EQ(file->Read(2, 3), "bxx");
  EXPECT_FALSE(this->subject.HasTemporaryFiles());
}

TYPED_TEST(LocalFolderContract, DroppedReplacementLeavesNothing) {
  this->Put("a", "old");
  this->folder.Replace("a")->Append(std::string(200'000, 'x'));
  EXPECT_EQ(this->folder.Read("a"), "old");
  EXPECT_FALSE(this->subject.HasTemporaryFiles());
}

TYPED_TEST(LocalFolderContract, WritesByPosition) {
  const auto file = this->Put("a", "0123456789");
  file->Write(3, "abc");
  file->Write(8, "xyz");
  file->Write(13, "!");
  file->Write(0, "");
  file->Sync();
  EXPECT_EQ(this->folder.Read("a"), std::string("012abc67xyz\0\0!", 14));
  EXPECT_EQ(this->folder.Open("a")->Read(3, 3), "abc");
  EXPECT_EQ(file->Read(13, 100), "!");
  EXPECT_EQ(file->Read(14, 1), "");
}

TYPED_TEST(LocalFolderContract, OpenFileStaysTheOldOneAfterAReplacement) {
  const auto old = this->Put("a", "old");
  this->Put("a", "new");
  old->Write(0, "OLD");
  EXPECT_EQ(this->folder.Read("a"), "new");
  EXPECT_EQ(old->Read(0, 3), "OLD");
}

TYPED_TEST(LocalFolderContract, NamesOutsideTheFolderAreRefused) {
  for (const char* name : {"", "../a", "/tmp/a", "a/b"}) {
    EXPECT_THROW(this->folder.Read(name), PlatformError) << name;
    EXPECT_THROW(this->folder.Open(name), PlatformError) << name;
    EXPECT_THROW(this->folder.Replace(name), PlatformError) << name;
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
