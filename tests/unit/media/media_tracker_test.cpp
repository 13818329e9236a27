#include "media/media_tracker.h"

#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <sstream>
#include <vector>

#include "base/utf.h"
#include "fakes/fake_clock.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;

/// "key=value" for each entry in key order.
std::string TextOf(const StringMap& data) {
  std::string text;
  for (const auto [key, value] : data) text += ToUtf8(key) + "=" + ToUtf8(value) + " ";
  return text;
}

constexpr const char* kFilm =
    "&&pev3=video a.contentType=video a.media.length=100 a.media.name=film "
    "a.media.playerName=player ";

class MediaTrackerTest : public testing::Test {
 protected:
  static MediaSettings Film() {
    MediaSettings settings;
    settings.Name = "film";
    settings.PlayerName = "player";
    settings.Length = 100;
    return settings;
  }

  /// Plays `name`. A letter and an offset are a report: P plays, S stops, C completes, K clicks;
  /// "T" tracks with "mine=1", "X" closes; "+5" lets 5 s pass, with the monitor called in time.
  void Run(const std::string& script, std::u16string_view name = u"film") {
    std::istringstream words(script);
    for (std::string word; words >> word;) {
      const char letter = word[0];
      const double number = word.size() > 1 ? std::stod(word.substr(1)) : 0;
      if (letter == 'P') media_.Report(MediaEvent::Play, name, number);
      if (letter == 'S') media_.Report(MediaEvent::Stop, name, number);
      if (letter == 'C') media_.Report(MediaEvent::Complete, name, number);
      if (letter == 'K') media_.Report(MediaEvent::Click, name, number);
      if (letter == 'T') media_.Track(name, {{u"mine", u"1"}, {u"&&pe", u"x"}});
      if (letter == 'X') media_.Close(name);
      for (int second = 0; letter == '+' && second < number; ++second) Tick(1s);
    }
  }

  void Tick(std::chrono::milliseconds duration) {
    clock_.Advance(duration);
    media_.Monitor();
  }

  /// The hits since the last call, a line each.
  std::string Hits() { return std::exchange(hits_, ""); }

  /// The same when each tells `item`, which is left out, of the item: "m_s" or "m_i", then what
  /// else it tells, without "a.media." and "=true".
  std::string Hits(const std::string& item) {
    std::string shortened;
    std::istringstream hits(Hits());
    for (std::string hit; std::getline(hits, hit);) {
      std::istringstream words(hit);
      std::string told, rest;
      for (std::string word; words >> word;) {
        if (word.starts_with("&&pe=")) {
          shortened += word.substr(5);
        } else if (item.find(word + " ") != item.npos) {
          told += word + " ";
        } else {
          const std::string key = word.starts_with("a.media.ad.") ? word.substr(11)
                                  : word.starts_with("a.media.")  ? word.substr(8)
                                                                  : "!" + word;
          rest += " " + (key.ends_with("=true") ? key.substr(0, key.size() - 5) : key);
        }
      }
      EXPECT_EQ(told, item);
      shortened += rest + "\n";
    }
    return shortened;
  }

  Testing::LogCapture log_;
  Testing::FakeClock clock_;
  std::string hits_;
  MediaTracker media_{
      clock_, [this](const StringMap& data, std::int32_t) { hits_ += TextOf(data) + "\n"; }};
};

