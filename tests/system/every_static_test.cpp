#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <thread>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Status = VeltroPrivacyStatus;

constexpr int kThreads = 32;
constexpr int kCalls = 250;  // of each thread, in each of two phases

constexpr const char* kAnalytics = R"({"rsids":"s","server":"SERVER","offlineEnabled":true,
    "poi":[["Berlin",52.5,13.4,10000]]})";
constexpr const char* kOthers =
    R"(,"audienceManager":{"server":"SERVER"},"target":{"clientCode":"shop","timeout":5})";
constexpr const char* kRules = R"({
    "audience": {"uuid": "U1", "rules": [{"segments": {"visitor": "yes"}}]},
    "content": {"pcId": "pc.1", "sessionId": "s-1", "locations": {"home": "Hello"}}})";

/// A hit names the road on which it came, on which order is kept, and its number there, from 0.
using Road = std::string;
using Arrivals = std::vector<std::pair<Road, int>>;
using Counts = std::map<Road, int>;

enum class Loss { None, Allowed };

/// What is wrong with the `arrivals` of so many hits; "" when each is there once and in order.
std::string Fault(const Arrivals& arrivals, const Counts& tracked, Loss loss) {
  Counts next;
  for (const auto& [road, number] : arrivals) {
    const int expected = std::exchange(next[road], number + 1);
    const auto count = tracked.find(road);
    const bool isKnown = count != tracked.end() && number < count->second;
    const bool isInOrder = loss == Loss::None ? number == expected : number >= expected;
    if (!isKnown || !isInOrder) return road + " has " + std::to_string(number);
  }
  if (loss == Loss::Allowed) return "";
  for (const auto& [road, count] : tracked) {
    if (next[road] != count) return road + " ends before " + std::to_string(next[road]);
  }
  return "";
}

struct Sent {
  Counts tracked;
  int films = 0;
  int increases = 0;
};

/// One thread of an application.
class Caller {
 public:
  Caller(int number, unsigned seed)
      : name(std::to_string(number)), random(seed * kThreads + static_cast<unsigned>(number)) {}

  /// Marks the next hit on this caller's road of the kind `road`.
  ContextData Mark(const char* kind = "tracked ") {
    const Road road = kind + name;
    return {{"road", road}, {"number", sent.tracked[road]++}};
  }

  const std::string name;
  std::mt19937 random;
  Sent sent;
  bool changesPrivacy = false;
};

using Call = void (*)(Caller&);

/// Tells all there is of a film: four hits.
void PlayFilm(Caller& caller) {
  MediaSettings film;
  film.Name = "film " + caller.name;
  film.Length = 100;
  Media::Open(film);
  Media::Play(film.Name, 0);
  Media::Track(film.Name, caller.Mark("media "));
  Media::Click(film.Name, 5);
  Media::Complete(film.Name, 100);
  Media::Stop(film.Name, 100);
  Media::Close(film.Name);
  ++caller.sent.films;
}

/// A film that every thread opens, in the same player.
void OpenTheSameFilm(Caller&) {
  MediaSettings film;
  film.Name = film.PlayerId = "shared";
  Media::Open(film);
  Media::Close(film.Name);
}

void TimeAnAction(Caller& caller) {
  const ContextData mark = caller.Mark();
  const std::string action = "action " + caller.name + " " + std::to_string(caller.random());
  Analytics::TrackTimedActionStart(action, mark);
  Analytics::TrackTimedActionUpdate(action, {{"updated", true}});
  Analytics::TrackTimedActionEnd(action);
}

