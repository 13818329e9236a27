#include "audience/skaipra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <thread>
#include <vector>

#include "base/utf.h"
#include "config/privacy.h"
#include "fakes/fake_platform.h"
#include "support/log_capture.h"

namespace Veltro::Internal {
namespace {

using Testing::FakePlatform;

/// All that one process has of it.
struct Process {
  Process(FakePlatform& fakes, const Configuration& config)
      : settings(fakes.settings),
        privacy(config, settings, [](VeltroPrivacyStatus) {}),
        profile(settings),
        destinations(fakes.httpTransport, privacy),
        skaipra(config, privacy, fakes.httpTransport, profile, destinations) {}

  SettingsStore settings;
  Privacy privacy;
  VisitorProfile profile;
  DestinationForwarder destinations;
  Skaipra skaipra;
};

class SkaipraTest : public testing::Test {
 protected:
  SkaipraTest() { config_.audienceManagerServer = "aud.example"; }

  /// The profile as text that an answer with this body yields.
  std::string Signal(Process& process, const std::string& body, const StringMap& traits = {}) {
    fakes_.httpTransport.ScriptAnswer(200, body);
    const auto profile = process.skaipra.SignalWithData(traits);
    return profile ? ToUtf8(ProfileText(*profile)) : "nothing";
  }

  std::string Stored(std::u16string_view key) {
    return ToUtf8(SettingsStore(fakes_.settings).ReadString(key));
  }

  Testing::LogCapture log_;
  FakePlatform fakes_;
  Configuration config_;
};

const std::string kEmptyLine = "Veltro Warning: Skaipra - response was empty\n";
const std::string kErrorLine = "Veltro Warning: Skaipra - Unexpected error parsing result (";

TEST_F(SkaipraTest, ReadsEveryAnswerAsFarAsItGoes) {
  struct Row {
    const char* name;
    std::string body;
    const char* yields;
    const char* userId;  // stored; "old" before
    std::string line;    // in the log; none where empty
  };
  const std::string deep(100'000, '[');
  const Row rows[] = {
      {"whole", R"({"uuid":"u","stuff":[{"cn":"b","cv":"2"},{"cn":"a","cv":"1"}],"more":1})",
       R"({"a":"1","b":"2"})", "u",
       "Veltro Debug: Skaipra - response {\n    a = 1\n    b = 2\n}\n"},
      {"first of equal keys", R"({"stuff":[{"cn":"a","cv":"1"},{"cn":"a","cv":"2"}]})",
       R"({"a":"1"})", "old", ""},
      {"incomplete segments",
       R"({"stuff":[{"cn":"a"},{"cv":"1"},{"cn":"","cv":"1"},7,[],{"cn":"b","cv":"2"}]})",
       R"({"b":"2"})", "old", ""},
      {"a quote in a value", R"({"stuff":[{"cn":"a","cv":"1\"2"}]})", R"({"a":"1"2"})", "old", ""},
      {"bytes that are no text", "{\"stuff\":[{\"cn\":\"a\",\"cv\":\"\xFF\"}]}",
       "{\"a\":\"\xEF\xBF\xBD\"}", "old", ""},
      {"empty", "", "{}", "old", kEmptyLine},
      {"no segments", R"({"uuid":"u","stuff":[]})", "{}", "u", kEmptyLine},
      {"no JSON", "oops {", "{}", "old", ""},
      {"not an object", "[]", "{}", "old", ""},
      {"too deep", R"({"stuff":[],"x":)" + std::string(40, '[') + std::string(40, ']') + "}", "{}",
       "old", ""},
      {"endlessly deep", deep, "{}", "old", ""},
      {"segments of another type", R"({"uuid":"u","stuff":{"cn":"a","cv":"1"}})", "{}", "old",
       kErrorLine + "\"stuff\" is no array)"},
      {"a value of another type", R"({"uuid":"u","stuff":[{"cn":"a","cv":1}]})", "{}", "old",
       kErrorLine + "\"cv\" is no string)"},
      {"an identifier of another type", R"({"uuid":7,"stuff":[{"cn":"a","cv":"1"}]})", "{}", "old",
       kErrorLine + "\"uuid\" is no string)"},
      {"an identifier with a blank", R"({"uuid":"u u","stuff":[{"cn":"a","cv":"1"}]})",
       R"({"a":"1"})", "old", ""},
      {"an identifier too long", R"({"uuid":")" + std::string(257, 'u') + "\"}", "{}", "old",
       kEmptyLine},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    log_.Clear();
    fakes_.settings.Insert(u"KestrelUserId", std::u16string(u"old"));
    fakes_.settings.Insert(u"KestrelUserProfile", std::u16string(u"{\"kept\":\"1\"}"));
    Process process(fakes_, config_);
    EXPECT_EQ(Signal(process, row.body), row.yields);
    EXPECT_EQ(Stored(u"KestrelUserId"), row.userId);
    const std::string kept = std::string(row.yields) == "{}" ? R"({"kept":"1"})" : row.yields;
    EXPECT_EQ(Stored(u"KestrelUserProfile"), kept);
    EXPECT_EQ(ToUtf8(ProfileText(process.profile.GetProfile())), kept);
    EXPECT_TRUE(log_.Contains(row.line)) << row.line;
    EXPECT_EQ(log_.Contains("Warning"), row.line.find("Warning") != row.line.npos);
  }
}

TEST_F(SkaipraTest, KeepsProfileAndIdentifierOverARestart) {
  const std::string body = R"({"uuid":"u","stuff":[{"cn":"a","cv":"1"}]})";
  {
    Process first(fakes_, config_);
    Signal(first, body);
    Signal(first, R"({"uuid":"u"})");
    EXPECT_EQ(fakes_.settings.Writes(), 2);  // not the same identifier again
  }
  Process second(fakes_, config_);
  EXPECT_EQ(ToUtf8(ProfileText(second.profile.GetProfile())), R"({"a":"1"})");
  Signal(second, R"({"uuid":"u","stuff":[{"cn":"b","cv":"x\"y"}]})");
  EXPECT_EQ(fakes_.settings.Writes(), 3);
  EXPECT_EQ(fakes_.httpTransport.Requests().back().url,
            "http://aud.example/event?d_uuid=u&d_ptfm=win10&d_dst=1&d_rtbd=json");
  Process third(fakes_, config_);
  EXPECT_TRUE(third.profile.GetProfile().Empty()) << "a text that no longer parses";
}

