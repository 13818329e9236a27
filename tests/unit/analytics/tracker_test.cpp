#include "analytics/tracker.h"

#include <gtest/gtest.h>

#include "support/tracker_fixture.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Status = VeltroPrivacyStatus;

constexpr std::string_view kStart = "1600000000";  // the fake clock's time

class TrackerTest : public Testing::TrackerFixture {};

TEST_F(TrackerTest, BuildsTheThreeKindsOfHits) {
  const std::string head = "?AQB=1&ndh=1&aid=AID&ce=UTF-8&pageName=";
  const std::string app = "Shop%201.2.4%20%283%29";
  const std::string tail = "&t=00%2F00%2F0000%2000%3A00%3A00%200%200&ts=";
  tracker_.TrackState(u"Home", {});
  EXPECT_EQ(LastHit(), head + "Home" + tail + "1600000000&AQE=1");
  tracker_.TrackState(u"", {});
  EXPECT_EQ(LastHit(), head + app + tail + "1600000000&AQE=1");
  tracker_.TrackAction(u"buy", {{u"x", u"1"}});
  EXPECT_EQ(LastHit(), head + app + "&pe=lnk_o&pev2=QXACTION%3Abuy" + tail +
                           "1600000000&c.&a.&action=buy&.a&x=1&.c&AQE=1");
  tracker_.TrackInternalAction(u"", {}, 1234);
  EXPECT_EQ(LastHit(), head + app + "&pe=lnk_o&pev2=VLTINTERNAL%3ANone" + tail +
                           "1234&c.&a.&internalaction=None&.a&.c&AQE=1");
  EXPECT_EQ(timestamp_, 1234);
  tracker_.TrackInternalAction(u"Media", {}, 0);
  EXPECT_NE(LastHit().find("&ts=" + std::string(kStart)), std::string::npos);
}

TEST_F(TrackerTest, LetsTheCallersEntriesWinAndVariablesOverwrite) {
  lifecycleData_.Set({{u"a.OSVersion", u"Windows 6.1"}, {u"x", u"lifecycle"}});
  tracker_.TrackAction(u"buy", {{u"&&pageName", u"Mine"},
                                {u"&&products", u";item"},
                                {u"&&", u"no name"},
                                {u"a.action", u"own"},
                                {u"x", u"caller"}});
  EXPECT_EQ(LastHit(),
            "?AQB=1&ndh=1&aid=AID&ce=UTF-8&pageName=Mine&pe=lnk_o&pev2=QXACTION%3Abuy"
            "&products=%3Bitem&t=00%2F00%2F0000%2000%3A00%3A00%200%200&ts=1600000000"
            "&c.&a.&OSVersion=Windows%206.1&action=own&.a&x=caller&.c&AQE=1");
  EXPECT_EQ(*lifecycleData_.Get(),
            (StringMap{{u"a.OSVersion", u"Windows 6.1"}, {u"x", u"lifecycle"}}));
}

TEST_F(TrackerTest, CarriesPrivacyModeAndVisitorIdentifierAsTheyStand) {
  privacy_.Set(Status::Unknown);
  settings_.SetStoredVisitorId(u"Ann");
  config_.charset = u"ISO-8859-1";
  tracker_.TrackState(u"Home", {});
  EXPECT_EQ(LastHit(),
            "?AQB=1&ndh=1&aid=AID&ce=ISO-8859-1&pageName=Home"
            "&t=00%2F00%2F0000%2000%3A00%3A00%200%200&ts=1600000000&vid=Ann"
            "&c.&a.&privacy.&mode=unknown&.privacy&.a&.c&AQE=1");
}

TEST_F(TrackerTest, SeedsTheRandomPartWithTheNumberOfTheHit) {
  for (std::uint32_t number = 1; number <= 3; ++number) {
    tracker_.TrackState(u"Home", {});
    queue_.QueuedHitCount(5s);
    Testing::FakeRandom random;
    random.Seed(number);
    const auto high = static_cast<std::uint64_t>(random.Next());
    const auto low = static_cast<std::uint64_t>(random.Next());
    const std::string expected = "s" + std::to_string((high << 32 | low) % 10'000'000) + "?";
    EXPECT_TRUE(store_.First()->hit.hit.starts_with(expected)) << number;
    store_.Clear();
  }
}

}  // namespace
}  // namespace Veltro::Internal
