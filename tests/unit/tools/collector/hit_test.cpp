#include "collector/hit.h"

#include <gtest/gtest.h>

#include "collector/hit_text.h"

namespace Veltro::Collector {
namespace {

using Map = std::map<std::string, std::string>;

Hit DecodeSegments(const std::string& segments) {
  Hit hit = DecodeHit("/b/ss/suite/0/WINU-4.0.0/s1?AQB=1" + segments + "&AQE=1");
  for (const char* marker : {"AQB", "AQE"}) hit.variables.erase(marker);
  return hit;
}

TEST(HitTest, DecodesQueries) {
  // The name, the segments, the variables, the context data, whether it is malformed.
  const std::tuple<const char*, const char*, Map, Map, bool> rows[] = {
      {"non-ASCII", "&a=H%C3%B6%f0%9f%9b%92", {{"a", "H\xC3\xB6\xF0\x9F\x9B\x92"}}, {}, false},
      {"separators", "&.a%26%3D+=%26+2=3&b.=", {{".a&=+", "&+2=3"}, {"b.", ""}}, {}, false},
      {"levels", "&c.&%41.&b=1&.A&.c&d.&e=3&.d", {{"d.e", "3"}}, {{"A.b", "1"}}, false},
      {"value and children", "&c.&a=v&a.&b=w&.a&.c", {}, {{"a", "v"}, {"a.b", "w"}}, false},
      {"same name inside", "&c.&c.&c.&b=1&.c&d=2&.c&.c", {}, {{"c.c.b", "1"}, {"c.d", "2"}}, false},
      {"bad escapes", "&a=%&b=%4&c=%GG%41", {{"a", "%"}, {"b", "%4"}, {"c", "%GGA"}}, {}, true},
      {"cut-off UTF-8", "&a=%C3%28", {{"a", "\xC3("}}, {}, true},
      {"surrogate", "&a=%ED%A0%80", {{"a", "\xED\xA0\x80"}}, {}, true},
      {"level never closed", "&c.&a.&x=1", {}, {{"a.AQE", "1"}, {"a.x", "1"}}, true},
      {"inner level not closed", "&c.&a.&x=1&.c&y=2", {{"y", "2"}}, {{"a.x", "1"}}, true},
      {"level never opened", "&c.&.a&x=1&.c&y=2", {{"y", "2"}}, {{"x", "1"}}, true},
      {"name alone", "&a", {{"a", ""}}, {}, true},
      {"same name twice", "&a=1&a=2", {{"a", "2"}}, {}, true},
  };
  for (const auto& [name, segments, variables, contextData, malformed] : rows) {
    const Hit hit = DecodeSegments(segments);
    EXPECT_EQ(hit.variables, variables) << name;
    EXPECT_EQ(hit.contextData, contextData) << name;
    EXPECT_EQ(hit.malformed, malformed) << name;
  }
}

TEST(HitTest, TellsWhatItIsAbout) {
  const std::tuple<const char*, const char*> rows[] = {
      {"", "state"},
      {"&pageName=Lifecycle&c.&a.&action.&time.&total=1&.time&.action&.a&.c", "state"},
      {"&pe=lnk_o&pev2=QXACTION:Media", "action"},
      {"&pe=lnk_o&pev2=QXACTION:a&c.&a.&action.&time.&total=1&.time&.action&.a&.c", "timed action"},
      {"&pe=lnk_o&pev2=VLTINTERNAL:Lifecycle", "lifecycle"},
      {"&pe=m_s&pev2=VLTINTERNAL:Media", "media"},
      {"&pe=lnk_o&pev2=VLTINTERNAL:Location", "location"},
      {"&pe=lnk_o&pev2=VLTINTERNAL:LifetimeValueIncrease", "lifetime value"},
      {"&pe=lnk_o&pev2=VLTINTERNAL:None", "internal action"},
      {"&pe=lnk_d&pev2=Lifecycle", "other"},
  };
  for (const auto& [segments, topic] : rows) {
    EXPECT_EQ(TopicOf(DecodeSegments(segments)), topic) << segments;
  }
}

TEST(HitTest, SeesTargetsOfAnotherForm) {
  for (const std::string target :
       {"one,/0/V/s1?AQB=1&AQE=1", "one/1/V/s1?AQB=1&AQE=1", "one/0/V?AQB=1&AQE=1", "one/0/V/s1",
        "one/0/V/s1?a=1&AQE=1", "one/0/V/s1?AQB=1&a=1", "one/0/V/s1?AQB=1&&AQE=1"}) {
    EXPECT_TRUE(DecodeHit("/b/ss/" + target).malformed) << target;
  }
}

TEST(HitTest, BoundsTimeAndMemoryForTenThousandLevels) {
  std::string opened = "&c.", closed = "&.c", key = "x", hostile = "&c.";
  for (int i = 0; i < 10'000; ++i) {
    opened += "&a.";
    closed.insert(0, "&.a");
    key.insert(0, "a.");
    hostile += "&x=1&a.";
  }
  const Hit deep = DecodeSegments(opened + "&x=1" + closed);
  EXPECT_TRUE(deep.contextData == (Map{{key, "1"}}) && !deep.malformed);
  EXPECT_LT(HitToText(deep).size(), 1'000'000u);
  EXPECT_LT(DecodeSegments(hostile).contextData.size(), 9'000u);
}

TEST(HitTest, IsShownAsATreeThatCannotSteerATerminal) {
  Hit hit = DecodeHit(
      "/b/ss/one,t%1Bo/0/V/s1?AQB=1&pe=x&pev2=QXACTION%3A%1B%5B2J&k%0A=%00%7F%5C%C2%9B%C3%B6%FF"
      "&c.&a=v&a.&b.&%07=1&.b&.a&a-b=2&.c&AQE=1");
  hit.sequence = 7;
  hit.receivedTime = 1446480000042;
  EXPECT_EQ(HitToText(hit),
            "#7 action \"\\x1b[2J\" to one,t\\x1bo at 2015-11-02 16:00:00.042 UTC (malformed)\n"
            "  k\\n = \\x00\\x7f\\\\\\xc2\\x9b\xC3\xB6\\xff\n"
            "  pe = x\n"
            "  pev2 = QXACTION:\\x1b[2J\n"
            "  context data:\n"
            "    a = v\n"
            "      b\n"
            "        \\x07 = 1\n"
            "    a-b = 2\n");
  hit.variables["pev2"] = "VLTINTERNAL:Life";
  EXPECT_TRUE(HitToText(hit).starts_with("#7 internal action \"Life\" to ")) << HitToText(hit);
}

}  // namespace
}  // namespace Veltro::Collector
