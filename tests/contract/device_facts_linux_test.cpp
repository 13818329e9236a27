#include "platform/linux/device_facts_linux.h"

#include <gtest/gtest.h>

#include "support/scoped_variable.h"

namespace Veltro::Internal::Testing {
namespace {

TEST(DeviceFactsLinuxTest, KernelReleaseBecomesA64BitVersion) {
  const std::pair<const char*, std::uint64_t> rows[] = {{"6.1.0-13-amd64", 0x0006'0001'0000'0000},
                                                        {"5.10", 0x0005'000A'0000'0000},
                                                        {"4.19+", 0x0004'0013'0000'0000},
                                                        {"7", 0x0007'0000'0000'0000},
                                                        {"7-rc1", 0x0007'0000'0000'0000},
                                                        {"", 0},
                                                        {"unknown", 0}};
  for (const auto& [release, version] : rows) EXPECT_EQ(FamilyVersionOf(release), version);
}

TEST(DeviceFactsLinuxTest, LocaleNamesBecomeLanguageTags) {
  const std::pair<const char*, const char*> rows[] = {{"de_DE.UTF-8@euro", "de-DE"},
                                                      {"fr_CA", "fr-CA"},
                                                      {"sr_RS@latin", "sr-RS"},
                                                      {"nl", "nl"},
                                                      {"ast_ES", "ast-ES"},
                                                      {"C", "en-US"},
                                                      {"C.UTF-8", "en-US"},
                                                      {"POSIX", "en-US"},
                                                      {"", "en-US"},
                                                      {".UTF-8", "en-US"},
                                                      {"german", "en-US"},
                                                      {"de_DE&x=1", "en-US"},
                                                      {"/usr/share/x", "en-US"}};
  for (const auto& [locale, tag] : rows) EXPECT_EQ(LanguageTagOf(locale), tag) << locale;
}

TEST(DeviceFactsLinuxTest, LanguageComesFromTheFirstVariableThatIsSet) {
  struct {
    const char *all, *messages, *lang;
    std::u16string tag;
  } const rows[] = {
      {"de_DE", "fr_FR", "it_IT", u"de-DE"}, {"", "fr_FR", "it_IT", u"fr-FR"},
      {nullptr, nullptr, "it_IT", u"it-IT"}, {"C", "fr_FR", "it_IT", u"en-US"},
      {nullptr, nullptr, nullptr, u"en-US"},
  };
  DeviceFactsLinux facts({});
  for (const auto& row : rows) {
    const ScopedVariable all("LC_ALL", row.all);
    const ScopedVariable messages("LC_MESSAGES", row.messages);
    const ScopedVariable lang("LANG", row.lang);
    EXPECT_EQ(facts.LanguageTag(), row.tag);
  }
}

TEST(DeviceFactsLinuxTest, LoopbackHostsAreAlwaysReachable) {
  DeviceFactsLinux facts({});
  for (const char* host :
       {"localhost", "LocalHost", "localhost.", "shop.localhost", "shop.LOCALHOST.", "127.0.0.1",
        "127.255.0.9", "::1", "[::1]", "0:0:0:0:0:0:0:1"}) {
    EXPECT_TRUE(IsLoopbackHost(host)) << host;
    EXPECT_TRUE(facts.IsNetworkReachable(host)) << host;
  }
  for (const char* host : {"", ".", "example.com", "notlocalhost", "localhost.example.com",
                           "128.0.0.1", "127.example.com", "::2", "[::1", "10.127.0.1"}) {
    EXPECT_FALSE(IsLoopbackHost(host)) << host;
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
