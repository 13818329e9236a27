#include <gtest/gtest.h>

#include <random>

#include "base/number_text.h"
#include "collector/hit.h"
#include "support/scoped_variable.h"
#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Collector::RequestKind;

constexpr const char* kConfig = R"({"rsids":"s","server":"SERVER","offlineEnabled":true})";
constexpr const char* kInvalid = "Veltro Error: Analytics - Invalid hit (removed)";

/// Text of every kind, from the application to what the server reads from the request line.
class TextTest : public testing::Test {
 protected:
  /// Has a state tracked whose texts are UTF-16, as clients of the binary interface have them.
  static void Track(const std::u16string& state, const StringMap& data) {
    Runtime::Peek()->SharedQueue().Post(
        [=] { Runtime::Peek()->GetTracker().TrackState(state, data); });
  }

  Testing::TestApplication app_;
};

bool IsSurrogate(char32_t c, char32_t first) { return c >= first && c < first + 0x400; }

/// `text` in UTF-8 as a server should see it.
std::string Expected(std::u16string_view text) {
  std::string utf8;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char32_t c = text[i];
    if (IsSurrogate(c, 0xD800) && i + 1 < text.size() && IsSurrogate(text[i + 1], 0xDC00)) {
      c = 0x10000 + (c - 0xD800) * 0x400 + (text[++i] - 0xDC00U);
    } else if (IsSurrogate(c, 0xD800) || IsSurrogate(c, 0xDC00)) {
      c = 0xFFFD;
    }
    const int more = c < 0x80 ? 0 : c < 0x800 ? 1 : c < 0x10000 ? 2 : 3;
    constexpr unsigned kLead[] = {0, 0xC0, 0xE0, 0xF0};
    utf8 += static_cast<char>(kLead[more] | c >> (6 * more));
    for (int k = more; k-- > 0;) utf8 += static_cast<char>(0x80 | (c >> (6 * k) & 0x3F));
  }
  return utf8;
}

/// All units one by one, and random pairs, many of them of surrogates, right and wrong.
std::vector<std::u16string> UnitsAndPairs() {
  constexpr char16_t kOften[] = {0, 0xD800, 0xDC00, 0xFF00};
  std::mt19937 random(20260101);
  std::vector<std::u16string> texts;
  for (std::uint32_t unit = 0; unit < 0x10000; ++unit) texts.emplace_back(1, char16_t(unit));
  const auto next = [&] { return static_cast<char16_t>(kOften[random() % 4] + random() % 0x400); };
  for (int i = 0; i < 0x4000; ++i) texts.push_back({next(), next()});
  return texts;
}

