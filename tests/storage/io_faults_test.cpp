#include <gtest/gtest.h>

#include <memory>

#include "storage/keepers.h"
#include "support/file_faults.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"
#include "support/tracker_fixture.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

constexpr int kMostOperations = 1000;

using Strikes = FileFault::Strikes;

constexpr FileFault kFaults[] = {{"ENOSPC once", ENOSPC},
                                 {"ENOSPC", ENOSPC, true},
                                 {"EIO once", EIO},
                                 {"EIO", EIO, true},
                                 {"EIO of reading", EIO, true, Strikes::Reads},
                                 {"EACCES once", EACCES},
                                 {"EACCES", EACCES, true},
                                 {"EROFS once", EROFS, false, Strikes::Changes},
                                 {"EROFS", EROFS, true, Strikes::Changes},
                                 {"short write once", 0, false, Strikes::Writes},
                                 {"short writes", 0, true, Strikes::Writes}};

/// A way through a keeper's changes: the trouble reigns in the middle.
struct Road {
  const char* name;
  std::string before;
  std::string during;
  char afterwards;
};

class IoFaultsTest : public TrackerFixture {
 protected:
  using MakeKeeper = std::function<std::unique_ptr<Keeper>(const fs::path&)>;

  /// What goes against the promises when a fault strikes the first operation of the road, the
  /// second and so on.
  std::vector<std::string> Violations(const MakeKeeper& make, const Road& road,
                                      const FileFault& fault) {
    violations_.clear();
    healthy_.clear();
    road_ = road.name + std::string(", ") + fault.name;
    Run(make, road, {}, 0);
    int n = 1;
    while (n < kMostOperations && Run(make, road, fault, n)) ++n;
    Check(n > 1 || fault.strikes == Strikes::Reads, "never met the fault");
    Check(n < kMostOperations, "never met the end of the road");
    return violations_;
  }

  void ExpectNoViolations(const MakeKeeper& make, const Road& road) {
    for (const FileFault& fault : kFaults) {
      EXPECT_EQ(Violations(make, road, fault), std::vector<std::string>());
    }
  }

 private:
  /// Goes the road, recording the states when `n` is 0. Whether the fault struck.
  bool Run(const MakeKeeper& make, const Road& road, const FileFault& fault, int n) {
    const fs::path path = temporary_.Path() / "data";
    fs::remove_all(path);
    lines_ = 0;
    step_ = "at operation " + std::to_string(n);
    const auto keeper = make(path);
    for (const char step : road.before) keeper->Step(step);
    if (n == 0) healthy_.push_back(keeper->Stored());
    FileFaults faults(path, n, fault);
    std::size_t stored = 0;  // the number of the state that lies in the folder
    for (std::size_t i = 0; i < road.during.size(); ++i) {
      faults.Resume();
      Take(*keeper, road.during[i]);
      faults.Pause();
      if (n == 0) healthy_.push_back(keeper->Stored());
      stored = faults.Struck() ? FindState(keeper->Stored(), stored, i + 1) : i + 1;
    }
    if (!fault.forGood) CheckNoTemporaryFiles(path);
    Check(lines_ <= 1, "more than one line");
    Check(lines_ >= 1 || healthy_[stored] == healthy_[road.during.size()], "no line");
    lines_ = 0;
    Take(*keeper, road.afterwards);
    if (n == 0) healthy_.push_back(keeper->Stored());
    FindState(keeper->Stored(), healthy_.size() - 1, healthy_.size() - 1);
    Check(keeper->Held() == healthy_.back(), "something was lost in memory");
    Check(lines_ == 0, "a line without trouble");
    CheckNoTemporaryFiles(path);
    return faults.Struck();
  }

  void CheckNoTemporaryFiles(const fs::path& path) {
    if (!fs::exists(path)) return;
    for (const auto& entry : fs::directory_iterator(path)) {
      Check(entry.path().extension() != ".tmp", "a temporary file is left");
    }
  }

