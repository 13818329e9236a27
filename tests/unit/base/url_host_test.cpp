#include "base/url_host.h"

#include <gtest/gtest.h>

#include <string>

#include "base/url_escape.h"

namespace Veltro::Internal {
namespace {

TEST(UrlHost, FindsWhatNamesTheServer) {
  const std::pair<std::string_view, std::string_view> rows[] = {
      {"http://a.example/b?c", "a.example"},
      {"http://a.example:80?b", "a.example:80"},
      {"http://a@b#c", "a@b"},
      {"http://", ""},
      {"a.example/b", ""},
  };
  for (const auto& [url, authority] : rows) EXPECT_EQ(UrlAuthority(url), authority) << url;
}

TEST(UrlHost, TakesPlainHostsOnly) {
  const std::string label(63, 'a');
  const std::string longest = label + "." + label + "." + label + "." + std::string(61, 'a');
  for (const std::string& host :
       {std::string("localhost"), std::string("a-b_c.example:8900"), std::string("127.0.0.1:1"),
        std::string("[::1]"), std::string("[fe80::1]:65535"), longest}) {
    EXPECT_TRUE(IsHostAndPort(host)) << host;
  }
  for (const std::string& other : {std::string(),          std::string("a..b"),
                                   std::string(".a"),      std::string("a."),
                                   std::string("a b"),     std::string("a/b"),
                                   std::string("user@a"),  std::string("a%2eb"),
                                   std::string("a\\b"),    std::string("\u00E4.example"),
                                   std::string("a:"),      std::string("a:0"),
                                   std::string("a:65536"), std::string("a:+1"),
                                   std::string("a:1:2"),   std::string("[a]"),
                                   std::string("[::1"),    std::string("::1"),
                                   std::string("[::1]x"),  label + "a",
                                   longest + "a"}) {
    EXPECT_FALSE(IsHostAndPort(other)) << other;
  }
}

TEST(UrlEscape, EncodesOnlyWhatMayNotStandInAUrl) {
  EXPECT_EQ(EscapeUrlIllegal("http://a/%41?b=c|d e&f=\u00E4\"\x7F#~"),
            "http://a/%41?b=c%7Cd%20e&f=%C3%A4%22%7F#~");
}

}  // namespace
}  // namespace Veltro::Internal
