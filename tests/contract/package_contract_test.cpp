#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "fakes/fake_package.h"
#include "platform/linux/package_linux.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

using Version = std::array<std::uint16_t, 4>;

struct FakeSubject {
  FakePackage package;
  void Put(const std::string& name, const std::string& bytes) { package.files[name] = bytes; }
  void Name(const std::string&) { package.title = u"Shop"; }
  void Unname() { package.titleFails = true; }
};

struct LinuxSubject {
  TemporaryFolder folder;
  PackageLinux package{folder.Path(), "", ""};
  void Put(const std::string& name, const std::string& bytes) {
    std::ofstream(folder.Path() / name) << bytes;
  }
  void Name(const std::string& title) {
    Put("AppxManifest.xml", "<Package><DisplayName>" + title + "</DisplayName></Package>");
  }
  void Unname() {}
};

template <class Subject>
class PackageContract : public testing::Test {
 protected:
  Subject subject;
  Package& package = subject.package;
};

using Subjects = testing::Types<FakeSubject, LinuxSubject>;
TYPED_TEST_SUITE(PackageContract, Subjects);

TYPED_TEST(PackageContract, ReadsItsFiles) {
  EXPECT_EQ(this->package.ReadFile("a.json"), std::nullopt);
  this->subject.Put("a.json", std::string("a\0b", 3));
  EXPECT_EQ(this->package.ReadFile("a.json"), std::string("a\0b", 3));
  EXPECT_EQ(this->package.ReadFile("a.json/b"), std::nullopt);
}

TYPED_TEST(PackageContract, TitleIsToldOrThrows) {
  this->subject.Name("Shop");
  EXPECT_EQ(this->package.Title(), u"Shop");
}

TYPED_TEST(PackageContract, NoTitleThrows) {
  this->subject.Unname();
  EXPECT_THROW(this->package.Title(), PlatformError);
}

TEST(PackageLinuxTest, TakesTitleAndVersionFromTheManifest) {
  struct {
    const char* name;
    std::string manifest;
    std::u16string title;  // empty: throws
    Version version;
  } const rows[] = {
      {"plain",
       "<?xml version='1.0'?><Package xmlns='x'><Identity Name='n' Version='1.2.3.65535'/>"
       "<Properties><DisplayName>Sh\xC3\xB6p &amp; Co</DisplayName></Properties></Package>",
       u"Sh\u00F6p & Co",
       {1, 2, 3, 65535}},
      {"prefixes, first of two",
       "<a:Package xmlns:a='x'><b:Identity Version='4.3.2.1'/><c:DisplayName>One</c:DisplayName>"
       "<DisplayName>Two</DisplayName></a:Package>",
       u"One",
       {4, 3, 2, 1}},
      {"byte order mark", "\xEF\xBB\xBF<P><DisplayName>Shop</DisplayName></P>", u"Shop", {}},
      {"no name", "<Package><Identity Version='1.2.3.4'/></Package>", u"", {1, 2, 3, 4}},
      {"empty name", "<Package><DisplayName/></Package>", u"", {}},
      {"not XML", "{}", u"", {}},
      {"cut off", "<Package><DisplayName>Shop</Disp", u"", {}},
      {"empty", "", u"", {}},
  };
  for (const auto& row : rows) {
    const TemporaryFolder folder;
    std::ofstream(folder.Path() / "AppxManifest.xml") << row.manifest;
    PackageLinux package(folder.Path(), "", "");
    EXPECT_EQ(package.Version(), row.version) << row.name;
    if (row.title.empty()) {
      EXPECT_THROW(package.Title(), PlatformError) << row.name;
    } else {
      EXPECT_EQ(package.Title(), row.title) << row.name;
    }
  }
}

TEST(PackageLinuxTest, VersionsAreFourNumbersOrNone) {
  EXPECT_EQ(ParseVersion("0.10.65535.7"), (Version{0, 10, 65535, 7}));
  for (const char* text : {"", "1", "1.2.3", "1.2.3.4.5", "1.2.3.", "1..3.4", "1.2.3.65536",
                           "1.2.3.-4", "1.2.3.4 ", "+1.2.3.4", "1,2,3,4", "a.b.c.d"}) {
    EXPECT_EQ(ParseVersion(text), Version{}) << text;
  }
}

TEST(PackageLinuxTest, WhatTheHostTellsWinsPartByPart) {
  const TemporaryFolder folder;
  std::ofstream(folder.Path() / "AppxManifest.xml")
      << "<P><Identity Version='1.2.3.4'/><DisplayName>Manifest</DisplayName></P>";
  PackageLinux titled(folder.Path(), "Host", "");
  EXPECT_EQ(titled.Title(), u"Host");
  EXPECT_EQ(titled.Version(), (Version{1, 2, 3, 4}));
  PackageLinux versioned(folder.Path(), "", "9.8.7.6");
  EXPECT_EQ(versioned.Title(), u"Manifest");
  EXPECT_EQ(versioned.Version(), (Version{9, 8, 7, 6}));
}

TEST(PackageLinuxTest, FolderComesFromTheEnvironmentElseFromTheProgram) {
  const TemporaryFolder folder;
  std::ofstream(folder.Path() / "a.json") << "bytes";
  PackageLinux package("", "", "");
  {
    const ScopedVariable variable("VELTRO_PACKAGE_DIR", folder.Path().c_str());
    EXPECT_EQ(package.ReadFile("a.json"), "bytes");
  }
  const ScopedVariable variable("VELTRO_PACKAGE_DIR", nullptr);
  const auto program = std::filesystem::read_symlink("/proc/self/exe").filename();
  EXPECT_TRUE(package.ReadFile(program.native()).has_value());
}

TEST(PackageLinuxTest, FilesThatCannotBeReadThrowWithoutBlocking) {
  const TemporaryFolder folder;
  ASSERT_EQ(mkfifo((folder.Path() / "AppxManifest.xml").c_str(), 0600), 0);
  PackageLinux package(folder.Path(), "", "");
  EXPECT_THROW(package.ReadFile("AppxManifest.xml"), PlatformError);
  EXPECT_THROW(package.ReadFile("."), PlatformError);
  EXPECT_THROW(package.Title(), PlatformError);
  EXPECT_EQ(package.Version(), Version{});
}

}  // namespace
}  // namespace Veltro::Internal::Testing
