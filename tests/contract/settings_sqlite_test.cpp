#include "platform/linux/settings_sqlite.h"

#include <gtest/gtest.h>
#include <sqlite3.h>
#include <sys/stat.h>

#include <fstream>
#include <memory>
#include <random>

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

  std::string Bytes() {
    std::ifstream stream(file, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }

  void Overwrite(std::string_view bytes) { std::ofstream(file, std::ios::binary) << bytes; }

  static unsigned ModeOf(const fs::path& path) {
    return static_cast<unsigned>(fs::status(path).permissions());
  }

  TemporaryFolder temporary;
  fs::path data = temporary.Path() / "data";
  fs::path file = data / "settings.db";
  fs::path damaged = data / "settings.db.damaged";
  std::vector<std::string> problems;
};

TEST_F(SettingsSqliteTest, DamagedDatabasesAreSetAside) {
  Start()->Insert(u"key", std::int32_t{7});
  Sql("PRAGMA wal_checkpoint(TRUNCATE)");
  const std::string healthy = Bytes();
  ASSERT_GT(healthy.size(), 5000U);
  std::string brokenPage = healthy;
  for (std::size_t i = 4096; i < brokenPage.size(); ++i) brokenPage[i] = '\xFF';
  const std::pair<const char*, std::string> rows[] = {
      {"garbage", std::string(20'000, 'g')},    {"text", "not a database"},
      {"half a header", healthy.substr(0, 60)}, {"one page of two", healthy.substr(0, 4096)},
      {"page overwritten", brokenPage},
  };
  for (const auto& [name, bytes] : rows) {
    Overwrite(bytes);
    fs::remove(damaged);
    const auto settings = Start();
    EXPECT_FALSE(settings->HasKey(u"key")) << name;
    EXPECT_EQ(problems.size(), 1U) << name;
    EXPECT_TRUE(fs::exists(damaged)) << name;
    settings->Insert(u"key", std::int32_t{8});
    EXPECT_EQ(Stored(u"key"), 8) << name;
    EXPECT_TRUE(problems.empty()) << name;
  }
}

TEST_F(SettingsSqliteTest, DamageFoundWhileStoringLosesNothingThatIsInMemory) {
  const auto settings = Start();
  settings->Insert(u"old", std::int32_t{1});
  Sql("DROP TABLE settings");
  settings->Insert(u"new", std::int32_t{2});
  EXPECT_EQ(problems.size(), 1U);
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

TEST_F(SettingsSqliteTest, FilesAreTheUsersOwn) {
  Start()->Insert(u"key", std::int32_t{1});
  chmod(data.c_str(), 0755);
  chmod(file.c_str(), 0644);
  const mode_t before = umask(0);
  const auto settings = Start();
  settings->Insert(u"key", std::int32_t{2});
  umask(before);
  EXPECT_EQ(ModeOf(data), 0700U);
  for (const char* name : {"settings.db", "settings.db-wal", "settings.db-shm"}) {
    EXPECT_EQ(ModeOf(data / name), 0600U) << name;
  }
}

TEST_F(SettingsSqliteTest, PlantedLinksAreRefusedAndVictimsUntouched) {
  const fs::path victim = temporary.Path() / "victim";
  for (const char* name : {"settings.db", "settings.db-wal", "settings.db-shm"}) {
    fs::remove_all(data);
    fs::create_directory(data);
    std::ofstream(victim) << "precious";
    fs::create_symlink(victim, data / name);
    const auto settings = Start();
    settings->Insert(u"key", true);
    EXPECT_TRUE(settings->HasKey(u"key")) << name;
    EXPECT_EQ(problems.size(), 1U) << name;
    EXPECT_EQ(fs::file_size(victim), 8U) << name;
  }
}

TEST_F(SettingsSqliteTest, MutatedFilesNeverStopTheNextRun) {
  for (char16_t key = u'a'; key < u'p'; ++key) {
    Start()->Insert(std::u16string(1, key), std::u16string(300, key));
  }
  const std::string healthy = Bytes();
  constexpr unsigned kSeed = 20'200'913;
  std::mt19937 random(kSeed);
  for (int round = 0; round < 30; ++round) {
    std::string mutated = healthy;
    for (int i = 0; i < 8; ++i) mutated[random() % mutated.size()] = static_cast<char>(random());
    for (const auto& entry : fs::directory_iterator(data)) fs::remove(entry);
    Overwrite(mutated);
    const auto settings = Start();
    settings->Insert(u"number", std::int32_t{round});
    settings->Remove(u"a");
    ASSERT_EQ(Stored(u"number"), round) << "seed " << kSeed << ", round " << round;
  }
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

TEST_F(SettingsSqliteTest, StoresWhatFailedWithTheNextChange) {
  std::ofstream(data) << "a file where the folder should be";
  const auto settings = Start();
  settings->Insert(u"first", std::int32_t{1});
  settings->Insert(u"gone", std::int32_t{1});
  settings->Remove(u"gone");
  fs::remove(data);
  settings->Insert(u"second", std::int32_t{2});
  EXPECT_EQ(Stored(u"first"), 1);
  EXPECT_EQ(Stored(u"second"), 2);
  EXPECT_EQ(Stored(u"gone"), 0);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
