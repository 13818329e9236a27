#include "core/context_data.h"

#include <gtest/gtest.h>

namespace Veltro::Internal {
namespace {

TEST(ContextData, CleansKeys) {
  struct Row {
    std::u16string_view key, clean;
  };
  const Row rows[] = {
      {u"", u""},           {u"my key!", u"mykey"}, {u".a..b.", u"a.b"}, {u"...", u""},
      {u"a.-.b", u"a.b"},   {u"-.a", u"a"},         {u"a.\u00E9", u"a"}, {u"!?", u""},
      {u"a_1.B", u"a_1.B"}, {u"&&", u""},           {u"a.b.", u"a.b"},   {u"a...b", u"a.b"},
  };
  for (const Row& row : rows) EXPECT_EQ(CleanContextDataKey(row.key), row.clean);
}

TEST(ContextData, CollapsesKeysThatCleanToTheSameIntoTheFirst) {
  const StringMap cleaned = CleanContextDataKeys(
      {{u"a b", u"first"}, {u"a!b", u"second"}, {u"ab", u"third"}, {u"!", u"x"}});
  EXPECT_EQ(cleaned, (StringMap{{u"ab", u"first"}}));
}

TEST(ContextData, TakesTenTypesByTheirExactNames) {
  for (const auto* name : {u"Platform.String", u"Int16", u"Int32", u"Int64", u"UInt16", u"UInt32",
                           u"UInt64", u"Single", u"Double", u"Boolean"}) {
    EXPECT_TRUE(IsSupportedContextDataType(name));
  }
  for (const auto* name : {u"", u"int32", u"UInt8", u"DateTime", u"Guid", u"Char16", u"String"}) {
    EXPECT_FALSE(IsSupportedContextDataType(name));
  }
}

}  // namespace
}  // namespace Veltro::Internal