  void Take(Keeper& keeper, char step) {
    step_ += step;
    log_.Clear();
    try {
      keeper.Step(step);
    } catch (const std::exception& error) {
      Check(false, error.what());
    }
    lines_ += log_.Count("Unable to");
  }

  /// The number of `state` among the healthy ones from `first` to `last`.
  std::size_t FindState(const std::string& state, std::size_t first, std::size_t last) {
    for (std::size_t i = first; i <= last; ++i) {
      if (healthy_[i] == state) return i;
    }
    Check(false, "the folder holds " + state + " rather than " + healthy_[last]);
    return first;
  }

  void Check(bool isTrue, const std::string& violation) {
    if (!isTrue) violations_.push_back(road_ + ", " + step_ + ": " + violation);
  }

  // A disk in memory where there is one: folders come and go thousands of times.
  const ScopedVariable place_{"TMPDIR", fs::is_directory("/dev/shm") ? "/dev/shm" : "/tmp"};
  TemporaryFolder temporary_;
  std::vector<std::string> healthy_;  // before, and after each step
  std::vector<std::string> violations_;
  std::string road_;
  std::string step_;
  int lines_ = 0;  // logged
};

TEST_F(IoFaultsTest, FindsFaultWithCarelessWriting) {
  const MakeKeeper make = [](const fs::path& path) {
    return std::make_unique<CarelessKeeper>(path);
  };
  const Road road = {"careless", "a", "bc", 'd'};
  EXPECT_NE(Violations(make, road, {"short writes", 0, true, Strikes::Writes}),
            std::vector<std::string>());
}

TEST_F(IoFaultsTest, HitsOutliveEveryFault) {
  const MakeKeeper make = [](const fs::path& path) { return std::make_unique<HitKeeper>(path); };
  for (const Road& road : {Road{"new", "", "n+++-+", '+'}, Road{"clear", "n++", "+c+-", '+'},
                           Road{"drain", "n++++s", "-r---", '+'}, Road{"sync", "n++", "+s+s", '+'},
                           Road{"restart", "n++", "n+", '+'}, Road{"repair", "n+++", "r", '+'}}) {
    ExpectNoViolations(make, road);
  }
}

TEST_F(IoFaultsTest, TimedActionsOutliveEveryFault) {
  const MakeKeeper make = [this](const fs::path& path) {
    return std::make_unique<TimedActionKeeper>(path, tracker_, queue_, fakes_.clock);
  };
  for (const Road& road : {Road{"new", "", "nabuA", 'p'}, Road{"restart", "nab", "nc?", 'd'}}) {
    ExpectNoViolations(make, road);
  }
}

TEST_F(IoFaultsTest, SettingsOutliveEveryFault) {
  const MakeKeeper make = [this](const fs::path& path) {
    return std::make_unique<SettingsKeeper>(path, log_);
  };
  for (const Road& road : {Road{"new", "", "nabA", 'c'}, Road{"restart", "nab", "n?Bc", 'c'}}) {
    ExpectNoViolations(make, road);
  }
}

TEST_F(IoFaultsTest, ReplacementsAreSyncedBeforeTheyAreRenamed) {
  const TemporaryFolder temporary;
  LocalFolderLinux folder(MakeDataFolder(temporary.Path()));
  FileFaults faults(temporary.Path());
  const auto replacement = folder.Replace("a");
  replacement->Append("new");
  const auto file = replacement->Commit();
  file->Write(3, "er");
  file->Sync();
  const std::string name = temporary.Path().filename();
  EXPECT_EQ(faults.Calls(),
            (std::vector<std::string>{"open " + name, "open " + name, "open veltro.lock",
                                      "fchmod veltro.lock", "unlink a.tmp", "open a.tmp",
                                      "fchmod a.tmp", "pwrite a.tmp", "fdatasync a.tmp",
                                      "renameat a", "fsync " + name, "pwrite a", "fdatasync a"}));
}

}  // namespace
}  // namespace Veltro::Internal::Testing
