#include <gtest/gtest.h>

#include <algorithm>
#include <random>

#include "analytics/hit_store.h"
#include "fakes/fake_local_folder.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

QueuedHit MakeHit(int number, std::size_t length) {
  std::string text = "s" + std::to_string(number) + "?";
  text.resize(std::max(length, text.size()), 'x');
  return {std::move(text), number};
}

/// A random run of changes on a disk that records what it is told.
class HitStorePowerLossTest : public testing::Test {
 protected:
  /// After which changes of the disk a loss of power loses a state that it may not.
  std::vector<std::string> Misses() {
    std::vector<std::string> misses;
    for (unsigned seed = 1; seed <= 10; ++seed) {
      Run(seed);
      for (std::size_t changes = 0; changes <= disk_->RecordedChanges(); ++changes) {
        for (const auto loss : {PowerLoss::KeepsAll, PowerLoss::CutsLastWrite, PowerLoss::DropsData,
                                PowerLoss::DropsDataAndNames}) {
          if (FindsAState(changes, loss)) continue;
          misses.push_back("seed " + std::to_string(seed) + ", change " + std::to_string(changes) +
                           ", loss " + std::to_string(static_cast<int>(loss)));
        }
      }
    }
    return misses;
  }

  bool syncsReplacements_ = true;

 private:
  using PowerLoss = Testing::FakeDisk::PowerLoss;

  void Run(unsigned seed) {
    std::mt19937 random(seed);
    longest_ = seed == 1 ? 30'000 : 300;  // so long that blanks are worth compacting
    disk_ = std::make_shared<Testing::FakeDisk>();
    disk_->SetSyncsReplacements(syncsReplacements_);
    disk_->StartRecording();
    states_ = {{{}, 0, true, false}};
    Testing::FakeLocalFolder folder(disk_);
    HitStore store(folder);
    std::vector<QueuedHit> hits;
    for (int change = 0; change < 50; ++change) {
      const bool isReplacement = Change(store, hits, static_cast<std::uint32_t>(random()));
      states_.push_back({hits, disk_->RecordedChanges(), !store.NeedsSync(), isReplacement});
    }
  }

  /// Whether a store finds the queue as it was after some change, at or after the last sync, on the
  /// disk that a loss of power leaves.
  bool FindsAState(std::size_t changes, PowerLoss loss) {
    Testing::FakeLocalFolder folder(disk_->AfterPowerLoss(changes, loss));
    HitStore store(folder);
    const std::vector<QueuedHit> found = Drain(store);
    std::size_t first = 0;
    std::size_t last = 0;
    for (std::size_t i = 0; i < states_.size(); ++i) {
      if (states_[i].isSynced && states_[i].changes <= changes) first = i;
      if (states_[last].changes < changes) last = i;
    }
    for (std::size_t i = first; i <= std::max(first, last); ++i) {
      if (states_[i].hits == found) return true;
    }
    return loss == PowerLoss::CutsLastWrite && states_[last].isReplacement &&
           AreEqualButTheFirst(found, states_[last].hits);
  }

  struct State {
    std::vector<QueuedHit> hits;
    std::size_t changes;  // of the disk, so far
    bool isSynced;
    bool isReplacement;  // of the first hit, which a cut damages
  };

  static bool AreEqualButTheFirst(std::vector<QueuedHit> found, std::vector<QueuedHit> hits) {
    if (found.size() == hits.size()) found.erase(found.begin());
    hits.erase(hits.begin());
    return found == hits;
  }

  /// Whether the change is a replacement.
  bool Change(HitStore& store, std::vector<QueuedHit>& hits, std::uint32_t random) {
    const auto first = store.First();
    const unsigned choice = random % 16;
    const auto number = static_cast<int>(random / 16 % 2'000'000);
    if (choice < 7 || !first) {
      hits.push_back(MakeHit(number, random % longest_));
      store.Append(hits.back());
    } else if (choice < 11) {
      hits.erase(hits.begin());
      store.RemoveFirst(first->id);
    } else if (choice < 13) {
      hits.front() = MakeHit(number, hits.front().hit.size());
      store.ReplaceFirst(first->id, hits.front());
    } else if (choice == 13) {
      hits.clear();
      store.Clear();
    } else {
      store.Sync();
    }
    return first && choice >= 11 && choice < 13;
  }

  static std::vector<QueuedHit> Drain(HitStore& store) {
    std::vector<QueuedHit> hits;
    while (auto first = store.First()) {
      hits.push_back(first->hit);
      store.RemoveFirst(first->id);
    }
    return hits;
  }

  Testing::LogCapture log_;  // keeps lines about damaged files to itself
  std::shared_ptr<Testing::FakeDisk> disk_;
  std::uint32_t longest_ = 0;
  std::vector<State> states_;  // of the queue, at first and after each change
};

TEST_F(HitStorePowerLossTest, FindsAStateOfTheQueueWheneverPowerFails) {
  EXPECT_EQ(Misses(), std::vector<std::string>());
}

TEST_F(HitStorePowerLossTest, MissesTheQueueWhereNoSyncPrecedesTheRenaming) {
  syncsReplacements_ = false;
  EXPECT_NE(Misses(), std::vector<std::string>());
}

}  // namespace
}  // namespace Veltro::Internal