TEST_F(TextTest, EveryUnitAndRandomPairsArriveInValuesAndNames) {
  constexpr std::size_t kEntries = 0x2000;
  struct Sent {
    std::u16string state;
    std::map<std::string, std::string> data;
  };
  const std::vector<std::u16string> texts = UnitsAndPairs();
  std::vector<Sent> sent(texts.size() / kEntries);
  app_.Start(kConfig);
  for (std::size_t i = 0; i < texts.size(); ++i) {
    Sent& hit = sent[i / kEntries];
    hit.state += texts[i];
    hit.data[std::to_string(100'000 + i)] = Expected(texts[i]);
    if ((i + 1) % kEntries != 0) continue;
    StringMap data{{u"&&n" + hit.state, u"value"}};
    for (std::size_t k = i + 1 - kEntries; k <= i; ++k) {
      data.Set(DecimalText(static_cast<std::int64_t>(100'000 + k)), texts[k]);
    }
    Track(hit.state, data);
  }
  ASSERT_TRUE(app_.WaitForHits(sent.size()));
  const auto hits = app_.Server().Hits();
  for (std::size_t i = 0; i < hits.size(); ++i) {
    SCOPED_TRACE(i);
    const std::string state = Expected(sent[i].state);
    EXPECT_FALSE(hits[i].malformed);
    EXPECT_TRUE(hits[i].contextData == sent[i].data);
    EXPECT_TRUE(hits[i].variables.at("pageName") == state);
    EXPECT_EQ(hits[i].variables.count("n" + state), 1U);
  }
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Hit), sent.size());

  // The decoder would have noticed a surrogate that was let through.
  std::string spoilt = hits[6].rawTarget;
  spoilt.replace(spoilt.find("%EF%BF%BD"), 9, "%ED%A0%80");
  EXPECT_TRUE(Collector::DecodeHit(spoilt).malformed);
}

TEST_F(TextTest, AwkwardTextsStayWithinTheirHit) {
  ContextData many;
  for (int i = 0; i < 10'000; ++i) many["k" + std::to_string(i)] = i;
  const struct {
    const char* name;
    std::string text;
    std::string arrives;  // where it is not the same
    ContextData data;
  } rows[] = {
      {"NUL", std::string("a\0b", 3), "", {}},
      {"line ends", "a\r\nX-Evil: 1\r\n\r\nGET /evil HTTP/1.1\r\n\r\n", "", {}},
      {"what means something in URLs", "#?&=%+/ ;:@%00%zz..//&AQE=1", "", {}},
      {"no UTF-8", "\xC0\xED\xA0\xE2\x82", "\uFFFD\uFFFD\uFFFD\uFFFD", {}},
      {"10,000 entries", "many", "", many},
      {"1 MB", "long", "", {{"long", std::string(1'000'000, 'v')}}},
  };
  app_.Start(kConfig);
  std::size_t count = 0;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Config::SetUserIdentifier(row.text);
    ContextData data = row.data;
    data["text"] = row.text;
    Analytics::TrackState(row.text, data);
    ASSERT_TRUE(app_.WaitForHits(++count));
    const Collector::Hit hit = app_.Server().Hits().back();
    EXPECT_FALSE(hit.malformed);
    const std::string text = row.arrives.empty() ? row.text : row.arrives;
    EXPECT_EQ(hit.variables.at("pageName"), text);
    EXPECT_EQ(hit.variables.at("vid"), text);
    EXPECT_EQ(hit.contextData.at("text"), text);
    EXPECT_EQ(hit.contextData.size(), data.size());
    for (const auto& [key, value] : row.data) {
      const auto* const held = std::get_if<std::string>(&value.Get());
      EXPECT_TRUE(hit.contextData.at(key) == (held != nullptr ? *held : key.substr(1))) << key;
    }
    EXPECT_EQ(hit.headers.count("X-Evil"), 0U);
  }
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Hit), count);
}

TEST_F(TextTest, AHitTooLongToBeSentIsRemovedAndHoldsUpNoOther) {
  const std::pair<const char*, std::size_t> rows[] = {
      {"true", 1'020'000}, {"true", 8'100'000}, {"false", 1'020'000}};
  for (const auto& [offlineTracking, length] : rows) {
    SCOPED_TRACE(offlineTracking + std::string(", ") + std::to_string(length));
    app_.Start(R"({"rsids":"s","server":"SERVER","offlineEnabled":)" +
               std::string(offlineTracking) + "}");
    app_.Server().Clear();
    const int removed = app_.CountLogged(kInvalid);
    Analytics::TrackState("before");
    Analytics::TrackState("long", {{"k", std::string(length, 'v')}});
    Analytics::TrackState("behind");
    ASSERT_TRUE(app_.WaitForHits(2));
    EXPECT_EQ(app_.Server().Hits()[0].variables.at("pageName"), "before");
    EXPECT_EQ(app_.Server().Hits()[1].variables.at("pageName"), "behind");
    EXPECT_EQ(app_.CountLogged(kInvalid), removed + 1);
  }
}

TEST_F(TextTest, NoDeviceOrLanguageMakesASecondHeader) {
  const Testing::ScopedVariable language("LC_ALL", "de\r\nX-Evil: 1");
  app_.deviceModel = std::string("Box\r\nX-Evil: 1\r\n\r\n\0\x01\x7F \xFF", 24);
  app_.Start(kConfig);
  Analytics::TrackState("Home");
  ASSERT_TRUE(app_.WaitForHits(1));
  const auto headers = app_.Server().Hits()[0].headers;
  EXPECT_EQ(headers.count("X-Evil"), 0U);
  EXPECT_EQ(headers.at("Accept-Language"), "en-US");
  EXPECT_TRUE(headers.at("User-Agent").ends_with("; Acme; BoxX-Evil: 1 \uFFFD) like Gecko"))
      << headers.at("User-Agent");
}

}  // namespace
}  // namespace Veltro::Internal
