#include "collector/hit_checks.h"

#include <gtest/gtest.h>

#include "collector/hit_json.h"
#include "collector/hit_text.h"

namespace Veltro::Collector {
namespace {

std::string ChecksOf(HitChecks& checks, const std::string& target) {
  Hit hit = DecodeHit("/b/ss/" + target);
  checks.AddFindings(hit);
  std::string names;
  for (const auto& finding : hit.findings) names += (names.empty() ? "" : ", ") + finding.check;
  return names;
}

TEST(HitChecksTest, NamesMistakes) {
  const auto inData = [](const std::string& key, const std::string& value) {
    return "&pageName=Shop%201&c.&a.&" + key + "=" + value + "&.a&.c";
  };
  // What was sent, the checks that find something.
  const std::tuple<std::string, const char*> rows[] = {
      {"&pageName=Home", ""},
      {"", "missing page name"},
      {"&pageName=", "missing page name"},
      {inData("AppID", "Shop%201"), "missing page name"},
      {inData("AppID", "Shop"), ""},
      {"&pageName=p&pe=lnk_o&pev2=QXACTION:", "missing page name"},
      {"&pe=lnk_o&pev2=QXACTION:buy", ""},
      {"&pe=lnk_o&pev2=VLTINTERNAL:", ""},
      {inData("privacy.mode", "unknown"), "privacy unknown"},
      {inData("privacy.mode", "known"), ""},
      {"&pageName=Home&pageName=Home", "malformed"},
      {"&pageName=" + std::string(8192 - 36, 'x'), ""},
      {"&pageName=" + std::string(8193 - 36, 'x'), "very long URL"},
      {"&pageName=a&veltroNotes=key%20%22b!%22%20was%20cleaned%20to%20%22b%22%0Avalue%20of%20%22c%"
       "22"
       "%20was%20left%20out:%20Guid%0Akey%20%22d%20was%20left%20out",
       "key cleaned, value left out, key cleaned"},
      {"&pageName=a&veltroNotes=other", ""},
  };
  HitChecks checks;
  for (const auto& [segments, found] : rows) {
    EXPECT_EQ(ChecksOf(checks, "s/0/V/s1?AQB=1" + segments + "&AQE=1"), found)
        << segments.substr(0, 80);
  }
}

TEST(HitChecksTest, ComparesWithTheHitsBefore) {
  // Report suite, random part, visitor, time; the checks that find something.
  const std::tuple<const char*, const char*, const char*, const char*, const char*> rows[] = {
      {"s", "s1", "&aid=A", "&ts=100", ""},
      {"s", "s1", "&aid=A", "&ts=100", "repeated hit"},
      {"s", "s2", "&aid=A", "&ts=100", ""},
      {"s", "s3", "&aid=A", "&ts=99", "timestamp out of order"},
      {"s", "s4", "&aid=A", "&ts=99", ""},
      {"s", "s1", "&aid=A", "&ts=100", "repeated hit"},
      {"s", "s1", "&aid=B", "&ts=1", ""},
      {"t", "s1", "&aid=A", "&ts=1", ""},
      {"s", "s1", "&vid=A", "&ts=1", ""},
      {"s", "s5", "&aid=A", "", ""},
      {"s", "s5", "&aid=A", "", ""},
      {"s", "s6", "&aid=A", "&ts=98", "timestamp out of order"},
  };
  HitChecks checks;
  for (const auto& [suite, random, visitor, time, found] : rows) {
    const std::string target =
        std::string(suite) + "/0/V/" + random + "?AQB=1&pageName=a" + visitor + time + "&AQE=1";
    EXPECT_EQ(ChecksOf(checks, target), found) << target;
  }
  checks.Clear();
  EXPECT_EQ(ChecksOf(checks, "s/0/V/s1?AQB=1&pageName=a&aid=A&ts=100&AQE=1"), "");
}

TEST(HitChecksTest, AreShownInsteadOfTheNotes) {
  Hit hit = DecodeHit("/b/ss/s/0/V/s1?AQB=1&pageName=a&veltroNotes=key%20%1B&AQE=1");
  HitChecks().AddFindings(hit);
  const std::string text = HitToText(hit);
  EXPECT_NE(text.find("UTC\n  ! key cleaned: The key \\x1b: use only "), std::string::npos) << text;
  EXPECT_EQ(text.find("veltroNotes"), std::string::npos) << text;
  EXPECT_NE(HitToJson(hit).find(R"("findings":[{"check":"key cleaned","text":"The key \u001b: )"),
            std::string::npos);
}

}  // namespace
}  // namespace Veltro::Collector
