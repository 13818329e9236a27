#include <condition_variable>
#include <mutex>
#include <optional>
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
constexpr std::chrono::microseconds kNoPace{0};

/// What handing a piece of work to a sleeping thread costs by itself: the same bytes, one
/// allocation, a mutex and a condition variable.
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

struct Condition {
  std::string name;
  int queued = 0;
  Meanwhile meanwhile = Meanwhile::Held;
};

const std::vector<Condition>& Conditions() {
  static const std::vector<Condition> conditions = {
      {"10 queued", 10},
      {"100,000 queued", 100'000},
      {"100,000 queued, draining", 100'000, Meanwhile::Draining},
      {"100,000 queued, disk stalled 2 s", 100'000, Meanwhile::Stalled}};
  return conditions;
}

std::vector<Figure> RunPaced(const Setting& setting, const Condition& condition) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, condition.queued);
  const int count = setting.quick ? 500 : 1000;
  Latencies floor;
  {
    BareHandOver bare;
    floor = TimeCalls(count / 2, kPace, [&] { bare(); });
  }
  Analytics::GetTrackingQueueSize();  // behind the first use
  Track();
  if (condition.meanwhile == Meanwhile::Draining) {
    Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
    server.WaitForHits(1);
  }
  std::optional<StalledDisk> stall;
  if (condition.meanwhile == Meanwhile::Stalled) stall.emplace(2s);
  const Latencies calls = TimeCalls(count, kPace, Track);
  stall.reset();
  const std::string name = "call every 2 ms, " + condition.name;
  return {{name + ", median", calls.Median(), "us",
           Floor{"hand-over to a sleeping thread", floor.Median()}, "<= 10"},
          {name + ", p99", calls.Quantile(0.99), "us",
           Floor{"hand-over to a sleeping thread", floor.Quantile(0.99)}, "<= 50"}};
}

std::vector<Figure> RunTight(const Setting& setting, const Condition& condition, int threads) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, condition.queued);
  Analytics::GetTrackingQueueSize();
  Track();
  const int count = (setting.quick ? 5'000 : 20'000) / threads;
  const Latencies calls = TimeCallsFromThreads(threads, count, kNoPace, Track);
  Latencies floor;
  {
    BareHandOver bare;
    floor = TimeCallsFromThreads(threads, count, kNoPace, [&] { bare(); });
  }
  const std::string name = "call in a tight loop, " + std::to_string(threads) +
                           (threads == 1 ? " thread, " : " threads, ") + condition.name;
  // The figures to reach are those of one caller; eight share two cores.
  return {{name + ", median", calls.Median(), "us", Floor{"hand-over", floor.Median()},
           threads == 1 ? "<= 3" : ""},
          {name + ", p99", calls.Quantile(0.99), "us", Floor{"hand-over", floor.Quantile(0.99)},
           threads == 1 ? "<= 25" : ""}};
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
        {std::string(call.name) + " every 2 ms, median", latencies.Median(), "us", {}, ""});
  }
  return figures;
}

}  // namespace

std::vector<Scenario> CallScenarios() {
  std::vector<Scenario> scenarios;
  for (const Condition& condition : Conditions()) {
    scenarios.push_back({"paced, " + condition.name, [&condition](const Setting& setting) {
                           return RunPaced(setting, condition);
                         }});
  }
  for (const int threads : {1, 8}) {
    for (const Condition& condition : {Conditions()[0], Conditions()[1]}) {
      scenarios.push_back({"tight, " + std::to_string(threads) + ", " + condition.name,
                           [condition, threads](const Setting& setting) {
                             return RunTight(setting, condition, threads);
                           }});
    }
  }
  scenarios.push_back({"every call", RunEveryCall, 1});
  return scenarios;
}

}  // namespace Veltro::Bench
