#include "analytics/hit_document.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace Veltro::Internal {
namespace {

TEST(HitDocument, WritesAndReadsElementsOfAnyText) {
  const QueuedHit hits[] = {{"s1?AQB=1&ndh=1&ts=-5&AQE=1", -5},
                            {"", 0},
                            {"quote\" backslash\\ tab\t \xC3\xBC ]}", INT32_MAX},
                            {R"(","T":7})", INT32_MIN}};
  for (const QueuedHit& hit : hits) {
    const std::string element = WriteHitElement(hit);
    EXPECT_EQ(ReadHitElement(element), hit) << element;
    const auto parsed = nlohmann::json::parse(element);
    EXPECT_EQ(parsed["H"], hit.hit);
    EXPECT_EQ(parsed["T"], hit.timestamp);
  }
}

TEST(HitDocument, IndexesOurOwnLayoutOnly) {
  const auto elements = IndexHitDocument(R"({"Hits":[   {"H":"a\"]}","T":1},{"H":"b","T":-22}]})");
  ASSERT_TRUE(elements);
  ASSERT_EQ(elements->size(), 2U);
  EXPECT_EQ((*elements)[0].offset, 12U);
  EXPECT_EQ((*elements)[1].length, 17U);
  EXPECT_EQ((*elements)[1].timestamp, -22);
  EXPECT_TRUE(IndexHitDocument(R"({"Hits":[]})")->empty());
  for (const char* other :
       {"", R"({"Hits":[)", R"({"Hits":[]} )", R"({"Hits": []})", R"({"Hits":[{"H":"a","T":1}, ]})",
        R"({"Hits":[{"H":"a","T":1.5}]})", R"({"Hits":[{"H":"a","T":1},]})",
        R"({"Hits":[{"T":1,"H":"a"}]})", "{\"Hits\":[{\"H\":\"a\xFF\",\"T\":1}]}",
        R"({"Hits":[{"H":"a","T":99999999999}]})", R"({"Hits":[{"H":"a","T":07}]})",
        R"({"Hits":[{"H":"a\q","T":1}]})", R"({"Hits":[{"H":"a\)"}) {
    EXPECT_FALSE(IndexHitDocument(other)) << other;
  }
}

TEST(HitDocument, ReadsEveryCompleteHitOfOtherTexts) {
  struct Row {
    const char* name;
    std::string text;
    bool isWhole;
    std::vector<QueuedHit> hits;
  };
  const QueuedHit a{"a", 1}, b{"b", 2};
  const std::string elementB = R"({"H":"b","T":2})";
  const Row rows[] = {
      {"other layout",
       R"( {"v":[{}], "Hits" : [ {"T":1.9e0, "x":{"H":1}, "H":"\u0061"}, )" + elementB + "\n]}",
       true,
       {a, b}},
      {"not all are hits", R"({"Hits":[1,{"H":1,"T":1},{"H":"x"},)" + elementB + "]}", true, {b}},
      {"torn at the end", R"({"Hits":[{"H":"a","T":1},{"H":"b","T":2)", false, {a}},
      {"torn in a text", R"({"Hits":[{"H":"a","T":1},{"H":"bb)", false, {a}},
      {"blanks over a head", R"({"Hits":[      ,"T":0},)" + elementB + "]}", false, {b}},
      {"zeros in between",
       R"({"Hits":[{"H":"a","T":1},)" + std::string(9, '\0') + elementB + "]}",
       false,
       {a, b}},
      {"a text that runs into the next", R"({"Hits":[{"H":"x,)" + elementB + "]}", false, {b}},
      {"nothing", "not JSON", false, {}},
      {"no array", R"({"Hits":{}})", false, {}},
  };
  for (const Row& row : rows) {
    const ForeignHitDocument document = ReadForeignHitDocument(row.text);
    EXPECT_EQ(document.isWhole, row.isWhole) << row.name;
    EXPECT_EQ(document.hits, row.hits) << row.name;
  }
}

}  // namespace
}  // namespace Veltro::Internal
