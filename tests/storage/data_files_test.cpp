#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "analytics/hit_store.h"
#include "platform/linux/local_folder_linux.h"
#include "support/file_faults.h"
#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

constexpr const char* kAnalytics = R"({"rsids":"s","server":"SERVER","offlineEnabled":true})";
constexpr const char* kTarget = R"(,"target":{"clientCode":"shop","timeout":5})";

/// The names that the library writes in its folder.
constexpr const char* kNames[] = {"VeltroDataCache.json",
                                  "VeltroDataCache.json.tmp",
                                  "VeltroTimedActions.json",
                                  "VeltroTimedActions.json.tmp",
                                  "cookies.txt",
                                  "cookies.txt.tmp",
                                  "settings.db",
                                  "settings.db-wal",
                                  "settings.db-shm",
                                  "settings.db.damaged",
                                  "veltro.lock"};

/// Those of them that stand there while it runs.
constexpr const char* kFiles[] = {
    "VeltroDataCache.json", "VeltroTimedActions.json", "cookies.txt", "settings.db",
    "settings.db-wal",      "settings.db-shm",         "veltro.lock"};

std::string ReadFile(const fs::path& path) {
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

unsigned ModeOf(const fs::path& path) {
  return static_cast<unsigned>(fs::symlink_status(path).permissions());
}

/// The whole library and the folder that it writes to.
class DataFilesTest : public testing::Test {
 protected:
  ~DataFilesTest() override { umask(umask_); }

  /// Starts the application and makes the library write every file of its; expects that its hit
  /// gets through.
  void Run() {
    app_.ForgetLog();
    app_.Start(kAnalytics, kTarget);
    Config::SetUserIdentifier("Ann");
    Analytics::TrackTimedActionStart("action");
    Analytics::TrackState("page");
    Target::LoadRequest({"home", "default", {}}).Get();
    EXPECT_TRUE(app_.WaitForHits(++hits_));
    EXPECT_EQ(Config::GetUserIdentifier(), "Ann");
    EXPECT_TRUE(Analytics::TrackingTimedActionExists("action").Get());
  }

  /// Expects that only the user may use what the library made.
  void ExpectPrivate() {
    EXPECT_EQ(ModeOf(data_), 0700U);
    for (const auto& entry : fs::directory_iterator(data_)) {
      EXPECT_TRUE(!entry.is_regular_file() || entry.is_symlink() || ModeOf(entry) == 0600U)
          << entry;
    }
  }

  void RemoveFiles() {
    if (!fs::exists(data_)) return;
    for (const auto& entry : fs::directory_iterator(data_)) fs::remove_all(entry);
  }

  /// The lines of this kind about refused files since the last start.
  int Troubles(const std::string& what = "") const {
    const int loads = app_.CountLogged("Unable to load " + what);
    return loads + app_.CountLogged("Unable to save " + what) +
           app_.CountLogged("Unable to store " + what);
  }

  TestApplication app_;
  fs::path data_ = app_.DataPath();
  std::size_t hits_ = 0;
  const mode_t umask_ = umask(022);
};

TEST_F(DataFilesTest, AreTheUsersOwnUnderAnyUmask) {
  for (const mode_t mask : {0U, 077U, 0277U}) {
    SCOPED_TRACE(mask);
    if ((mask & 0700U) == 0) fs::remove_all(data_);
    RemoveFiles();
    umask(mask);
    Run();
    ExpectPrivate();
    for (const char* name : kFiles) EXPECT_TRUE(fs::exists(data_ / name)) << name;
    EXPECT_EQ(Troubles(), 0);
    app_.Stop();
  }
}

TEST_F(DataFilesTest, AreTightenedWhereAnOlderRunLeftThemLoose) {
  Run();
  app_.Stop();
  fs::permissions(data_, fs::perms::all);
  for (const auto& entry : fs::directory_iterator(data_)) fs::permissions(entry, fs::perms(0666));
  app_.Start(kAnalytics, kTarget);
  EXPECT_EQ(Config::GetUserIdentifier(), "Ann");
  EXPECT_TRUE(Analytics::TrackingTimedActionExists("action").Get());
  Target::LoadRequest({"home", "default", {}}).Get();
  EXPECT_EQ(app_.QueueSize(), 0);
  ExpectPrivate();
  EXPECT_EQ(Troubles(), 0);
}

TEST_F(DataFilesTest, NeverReachThroughWhatIsPlantedInTheirPlace) {
  const fs::path victim = data_.parent_path() / "victim";
  const fs::path victimFolder = data_.parent_path() / "folder";
  const fs::path missing = data_.parent_path() / "missing";
  fs::create_directory(victimFolder);
  const struct {
    const char* name;
    std::function<void(const fs::path&)> plant;
  } plants[] = {
      {"link to a file", [&](const auto& path) { fs::create_symlink(victim, path); }},
      {"link to a folder", [&](const auto& path) { fs::create_symlink(victimFolder, path); }},
      {"link to nothing", [&](const auto& path) { fs::create_symlink(missing, path); }},
      {"FIFO", [](const auto& path) { EXPECT_EQ(mkfifo(path.c_str(), 0666), 0); }},
      {"folder", [](const auto& path) { fs::create_directory(path); }},
  };
  for (const auto& [plantName, plant] : plants) {
    for (const std::string name : kNames) {
      SCOPED_TRACE(plantName + (" at " + name));
      RemoveFiles();
      std::ofstream(victim) << "precious";
      fs::permissions(victim, fs::perms(0644));
      fs::permissions(victimFolder, fs::perms(0755));
      plant(data_ / name);
      if (name.ends_with(".damaged")) std::ofstream(data_ / "settings.db") << "not a database";
      Run();
      ExpectPrivate();
      app_.Stop();
      const bool isReplaced = !name.starts_with("settings.db") || name.ends_with(".damaged");
      const bool isDoneWithout = name == "veltro.lock";  // which is no trouble for one process
      const bool isMissed = !isDoneWithout && (!isReplaced || plantName == std::string("folder"));
      EXPECT_EQ(Troubles(), isMissed ? 1 : 0);
      EXPECT_EQ(ReadFile(victim), "precious");
      EXPECT_EQ(ModeOf(victim), 0644U);
      EXPECT_TRUE(fs::is_empty(victimFolder));
      EXPECT_EQ(ModeOf(victimFolder), 0755U);
      EXPECT_FALSE(fs::exists(missing));
    }
  }
}

TEST_F(DataFilesTest, KeepTheHitsOfTwoProcessesWhenTheLockFileIsRemoved) {
  LocalFolderLinux folder(std::make_shared<DataFolder>(data_, [] { return std::string(); }));
  HitStore ours(folder);
  ours.Append({"s1", 1});
  fs::remove(data_ / "veltro.lock");
  HitStore theirs(folder);
  theirs.Append({"s2", 2});
  theirs.RemoveFirst(theirs.First()->id);
  ours.Append({"s3", 3});
  EXPECT_EQ(theirs.First()->hit, (QueuedHit{"s2", 2}));
  theirs.RemoveFirst(theirs.First()->id);
  EXPECT_EQ(theirs.First()->hit, (QueuedHit{"s3", 3}));
}

TEST_F(DataFilesTest, AreDoneWithoutWhereNothingCanBeWritten) {
  const struct {
    const char* name;
    int error;  // 0: a file is in the way
  } rows[] = {{"full disk", ENOSPC},
              {"read-only disk", EROFS},
              {"folder of somebody else's", EACCES},
              {"file in the way", 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    fs::remove_all(data_);
    if (row.error == 0) std::ofstream(data_) << "in the way";
    const FileFaults faults(data_, row.error == 0 ? 0 : 1, {row.name, row.error, true});
    Run();
    Analytics::TrackTimedActionStart("another");
    Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
    for (const char* page : {"1", "2", "3"}) Analytics::TrackState(page);
    EXPECT_EQ(app_.QueueSize(), 3);
    Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
    EXPECT_TRUE(app_.WaitForHits(hits_ += 3));
    for (const char* what : {"queued hits", "timed actions", "settings", "cookies"}) {
      EXPECT_EQ(Troubles(what), 1) << what;
    }
    app_.Stop();
  }
}

}  // namespace
}  // namespace Veltro::Internal::Testing
