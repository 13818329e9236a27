#include "analytics/hit_store.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <random>

#include "fakes/fake_local_folder.h"
#include "platform/platform_error.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kFile = "VeltroDataCache.json";

QueuedHit MakeHit(int number, std::size_t length = 20) {
  std::string text = "s" + std::to_string(number) + "?";
  text.resize(std::max(length, text.size()), 'x');
  return {std::move(text), number};
}

class HitStoreTest : public testing::Test {
 protected:
  /// The hits of the file, read by an independent parser.
  std::vector<QueuedHit> FileHits() {
    std::vector<QueuedHit> hits;
    const auto root = nlohmann::json::parse(disk_->Contents(kFile).value(), nullptr, false);
    if (!root.is_object()) return {{"not JSON", -1}};
    for (const auto& element : root.at("Hits")) hits.push_back({element.at("H"), element.at("T")});
    return hits;
  }

  std::vector<QueuedHit> Drain(HitStore& store) {
    std::vector<QueuedHit> hits;
    while (auto first = store.First()) {
      hits.push_back(first->hit);
      store.RemoveFirst(first->id);
    }
    return hits;
  }

  Testing::LogCapture log_;
  std::shared_ptr<Testing::FakeDisk> disk_ = std::make_shared<Testing::FakeDisk>();
  Testing::FakeLocalFolder folder_{disk_};
};