TEST_F(SkaipraTest, CallsEachDestinationByItself) {
  const std::string body =
      R"({"dests":[{"c":"http://d.example/1|a b"},{},7,{"c":7},{"c":"ftp://d.example/2"},)"
      R"({"c":"http://d.example/3"},{"c":"http://d.example/4"},{"c":"http://d.example/5"}],)"
      R"("uuid":7})";
  {
    Process process(fakes_, config_);
    Testing::FakeHttpTransport& transport = fakes_.httpTransport;
    transport.ScriptAnswer(200, body);
    transport.ScriptAnswer(500);
    transport.ScriptFailure(kHttpBadUrl);
    transport.ScriptTimeout();
    transport.ScriptFailure(kHttpNameNotResolved);
    process.skaipra.SignalWithData({});
  }
  std::vector<std::string> called;
  for (const HttpRequest& request : fakes_.httpTransport.Requests()) {
    called.push_back(request.url);
    EXPECT_EQ(request.publicHostsOnly, called.size() > 1);
    EXPECT_EQ(request.timeout.count(), called.size() > 1 ? 5000 : 2000);
  }
  called.erase(called.begin());
  std::sort(called.begin(), called.end());  // they are called side by side
  const std::vector<std::string> all = {"ftp://d.example/2", "http://d.example/1%7Ca%20b",
                                        "http://d.example/3", "http://d.example/4",
                                        "http://d.example/5"};
  EXPECT_EQ(called, all);
  for (const char* line :
       {"Skaipra - Failed to forward the dest (The syntax used in the uri parameter is incorrect.)",
        "Skaipra - Failed to forward dest; the request timed out",
        "Skaipra - Unknown failure forwarding dest (The server name or address specified in the "
        "uri parameter could not be resolved.)"}) {
    EXPECT_EQ(log_.Count(line), 1) << line;
  }
}

TEST_F(SkaipraTest, CallsNoDestinationAfterAnOptOut) {
  {
    Process process(fakes_, config_);
    fakes_.httpTransport.ScriptPending();
    std::thread signal([&] { process.skaipra.SignalWithData({}); });
    EXPECT_TRUE(fakes_.httpTransport.WaitForRequests(1));
    process.privacy.Set(VeltroPrivacyStatus::OptOut);
    fakes_.httpTransport.AnswerPending(200, R"({"dests":[{"c":"http://d.example/"}]})");
    signal.join();
  }
  EXPECT_EQ(fakes_.httpTransport.RequestCount(), 1U);
}

TEST_F(SkaipraTest, LeavesOutDestinationsWhenTooManyAreWaiting) {
  std::string body = "{\"dests\":[";
  for (int i = 0; i < 2000; ++i) body += "{\"c\":\"http://d.example/\"},";
  body.back() = ']';
  Process process(fakes_, config_);
  fakes_.httpTransport.ScriptAnswer(200, body + "}");
  for (int i = 0; i < 8; ++i) fakes_.httpTransport.ScriptPending();
  process.skaipra.SignalWithData({});
  EXPECT_EQ(log_.Count("Skaipra - Failed to forward the dest (too many are waiting)"), 1);
  process.destinations.Requests().Stop();
}

TEST_F(SkaipraTest, RefusesServersThatAreNoHost) {
  for (const std::string& server : {std::string("a b"), std::string("user@a.example"),
                                    std::string("\u00E4.example"), std::string(130, 'a')}) {
    log_.Clear();
    config_.audienceManagerServer = server;
    Process process(fakes_, config_);
    EXPECT_EQ(process.skaipra.SignalWithData({}), StringMap());
    EXPECT_TRUE(log_.Contains("Warning: Skaipra - Unable to create URI object (")) << server;
  }
  EXPECT_EQ(fakes_.httpTransport.RequestCount(), 0U);
}

}  // namespace
}  // namespace Veltro::Internal
