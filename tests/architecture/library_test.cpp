#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace {

/// The most that the shared library may weigh: compiled by g++ for x86-64, as it is shipped.
constexpr std::int64_t kMaxStrippedBytes = 450'000;

/// The lines that a command prints.
std::vector<std::string> LinesOf(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  std::vector<std::string> lines;
  char line[4096];
  while (pipe && std::fgets(line, sizeof line, pipe.get())) {
    lines.emplace_back(line);
    if (!lines.back().empty() && lines.back().back() == '\n') lines.back().pop_back();
  }
  return lines;
}

bool StartsWithAny(const std::string& text, const std::vector<std::string>& beginnings) {
  for (const std::string& beginning : beginnings) {
    if (text.rfind(beginning, 0) == 0) return true;
  }
  return false;
}

TEST(SharedLibrary, ExportsItsOwnNamesOnly) {
  const auto symbols =
      LinesOf("nm -D --defined-only --demangle --format=just-symbols " VELTRO_LIBRARY);
  std::size_t own = 0;
  for (const std::string& symbol : symbols) {
    const bool isOwn = StartsWithAny(
        symbol, {"Veltro::Analytics::", "Veltro::AudienceManager::", "Veltro::Config::",
                 "Veltro::Host::", "Veltro::Media::", "Veltro::Target::", "Veltro::Value::",
                 "DllGetActivationFactory@@", "DllCanUnloadNow@@"});
    own += isOwn ? 1 : 0;
    EXPECT_TRUE(isOwn || symbol == "VELTRO_4@@VELTRO_4" || symbol == "VELTRO_4") << symbol;
  }
  EXPECT_GE(own, 15U);
}

TEST(SharedLibrary, IsSmall) {
  if (!VELTRO_HAS_SIZE_BOUND) GTEST_SKIP() << "not compiled as it is shipped";
  const std::string stripped = testing::TempDir() + "veltro_stripped.so";
  const auto sizes = LinesOf("strip -o '" + stripped + "' " VELTRO_LIBRARY " && stat -c %s '" +
                             stripped + "' && rm '" + stripped + "'");
  ASSERT_EQ(sizes.size(), 1U);
  EXPECT_LE(std::stoll(sizes[0]), kMaxStrippedBytes);
}

TEST(SharedLibrary, RunsNothingBeforeMainOrInStaticDestruction) {
  if (VELTRO_SANITIZE[0] != '\0') GTEST_SKIP() << "sanitizers bring static constructors";
  for (const std::string& symbol : LinesOf("nm --demangle " VELTRO_ARCHIVE)) {
    EXPECT_EQ(symbol.find("_GLOBAL__sub_I"), symbol.npos) << symbol;
    EXPECT_EQ(symbol.find("__cxa_atexit"), symbol.npos) << symbol;
  }
}

}  // namespace
