#include <condition_variable>
#include <mutex>
#include <stdexcept>
#include <thread>
#include <vector>

#include "bare_server.h"
#include "measure.h"
#include "sandbox.h"
#include "scenario.h"
#include "stalled_disk.h"

// How long calls take that the application makes.

namespace Veltro::Bench {
namespace {

using namespace std::chrono_literals;

constexpr std::chrono::microseconds kPace = 2ms;
constexpr std::chrono::microseconds kPause = 20ms;

/// What handing a piece of work to another thread costs by itself: the same bytes, one allocation,
/// a mutex and a condition variable. When the calls are paced the thread sleeps each time.
class BareHandOver {
 public:
  ~BareHandOver() {
    HandOver(true);
    thread_.join();
  }

  void operator()() { HandOver(false); }

 private:
  void HandOver(bool last) {
    {
      const std::lock_guard lock(mutex_);
      work_.emplace_back(400, 'x');
      last_ = last;
    }
    changed_.notify_one();
  }

  void Run() {
    std::unique_lock lock(mutex_);
    while (!last_) {
      changed_.wait(lock, [this] { return !work_.empty(); });
      work_.clear();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  std::vector<std::vector<char>> work_;
  bool last_ = false;
  std::thread thread_{[this] { Run(); }};
};

/// What goes on while the calls are made.
enum class Meanwhile { Held, Draining, Stalled };

/// How the calls are made.
struct Manner {
  std::string name;
  std::chrono::microseconds pace{0};  ///< from call to call; none for a tight loop
  int threads = 1;
  int queued = 10;
  Meanwhile meanwhile = Meanwhile::Held;
};

const std::vector<Manner>& Manners() {
  static const std::vector<Manner> manners = {
      {"paced, 10 queued", kPace},
      {"paced, 100,000 queued", kPace, 1, 100'000},
      {"paced, 100,000 queued, draining", kPace, 1, 100'000, Meanwhile::Draining},
      {"paced, 100,000 queued, disk stalled", kPace, 1, 100'000, Meanwhile::Stalled},
      {"after pauses of 20 ms, 10 queued", kPause},
      {"paced, 8 threads, 10 queued", kPace, 8},
      {"paced, 8 threads, 100,000 queued", kPace, 8, 100'000},
      {"tight, 10 queued", 0us},
      {"tight, 100,000 queued", 0us, 1, 100'000},
      {"tight, 8 threads, 10 queued", 0us, 8},
      {"tight, 8 threads, 100,000 queued", 0us, 8, 100'000}};
  return manners;
}

struct Goals {
  const char* median;
  const char* p99;
};

/// Those of one caller, as eight share two processors, and not for a call that wakes the worker.
Goals GoalsFor(const Manner& manner) {
  if (manner.threads > 1 || manner.pace == kPause) return {"", ""};
  return manner.pace == kPace ? Goals{"<= 10", "<= 50"} : Goals{"<= 3", "<= 25"};
}

Latencies TimeOnStalledDisk(const std::function<Latencies()>& time) {
  constexpr long kAtMostOneForEachThread = 10;
  const StalledDisk stall(2500ms);  // calls for 2 s, and a little longer
  const long before = CountDiskOperations();
  Latencies latencies = time();
  if (CountDiskOperations() - before > kAtMostOneForEachThread) {
    throw std::runtime_error("the disk did not stall");
  }
  return latencies;
}

int CountFor(const Manner& manner, const Setting& setting) {
  if (manner.pace == kPace) return setting.quick ? 500 : 1000;
  if (manner.pace == kPause) return setting.quick ? 50 : 200;
  return (setting.quick ? 5'000 : 20'000) / manner.threads;
}

std::vector<Figure> RunCalls(const Setting& setting, const Manner& manner) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, manner.queued);
  const int count = CountFor(manner, setting);
  const auto time = [&](const std::function<void()>& call) {
    return TimeCallsFromThreads(manner.threads, count, manner.pace, call);
  };
  Track();
  Analytics::GetTrackingQueueSize();  // behind the first use
  if (manner.meanwhile == Meanwhile::Draining) {
    Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
    server.WaitForHits(1);
  }
  const Latencies calls = manner.meanwhile == Meanwhile::Stalled
                              ? TimeOnStalledDisk([&] { return time(Track); })
                              : time(Track);
  Latencies floor;
  {
    BareHandOver bare;
    floor = time([&] { bare(); });
  }
  const std::string name = "call, " + manner.name;
  const Goals goals = GoalsFor(manner);
  return {
      {name + ", median", calls.Median(), "us", Floor{"hand-over", floor.Median()}, goals.median},
      {name + ", p99", calls.Quantile(0.99), "us", Floor{"hand-over", floor.Quantile(0.99)},
       goals.p99}};
}

/// How a call in a long queue relates to one in a short queue, both in one process, as a machine's
/// moods change from one process to the next.
std::vector<Figure> RunGrowth(const Setting& setting) {
  const Sandbox sandbox("127.0.0.1:9", setting.templates, 10);
  Track();
  Analytics::GetTrackingQueueSize();
  const Latencies shallow = TimeCalls(500, kPace, Track);
  FillQueue(100'000);
  const Latencies deep = TimeCalls(500, kPace, Track);
  return {{"cost of a paced call, 100,000 queued by 10",
           deep.Median() / shallow.Median(),
           "x",
           {},
           ""}};
}

/// Every other public function that an application may call on its main thread.
std::vector<Figure> RunEveryCall(const Setting& setting) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, 0);
  Track();
  Analytics::GetTrackingQueueSize();
  MediaSettings film;
  film.Name = "film";
  film.Length = 600;
  film.Milestones = "25,50,75";
  double offset = 0;
  const TargetLocationRequest place = Target::CreateRequest("place", "default", {{"a", "b"}});
  struct Call {
    const char* name;
    std::function<void()> call;
  };
  const std::vector<Call> calls = {
      {"TrackState", [] { Analytics::TrackState("Home", TenValues()); }},
      {"TrackTimedActionStart", [] { Analytics::TrackTimedActionStart("shop", TenValues()); }},
      {"TrackTimedActionUpdate", [] { Analytics::TrackTimedActionUpdate("shop", TenValues()); }},
      {"TrackTimedActionEnd", [] { Analytics::TrackTimedActionEnd("shop"); }},
      {"TrackLifetimeValueIncrease", [] { Analytics::TrackLifetimeValueIncrease(1, TenValues()); }},
      {"TrackLocation", [] { Analytics::TrackLocation(51.5, -0.1, TenValues()); }},
      {"SetUserIdentifier", [] { Config::SetUserIdentifier("ann"); }},
      {"CollectLifecycleData", [] { Config::CollectLifecycleData(); }},
      {"PauseCollectingLifecycleData", [] { Config::PauseCollectingLifecycleData(); }},
      {"Media::Open", [&] { Media::Open(film); }},
      {"Media::Play", [&] { Media::Play(film.Name, offset += 1); }},
      {"Media::Track", [&] { Media::Track(film.Name, TenValues()); }},
      {"Media::Stop", [&] { Media::Stop(film.Name, offset += 1); }},
      {"Media::Close", [&] { Media::Close(film.Name); }},
      {"SignalWithData", [] { AudienceManager::SignalWithData(TenValues()); }},
      {"Target::LoadRequest", [&] { Target::LoadRequest(place); }}};
  std::vector<Figure> figures;
  for (const Call& call : calls) {
    const Latencies latencies = TimeCalls(setting.quick ? 100 : 300, kPace, call.call);
    figures.push_back(
        {std::string("paced ") + call.name + ", median", latencies.Median(), "us", {}, ""});
  }
  return figures;
}

}  // namespace

std::vector<Scenario> CallScenarios() {
  constexpr int kRuns = 5;
  std::vector<Scenario> scenarios;
  for (const Manner& manner : Manners()) {
    const auto run = [&manner](const Setting& setting) { return RunCalls(setting, manner); };
    scenarios.push_back({"call, " + manner.name, run, kRuns});
  }
  scenarios.push_back({"call, growth", RunGrowth, kRuns});
  scenarios.push_back({"every call", RunEveryCall, 1});
  return scenarios;
}

}  // namespace Veltro::Bench
