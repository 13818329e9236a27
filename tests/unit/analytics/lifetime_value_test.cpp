#include "analytics/lifetime_value.h"

#include <limits>
#include <optional>

#include "support/tracker_fixture.h"

namespace Veltro::Internal {
namespace {

class LifetimeValueTest : public Testing::TrackerFixture {};

TEST_F(LifetimeValueTest, AddsUpInSinglePrecisionAndRefusesWhatIsNoIncrease) {
  const std::string entries = "&c.&a.&internalaction=LifetimeValueIncrease&ltv.&amount=";
  const struct {
    std::optional<SettingValue> stored;
    double amount;
    std::string reported;  // "" when there is no hit
    const char16_t* storedAfter;
    const char* logged;
  } rows[] = {
      {std::nullopt, 19.9, "19.90", u"19.90", ""},
      {u"19.90", 0, "19.90", u"19.90", ""},
      {u"19.90", 0.005, "19.90", u"19.90", ""},
      {u"0.10", 0.2, "0.30", u"0.30", ""},
      {u"16777216.00", 1, "16777216.00", u"16777216.00", ""},  // beyond single precision
      {u"-3.00", 1, "-2.00", u"-2.00", ""},
      {u" +1.5e1 euro", 1, "16.00", u"16.00", ""},
      {SettingValue(7), 1, "8.00", u"8.00", ""},
      {u"5.00", -0.01, "", u"5.00", "invalid amount specified '-0.01'\n"},
      {u"5.00", std::numeric_limits<double>::quiet_NaN(), "", u"5.00", "specified 'nan'\n"},
      {u"5.00", 1e300, "", u"5.00", "failed.  Amount must be positive, invalid amount"},
  };
  for (const auto& row : rows) {
    log_.Clear();
    fakes_.settings.Remove(u"VLT_LIFETIME_VALUE");
    if (row.stored) fakes_.settings.Insert(u"VLT_LIFETIME_VALUE", *row.stored);
    TrackLifetimeValueIncrease(row.amount, {{u"a.ltv.amount", u"host's"}}, settings_, tracker_);
    const std::string hit = LastHit();
    EXPECT_EQ(hit.empty(), row.reported.empty());
    EXPECT_TRUE(hit.empty() || hit.find(entries + row.reported + "&.ltv") != hit.npos) << hit;
    EXPECT_EQ(settings_.ReadString(u"VLT_LIFETIME_VALUE"), row.storedAfter);
    EXPECT_EQ(log_.Lines().size(), row.reported.empty() ? 1U : 0U);
    EXPECT_TRUE(log_.Lines().empty() || log_.Contains(row.logged)) << row.logged;
  }
}

TEST_F(LifetimeValueTest, ThrowsForAStoredTextThatIsNoNumberInRange) {
  for (const char16_t* const text : {u"", u"much", u"1e99", u"+-1"}) {
    fakes_.settings.Insert(u"VLT_LIFETIME_VALUE", text);
    EXPECT_THROW(TrackLifetimeValueIncrease(1, {}, settings_, tracker_), PlatformError);
    EXPECT_EQ(settings_.ReadString(u"VLT_LIFETIME_VALUE"), text);
  }
  EXPECT_EQ(LastHit(), "");
}

}  // namespace
}  // namespace Veltro::Internal
