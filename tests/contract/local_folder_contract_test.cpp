#include <gtest/gtest.h>

#include <memory>

#include "fakes/fake_local_folder.h"
#include "platform/linux/local_folder_linux.h"
#include "platform/platform_error.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

struct FakeSubject {
  std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
  FakeLocalFolder folder{disk};
  bool HasTemporaryFiles() { return !disk->TemporaryFiles().empty(); }
};

struct LinuxSubject {
  TemporaryFolder temporary;
  std::filesystem::path path = temporary.Path() / "deep" / "data";
  LocalFolderLinux folder{std::make_shared<DataFolder>(path, [] { return std::string(); })};

  bool HasTemporaryFiles() {
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
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

TYPED_TEST(LocalFolderContract, LeftOverTemporaryFileIsReplaced) {
  this->Put("a.tmp", "left over by a crash, and longer");
  this->Put("a", "new");
  EXPECT_EQ(this->folder.Read("a"), "new");
  EXPECT_FALSE(this->subject.HasTemporaryFiles());
}

TYPED_TEST(LocalFolderContract, ReadsByPosition) {
  const auto file = this->Put("a", "0123456789");
  EXPECT_EQ(file->Read(0, 4), "0123");
  EXPECT_EQ(file->Read(7, 100), "789");
  EXPECT_EQ(file->Read(10, 1), "");
  EXPECT_EQ(file->Read(1'000'000, 1), "");
  EXPECT_EQ(file->Read(3, 0), "");
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

TEST(FakeLocalFolderTest, FailsAtTheOperationAskedFor) {
  struct {
    const char* name;
    int operation;
    FakeDisk::Repeat repeat;
    bool shortWrites;
    const char* contents;  // after two writes of 4 bytes, the second of them where it works
  } const rows[] = {
      {"first, once", 1, FakeDisk::Repeat::Once, false, "....5678"},
      {"first, for good", 1, FakeDisk::Repeat::ForGood, false, "........"},
      {"second, short", 2, FakeDisk::Repeat::Once, true, "123456.."},
      {"third", 3, FakeDisk::Repeat::Once, false, "12345678"},
  };
  for (const auto& row : rows) {
    FakeLocalFolder folder;
    folder.Disk().Put("a", "........");
    const auto file = folder.Open("a");
    folder.Disk().FailAtOperation(row.operation, row.repeat, "write a: full");
    folder.Disk().SetShortWrites(row.shortWrites);
    for (const auto& [offset, bytes] : {std::pair{0U, "1234"}, {4U, "5678"}}) {
      try {
        file->Write(offset, bytes);
      } catch (const PlatformError& error) {
        EXPECT_STREQ(error.what(), "write a: full");
      }
    }
    EXPECT_EQ(folder.Disk().Contents("a"), row.contents) << row.name;
    EXPECT_EQ(folder.Disk().HasFailed(), row.operation < 3) << row.name;
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
