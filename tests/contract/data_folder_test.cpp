#include "platform/linux/data_folder.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/platform_error.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

std::string Shop() { return "Shop"; }
std::string NoTitle() { throw PlatformError("no manifest"); }

TEST(DataFolderTest, IsWhereTheFirstToTellSays) {
  struct {
    const char* name;
    const char* configured;
    const char* dataVariable;
    const char* xdg;
    std::string (*title)();
    const char* path;
  } const rows[] = {
      {"host", "/host", "/variable", "/xdg", Shop, "/host"},
      {"variable", "", "/variable", "/xdg", Shop, "/variable"},
      {"XDG", "", nullptr, "/xdg", Shop, "/xdg/Shop/veltro"},
      {"empty variables", "", "", "", Shop, "/home/me/.local/share/Shop/veltro"},
      {"relative XDG", "", nullptr, "xdg", Shop, "/home/me/.local/share/Shop/veltro"},
      {"no title", "", nullptr, nullptr, NoTitle, "/home/me/.local/share/Unknown/veltro"},
  };
  const ScopedVariable home("HOME", "/home/me");
  for (const auto& row : rows) {
    const ScopedVariable dataVariable("VELTRO_DATA_DIR", row.dataVariable);
    const ScopedVariable xdg("XDG_DATA_HOME", row.xdg);
    EXPECT_EQ(DataFolder(row.configured, row.title).Path(), row.path) << row.name;
  }
}

TEST(DataFolderTest, TitlesMakeOneSafeFolderName) {
  const std::string umlauts = [] {
    std::string text = "x";
    for (int i = 0; i < 200; ++i) text += "\xC3\xA4";
    return text;
  }();
  const std::pair<std::string, std::string> rows[] = {
      {"Shop 2", "Shop 2"},
      {"", "Unknown"},
      {".", "Unknown"},
      {"..", "Unknown"},
      {"...", "..."},
      {"../../etc", ".._.._etc"},
      {std::string("a\0b\nc\x7F", 6), "a_b_c_"},
      {umlauts, umlauts.substr(0, 255)},
      {"x" + umlauts, "x" + umlauts.substr(0, 253)}};
  for (const auto& [title, name] : rows) EXPECT_EQ(FolderNameOf(title), name) << title;
}

TEST(DataFolderTest, SharedFolderIsRefusedAndLeftAlone) {
  const TemporaryFolder temporary;
  chmod(temporary.Path().c_str(), 01777);
  DataFolder folder(temporary.Path(), Shop);
  EXPECT_THROW(folder.Create(), PlatformError);
  EXPECT_EQ(static_cast<unsigned>(fs::status(temporary.Path()).permissions()), 01777U);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