const Call kTable[] = {
    [](Caller& caller) { Analytics::TrackState("state", caller.Mark()); },
    [](Caller& caller) { Analytics::TrackAction("action", caller.Mark()); },
    [](Caller& caller) { Analytics::TrackLocation(52.5, 13.4, caller.Mark()); },
    [](Caller& caller) { Analytics::TrackLocation(52.5, 13.4, 9, caller.Mark()); },
    [](Caller& caller) {
      Analytics::TrackLifetimeValueIncrease(1, caller.Mark());
      ++caller.sent.increases;
    },
    PlayFilm,
    OpenTheSameFilm,
    [](Caller& caller) { Analytics::TrackingTimedActionExists("action " + caller.name); },
    [](Caller&) { EXPECT_GE(Analytics::GetTrackingQueueSize(), 0); },
    [](Caller&) { EXPECT_NE(Analytics::GetAnalyticsId().Get(), ""); },
    [](Caller& caller) {
      if (caller.changesPrivacy) Analytics::ClearTrackingQueue();
    },
    [](Caller& caller) {
      const auto status = static_cast<Status>(caller.random() % 3 + 1);
      Config::SetPrivacyStatus(caller.changesPrivacy ? status : Status::OptIn);
    },
    [](Caller&) { Config::GetPrivacyStatus().Get(); },
    [](Caller&) { EXPECT_EQ(Config::GetVersion(), "4.0.0"); },
    [](Caller& caller) { Config::DebugLogging(caller.random() % 2 == 0); },
    [](Caller&) { Config::DebugLogging(); },
    [](Caller&) { Config::CollectLifecycleData(); },
    [](Caller& caller) { Config::SetUserIdentifier(caller.name); },
    [](Caller&) { Config::GetUserIdentifier(); },
    [](Caller&) { EXPECT_GE(Config::GetLifetimeValue(), 0); },
    [](Caller&) { AudienceManager::GetVisitorProfile(); },
    [](Caller&) { AudienceManager::GetDpuuid() + AudienceManager::GetDpid(); },
    [](Caller& caller) { AudienceManager::SetDpidAndDpuuid(caller.name, caller.name); },
    [](Caller& caller) {
      AudienceManager::SignalWithData({{"trait", caller.name}}).Get();
    },
    [](Caller&) { Target::LoadRequest(Target::CreateRequest("home", "")).Get(); },
    [](Caller&) { Target::LoadRequest(Target::CreateOrderConfirmRequest("home", "1", "2", "3")); },
    [](Caller&) { Target::GetPcId() + Target::GetSessionId(); },
    [](Caller&) { Target::OrderId() + Target::OrderTotal() + Target::ProductPurchasedId(); },
    [](Caller&) { Target::ClearStoredIds(); },
    [](Caller&) { Host::Configure({}); },
    [](Caller&) { Host::SetWindowSize(1024, 768); },
};

/// Calls that make the library wait for the storage device; they come less often.
const Call kSyncing[] = {
    TimeAnAction,
    [](Caller&) { Config::PauseCollectingLifecycleData(); },
    [](Caller&) { Host::Flush(1ms); },
};

void MakeAnyCall(Caller& caller) {
  const bool isSyncing = caller.random() % 64 == 0;
  if (isSyncing) return kSyncing[caller.random() % std::size(kSyncing)](caller);
  kTable[caller.random() % std::size(kTable)](caller);
}

/// The whole library under the calls of many threads; the number is a seed.
class EveryStaticTest : public testing::TestWithParam<unsigned> {
 protected:
  EveryStaticTest() {
    app_.Server().SetRules(kRules);
    app_.Start(kAnalytics, kOthers);
  }

  /// Lets all threads make their calls. Returns what they have tracked.
  Sent CallFromAllThreads(bool changesPrivacy) {
    std::vector<Caller> callers;
    for (int i = 0; i < kThreads; ++i) callers.emplace_back(i, GetParam());
    std::vector<std::thread> threads;
    for (Caller& caller : callers) {
      caller.changesPrivacy = changesPrivacy;
      threads.emplace_back([&caller] {
        for (int i = 0; i < kCalls; ++i) MakeAnyCall(caller);
      });
    }
    for (std::thread& thread : threads) thread.join();
    Sent all;
    for (const Caller& caller : callers) {
      all.tracked.insert(caller.sent.tracked.begin(), caller.sent.tracked.end());
      all.films += caller.sent.films;
      all.increases += caller.sent.increases;
    }
    return all;
  }

  Testing::TestApplication app_;
};

