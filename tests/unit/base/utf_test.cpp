#include "base/utf.h"

#include <gtest/gtest.h>

#include "base/number_text.h"
#include "base/url_escape.h"

namespace Veltro::Internal {
namespace {

TEST(Utf, DecodesUtf8AndReplacesWhatIsNotWellFormed) {
  struct Row {
    const char* name;
    std::string_view utf8;
    std::u16string_view utf16;
  };
  const Row rows[] = {
      {"ASCII with NUL", std::string_view("a\0b", 3), std::u16string_view(u"a\0b", 3)},
      {"first and last of each length", "\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF",
       u"\u0080\u07FF\u0800\uFFFF"},
      {"first and last of four bytes", "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF", u"\U00010000\U0010FFFF"},
      {"overlong forms", "\xC0\xAF\xE0\x80\xAF", u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"an encoded surrogate", "\xED\xA0\x80", u"\uFFFD\uFFFD\uFFFD"},
      {"above the last code point", "\xF4\x90\x80\x80", u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {"cut short, then ASCII", "\xF0\x9F\x98x", u"\uFFFDx"},
      {"cut short at the end", "\xE2\x82", u"\uFFFD"},
      {"a stray tail byte", "\x80", u"\uFFFD"},
  };
  for (const Row& row : rows) EXPECT_EQ(ToUtf16(row.utf8), row.utf16) << row.name;
}

TEST(Utf, EncodesUtf16AndReplacesLoneSurrogates) {
  EXPECT_EQ(ToUtf8(u"a\u00E9\u20AC\U0001F600"), "a\u00E9\u20AC\U0001F600");
  const char16_t lone[] = {0xD83D, u'x', 0xDE00, 0xD83D, 0};
  EXPECT_EQ(ToUtf8(lone), "\uFFFDx\uFFFD\uFFFD");
}

TEST(UrlEscape, LeavesUnreservedCharactersAndEncodesEveryOtherByte) {
  std::string unchanged;
  for (char16_t c = 0; c < 0x80; ++c) {
    std::string escaped;
    AppendUrlEscaped(std::u16string_view(&c, 1), escaped);
    if (escaped.size() == 1) unchanged += escaped;
  }
  EXPECT_EQ(unchanged, "-.0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ_abcdefghijklmnopqrstuvwxyz~");
  std::string escaped;
  AppendUrlEscaped(u" +&=%/\n\u00FC\U0001F600", escaped);
  EXPECT_EQ(escaped, "%20%2B%26%3D%25%2F%0A%C3%BC%F0%9F%98%80");
}

TEST(NumberText, FixesTheDecimalsAndKeepsWithin32Bits) {
  EXPECT_EQ(FixedText(12.345, 2), u"12.35");  // the double lies just above
  EXPECT_EQ(FixedText(0.5, 0), u"0");
  EXPECT_EQ(FixedText(-1e300, 2).size(), 305U);
  EXPECT_EQ(DecimalText(INT64_MIN), u"-9223372036854775808");
  EXPECT_EQ(TruncateToInt32(3.9), 3);
  EXPECT_EQ(TruncateToInt32(-3.9), -3);
  EXPECT_EQ(TruncateToInt32(1e300), INT32_MAX);
  EXPECT_EQ(TruncateToInt32(-1e300), INT32_MIN);
  EXPECT_EQ(Lower32Bits(0x80000000LL), INT32_MIN);
}

}  // namespace
}  // namespace Veltro::Internal
