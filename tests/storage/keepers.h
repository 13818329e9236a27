#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>

#include "analytics/timed_action_table.h"
#include "fakes/fake_local_folder.h"
#include "fakes/recording_debug_output.h"
#include "platform/linux/local_folder_linux.h"
#include "platform/linux/settings_sqlite.h"
#include "platform/platform_error.h"

namespace Veltro::Internal::Testing {

inline std::shared_ptr<DataFolder> MakeDataFolder(const std::filesystem::path& path) {
  return std::make_shared<DataFolder>(path, [] { return std::string(); });
}

inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// Something that keeps its state in a folder. Steps are letters; 'n' starts a new process.
class Keeper {
 public:
  explicit Keeper(const std::filesystem::path& path) : path_(path), folder_(MakeDataFolder(path)) {}
  virtual ~Keeper() = default;
  virtual void Step(char step) = 0;
  virtual std::string Held() = 0;    ///< the state of the object
  virtual std::string Stored() = 0;  ///< the state that a new process would find

 protected:
  const std::filesystem::path path_;
  LocalFolderLinux folder_;
};

class HitKeeper : public Keeper {
 public:
  using Keeper::Keeper;

  void Step(char step) override {
    if (step == 'n') store_ = std::make_unique<HitStore>(folder_);
    if (step == '+') store_->Append(MakeHit(++last_, "1"));
    if (step == '-') store_->RemoveFirst(first_++);
    if (step == 'r') store_->ReplaceFirst(first_, MakeHit(static_cast<int>(first_) + 1, "1600"));
    if (step == 's') store_->Sync();
    if (step == 'c') store_->Clear();
    if (step == 'c') first_ = static_cast<std::uint64_t>(last_);
  }
  std::string Held() override { return Drain(*store_); }
  std::string Stored() override {
    const auto disk = std::make_shared<FakeDisk>();
    if (std::filesystem::exists(path_ / kFile)) disk->Put(kFile, ReadFile(path_ / kFile));
    FakeLocalFolder folder(disk);
    HitStore reader(folder);
    return Drain(reader);
  }

 private:
  static constexpr const char* kFile = "VeltroDataCache.json";

  static QueuedHit MakeHit(int number, const std::string& timestamp) {
    return {"s" + std::to_string(number) + "?AQB=1&ts=" + timestamp + "&AQE=1", number};
  }

  /// The numbers of the hits. A repaired timestamp may be lost, as it is repaired again.
  static std::string Drain(HitStore& store) {
    std::string numbers;
    while (auto first = store.First()) {
      const auto& [hit, number] = first->hit;
      const bool isSound = hit == MakeHit(number, "1").hit || hit == MakeHit(number, "1600").hit;
      numbers += (isSound ? std::to_string(number) : hit) + " ";
      store.RemoveFirst(first->id);
    }
    return numbers;
  }

  std::unique_ptr<HitStore> store_;
  std::uint64_t first_ = 0;
  int last_ = 0;
};

class SettingsKeeper : public Keeper {
 public:
  SettingsKeeper(const std::filesystem::path& path, RecordingDebugOutput& log)
      : Keeper(path), log_(log) {}

  void Step(char step) override {
    if (step == 'n') settings_ = Start(path_);
    if (step == '?') settings_->HasKey(u"a");
    if (step >= 'a' && step <= 'c') settings_->Insert(std::u16string(1, step), ++made_);
    if (step >= 'A' && step <= 'C') settings_->Remove(std::u16string(1, u"abc"[step - 'A']));
  }
  std::string Held() override { return StateOf(*settings_); }
  std::string Stored() override {
    const std::filesystem::path copy =
        path_.parent_path() / "copy";  // kept: to remove folders takes long
    std::filesystem::create_directory(copy);
    for (const auto& entry : std::filesystem::directory_iterator(copy))
      std::filesystem::remove(entry);
    for (const char* name : {"settings.db", "settings.db-wal"}) {
      if (std::filesystem::exists(path_ / name))
        std::filesystem::copy_file(path_ / name, copy / name);
    }
    return StateOf(*Start(copy));
  }

 private:
  std::unique_ptr<SettingsSqlite> Start(const std::filesystem::path& path) {
    return std::make_unique<SettingsSqlite>(
        MakeDataFolder(path), [this](const std::string& problem) { log_.WriteLine(problem); });
  }

  static std::string StateOf(SettingsSqlite& settings) {
    std::string state;
    for (const char16_t key : {u'a', u'b', u'c'}) {
      const auto value = settings.Lookup(std::u16string(1, key));
      state += value ? std::to_string(std::get<std::int32_t>(*value)) + " " : "- ";
    }
    return state;
  }

  RecordingDebugOutput& log_;
  std::unique_ptr<SettingsSqlite> settings_;
  std::int32_t made_ = 0;
};

/// Writes its file over the old one, with no care: what the test must find fault with.
class CarelessKeeper : public Keeper {
 public:
  using Keeper::Keeper;

  void Step(char step) override {
    held_ += step;
    try {
      auto file = folder_.Open("a");
      if (!file) file = folder_.Replace("a")->Commit();
      file->Write(0, Held());
    } catch (const PlatformError&) {
    }
  }
  std::string Held() override { return "[" + held_ + "]"; }
  std::string Stored() override { return ReadFile(path_ / "a"); }

 private:
  std::string held_;
};

class TimedActionKeeper : public Keeper {
 public:
  TimedActionKeeper(const std::filesystem::path& path, Tracker& tracker, HitQueue& queue,
                    Clock& clock)
      : Keeper(path), tracker_(tracker), queue_(queue), clock_(clock) {}

  void Step(char step) override {
    if (step == 'n') {
      table_ = std::make_unique<TimedActionTable>(folder_, tracker_, queue_, clock_);
    }
    if (step >= 'a' && step <= 'd') table_->TrackTimedActionStart(std::u16string(1, step), {});
    if (step == 'u') table_->TrackTimedActionUpdate(u"a", {{u"key", u"value"}});
    if (step == '?') table_->TrackingTimedActionExists(u"a", [](bool) {});
    if (step == 'p') table_->AdjustTimedActions(7);
    if (step == 'A') table_->TrackTimedActionEnd(u"a");
    EXPECT_TRUE(table_->WaitUntilSaved(std::chrono::seconds(5)));
  }
  std::string Held() override { return Stored(); }  // each change writes all that is held
  std::string Stored() override {
    const std::string text = ReadFile(path_ / "VeltroTimedActions.json");
    return WriteTimedActions(text.empty() ? TimedActions() : ReadTimedActions(text));
  }

 private:
  Tracker& tracker_;
  HitQueue& queue_;
  Clock& clock_;
  std::unique_ptr<TimedActionTable> table_;
};

}  // namespace Veltro::Internal::Testing
