#include <gtest/gtest.h>

#include "collector/hit.h"
#include "support/fake_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;

constexpr std::int64_t kStart = Testing::FakeClock::kStart;
constexpr const char* kConfig =
    R"({"analytics":{"rsids":"s","server":"c.example","offlineEnabled":true}})";

/// A user sets the clock amid a session, a timed action, a film and a cooldown. Then 30 s pass, a
/// pause of 300 s follows, which ends the session, and the action ends.
struct Row {
  const char* name;
  std::int64_t jump;  ///< in seconds

  /// With which timestamps these are sent: the hit that was refused, one made at the new time, and
  /// one 30 s later, of the film; the launch, and the action.
  std::vector<std::int32_t> timestamps;
  const char* total;  ///< seconds of the action
  const char* inApp;
  const char* session;  ///< its length as reported; "" when it is not
  const char* days;     ///< since the last use
};

// Times are 32 bits wide and differences wrap; what was sent last moves up those that come before
// it. A date that has become negative is no pause.
const Row kRows[] = {
    {"back 1 s",
     -1,
     {1600000000, 1600000001, 1600000029, 1600000328, 1600000329},
     "329",
     "29",
     "29",
     "0"},
    {"on 1 s",
     1,
     {1600000000, 1600000001, 1600000031, 1600000330, 1600000331},
     "331",
     "31",
     "31",
     "0"},
    {"back 1 h",
     -3600,
     {1600000000, 1600000001, 1600000002, 1600000003, 1600000004},
     "-3270",
     "-3570",
     "-3570",
     "0"},
    {"on 1 h",
     3600,
     {1600000000, 1600003600, 1600003630, 1600003929, 1600003930},
     "3930",
     "3630",
     "3630",
     "0"},
    {"back a year",
     -31'536'000,
     {1600000000, 1600000001, 1600000002, 1600000003, 1600000004},
     "-31535670",
     "-31535970",
     "-31535970",
     "-364"},
    {"on a century, which is 1984 in 32 bits",
     3'155'760'000,
     {1600000000, 1600000001, 1600000002, 1600000003, 1600000004},
     "-1139206966",
     "-1139207266",
     "-1139207266",
     "-13185"},
    {"the last second but one of 32 bits",
     2'147'483'646 - kStart,
     {1600000000, 2147483646, 2147483647, INT32_MIN, INT32_MIN + 328},
     "547483976",
     "547483976",
     "",
     "6336"},
    {"the first second of 1901 again",
     2'147'483'648 - kStart,
     {1600000000, 1600000001, 1600000002, 1600000003, 1600000004},
     "547483978",
     "547483978",
     "",
     "6336"},
};

/// An application in the midst of everything.
class Scene {
 public:
  void Start() {
    app.Start(kConfig);
    Config::CollectLifecycleData();
    Analytics::TrackTimedActionStart("action");
    MediaSettings film;
    film.Name = "film";
    film.TrackSeconds = 30;
    Media::Open(film);
    Media::Play("film", 0);
    ASSERT_EQ(Host::Flush(5s), Host::FlushResult::Done);
    app.Server().ScriptAnswer(500);
    Analytics::TrackState("refused");
    ASSERT_TRUE(app.Time().WaitForSleepers(1));
    sent_ = app.Server().RequestCount();
  }

  /// Sets the clock, and lets the cooldown pass, in which nothing may be sent.
  void Jump(std::int64_t seconds) {
    app.Time().SetUnixSeconds(kStart + seconds);
    Analytics::TrackState("at the new time");
    ASSERT_EQ(app.Library().QueuedHitCount(5s), 2U);
    for (int second = 0; second < 30; ++second) {
      ASSERT_TRUE(app.Time().WaitForSleepers(1)) << second;
      ASSERT_EQ(app.Server().RequestCount(), sent_) << second;
      app.Time().Advance(1s);
      ASSERT_TRUE(second > 0 || IsSyncedSoon());
    }
    ASSERT_TRUE(app.Server().WaitForRequests(sent_ + 2));
    app.Library().QueuedHitCount(5s);  // wakes the clock of the film
    ASSERT_TRUE(app.Server().WaitForRequests(sent_ + 3));
  }

  void End() {
    Media::Close("film");
    Config::PauseCollectingLifecycleData();
    ASSERT_EQ(Host::Flush(5s), Host::FlushResult::Done);
    app.Time().Advance(300s);
    Config::CollectLifecycleData();
    Analytics::TrackTimedActionEnd("action");
    ASSERT_EQ(Host::Flush(5s), Host::FlushResult::Done);
  }

  /// The hits sent since the cooldown began.
  std::vector<Collector::Hit> Sent() {
    std::vector<Collector::Hit> hits;
    const std::vector<HttpRequest> requests = app.Server().Requests();
    for (std::size_t i = sent_; i < requests.size(); ++i) {
      hits.push_back(Collector::DecodeHit(requests[i].url.substr(requests[i].url.find("/b/ss"))));
    }
    return hits;
  }

  Testing::FakeApplication app;

 private:
  /// Whether the queue is brought to the storage device without being told to.
  bool IsSyncedSoon() {
    const auto end = std::chrono::steady_clock::now() + 5s;
    HitStore& store = app.Library().GetHitStore();
    while (store.NeedsSync() && std::chrono::steady_clock::now() < end) {
      app.Library().QueuedHitCount(5s);
    }
    return !store.NeedsSync();
  }

  std::size_t sent_ = 0;
};

std::string Find(const Collector::Hit& hit, const std::string& key) {
  const auto found = hit.contextData.find(key);
  return found == hit.contextData.end() ? "" : found->second;
}

TEST(ClockJumps, ChangeWhatIsReportedButNotWhenThingsHappen) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    Scene scene;
    ASSERT_NO_FATAL_FAILURE(scene.Start());
    const int readings = scene.app.Time().Readings();
    ASSERT_NO_FATAL_FAILURE(scene.Jump(row.jump));
    ASSERT_NO_FATAL_FAILURE(scene.End());
    EXPECT_LT(scene.app.Time().Readings() - readings, 1000) << "something spins";

    const std::vector<Collector::Hit> hits = scene.Sent();
    std::vector<std::int32_t> timestamps;
    for (const auto& hit : hits) timestamps.push_back(std::stoi(hit.variables.at("ts")));
    ASSERT_EQ(timestamps, row.timestamps);
    EXPECT_EQ(Find(hits[2], "a.media.timePlayed"), "30");
    EXPECT_EQ(Find(hits[3], "a.PrevSessionLength"), row.session);
    EXPECT_EQ(Find(hits[3], "a.ignoredSessionLength") + Find(hits[3], "a.CrashEvent"), "");
    EXPECT_EQ(Find(hits[3], "a.DaysSinceLastUse"), row.days);
    EXPECT_EQ(Find(hits[3], "a.DaysSinceFirstUse"), row.days);
    EXPECT_EQ(Find(hits[4], "a.action.time.total"), row.total);
    EXPECT_EQ(Find(hits[4], "a.action.time.inapp"), row.inApp);
  }
}

}  // namespace
}  // namespace Veltro::Internal
