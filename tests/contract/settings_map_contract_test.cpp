#include <gtest/gtest.h>

#include <limits>
#include <memory>
#include <vector>

#include "fakes/fake_settings.h"
#include "platform/linux/settings_sqlite.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

struct FakeSubject {
  std::unique_ptr<SettingsMap> Start() { return std::make_unique<FakeSettings>(store); }
  std::shared_ptr<FakeSettingsStore> store = std::make_shared<FakeSettingsStore>();
};

struct SqliteSubject {
  std::unique_ptr<SettingsMap> Start() {
    auto folder = std::make_shared<DataFolder>(temporary.Path(), [] { return std::string(); });
    return std::make_unique<SettingsSqlite>(
        folder, [](const std::string& problem) { ADD_FAILURE() << problem; });
  }
  TemporaryFolder temporary;
};

template <class Subject>
class SettingsMapContract : public testing::Test {
 protected:
  void Restart() {
    map.reset();
    map = subject.Start();
  }

  Subject subject;
  std::unique_ptr<SettingsMap> map = subject.Start();
};

using Subjects = testing::Types<FakeSubject, SqliteSubject>;
TYPED_TEST_SUITE(SettingsMapContract, Subjects);

TYPED_TEST(SettingsMapContract, ValuesOfEachKindOutliveARestart) {
  using Limits = std::numeric_limits<std::int32_t>;
  const std::vector<SettingValue> values = {std::u16string(u"text"),
                                            std::u16string(),
                                            std::u16string(u"1"),
                                            std::u16string(u"\u00E4\U0001F600"),
                                            std::u16string(u"a\0b", 3),
                                            std::u16string(100'000, u'x'),
                                            std::int32_t{0},
                                            std::int32_t{1},
                                            Limits::min(),
                                            Limits::max(),
                                            true,
                                            false};
  const auto keyOf = [](std::size_t i) { return std::u16string(u"key ") + char16_t(u'a' + i); };
  for (std::size_t i = 0; i < values.size(); ++i) this->map->Insert(keyOf(i), values[i]);
  for (int run = 0; run < 2; ++run) {
    for (std::size_t i = 0; i < values.size(); ++i) {
      EXPECT_TRUE(this->map->HasKey(keyOf(i))) << i;
      EXPECT_TRUE(this->map->Lookup(keyOf(i)) == values[i]) << i << " in run " << run;
    }
    this->Restart();
  }
}

TYPED_TEST(SettingsMapContract, RemovedKeysStayRemoved) {
  this->map->Remove(u"never there");
  this->map->Insert(u"key", true);
  this->map->Remove(u"key");
  EXPECT_FALSE(this->map->HasKey(u"key"));
  this->Restart();
  EXPECT_FALSE(this->map->HasKey(u"key"));
  EXPECT_EQ(this->map->Lookup(u"key"), std::nullopt);
}

TYPED_TEST(SettingsMapContract, ClearedKeysStayClearedAndOneIsKept) {
  for (const char16_t* key : {u"a", u"kept", u"z"}) this->map->Insert(key, 1);
  this->Restart();
  this->map->ClearExcept(u"kept");
  for (int run = 0; run < 2; ++run) {
    EXPECT_FALSE(this->map->HasKey(u"a") || this->map->HasKey(u"z")) << run;
    EXPECT_TRUE(this->map->HasKey(u"kept")) << run;
    this->Restart();
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
