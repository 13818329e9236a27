// The library in processes that are killed, that share a folder, and that fork. This program starts
// no thread of its own, so that it may fork the processes that do.

#include <gtest/gtest.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <thread>

#include "api/runtime.h"
#include "collector/collector.h"
#include "support/child_process.h"
#include "support/progress.h"
#include "support/temporary_folder.h"
#include "veltro/veltro.h"

namespace Veltro::Internal::Testing {
namespace {

using namespace std::chrono_literals;

/// A number from the environment, for the long runs; else `usual`.
int Size(const char* name, int usual) {
  const char* const text = std::getenv(name);
  return text == nullptr ? usual : std::atoi(text);
}

/// What is wrong with the pages that a server `received` from processes that report each page once
/// it is stored, by increasing numbers; empty when nothing is. Pages of different millions come
/// from different processes. A page may come again later than its successors: the last request of
/// a killed process waits in the server until one of its threads reads it.
std::string Judge(const std::vector<int>& accepted, const std::vector<int>& received, int kills) {
  constexpr int kSource = 1'000'000;
  std::map<int, int> last;
  std::set<int> known;
  for (const int page : received) {
    if (!known.insert(page).second) continue;
    int& before = last[page / kSource];
    if (page < before) return std::to_string(page) + " is out of order";
    before = page;
  }
  for (const int page : accepted) {
    if (!known.contains(page)) return std::to_string(page) + " was lost";
  }
  const int duplicates = static_cast<int>(received.size() - known.size());
  return duplicates > kills ? std::to_string(duplicates) + " duplicates" : "";
}

class ProcessesTest : public testing::Test {
 protected:
  ProcessesTest() {
    std::filesystem::create_directory(folder_.Path() / "package");
    port_ = server_.Next().value();
  }

  void Configure(int batchLimit) const {
    std::ofstream(folder_.Path() / "package/VeltroConfig.json")
        << R"({"analytics":{"rsids":"s","offlineEnabled":true,"batchLimit":)" << batchLimit
        << R"(,"server":"127.0.0.1:)" << port_ << "\"}}";
  }

  /// To be called in a process of its own.
  void BecomeApplication() const {
    Host::Options options;
    options.packageFolder = folder_.Path() / "package";
    options.dataFolder = folder_.Path() / "data";
    options.applicationTitle = "Shop";
    options.applicationVersion = "1.2.3.4";
    options.logSink = [](std::string_view) {};
    Host::Configure(std::move(options));
  }

  static void TrackPage(int page) { Analytics::TrackState(std::to_string(page)); }

  /// Tracks pages from `first` on and reports each that is stored.
  void Track(int first, int count, const ChildProcess::Report& report) const {
    BecomeApplication();
    for (int page = first; page < first + count; ++page) {
      TrackPage(page);
      Runtime::Current().QueuedHitCount(20s);
      report(page);
    }
  }

  /// Kills a process that does `body` once it has reported `reports` numbers and a little time has
  /// passed; the numbers that it reported are added to `accepted`.
  void RunAndKill(const std::function<void(const ChildProcess::Report&)>& body, int reports,
                  std::int64_t nanoseconds, std::vector<int>& accepted) const {
    ChildProcess process(body);
    std::optional<int> page;
    for (int i = 0; i < reports && (page = process.Next()); ++i) accepted.push_back(*page);
    const timespec moment{0, nanoseconds};
    nanosleep(&moment, nullptr);
    process.Kill();
    while ((page = process.Next())) accepted.push_back(*page);
  }

  /// Sends what is left, from a new process.
  void Drain() const {
    ChildProcess process([this](const ChildProcess::Report& report) {
      BecomeApplication();
      report(Host::Flush(20s) == Host::FlushResult::Done);
    });
    ASSERT_EQ(process.Next(), 1);
  }

  std::vector<int> Received() const {
    std::ifstream file(folder_.Path() / "received");
    return {std::istream_iterator<int>(file), {}};
  }

