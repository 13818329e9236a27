#include <gtest/gtest.h>

#include <fstream>

#include "platform/linux/package_linux.h"
#include "platform/platform_error.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

using Version = std::array<std::uint16_t, 4>;

TEST(PackageLinuxTest, ReadsItsFiles) {
  const TemporaryFolder folder;
  PackageLinux package(folder.Path(), "", "");
  EXPECT_EQ(package.ReadFile("a.json"), std::nullopt);
  std::ofstream(folder.Path() / "a.json") << std::string("a\0b", 3);
  EXPECT_EQ(package.ReadFile("a.json"), std::string("a\0b", 3));
  EXPECT_EQ(package.ReadFile("a.json/b"), std::nullopt);
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

}  // namespace
}  // namespace Veltro::Internal::Testing
