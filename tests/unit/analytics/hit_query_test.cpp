#include "analytics/hit_query.h"

#include <gtest/gtest.h>

namespace Veltro::Internal {
namespace {

std::string Query(const StringMap& variables, const StringMap& contextData) {
  std::string out;
  AppendHitParameters(variables, contextData, out);
  return out;
}

TEST(HitQuery, NestsContextDataByTheSegmentsOfItsKeys) {
  struct Row {
    const char* name;
    StringMap contextData;
    const char* query;
  };
  const Row rows[] = {
      {"none", {}, ""},
      {"flat", {{u"x", u"1"}}, "&c.&x=1&.c"},
      {"level and flat", {{u"a.action", u"buy"}, {u"x", u"1"}}, "&c.&a.&action=buy&.a&x=1&.c"},
      {"value and level", {{u"a", u"v"}, {u"a.b", u"w"}}, "&c.&a=v&a.&b=w&.a&.c"},
      {"a longer name behind a level",
       {{u"a.b", u"1"}, {u"a0", u"2"}, {u"aB", u"3"}},
       "&c.&a.&b=1&.a&a0=2&aB=3&.c"},
      {"deep, back and over",
       {{u"a.b.c.d", u"1"}, {u"a.b.e", u"2"}, {u"a.f.c.d", u"3"}},
       "&c.&a.&b.&c.&d=1&.c&e=2&.b&f.&c.&d=3&.c&.f&.a&.c"},
      {"equal beginnings of names",
       {{u"ab.x.y", u"1"}, {u"ab.xz.y", u"2"}, {u"abc.x", u"3"}},
       "&c.&ab.&x.&y=1&.x&xz.&y=2&.xz&.ab&abc.&x=3&.abc&.c"},
      {"empty values", {{u"a.b", u""}, {u"x", u""}}, "&c.&a.&.a&.c"},
      {"keys to clean", {{u"my key!", u"1"}, {u"..n..x.", u"2"}}, "&c.&mykey=1&n.&x=2&.n&.c"},
      {"only keys that clean to nothing", {{u"&&", u"1"}, {u"...", u"2"}}, ""},
  };
  for (const Row& row : rows) EXPECT_EQ(Query({}, row.contextData), row.query) << row.name;
}

TEST(HitQuery, EscapesKeysAndValuesAndOrdersVariables) {
  EXPECT_EQ(Query({{u"pageName", u"H\u00F6me & more"}, {u"Z", u"1"}, {u"my var", u"="}},
                  {{u"k", u"\U0001F600"}}),
            "&Z=1&my%20var=%3D&pageName=H%C3%B6me%20%26%20more&c.&k=%F0%9F%98%80&.c");
}

TEST(HitQuery, WritesKeysOfAnyDepth) {
  std::u16string key = u"a";
  for (int i = 1; i < 100'000; ++i) key += u".a";
  const std::string query = Query({}, {{key, u"1"}, {key + u".b", u"2"}});
  EXPECT_EQ(query.size(), 3 + 99'999 * 6 + 4 + 3 + 4 + 3 + 3U);
}

}  // namespace
}  // namespace Veltro::Internal
