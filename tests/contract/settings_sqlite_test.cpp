#include "platform/linux/settings_sqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <memory>

#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

class SettingsSqliteTest : public testing::Test {
 protected:
  std::unique_ptr<SettingsSqlite> Start() {
    problems.clear();
    auto folder = std::make_shared<DataFolder>(data, [] { return std::string(); });
    return std::make_unique<SettingsSqlite>(
        folder, [this](const std::string& problem) { problems.push_back(problem); });
  }

  /// What a new process finds under `key`; 0 when there is nothing.
  std::int32_t Stored(const char16_t* key) {
    const auto value = Start()->Lookup(key);
    return value ? std::get<std::int32_t>(*value) : 0;
  }

  void Sql(const char* sql) {
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(file.c_str(), &database), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(database, sql, nullptr, nullptr, nullptr), SQLITE_OK) << sql;
    sqlite3_close(database);
  }

  TemporaryFolder temporary;
  fs::path data = temporary.Path() / "data";
  fs::path file = data / "settings.db";
  std::vector<std::string> problems;
};

TEST_F(SettingsSqliteTest, DamageFoundWhileStoringLosesNothingThatIsInMemory) {
  const auto settings = Start();
  settings->Insert(u"old", std::int32_t{1});
  Sql("DROP TABLE settings");
  settings->Insert(u"new", std::int32_t{2});
  EXPECT_EQ(Stored(u"old"), 1);
  EXPECT_EQ(Stored(u"new"), 2);
}

TEST_F(SettingsSqliteTest, WithoutAFolderKeepsValuesInMemoryAndTellsOnce) {
  std::ofstream(data) << "a file where the folder should be";
  const auto settings = Start();
  for (std::int32_t i = 1; i <= 3; ++i) settings->Insert(u"key", i);
  EXPECT_TRUE(settings->Lookup(u"key") == SettingValue(std::int32_t{3}));
  ASSERT_EQ(problems.size(), 1U);
  EXPECT_EQ(problems[0], "Unable to store settings (open " + data.native() +
                             ": Not a directory), keeping them in memory");
}

TEST_F(SettingsSqliteTest, ChangesMadeWithoutTheDatabaseWinOverIt) {
  Start()->Insert(u"stored", std::int32_t{1});
  Start()->Insert(u"changed", std::int32_t{1});
  Start()->Insert(u"removed", std::int32_t{1});
  const fs::path away = temporary.Path() / "away";
  fs::rename(data, away);
  std::ofstream(data) << "in the way";
  const auto settings = Start();
  settings->Insert(u"changed", std::int32_t{2});
  settings->Remove(u"removed");
  fs::remove(data);
  fs::rename(away, data);
  settings->Insert(u"new", std::int32_t{3});
  EXPECT_TRUE(settings->HasKey(u"stored"));
  EXPECT_TRUE(settings->Lookup(u"changed") == SettingValue(std::int32_t{2}));
  EXPECT_FALSE(settings->HasKey(u"removed"));
  EXPECT_EQ(Stored(u"changed"), 2);
  EXPECT_EQ(Stored(u"removed"), 0);
}

TEST_F(SettingsSqliteTest, TwoUsersKeepEachOthersKeys) {
  const auto one = Start();
  const auto two = Start();
  one->HasKey(u"load");
  two->Insert(u"two", std::int32_t{2});
  one->Insert(u"one", std::int32_t{1});
  EXPECT_TRUE(problems.empty());
  EXPECT_EQ(Stored(u"one"), 1);
  EXPECT_EQ(Stored(u"two"), 2);
}

TEST_F(SettingsSqliteTest, DoesNotCallValuesClearedThatAnotherReaderHolds) {
  const auto settings = Start();
  settings->Insert(u"key", std::int32_t{1});
  sqlite3* reader = nullptr;
  ASSERT_EQ(sqlite3_open(file.c_str(), &reader), SQLITE_OK);
  const char* const kRead = "BEGIN; SELECT * FROM settings";
  ASSERT_EQ(sqlite3_exec(reader, kRead, nullptr, nullptr, nullptr), SQLITE_OK);
  EXPECT_THROW(settings->ClearExcept(u""), PlatformError);
  sqlite3_close(reader);
  EXPECT_NO_THROW(settings->ClearExcept(u""));
  EXPECT_EQ(Stored(u"key"), 0);
}

TEST_F(SettingsSqliteTest, RowsThatMakeNoSenseAreSkippedInAHealthyDatabase) {
  Start()->Insert(u"key", std::int32_t{7});
  Sql("INSERT INTO settings VALUES('a', 'Double', 1.5), ('b', 'Int32', 'text'),"
      " ('c', 'Int32', 2147483648), ('d', 'Boolean', 2), ('e', 'String', 5), ('f', NULL, NULL),"
      " (x'00', 'Int32', 1)");
  const auto settings = Start();
  for (const char16_t* key : {u"a", u"b", u"c", u"d", u"e", u"f"}) {
    EXPECT_FALSE(settings->HasKey(key));
  }
  EXPECT_TRUE(settings->HasKey(u"key"));
  EXPECT_TRUE(problems.empty());
}

}  // namespace
}  // namespace Veltro::Internal::Testing
