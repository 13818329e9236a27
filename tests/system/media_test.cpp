#include <gtest/gtest.h>

#include <future>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Entries = std::map<std::string, std::string>;

constexpr const char* kConfig = R"({"rsids":"s","server":"SERVER","offlineEnabled":true})";

/// Films and ads, from the public functions to the collection server.
class MediaTest : public testing::Test {
 protected:
  static MediaSettings Film(const std::string& name = "film") {
    MediaSettings film;
    film.Name = name;
    film.Length = 100;
    return film;
  }

  Testing::TestApplication app_;
};

TEST_F(MediaTest, SendsAFilmWithAnAdBreak) {
  app_.Start(kConfig);
  MediaSettings film = Film(), ad = Film("ad");
  film.PlayerName = "screen";
  film.Milestones = "50";
  ad.IsMediaAd = true;
  ad.ParentName = "film";
  Media::Open(film);
  Media::Play("film", 0);
  Media::Stop("film", 50);
  Media::Open(ad);
  Media::Play("ad", 0);
  Media::Click("ad", 5.5);
  Media::Complete("ad", 100);
  Media::Play("film", 50);
  Media::Track("film", {{"film rating!", 4.5}, {"&&events", "event1"}, {"lost", Guid{}}});
  Media::Complete("film", 100);
  ASSERT_TRUE(app_.WaitForHits(7));
  Media::Close("ad");
  Media::Close("film");

  const Entries aFilm = {{"a.contentType", "video"},
                         {"a.internalaction", "Media"},
                         {"a.media.length", "100"},
                         {"a.media.name", "film"},
                         {"a.media.playerName", "screen"}};
  const Entries anAd = {{"a.contentType", "videoAd"},
                        {"a.internalaction", "Media"},
                        {"a.media.ad.length", "100"},
                        {"a.media.ad.name", "ad"},
                        {"a.media.ad.playerName", "Not_Specified"},
                        {"a.media.name", "film"}};
  const struct {
    std::string pe;
    Entries about, told;
  } expected[] = {
      {"m_s", aFilm, {{"a.media.view", "true"}}},
      {"m_i", aFilm, {{"a.media.milestone", "50"}, {"a.media.timePlayed", "50"}}},
      {"m_s", anAd, {{"a.media.ad.view", "true"}}},
      {"m_i", anAd, {{"a.media.ad.clicked", "true"}, {"a.media.ad.timePlayed", "5"}}},
      {"m_i", anAd, {{"a.media.ad.complete", "true"}, {"a.media.ad.timePlayed", "94"}}},
      {"m_i", aFilm, {{"filmrating", "4.5"}}},
      {"m_i", aFilm, {{"a.media.complete", "true"}, {"a.media.timePlayed", "50"}}},
  };
  const auto hits = app_.Server().Hits();
  ASSERT_EQ(hits.size(), std::size(expected));
  for (std::size_t i = 0; i < hits.size(); ++i) {
    SCOPED_TRACE(i);
    Entries data = expected[i].about;
    data.insert(expected[i].told.begin(), expected[i].told.end());
    EXPECT_EQ(hits[i].contextData, data);
    EXPECT_EQ(hits[i].variables.at("pe"), expected[i].pe);
    EXPECT_EQ(hits[i].variables.at("pev2"), "VLTINTERNAL:Media");
    EXPECT_EQ(hits[i].variables.at("pev3"), data["a.contentType"]);
    EXPECT_EQ(hits[i].variables.at("pageName"), "Shop 1.2.4 (3)");
    EXPECT_EQ(hits[i].variables.at("ts"), "1600000000");
  }
  EXPECT_EQ(hits[5].variables.at("events"), "event1");
}

TEST_F(MediaTest, FollowsTheClockBetweenReports) {
  app_.Start(kConfig);
  MediaSettings film = Film();
  film.TrackSeconds = 1;
  film.CompleteCloseOffsetThreshold = 100;
  Media::Open(film);
  Media::Play("film", 0);
  ASSERT_TRUE(app_.WaitForHits(1));
  app_.Time().Advance(3s);
  ASSERT_TRUE(app_.Server().WaitForHits(2, 10s));
  EXPECT_EQ(app_.Server().Hits()[1].contextData.at("a.media.timePlayed"), "3");
  EXPECT_EQ(app_.Server().Hits()[1].variables.at("ts"), "1600000003");

  // The hit of a close bears the time of the close, whenever its turn comes.
  std::promise<void> gate;
  Runtime::Peek()->SharedQueue().Post([&] { gate.get_future().wait(); });
  Media::Close("film");
  app_.Time().Advance(60s);
  gate.set_value();
  ASSERT_TRUE(app_.WaitForHits(3));
  EXPECT_EQ(app_.Server().Hits()[2].contextData.at("a.media.complete"), "true");
  EXPECT_EQ(app_.Server().Hits()[2].variables.at("ts"), "1600000003");
}

TEST_F(MediaTest, MeasuresWhatMayBeMeasured) {
  app_.StartWithFile("{}");
  Media::Open(Film());
  Media::Play("film", 0);
  EXPECT_EQ(app_.QueueSize(), 0);
  const std::string refused = "Analytics - Your config file is not set up to use Analytics";
  EXPECT_EQ(app_.CountLogged(refused), 2);
  Media::Open(Film("another"));
  Media::Close("film");
  EXPECT_EQ(app_.CountLogged(refused), 4);

  app_.Start(kConfig);
  Media::Play("never opened", 0);
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  EXPECT_TRUE(app_.Logged("Media - Tried to play media item (never opened) but it doesn't exist"));
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptOut);
  EXPECT_EQ(app_.QueueSize(), 0);
  Media::Open(Film());
  Media::Play("film", 0);
  EXPECT_EQ(app_.QueueSize(), 0);
  EXPECT_EQ(app_.CountLogged("Analytics - Ignoring hit due to privacy status being opted out"), 1);
  EXPECT_EQ(app_.CountLogged(refused), 4);
}

TEST_F(MediaTest, KeepsWhatWasReportedBeforeTheEnd) {
  const std::string held =
      R"({"rsids":"s","server":"SERVER","offlineEnabled":true,"privacyDefault":"optunknown"})";
  app_.Start(held);
  Media::Open(Film());
  Media::Play("film", 0);
  EXPECT_EQ(Runtime::Peek()->QueuedHitCount(10s), 1U);
  Media::Stop("film", 30);
  Media::Track("film");
  app_.Stop();
  app_.Start(held);
  EXPECT_EQ(app_.QueueSize(), 2);
}

TEST_F(MediaTest, LooksAtEveryReportBeforeTheNextItemTakesThePlayer) {
  app_.Start(R"({"rsids":"s","server":"SERVER","offlineEnabled":true,"batchLimit":10000})");
  EXPECT_EQ(app_.QueueSize(), 0);  // the configuration is loaded now
  MediaSettings film = Film();
  film.PlayerId = "screen";
  for (int n = 0; n < 200; ++n) {
    film.Name = std::to_string(n);
    Media::Open(film);
    Media::Play(film.Name, 0);
    Media::Complete(film.Name, 100);
    if (n % 2 == 0) Media::Close(film.Name);
  }
  EXPECT_EQ(app_.QueueSize(), 2 * 200);
}

}  // namespace
}  // namespace Veltro::Internal
