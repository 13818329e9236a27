#include "base/string_map.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

#include "base/utf.h"

namespace Veltro::Internal {
namespace {

using Model = std::map<std::u16string, std::u16string>;

Model AsModel(const StringMap& map) {
  Model model;
  for (const auto [key, value] : map) {
    EXPECT_TRUE(model.empty() || model.rbegin()->first < key) << "out of order";
    model.emplace(key, value);
  }
  EXPECT_EQ(map.Size(), model.size());
  return model;
}

TEST(StringMap, OrdersKeysByCodeUnitNotByCodePoint) {
  StringMap map;
  map.SetUtf8("\uFF5E", "after the surrogates");
  map.SetUtf8("\U0001F600", "a surrogate pair");
  map.SetUtf8("a", "1");
  map.SetUtf8("Z", "2");
  const std::vector<std::u16string_view> expected = {u"Z", u"a", u"\U0001F600", u"\uFF5E"};
  std::vector<std::u16string_view> keys;
  for (const auto [key, value] : map) keys.push_back(key);
  EXPECT_EQ(keys, expected);
}

TEST(StringMap, BehavesAsAnOrderedMapUnderRandomChanges) {
  for (unsigned seed = 1; seed <= 20; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    StringMap map;
    Model model;
    for (int step = 0; step < 300; ++step) {
      const std::u16string key(random() % 3, static_cast<char16_t>(u'a' + random() % 8));
      const std::u16string value(random() % 5, static_cast<char16_t>(random() % 0xD800));
      switch (random() % 4) {
        case 0:
          EXPECT_EQ(map.Add(key, value), model.emplace(key, value).second);
          break;
        case 1:
          map.Set(key, value);
          model[key] = value;
          break;
        case 2:
          map.SetUtf8(ToUtf8(key), ToUtf8(value));
          model[key] = value;
          break;
        default:
          map.Remove(key);
          model.erase(key);
      }
      ASSERT_EQ(map.Find(key).has_value(), model.count(key) == 1);
    }
    EXPECT_EQ(AsModel(map), model);
  }
}

TEST(StringMap, MergeKeepsItsOwnValuesAndLongTextsSurvive) {
  const std::u16string longText(70'000, u'x');
  StringMap map{{u"b", u"own"}};
  map.Merge({{u"a", longText}, {u"b", u"other"}, {u"c", u""}});
  EXPECT_EQ(AsModel(map), (Model{{u"a", longText}, {u"b", u"own"}, {u"c", u""}}));
}

}  // namespace
}  // namespace Veltro::Internal