TEST_F(HitStoreTest, KeepsTheFileEqualToTheQueueUnderRandomChangesOfTwoProcesses) {
  for (unsigned seed = 1; seed <= 4; ++seed) {
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    disk_->Erase(kFile);
    std::unique_ptr<HitStore> stores[] = {std::make_unique<HitStore>(folder_),
                                          std::make_unique<HitStore>(folder_)};
    std::vector<QueuedHit> model;
    for (int step = 0; step < 150; ++step) {
      std::unique_ptr<HitStore>& store = stores[random() % 2];
      switch (random() % 8) {
        case 0:
        case 1:
        case 2:
        case 3:
          model.push_back(MakeHit(static_cast<int>(random() % 100'000) - 50'000, random() % 9000));
          store->Append(model.back());
          break;
        case 4:
        case 5:
          if (auto first = store->First()) {
            ASSERT_EQ(first->hit, model.front());
            store->RemoveFirst(first->id);
            model.erase(model.begin());
          }
          break;
        case 6:
          if (auto first = store->First()) {
            model.front() =
                MakeHit(static_cast<int>(random()), model.front().hit.size() + random() % 3);
            store->ReplaceFirst(first->id, model.front());
          }
          break;
        default:
          store = nullptr;  // a restart
          store = std::make_unique<HitStore>(folder_);
          if (random() % 10 == 0) {
            store->Clear();
            model.clear();
          }
      }
      ASSERT_EQ(FileHits(), model) << "after step " << step;
      ASSERT_EQ(store->Size(), model.size());
    }
    EXPECT_EQ(Drain(*stores[0]), model);
    EXPECT_FALSE(stores[1]->First());
  }
  EXPECT_TRUE(log_.Lines().empty());
}

TEST_F(HitStoreTest, WritesOneElementPerChangeWhateverTheDepth) {
  HitStore store(folder_);
  store.Append(MakeHit(0));
  const std::size_t element = WriteHitElement(MakeHit(0)).size();
  for (const int depth : {1, 100'000}) {
    while (store.Size() < static_cast<std::size_t>(depth)) store.Append(MakeHit(0));
    disk_->ResetCounts();
    store.Append(MakeHit(0));
    EXPECT_EQ(disk_->GetCounts().operations, 1) << depth;
    EXPECT_EQ(disk_->GetCounts().bytesWritten, element + std::string_view(",]}").size()) << depth;
    disk_->ResetCounts();
    store.RemoveFirst(store.First()->id);
    EXPECT_EQ(disk_->GetCounts().writes, 1) << depth;
    EXPECT_EQ(disk_->GetCounts().bytesWritten, element + std::string_view(",").size()) << depth;
    EXPECT_EQ(disk_->GetCounts().reads, 1) << depth;
  }
}

TEST_F(HitStoreTest, RewritesTheFileWhenBlanksOutweighTheHitsAndWhenItEmpties) {
  HitStore store(folder_);
  for (int i = 0; i < 300; ++i) store.Append(MakeHit(i, 1000));
  disk_->ResetCounts();
  for (int i = 0; i < 299; ++i) store.RemoveFirst(store.First()->id);
  const int compactions = disk_->GetCounts().replaces;
  EXPECT_EQ(compactions, 3);  // with 149, 74 and 10 hits left; then 64 KiB are never reached
  EXPECT_EQ(FileHits(), std::vector<QueuedHit>{MakeHit(299, 1000)});
  store.RemoveFirst(store.First()->id);
  EXPECT_EQ(disk_->Contents(kFile), R"({"Hits":[]})");
}

TEST_F(HitStoreTest, NeverTakesAnotherHitForOneThatWasCleared) {
  HitStore store(folder_);
  store.Append(MakeHit(1));
  const auto underWay = store.First();
  store.Clear();
  store.Append(MakeHit(2));
  store.ReplaceFirst(underWay->id, MakeHit(9));
  store.RemoveFirst(underWay->id);
  EXPECT_EQ(FileHits(), std::vector<QueuedHit>{MakeHit(2)});
}

TEST_F(HitStoreTest, NeverTakesAHitOfAnotherProcessForTheOneUnderWay) {
  HitStore ours(folder_);
  HitStore theirs(folder_);
  ours.Append(MakeHit(1));
  const auto underWay = ours.First();
  theirs.Append(MakeHit(2));
  ours.RemoveFirst(underWay->id);
  EXPECT_EQ(FileHits(), std::vector<QueuedHit>{MakeHit(2)});
  const auto next = ours.First();
  theirs.Clear();
  theirs.Append(MakeHit(3));
  ours.RemoveFirst(next->id);
  EXPECT_EQ(FileHits(), std::vector<QueuedHit>{MakeHit(3)});
}

TEST_F(HitStoreTest, NeverTakesAStoredHitForOneUnderWayFromBeforeItCouldBeRead) {
  HitStore(folder_).Append(MakeHit(1));
  disk_->FailAtOperation(1, Testing::FakeDisk::Repeat::ForGood);
  HitStore ours(folder_);
  ours.Append(MakeHit(2));
  const auto underWay = ours.First();
  disk_->Heal();
  ours.RemoveFirst(underWay->id);
  EXPECT_EQ(FileHits(), (std::vector{MakeHit(1), MakeHit(2)}));

  HitStore theirs(folder_);
  theirs.Clear();
  theirs.Append(MakeHit(3));
  disk_->FailAtOperation(1);
  EXPECT_FALSE(ours.First()) << "has not been able to read the hits";
  EXPECT_EQ(ours.First()->hit, MakeHit(3));
}

TEST_F(HitStoreTest, OneProcessAtATimeSends) {
  HitStore ours(folder_);
  {
    HitStore theirs(folder_);
    EXPECT_TRUE(theirs.ClaimSending());
    EXPECT_FALSE(ours.ClaimSending());
    theirs.YieldSending();
    EXPECT_TRUE(ours.ClaimSending());
    ours.YieldSending();
    EXPECT_TRUE(theirs.ClaimSending());
  }
  EXPECT_TRUE(ours.ClaimSending());  // the other one has ended
}

TEST_F(HitStoreTest, ClearsTheFileEvenWhenNoneCanBeWritten) {
  HitStore store(folder_);
  store.Append(MakeHit(1));
  disk_->Put("VeltroDataCache.json.tmp", "a hit");  // of a process that died
  disk_->FailAtOperation(2, Testing::FakeDisk::Repeat::ForGood);
  store.Clear();
  EXPECT_FALSE(disk_->Contents(kFile));
  EXPECT_TRUE(disk_->TemporaryFiles().empty());
}

TEST_F(HitStoreTest, NeverOverwritesAFileThatItCouldNotRead) {
  HitStore(folder_).Append(MakeHit(1));
  disk_->FailAtOperation(1);
  HitStore store(folder_);
  disk_->FailAtOperation(1);
  store.Append(MakeHit(2));
  EXPECT_EQ(FileHits(), std::vector<QueuedHit>{MakeHit(1)});
  store.Append(MakeHit(3));
  EXPECT_EQ(FileHits(), (std::vector{MakeHit(1), MakeHit(2), MakeHit(3)}));
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{
                              "Veltro Error: Analytics - Unable to load queued hits (write: No "
                              "space left on device)\n"});
}

TEST_F(HitStoreTest, GivesARepairedTimestampRoomToGrow) {
  HitStore store(folder_);
  store.Append(MakeHit(9));
  store.Append(MakeHit(10));
  store.ReplaceFirst(store.First()->id, MakeHit(2'000'000'000, 30));
  EXPECT_EQ(FileHits(), (std::vector{MakeHit(2'000'000'000, 30), MakeHit(10)}));
  disk_->ResetCounts();
  store.ReplaceFirst(store.First()->id, MakeHit(2'000'000'001, 30));
  EXPECT_EQ(disk_->GetCounts().writes, 1);
}

TEST_F(HitStoreTest, LoadsWhatItCanOfADamagedFileAndLogsOnce) {
  disk_->Put(kFile, R"({"Hits":[{"H":"a","T":1},{"H":"b","T)");
  HitStore store(folder_);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{
                              "Veltro Error: Analytics - Unable to load queued hits (the file is "
                              "damaged; kept 1 hits)\n"});
  EXPECT_EQ(FileHits(), (std::vector<QueuedHit>{{"a", 1}}));
  EXPECT_EQ(Drain(store), (std::vector<QueuedHit>{{"a", 1}}));
}

TEST_F(HitStoreTest, KeepsTheHitsOfAFileThatMayOnlyBeRead) {
  HitStore(folder_).Append(MakeHit(1));
  disk_->FailAtOperation(2, Testing::FakeDisk::Repeat::ForGood);  // it can be read, then nothing
  HitStore store(folder_);
  store.Append(MakeHit(2));
  EXPECT_EQ(Drain(store), (std::vector{MakeHit(1), MakeHit(2)}));
}

TEST_F(HitStoreTest, GoesOnInMemoryWhileTheDiskRefusesAndWritesAllAfterwards) {
  HitStore store(folder_);
  store.Append(MakeHit(1));
  disk_->SetShortWrites(true);
  disk_->FailAtOperation(1, Testing::FakeDisk::Repeat::ForGood);
  store.Append(MakeHit(2));
  store.Append(MakeHit(3));
  EXPECT_EQ(store.Size(), 3U);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{
                              "Veltro Error: Analytics - Unable to save hit queue (write: No "
                              "space left on device)\n"});
  EXPECT_THROW(store.First(), PlatformError);  // hit 1 lies in the file only
  disk_->Heal();
  store.Append(MakeHit(4));
  EXPECT_EQ(FileHits(), (std::vector{MakeHit(1), MakeHit(2), MakeHit(3), MakeHit(4)}));
  EXPECT_TRUE(disk_->TemporaryFiles().empty());
}

TEST_F(HitStoreTest, PassesOverAHitThatWasDamagedInTheFile) {
  HitStore store(folder_);
  store.Append(MakeHit(1));
  store.Append(MakeHit(2));
  folder_.Open(kFile)->Write(kHitDocumentHead.size(), "garbage");
  EXPECT_EQ(store.First()->hit, MakeHit(2));
  EXPECT_TRUE(log_.Contains("Analytics - Invalid hit (removed)"));
  EXPECT_EQ(store.Size(), 1U);
}

}  // namespace
}  // namespace Veltro::Internal