  TemporaryFolder folder_;
  int port_ = 0;
  ChildProcess server_{[this](const ChildProcess::Report& report) {
    std::ofstream received(folder_.Path() / "received");
    Collector::Collector::Options options;
    options.onHit = [&](const Collector::Hit& hit) {
      received << hit.variables.at("pageName") << std::endl;
    };
    const Collector::Collector collector(std::move(options));
    report(collector.Port());
    pause();
  }};
  std::mt19937 random_{20};
};

TEST(JudgeTest, FindsWhatWentWrong) {
  struct {
    std::vector<int> received;
    const char* complaint;
  } const rows[] = {
      {{1, 2, 3, 4}, ""},
      {{1, 2, 2, 3}, ""},
      {{1, 2, 2, 3, 3}, "2 duplicates"},
      {{1, 3}, "2 was lost"},
      {{1, 3, 2}, "2 is out of order"},
      {{1, 2, 3, 2}, ""},
      {{1, 2, 3, 2, 1}, "2 duplicates"},
      {{1, 1'000'001, 2, 3}, ""},
  };
  for (const auto& row : rows) EXPECT_EQ(Judge({1, 2, 3}, row.received, 1), row.complaint);
}

class KilledProcess : public ProcessesTest, public testing::WithParamInterface<int> {};

TEST_P(KilledProcess, LosesNothingThatWasAccepted) {
  Configure(GetParam());
  std::vector<int> accepted;
  const int kills = Size("VELTRO_KILLS", 300);
  Progress progress("kills", static_cast<std::size_t>(kills));
  for (int i = 0; i < kills; ++i) {
    const int first = accepted.empty() ? 1 : accepted.back() + 2;  // one more may be stored
    RunAndKill([&](const auto& report) { Track(first, 1000, report); },
               static_cast<int>(random_() % 12), random_() % 1'500'000, accepted);
    progress.Step();
  }
  Drain();
  EXPECT_GT(accepted.size(), kills * 3U);
  EXPECT_EQ(Judge(accepted, Received(), kills), "");
}

INSTANTIATE_TEST_SUITE_P(, KilledProcess, testing::Values(0, 1, 20), [](const auto& depth) {
  return "WithDepth" + std::to_string(depth.param);
});

TEST_F(ProcessesTest, KillsFindAHitThatIsReportedBeforeItIsStored) {
  Configure(0);
  std::vector<int> accepted;
  for (int i = 0; i < 30; ++i) {
    const int first = i * 1000 + 1;
    RunAndKill(
        [&](const auto& report) {
          BecomeApplication();
          for (int page = first; page < first + 20; ++page) {
            TrackPage(page);
            report(page);
          }
          pause();
        },
        20, 0, accepted);
  }
  Drain();
  EXPECT_NE(Judge(accepted, Received(), 30), "");
}

TEST_F(ProcessesTest, TwoProcessesShareAFolder) {
  constexpr int kHits = 400;
  Configure(0);
  const int rounds = Size("VELTRO_ROUNDS", 10);
  Progress progress("rounds of two processes", static_cast<std::size_t>(rounds));
  for (int round = 0; round < rounds; ++round) {
    SCOPED_TRACE(round);
    const int base = round * 2'000'000;
    const auto body = [&](int first, int count) {
      return [this, first, count](const auto& report) {
        Track(first, count, report);
        if (Host::Flush(20s) == Host::FlushResult::Done) report(0);
      };
    };
    std::vector<int> accepted;
    ChildProcess steady(body(base + 1, kHits));
    RunAndKill(body(base + 1'000'001, kHits), static_cast<int>(random_() % kHits),
               random_() % 1'000'000, accepted);
    const int killed = accepted.empty() ? base + 1'000'000 : accepted.back();
    ChildProcess successor(body(killed + 2, base + 1'000'000 + kHits - killed));
    for (ChildProcess* process : {&steady, &successor}) {
      std::optional<int> page;
      while ((page = process->Next()) && *page != 0) accepted.push_back(*page);
      ASSERT_EQ(page, 0) << "ended without sending all";
    }
    EXPECT_EQ(accepted.size(), 2U * kHits);
    std::vector<int> received = Received();
    std::erase_if(received, [&](int page) { return page < base; });
    EXPECT_EQ(Judge(accepted, received, 1), "");
    progress.Step();
  }
}

TEST_F(ProcessesTest, ForkedChildrenAreHarmless) {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "a sanitizer's allocator that another thread locked at the fork stays locked";
#endif
  Configure(0);
  ChildProcess application([this](const ChildProcess::Report& report) {
    BecomeApplication();
    TrackPage(1);
    std::vector<std::thread> threads;
    for (int thread = 1; thread <= 4; ++thread) {
      threads.emplace_back([thread] {
        for (int i = 0; i < 500; ++i) TrackPage(thread * 1'000'000 + i);
      });
    }
    for (int i = 0; i < 20; ++i) {
      ChildProcess child([](const ChildProcess::Report& reportChild) {
        TrackPage(666);
        Config::SetPrivacyStatus(VeltroPrivacyStatus::OptOut);
        Config::CollectLifecycleData();
        Host::SetWindowSize(1, 1);
        const bool exists = Analytics::TrackingTimedActionExists("a").Get();
        const auto profile = AudienceManager::SignalWithData({}).Get();
        Media::Open({});
        Analytics::GetTrackingQueueSize();
        reportChild(!exists && profile && Host::Flush(1s) == Host::FlushResult::TimedOut);
        std::quick_exit(0);
      });
      report(child.Next(5s).value_or(0));
      report(child.Wait(5s) == 0);
    }
    for (std::thread& thread : threads) thread.join();
    report(Host::Flush(20s) == Host::FlushResult::Done);
  });
  for (int i = 0; i < 2 * 20 + 1; ++i) ASSERT_EQ(application.Next(), 1) << i;
  std::vector<int> received = Received();
  EXPECT_EQ(received.size(), 2001U);
  EXPECT_EQ(Judge({1, 1'000'000, 4'000'499}, received, 0), "");
  EXPECT_EQ(std::count(received.begin(), received.end(), 666), 0);
}

TEST_F(ProcessesTest, AChildThatLivesOnKeepsNoLockOfItsParent) {
  Configure(1000);
  int untilTheEnd[2];
  ASSERT_EQ(pipe(untilTheEnd), 0);
  ChildProcess application([&](const ChildProcess::Report& report) {
    BecomeApplication();
    report(Runtime::Current().GetHitStore().ClaimSending());
    close(untilTheEnd[1]);
    if (fork() == 0) _exit(static_cast<int>(read(untilTheEnd[0], &port_, 1)));
    report(1);
    pause();
  });
  EXPECT_EQ(application.Next(), 1);
  EXPECT_EQ(application.Next(), 1);
  const auto claim = [&](const ChildProcess::Report& report) {
    BecomeApplication();
    report(Runtime::Current().GetHitStore().ClaimSending());
  };
  EXPECT_EQ(ChildProcess(claim).Next(), 0);
  application.Kill();
  EXPECT_EQ(ChildProcess(claim).Next(), 1);
  close(untilTheEnd[0]);
  close(untilTheEnd[1]);
}

}  // namespace
}  // namespace Veltro::Internal::Testing
