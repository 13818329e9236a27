#include <gtest/gtest.h>
#include <sqlite3.h>

#include <fstream>
#include <random>

#include "platform/linux/settings_sqlite.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kRounds = 1000;
constexpr std::size_t kPage = 512;
constexpr char16_t kFirstKey = u'a';
constexpr char16_t kFirstInLog = u'n';
constexpr char16_t kEndKey = u'u';

std::u16string Key(char16_t letter) { return u"key " + std::u16string(1, letter); }

std::u16string Value(char16_t letter) {
  return std::u16string(60 + 15U * (letter - kFirstKey), letter);
}

void Write(const fs::path& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary) << bytes;
}

std::string Read(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Damages `bytes`, which are pages behind a header of the file's own.
void Mutate(std::string& bytes, std::mt19937& random) {
  const auto below = [&](std::size_t end) { return end == 0 ? 0 : random() % end; };
  const std::size_t page = below(bytes.size() / kPage) * kPage;
  const std::size_t other = below(bytes.size() / kPage) * kPage;
  const auto change = [&](std::size_t start, std::size_t length) {
    for (std::size_t n = 1 + below(4); n > 0; --n) {
      bytes.at(start + below(length)) = static_cast<char>(random());
    }
  };
  switch (random() % 9) {
    case 0:
      return change(0, bytes.size());
    case 1:
      return change(0, 100);  // the header
    case 2:
      return change(page, 24);  // what tells how a page is to be read
    case 3:
      return bytes.resize(below(bytes.size()));
    case 4:
      bytes.replace(page, kPage, kPage, '\0');
      return;
    case 5:
      for (std::size_t i = 0; i < kPage; ++i) std::swap(bytes[page + i], bytes[other + i]);
      return;
    case 6:
      return change(18, 2);  // the versions of the file's format
    case 7:
      bytes.assign(1 + below(8 * kPage), 'g');
      return;
    default:
      for (std::size_t n = below(3 * kPage); n > 0; --n) bytes += static_cast<char>(random());
  }
}

class SettingsMutationsTest : public testing::Test {
 protected:
  /// A database of several small pages and a log with further changes, as a killed process leaves
  /// them.
  void SetUp() override {
    fs::create_directory(data_);
    sqlite3* database = nullptr;
    EXPECT_EQ(sqlite3_open(file_.c_str(), &database), SQLITE_OK);
    const std::string pragma = "PRAGMA page_size=" + std::to_string(kPage);
    sqlite3_exec(database, pragma.c_str(), nullptr, nullptr, nullptr);
    sqlite3_exec(database, "PRAGMA journal_mode=WAL", nullptr, nullptr, nullptr);
    sqlite3_close(database);
    for (char16_t letter = kFirstKey; letter < kFirstInLog; ++letter) Insert(*Start(), letter);
    const auto killed = Start();
    for (char16_t letter = kFirstInLog; letter < kEndKey; ++letter) Insert(*killed, letter);
    healthy_ = Read(file_);
    healthyLog_ = Read(log_);
    EXPECT_GT(healthy_.size(), 4 * kPage);
    EXPECT_GT(healthyLog_.size(), 4 * kPage);
  }

  static void Insert(SettingsSqlite& settings, char16_t letter) {
    settings.Insert(Key(letter), Value(letter));
  }

  std::unique_ptr<SettingsSqlite> Start() {
    auto folder = std::make_shared<DataFolder>(data_, [] { return std::string(); });
    return std::make_unique<SettingsSqlite>(
        folder, [this](const std::string& problem) { problems_.push_back(problem); });
  }

  void Put(const std::string& database, const std::string& log) {
    for (const auto& entry : fs::directory_iterator(data_)) fs::remove(entry);
    Write(file_, database);
    if (!log.empty()) Write(log_, log);
    problems_.clear();
  }

  struct Found {
    int sound = 0;
    int altered = 0;  // nothing tells when a byte of a text is another
  };
  static Found Find(SettingsSqlite& settings) {
    Found found;
    for (char16_t letter = kFirstKey; letter < kEndKey; ++letter) {
      const auto value = settings.Lookup(Key(letter));
      if (value) ++(value == SettingValue(Value(letter)) ? found.sound : found.altered);
    }
    return found;
  }

  /// Gives every other key a new value and removes the rest.
  static void Change(SettingsSqlite& settings) {
    for (char16_t letter = kFirstKey; letter < kEndKey; ++letter) {
      letter % 2 == 0 ? settings.Insert(Key(letter), true) : settings.Remove(Key(letter));
    }
  }
  static bool IsChanged(SettingsSqlite& settings) {
    bool isChanged = true;
    for (char16_t letter = kFirstKey; letter < kEndKey; ++letter) {
      const auto value = settings.Lookup(Key(letter));
      isChanged = isChanged && (letter % 2 == 0 ? value == SettingValue(true) : !value);
    }
    return isChanged;
  }

  TemporaryFolder temporary_;
  fs::path data_ = temporary_.Path() / "data";
  fs::path file_ = data_ / "settings.db";
  fs::path log_ = data_ / "settings.db-wal";
  fs::path damaged_ = data_ / "settings.db.damaged";
  std::string healthy_;
  std::string healthyLog_;
  std::vector<std::string> problems_;
};

TEST_F(SettingsMutationsTest, StoresNewValuesWhateverHappenedToTheFiles) {
  const std::string kSetAside = "The stored settings were damaged and have been set aside";
  int setAside = 0;
  int kept = 0;
  for (unsigned round = 0; round < kRounds; ++round) {
    SCOPED_TRACE(round);
    std::mt19937 random(round);
    std::string database = healthy_;
    std::string log = round % 3 == 0 ? "" : healthyLog_;
    const bool isLogOnly = round % 3 == 1;
    Mutate(isLogOnly ? log : database, random);
    Put(database, log);
    {
      const auto settings = Start();
      const Found found = Find(*settings);
      if (isLogOnly) {  // the log has checksums
        ASSERT_GE(found.sound, kFirstInLog - kFirstKey);
        ASSERT_EQ(found.altered, 0);
      }
      const bool isSetAside = fs::exists(damaged_);
      ASSERT_TRUE(!isSetAside || found.sound + found.altered == 0);
      settings->Insert(u"number", static_cast<std::int32_t>(round));
      Change(*settings);
      ASSERT_EQ(problems_, std::vector<std::string>(isSetAside ? 1 : 0, kSetAside));
      ++(isSetAside ? setAside : kept);
    }
    const auto settings = Start();
    ASSERT_EQ(settings->Lookup(u"number"), SettingValue(static_cast<std::int32_t>(round)));
    ASSERT_TRUE(IsChanged(*settings));
  }
  EXPECT_GT(setAside, static_cast<int>(kRounds) / 10);
  EXPECT_GT(kept, static_cast<int>(kRounds) / 10);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
