// What the library takes of its host: memory for each call and each queued hit, and wake-ups while
// nothing happens. The program has its own global allocator, which counts.

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <new>
#include <thread>

#include "api/runtime.h"
#include "platform/linux/linux_platform.h"
#include "support/raw_server.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"
#include "support/ten_values.h"
#include "veltro/veltro.h"

namespace {

thread_local int allocations = 0;  // of this thread
std::atomic<std::int64_t> heapBytes = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const memory = std::malloc(size);
  if (memory == nullptr) throw std::bad_alloc();
  ++allocations;
  heapBytes += static_cast<std::int64_t>(malloc_usable_size(memory));
  return memory;
}

void operator delete(void* memory) noexcept {
  heapBytes -= static_cast<std::int64_t>(malloc_usable_size(memory));
  std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept { operator delete(memory); }

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Testing::RawServer;
using Testing::TenValues;

/// The library on the real platform, with a server that takes everything.
class FootprintTest : public testing::Test {
 protected:
  explicit FootprintTest(const char* privacy = "optin") {
    std::filesystem::create_directory(folder_.Path() / "package");
    const std::string server = server_.Url().substr(7, server_.Url().size() - 8);
    std::ofstream(folder_.Path() / "package/VeltroConfig.json")
        << R"({"analytics":{"rsids":"s","offlineEnabled":true,"server":")" << server
        << R"(","privacyDefault":")" << privacy << R"("},"audienceManager":{"server":")" << server
        << R"("},"target":{"clientCode":"shop"}})";
    LinuxPlatformOptions options;
    options.packageFolder = folder_.Path() / "package";
    options.dataFolder = folder_.Path() / "data";
    options.applicationTitle = "Shop";
    options.applicationVersion = "1.2.3.4";
    options.targetEdgeDomain = ".localhost:" + std::to_string(server_.Port());
    options.logSink = [](std::string_view) {};
    runtime_ = std::make_unique<Runtime>(MakeLinuxPlatform(std::move(options)));
    Runtime::ReplaceCurrent(runtime_.get());
  }

  ~FootprintTest() override { Runtime::ReplaceCurrent(nullptr); }

  Testing::ScopedVariable noProxy_{"no_proxy", "127.0.0.1,.localhost"};
  Testing::TemporaryFolder folder_;
  RawServer server_{
      [](const std::string&) { return RawServer::Reply{RawServer::Answer("200 OK")}; }};
  std::unique_ptr<Runtime> runtime_;
};

class HeldFootprintTest : public FootprintTest {
 protected:
  HeldFootprintTest() : FootprintTest("optunknown") {}
};

/// The fewest allocations that `call` makes on this thread: now and then the queue grows.
int AllocationsOf(const std::function<void()>& call) {
  int fewest = 1000;
  for (int i = 0; i < 20; ++i) {
    const int before = allocations;
    call();
    fewest = std::min(fewest, allocations - before);
  }
  return fewest;
}

TEST_F(HeldFootprintTest, ACallAllocatesItsDataAndItsWorkItem) {
  struct Row {
    const char* name;
    int most;
    std::function<void()> call;
  };
  const Row rows[] = {
      {"state without data", 1, [] { Analytics::TrackState("Home"); }},
      {"state", 2, [] { Analytics::TrackState("Home", TenValues()); }},
      {"action", 2, [] { Analytics::TrackAction("buy", TenValues()); }},
      {"long name", 3, [] { Analytics::TrackAction("buy a watering can", TenValues()); }},
      {"timed action", 2, [] { Analytics::TrackTimedActionStart("shop", TenValues()); }},
      {"end of a timed action", 1, [] { Analytics::TrackTimedActionEnd("shop"); }},
      {"lifetime value", 2, [] { Analytics::TrackLifetimeValueIncrease(1, TenValues()); }},
      {"location", 2, [] { Analytics::TrackLocation(51.5, -0.1, TenValues()); }},
      {"media report", 1, [] { Media::Play("film", 1); }},
      {"media data", 2, [] { Media::Track("film", TenValues()); }},
      {"lifecycle", 0, [] { Config::CollectLifecycleData(); }},
  };
  for (const Row& row : rows) EXPECT_LE(AllocationsOf(row.call), row.most) << row.name;
}

TEST_F(HeldFootprintTest, AQueuedHitTakesItsPlaceInTheIndexAndNoMore) {
  constexpr std::int64_t kMostBytes = 20;  // 16 of the entry, and the pages of the queue
  constexpr int kHits = 5'000;
  const auto track = [this](int count) {
    for (int i = 0; i < count; ++i) {
      Analytics::TrackAction("buy", TenValues());
      // Calls that wait to be worked off take memory, too, but not for long.
      if (i % 10 == 9) {
        ASSERT_TRUE(runtime_->WaitUntilSaved(10s));
      }
    }
  };
  track(100);
  const std::int64_t before = heapBytes;
  track(kHits);
  EXPECT_EQ(Analytics::GetTrackingQueueSize(), 100 + kHits);
  EXPECT_LE((heapBytes - before) / kHits, kMostBytes);
}

/// Whether a thread sleeps until it is woken: in a system call, and in none that ends by itself.
bool SleepsForEver(const std::filesystem::path& task) {
  std::ifstream file(task / "syscall");
  std::string first;
  file >> first;
  if (first.empty() || first == "running") return false;
  std::uint64_t arguments[4] = {};
  for (std::uint64_t& argument : arguments) file >> std::hex >> argument;
  switch (std::stol(first)) {
    case SYS_futex:
      return arguments[3] == 0;  // no time-out
#ifdef SYS_poll
    case SYS_poll:
      // libcurl has no other way to say it: 24 days.
      return static_cast<std::int32_t>(arguments[2]) < 0 || arguments[2] == INT32_MAX;
#endif
    case SYS_ppoll:
      return arguments[2] == 0;
    case SYS_accept4:
    case SYS_recvfrom:
      return true;
    default:
      return false;
  }
}

bool AllOthersSleepForEver() {
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(gettid())) continue;
    if (!SleepsForEver(task.path())) return false;
  }
  return true;
}

TEST_F(FootprintTest, NothingWakesUpWhileNothingHappens) {
#ifdef __SANITIZE_THREAD__
  GTEST_SKIP() << "the sanitizer has a thread of its own that wakes up";
#endif
  if (!std::ifstream("/proc/self/syscall").good()) GTEST_SKIP() << "the system does not tell";
  Config::CollectLifecycleData();
  Analytics::TrackAction("buy", TenValues());
  Analytics::TrackTimedActionStart("shop");
  MediaSettings film;
  film.Name = "film";
  film.Length = 600;
  Media::Open(film);
  Media::Play("film", 0);
  AudienceManager::SignalWithData(TenValues()).WaitFor(10s);
  Target::LoadRequest(Target::CreateRequest("place", "default")).WaitFor(10s);
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  EXPECT_FALSE(AllOthersSleepForEver()) << "the film plays, which takes a look each second";
  Media::Stop("film", 1);
  const auto deadline = std::chrono::steady_clock::now() + 20s;
  while (!AllOthersSleepForEver() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(10ms);
  }
  EXPECT_TRUE(AllOthersSleepForEver());
}

}  // namespace
}  // namespace Veltro::Internal