/// The marked hits and the launches, in the order of their arrival.
Arrivals MarkedOf(const std::vector<Collector::Hit>& hits) {
  Arrivals arrivals;
  for (const Collector::Hit& hit : hits) {
    if (hit.contextData.count("road") > 0) {
      arrivals.emplace_back(hit.contextData.at("road"), std::stoi(hit.contextData.at("number")));
    } else if (Collector::NameOf(hit) == "Lifecycle") {
      arrivals.emplace_back("launches", std::stoi(hit.contextData.at("a.Launches")) - 1);
    }
  }
  return arrivals;
}

int CountNamed(const std::vector<Collector::Hit>& hits, std::string_view name) {
  return static_cast<int>(std::count_if(
      hits.begin(), hits.end(), [&](const auto& hit) { return Collector::NameOf(hit) == name; }));
}

TEST_P(EveryStaticTest, TakesCallsFromManyThreads) {
  Sent sent = CallFromAllThreads(false);
  ASSERT_EQ(Host::Flush(30s), Host::FlushResult::Done);
  const std::vector<Collector::Hit> hits = app_.Server().Hits();
  sent.tracked["launches"] = CountNamed(hits, "Lifecycle");
  EXPECT_EQ(Fault(MarkedOf(hits), sent.tracked, Loss::None), "");
  EXPECT_EQ(CountNamed(hits, "Media"), 4 * sent.films);
  EXPECT_EQ(Config::GetLifetimeValue(), sent.increases);

  app_.Server().Clear();
  sent = CallFromAllThreads(true);
  EXPECT_GE(app_.QueueSize(), 0);  // the last reports of media have become hits
  Config::SetPrivacyStatus(Status::OptIn);
  Analytics::ClearTrackingQueue();
  EXPECT_EQ(app_.QueueSize(), 0);
  EXPECT_EQ(app_.QueueFile(), R"({"Hits":[]})");
  EXPECT_EQ(Config::GetPrivacyStatus().Get(), Status::OptIn);
  Analytics::TrackState("last");
  ASSERT_EQ(Host::Flush(30s), Host::FlushResult::Done);
  const std::vector<Collector::Hit> left = app_.Server().Hits();
  EXPECT_EQ(Collector::NameOf(left.back()), "last");
  sent.tracked["launches"] = kThreads * kCalls * 2;
  EXPECT_EQ(Fault(MarkedOf(left), sent.tracked, Loss::Allowed), "");
}

INSTANTIATE_TEST_SUITE_P(Seeds, EveryStaticTest, testing::Values(1U, 2U, 3U));

TEST(EveryStaticHarness, FindsHitsThatAreLostTwiceThereOrOutOfOrder) {
  const Counts tracked = {{"a", 3}, {"b", 1}};
  const struct {
    const char* name;
    Arrivals arrivals;
    const char* fault;
    const char* faultWhenLossIsAllowed;
  } rows[] = {
      {"all", {{"a", 0}, {"b", 0}, {"a", 1}, {"a", 2}}, "", ""},
      {"lost", {{"a", 0}, {"b", 0}, {"a", 2}}, "a has 2", ""},
      {"lost at the end", {{"a", 0}, {"b", 0}, {"a", 1}}, "a ends before 2", ""},
      {"a whole road lost", {{"a", 0}, {"a", 1}, {"a", 2}}, "b ends before 0", ""},
      {"twice", {{"a", 0}, {"b", 0}, {"b", 0}}, "b has 0", "b has 0"},
      {"out of order", {{"a", 1}, {"a", 0}, {"a", 2}, {"b", 0}}, "a has 1", "a has 0"},
      {"never tracked", {{"a", 0}, {"b", 0}, {"b", 1}}, "b has 1", "b has 1"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(Fault(row.arrivals, tracked, Loss::None), row.fault);
    EXPECT_EQ(Fault(row.arrivals, tracked, Loss::Allowed), row.faultWhenLossIsAllowed);
  }
}

}  // namespace
}  // namespace Veltro::Internal