TEST_F(MediaTrackerTest, FollowsWholePlaybacks) {
  using Settings = MediaSettings;
  const auto milestones = [](Settings& film) { film.Milestones = "25,50,75"; };
  const auto segments = [](Settings& film) {
    film.Milestones = "25,50,75";
    film.SegmentByMilestones = true;
  };
  const auto offsets = [](Settings& film) {
    film.OffsetMilestones = "10,20";
    film.SegmentByOffsetMilestones = true;
  };
  const auto every10Seconds = [](Settings& film) { film.TrackSeconds = 10; };
  const auto threshold5 = [](Settings& film) { film.CompleteCloseOffsetThreshold = 5; };
  const struct {
    const char* name;
    std::function<void(Settings&)> change;
    const char* script;
    const char* hits;
  } rows[] = {
      {"straight through", segments, "P0 +100 X",
       "m_s segment=M:0-25 segmentNum=1 view\n"
       "m_i milestone=25 segment=M:0-25 segmentNum=1 segmentView timePlayed=25\n"
       "m_i milestone=50 segment=M:25-50 segmentNum=2 segmentView timePlayed=25\n"
       "m_i milestone=75 segment=M:50-75 segmentNum=3 segmentView timePlayed=25\n"
       "m_i complete segment=M:75-100 segmentNum=4 segmentView timePlayed=25\n"},
      {"over two milestones at once", segments, "P0 S60",
       "m_s segment=M:0-25 segmentNum=1 view\n"
       "m_i milestone=50 segment=M:0-25 segmentNum=1 segmentView timePlayed=60\n"},
      {"offset milestones", offsets, "P0 +25 X",
       "m_s segment=O:0-10 segmentNum=1 view\n"
       "m_i offsetMilestone=10 segment=O:0-10 segmentNum=1 segmentView timePlayed=10\n"
       "m_i offsetMilestone=20 segment=O:10-20 segmentNum=2 segmentView timePlayed=10\n"},
      {"back over an offset milestone", [](Settings& film) { film.OffsetMilestones = "10,20"; },
       "P0 S25 P25 S15", "m_s view\nm_i offsetMilestone=20 timePlayed=25\n"},
      {"the last offset segment", offsets, "P25 K26",
       "m_s segment=O:20-100 segmentNum=3 view\n"
       "m_i clicked segment=O:20-100 segmentNum=3 timePlayed=1\n"},
      {"both kinds of segments", [&](Settings& film) { segments(film), offsets(film); }, "P0 +25",
       "m_s segment=M:0-25 segmentNum=1 view\n"
       "m_i offsetMilestone=10 segment=M:0-25 segmentNum=1 timePlayed=10\n"
       "m_i offsetMilestone=20 segment=M:0-25 segmentNum=1 timePlayed=10\n"
       "m_i milestone=25 segment=M:0-25 segmentNum=1 segmentView timePlayed=5\n"},
      {"segments without milestones", [](Settings& film) { film.SegmentByMilestones = true; },
       "P0 C100", "m_s view\nm_i complete timePlayed=100\n"},
      {"a milestone at the very end", [](Settings& film) { film.Milestones = "100"; }, "P0 +100",
       "m_s view\nm_i complete milestone=100 timePlayed=100\n"},
      {"a percentage that floating point just misses",
       [](Settings& film) { film.Milestones = "29"; }, "P0 S29",
       "m_s view\nm_i milestone=29 timePlayed=29\n"},
      {"an end that floating point just misses",
       [](Settings& film) { film.Length = 100.003, film.Milestones = "100"; }, "P0 C100.003",
       "m_s view\nm_i complete milestone=100 timePlayed=100\n"},
      {"back into a segment, which a click tells of", segments, "P0 S30 P10 K12",
       "m_s segment=M:0-25 segmentNum=1 view\n"
       "m_i milestone=25 segment=M:0-25 segmentNum=1 segmentView timePlayed=30\n"
       "m_i clicked segment=M:0-25 segmentNum=1 timePlayed=2\n"},
      {"back and over a milestone again", milestones, "P0 +30 S20 P10 +20",
       "m_s view\nm_i milestone=25 timePlayed=25\nm_i milestone=25 timePlayed=20\n"},
      {"back while playing", milestones, "P0 S30 P30 K20 S60",
       "m_s view\nm_i milestone=25 timePlayed=30\nm_i clicked\nm_i milestone=50 timePlayed=40\n"},
      {"forth, which is not played", milestones, "P0 +10 S10 P60 +20",
       "m_s view\nm_i milestone=50 timePlayed=10\nm_i milestone=75 timePlayed=15\n"},
      {"pause", milestones, "P0 +10 S10 +50 P10 +20", "m_s view\nm_i milestone=25 timePlayed=25\n"},
      {"second stop, play while playing", every10Seconds, "P0 P50 +5 S5 S50 P5 +4 P99 +1",
       "m_s view\nm_i timePlayed=10\n"},
      {"clicks", nullptr, "K1 P0 K5 P5 K8.5 S9 K10 S11",
       "m_s view\nm_i clicked timePlayed=5\nm_i clicked timePlayed=3\n"},
      {"a period", every10Seconds, "P0 +25 S25 P25 +9",
       "m_s view\nm_i timePlayed=10\nm_i timePlayed=10\nm_i timePlayed=10\n"},
      {"complete at the threshold", threshold5, "P0 C95", "m_s view\nm_i complete timePlayed=95\n"},
      {"complete before it", threshold5, "P0 C94.5 +9 S94.6", "m_s view\n"},
      {"complete after the end, twice, and closed", threshold5, "P0 C500 C500 X",
       "m_s view\nm_i complete timePlayed=100\n"},
      {"the least threshold", [](Settings& film) { film.CompleteCloseOffsetThreshold = -7; },
       "P0 C99", "m_s view\nm_i complete timePlayed=99\n"},
      {"close at the threshold", threshold5, "P0 +95 X", "m_s view\nm_i complete timePlayed=95\n"},
      {"close before it", threshold5, "P0 +94 X", "m_s view\n"},
      {"close while stopped, at the end", threshold5, "P0 S99 X", "m_s view\n"},
      {"nothing without a play", milestones, "S10 C100 K10 T X", ""},
      {"played at its end, which closes it", nullptr, "P100 P0 S50 T", "m_s view\n"},
      {"resumed at its end", nullptr, "P0 S50 P100 T",
       "m_s view\nm_i complete timePlayed=50\nm_i !mine=1\n"},
      {"seen once more after its end", segments, "P0 C100 S100 P10 +20 X",
       "m_s segment=M:0-25 segmentNum=1 view\n"
       "m_i complete milestone=75 segment=M:0-25 segmentNum=1 segmentView timePlayed=100\n"
       "m_i milestone=25 segment=M:0-25 segmentNum=1 segmentView timePlayed=20\n"},
      {"tracked", milestones, "T P0 +3 T +1 S4 T +9 T",
       "m_s view\nm_i timePlayed=3 !mine=1\nm_i timePlayed=1 !mine=1\nm_i !mine=1\n"},
      {"tracked while stopped, then resumed", milestones, "P0 S4 T P4 +21",
       "m_s view\nm_i timePlayed=4 !mine=1\nm_i milestone=25 timePlayed=21\n"},
      {"by the clock, which stands while it is stopped", every10Seconds,
       "P-5 +7 S-1 +50 P-1 +3 K-1 +1 S-0.1 +9 T",
       "m_s view\nm_i timePlayed=10\nm_i clicked\nm_i timePlayed=1 !mine=1\n"},
      {"and once it is complete, even if clicked", every10Seconds, "P0 C5 K6 +60 X",
       "m_s view\nm_i clicked timePlayed=6\n"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    MediaSettings settings = Film();
    if (row.change) row.change(settings);
    media_.Open(settings);
    Run(row.script);
    EXPECT_EQ(Hits(kFilm), row.hits);
    media_.Close(u"film");
    Hits();
  }
}

TEST_F(MediaTrackerTest, KnowsNoEndOfAnUnknownLength) {
  constexpr const char* kEndless =
      "&&pev3=video a.contentType=video a.media.name=film a.media.playerName=player ";
  for (const double length : {0.0, -1.0, std::nan(""), HUGE_VAL}) {
    SCOPED_TRACE(length);
    MediaSettings settings = Film();
    settings.Length = length;
    settings.TrackSeconds = 1000;
    settings.Milestones = "25";
    settings.OffsetMilestones = "10,20";
    settings.SegmentByMilestones = settings.SegmentByOffsetMilestones = true;
    media_.Open(settings);
    Run("P0 +25 C25 +5000 C25 S-1 X");
    EXPECT_EQ(Hits(kEndless),
              "m_s segment=O:0-10 segmentNum=1 view\n"
              "m_i offsetMilestone=10 segment=O:0-10 segmentNum=1 segmentView timePlayed=10\n"
              "m_i offsetMilestone=20 segment=O:10-20 segmentNum=2 segmentView timePlayed=10\n"
              "m_i complete segment=O:20-E segmentNum=3 segmentView timePlayed=5\n");
    settings.SegmentByOffsetMilestones = false;
    media_.Open(settings);
    Run("P0 +5 X");
    EXPECT_EQ(Hits(kEndless), "m_s view\n") << "closed, which is no completion";
  }
}

TEST_F(MediaTrackerTest, SurvivesOffsetsThatSayNothing) {
  for (const char* const offset : {"nan", "inf", "-inf", "-1e308", "-1"}) {
    SCOPED_TRACE(offset);
    log_.Clear();
    media_.Open(Film());
    const std::string at(offset);
    Run("P" + at + " +7 K" + at + " +3 S" + at + " P" + at + " +5 C" + at + " X");
    EXPECT_EQ(Hits(kFilm), "m_s view\nm_i clicked timePlayed=7\n");
    EXPECT_EQ(log_.Count("Ignoring an offset"), at.ends_with("n") || at.ends_with("f") ? 5 : 0);
  }
  MediaSettings endless = Film();
  endless.Length = 0;
  media_.Open(endless);
  Run("P0 K1e308 S0 P0 K1e308 X");
  EXPECT_NE(Hits().find("a.media.timePlayed=2147483647"), std::string::npos);
}

TEST_F(MediaTrackerTest, TellsWholeItems) {
  MediaSettings content = Film();
  content.Name = "The --**--Fil--**--m--**--";
  content.PlayerName = "--**--";
  content.Length = 90.9;
  content.Channel = "--**--news";
  content.CPM = content.ParentPod = content.ParentName = "ignored";
  content.ParentPodPosition = 1;
  media_.Open(content);
  Run("P0 K-1", u"--**--The Film");
  const std::string about = "&&pev3=video a.contentType=video a.media.channel=--**--news ";
  EXPECT_EQ(Hits(), "&&pe=m_s " + about +
                        "a.media.length=90 a.media.name=The Film "
                        "a.media.playerName=Not_Specified a.media.view=true \n"
                        "&&pe=m_i " +
                        about +
                        "a.media.clicked=true a.media.length=90 a.media.name=The Film "
                        "a.media.playerName=Not_Specified \n");

  MediaSettings ad = Film();
  ad.Name = "ad";
  ad.IsMediaAd = true;
  ad.ParentName = "fi--**--lm";
  ad.Channel = "news";
  ad.Milestones = "50";
  ad.OffsetMilestones = "10";
  ad.SegmentByMilestones = true;
  media_.Open(ad);
  const std::string whole =
      "&&pev3=videoAd a.contentType=videoAd a.media.ad.length=100 a.media.ad.name=ad "
      "a.media.ad.playerName=player a.media.channel=news a.media.name=film ";
  Run("P0 +10 S50 P50 K51 S51 P51 C100", u"ad");
  EXPECT_EQ(Hits(whole),
            "m_s segment=M:0-50 segmentNum=1 view\n"
            "m_i offsetMilestone=10 segment=M:0-50 segmentNum=1 timePlayed=10\n"
            "m_i milestone=50 segment=M:0-50 segmentNum=1 segmentView timePlayed=40\n"
            "m_i clicked segment=M:50-100 segmentNum=2 timePlayed=1\n"
            "m_i complete segment=M:50-100 segmentNum=2 segmentView timePlayed=49\n");
  ad.CPM = "4.20";
  ad.ParentPod = "first break";
  ad.ParentPodPosition = 2.9;
  ad.SegmentByMilestones = false;
  media_.Open(ad);
  Run("P0 K1", u"ad");
  EXPECT_EQ(Hits(),
            "&&pe=m_s &&pev3=videoAd a.contentType=videoAd a.media.ad.CPM=4.20 "
            "a.media.ad.length=100 a.media.ad.name=ad a.media.ad.playerName=player "
            "a.media.ad.pod=first break a.media.ad.podPosition=2 a.media.ad.view=true "
            "a.media.channel=news a.media.name=film \n"
            "&&pe=m_i &&pev3=videoAd a.contentType=videoAd a.media.ad.clicked=true "
            "a.media.ad.length=100 a.media.ad.name=ad a.media.ad.playerName=player "
            "a.media.ad.pod=first break a.media.ad.podPosition=2 "
            "a.media.ad.timePlayed=1 a.media.channel=news a.media.name=film \n");
}

TEST_F(MediaTrackerTest, RefusesWhatItCannotName) {
  MediaSettings nameless = Film(), orphan = Film();
  nameless.Name = "--**--";
  orphan.IsMediaAd = true;
  media_.Open(nameless);
  media_.Open(orphan);
  orphan.ParentName = "--**--";
  media_.Open(orphan);
  const std::string refused =
      "Veltro Debug: Analytics - Media ad requires parent name, please specify a parent name. "
      "Media "
      "item not opened\n";
  EXPECT_EQ(log_.Lines(), (std::vector<std::string>{
                              "Veltro Debug: Analytics - VLTMediaSettings is required with a valid "
                              "name. Media item not opened\n",
                              refused, refused}));
  log_.Clear();
  Run("P0 S1 C1 K1 T X", u"fi--**--lm %s");
  std::vector<std::string> lines;
  for (const char* const verb : {"play", "stop", "complete", "click", "track", "close"}) {
    lines.push_back("Veltro Debug: Media - Tried to " + std::string(verb) +
                    " media item (film %s) but it doesn't exist\n");
  }
  EXPECT_EQ(log_.Lines(), lines);
  EXPECT_EQ(Hits(), "");
}

TEST_F(MediaTrackerTest, ClosesTheItemInTheWay) {
  MediaSettings settings = Film();
  media_.Open(settings);
  Run("P0 +99");
  settings.Length = 50;
  media_.Open(settings);
  Run("P0");
  EXPECT_EQ(Hits(), std::string("&&pe=m_s ") + kFilm + "a.media.view=true \n" +
                        "&&pe=m_i &&pev3=video a.contentType=video a.media.complete=true "
                        "a.media.length=100 a.media.name=film a.media.playerName=player "
                        "a.media.timePlayed=99 \n"
                        "&&pe=m_s &&pev3=video a.contentType=video a.media.length=50 "
                        "a.media.name=film a.media.playerName=player a.media.view=true \n");
  settings.PlayerId = "screen";
  for (const char* const name : {"c", "Screen", "a"}) {
    settings.Name = name;
    media_.Open(settings);
    settings.PlayerId = settings.PlayerId == "screen" ? "Screen" : "screen";
  }
  // "a" has closed "c"; "Screen" has another player, and "film" has none.
  log_.Clear();
  for (const auto* const name : {u"a", u"c", u"Screen", u"film"}) Run("X", name);
  EXPECT_EQ(log_.Lines(), std::vector<std::string>{
                              "Veltro Debug: Media - Tried to close media item (c) but it doesn't "
                              "exist\n"});
}

TEST_F(MediaTrackerTest, ReadsMilestones) {
  const struct {
    const char16_t* text;
    double most;
    const char* kept;
    int ignored;
  } rows[] = {{u"", 100, "", 0},
              {u"75,25,50", 100, "0 25 50 75 ", 0},
              {u" 25,\t+50%,25,075", 100, "0 25 50 75 ", 0},
              {u"0,1,100,101,-5,x,,9999999999,1e2", 100, "0 1 100 ", 5},
              {u",", 100, "0 ", 2},
              {u"30,31", 30.7, "0 30 ", 1},
              {u"2147483647", HUGE_VAL, "0 2147483647 ", 0}};
  for (const auto& row : rows) {
    SCOPED_TRACE(ToUtf8(row.text));
    log_.Clear();
    const Milestones milestones(row.text, row.most, u"film");
    std::string kept;
    for (std::size_t count = 1; count <= milestones.CountUpTo(1e300); ++count) {
      kept += std::to_string(milestones.LastOf(count)) + " ";
    }
    EXPECT_EQ(kept, row.kept);
    EXPECT_EQ(log_.Count("Veltro Debug: Media - Ignoring milestone ("), row.ignored);
  }
}

TEST_F(MediaTrackerTest, TicksEachItemByItsOwnSecond) {
  MediaSettings settings = Film();
  settings.TrackSeconds = 1;
  for (const char* const name : {"a", "b"}) {
    settings.Name = name;
    media_.Open(settings);
  }
  EXPECT_EQ(media_.Monitor(), 0ms);
  Run("P0", u"a");
  clock_.Advance(300ms);
  Run("P0", u"b");
  EXPECT_EQ(media_.Monitor(), 700ms);
  Hits();
  clock_.Advance(700ms);
  EXPECT_EQ(media_.Monitor(), 300ms);
  EXPECT_EQ(media_.Monitor(), 300ms);
  EXPECT_NE(Hits().find("a.media.name=a a.media.playerName=player a.media.timePlayed=1 \n"),
            std::string::npos);
  clock_.Advance(5050ms);  // nobody called in time
  EXPECT_EQ(media_.Monitor(), 250ms);
  const std::string late = Hits();  // one report each, of all that was missed
  EXPECT_EQ(std::count(late.begin(), late.end(), '\n'), 2) << late;
  EXPECT_NE(late.find("name=a a.media.playerName=player a.media.timePlayed=5 \n"), late.npos);
  EXPECT_NE(late.find("name=b a.media.playerName=player a.media.timePlayed=6 \n"), late.npos);
  Run("S-1", u"a");
  Run("C50", u"b");
  EXPECT_EQ(media_.Monitor(), 0ms);
}

TEST_F(MediaTrackerTest, FollowsTwentyFilmsForTwoHoursInTheSameMemory) {
  constexpr int kFilms = 20, kHour = 3600;
  int hits = 0;
  MediaTracker media(clock_, [&](const StringMap&, std::int32_t) { ++hits; });
  MediaSettings settings = Film();
  settings.Length = 2 * kHour;
  settings.TrackSeconds = 1;
  settings.Milestones = "25,50,75";
  settings.SegmentByMilestones = true;
  for (int film = 0; film < kFilms; ++film) {
    settings.Name = std::to_string(film);
    media.Open(settings);
    media.Report(MediaEvent::Play, ToUtf16(settings.Name), 0);
  }
  // Sanitizers have an allocator of their own, of which this sees nothing.
  std::size_t memory = 0;
  for (int second = 1; second <= 2 * kHour; ++second) {
    clock_.Advance(1s);
    media.Monitor();
    if (second == kHour) memory = mallinfo2().uordblks;
    EXPECT_EQ(hits, kFilms * (second + 1)) << second;
  }
  EXPECT_LT(mallinfo2().uordblks, memory + 1024);
  EXPECT_EQ(media.Monitor(), 0ms) << "all are complete";
}

}  // namespace
}  // namespace Veltro::Internal
