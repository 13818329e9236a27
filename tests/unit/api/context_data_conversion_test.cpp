#include "api/context_data_conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "base/utf.h"
#include "core/context_data.h"

namespace Veltro::Internal {
namespace {

TEST(ContextDataConversion, WritesEveryKindOfValue) {
  using F = std::numeric_limits<float>;
  using D = std::numeric_limits<double>;
  struct Row {
    const char* type;
    Value value;
    const char16_t* text;  // null: left out
  };
  const Row rows[] = {
      {"Platform.String", "\u00FC\n", u"\u00FC\n"},
      {"Platform.String", std::string("a\0b", 1), u"a"},
      {"Platform.String", std::string_view(""), u""},
      {"Boolean", true, u"true"},
      {"Boolean", false, u"false"},
      {"Int16", std::int16_t{-5}, u"-5"},
      {"UInt16", std::uint16_t{65535}, u"65535"},
      {"Int32", 42, u"42"},
      {"UInt32", 42U, u"42"},
      {"Int64", std::numeric_limits<long long>::min(), u"-9223372036854775808"},
      {"UInt64", std::numeric_limits<std::uint64_t>::max(), u"18446744073709551615"},
      {"Single", 0.1F, u"0.1"},
      {"Single", F::infinity(), u"inf"},
      {"Double", 0.1, u"0.1"},
      {"Double", 3.0, u"3"},
      {"Double", 1e21, u"1e+21"},
      {"Double", -D::infinity(), u"-inf"},
      {"Double", std::copysign(D::quiet_NaN(), -1.0), u"nan"},
      {"", nullptr, nullptr},
      {"", static_cast<const char*>(nullptr), nullptr},
      {"Int8", std::int8_t{1}, nullptr},
      {"UInt8", std::uint8_t{1}, nullptr},
      {"Char16", u'c', nullptr},
      {"DateTime", DateTime{}, nullptr},
      {"Guid", Veltro::Guid{}, nullptr},
  };
  for (const Row& row : rows) {
    EXPECT_STREQ(row.value.TypeName(), row.type);
    EXPECT_EQ(row.text != nullptr, IsSupportedContextDataType(ToUtf16(row.type))) << row.type;
    const StringMap converted = ContextDataCopy({{"k", row.value}}).Convert();
    const StringMap expected = row.text != nullptr ? StringMap{{u"k", row.text}} : StringMap{};
    EXPECT_EQ(converted, expected) << row.type << " " << ToUtf8(row.text ? row.text : u"");
  }
}

TEST(ContextDataConversion, KeepsEveryEntryWhateverItHolds) {
  using namespace std::string_literals;
  const std::string longText(70'000, 'x');
  const ContextData data = {{"", "empty key"},
                            {"a\0b"s, "c\0d"s},
                            {"empty", ""},
                            {"ignored", nullptr},
                            {"number", -1},
                            {longText, longText},
                            {"\uE000", "last by unit"},
                            {"\U0001F600", "last by byte"}};
  StringMap expected;
  for (const auto& [key, value] : data) {
    if (const auto text = ContextDataText(value)) expected.Set(ToUtf16(key), *text);
  }
  EXPECT_EQ(expected.Size(), 7U);
  EXPECT_EQ(ContextDataCopy(data).Convert(), expected);
  EXPECT_EQ(ContextDataCopy(expected).Convert(), expected);
}

}  // namespace
}  // namespace Veltro::Internal
