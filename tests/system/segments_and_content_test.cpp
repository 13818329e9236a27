#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/test_application.h"
#include "veltro/veltro.h"

namespace Veltro::Internal {
namespace {

using namespace std::chrono_literals;
using Collector::Fault;
using Collector::RequestKind;
using Profile = AudienceManager::Profile;
using Status = VeltroPrivacyStatus;

constexpr const char* kAnalytics = R"({"rsids":"s","server":"SERVER","offlineEnabled":true,
    "poi":[["Berlin",52.5,13.4,10000]]})";
constexpr const char* kBoth =
    R"(,"audienceManager":{"server":"SERVER"},"target":{"clientCode":"shop","timeout":60})";
constexpr const char* kRules = R"({
    "audience": {"uuid": "U1", "rules": [
      {"segments": {"visitor": "yes"}},
      {"when": {"c_color": "red"}, "segments": {"likes": "red"},
       "destinations": ["http://SELF/destination/red", "http://SELF/destination/all"]}]},
    "content": {"pcId": "pc.1", "sessionId": "s-1", "locations": {"home": "Hello \u00DF"}}})";

/// Signals and content requests, from the public functions to the servers.
class SegmentsAndContentTest : public testing::Test {
 protected:
  SegmentsAndContentTest() { app_.Server().SetRules(kRules); }

  std::string LastLine(RequestKind kind) {
    const auto requests = app_.Server().Requests(kind);
    return requests.empty() ? "none" : requests.back().rawTarget;
  }
  std::string LastCookies() {
    const auto headers = app_.Server().Requests(RequestKind::Content).back().headers;
    const auto cookies = headers.find("Cookie");
    return cookies == headers.end() ? "" : cookies->second;
  }
  static std::string Load(const TargetLocationRequest& request) {
    return Target::LoadRequest(request).Get();
  }

  Testing::TestApplication app_;
};

TEST_F(SegmentsAndContentTest, SignalsTraitsAndIdentifiersInOneExactLine) {
  struct Row {
    const char* name;
    ContextData traits;
    const char* dpid;
    const char* dpuuid;
    const char* query;
  };
  const Row rows[] = {
      {"nothing", {}, "", "", "d_uuid=U1&"},
      {"as documented", {{"a.b", "xy"}}, "7", "P", "c_a_b=xy&d_uuid=U1&d_dpid=7&d_dpuuid=P&"},
      {"empty parts",
       {{"", "x"}, {"k", ""}, {"n", nullptr}, {"z", 1}, {".a..", true}},
       "7",
       "",
       "c__a__=true&c_z=1&d_uuid=U1&"},
      {"characters that URLs do not have",
       {{"k \u00E4", "\u00E4 &=?\""}},
       "\u00E4 ",
       "|",
       "c_k%20%C3%A4=%C3%A4%20%26%3D%3F%22&d_uuid=U1&d_dpid=%C3%A4%20&d_dpuuid=%7C&"},
      {"what could end the query or the line",
       {{"k#", "#\r\n"}},
       "7# \r\nX: 1",
       "#&p",
       "c_k%23=%23%0D%0A&d_uuid=U1&d_dpid=7%23%20%0D%0AX:%201&d_dpuuid=%23&p&"},
      {"question mark before an ampersand",
       {{"k?&c_x", "1"}},
       "a?",
       "b?",
       "c_k?c_x=1&d_uuid=U1&d_dpid=a?d_dpuuid=b?"},
  };
  app_.Start(kAnalytics, kBoth);
  EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), (Profile{{"visitor", "yes"}}));
  EXPECT_EQ(LastLine(RequestKind::Event), "/event?d_ptfm=win10&d_dst=1&d_rtbd=json");
  for (const Row& row : rows) {
    SCOPED_TRACE(row.name);
    AudienceManager::SetDpidAndDpuuid(row.dpid, row.dpuuid);
    AudienceManager::SignalWithData(row.traits).Get();
    const std::string query = row.query;
    EXPECT_EQ(LastLine(RequestKind::Event), "/event?" + query + "d_ptfm=win10&d_dst=1&d_rtbd=json");
    EXPECT_EQ(AudienceManager::GetDpid() + AudienceManager::GetDpuuid(),
              std::string(row.dpid) + row.dpuuid);
  }
}

TEST_F(SegmentsAndContentTest, CutsABaseUrlThatIsTooLong) {
  // "http://" + 115 characters + "/event?": the last two do not fit.
  const std::string port = ":" + std::to_string(app_.Server().Port());
  const std::string tail = ".localhost" + port;
  const std::string server =
      std::string(50, 'a') + "." + std::string(115 - 51 - tail.size(), 'b') + tail;
  app_.Start(kAnalytics, R"(,"audienceManager":{"server":")" + server + "\"}");
  AudienceManager::SignalWithData({{"k", "v"}}).Get();
  EXPECT_TRUE(app_.Logged("request (http://" + server + "/even&c_k=v&d_ptfm=win10"));
}

TEST_F(SegmentsAndContentTest, KeepsTheProfileAndCallsTheDestinations) {
  app_.Start(kAnalytics, kBoth);
  const Profile red = {{"visitor", "yes"}, {"likes", "red"}};
  EXPECT_EQ(AudienceManager::SignalWithData({{"color", "red"}}).Get(), red);
  EXPECT_TRUE(app_.Server().WaitForRequests(RequestKind::Destination, 2, 10s));
  app_.Start(kAnalytics, kBoth);
  StringMap stored;  // asked for by work on the shared queue, for which it must not wait
  Runtime::Peek()->SharedQueue().Post([&] { stored = Runtime::Peek()->StoredProfile(10s); });
  EXPECT_EQ(app_.QueueSize(), 0);
  EXPECT_EQ(stored, (StringMap{{u"likes", u"red"}, {u"visitor", u"yes"}}));
  EXPECT_EQ(AudienceManager::GetVisitorProfile(), red);
  EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), (Profile{{"visitor", "yes"}}));
  EXPECT_EQ(AudienceManager::GetVisitorProfile(), (Profile{{"visitor", "yes"}}));
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Destination), 2U);
}

TEST_F(SegmentsAndContentTest, AsksForContentInOneExactLine) {
  app_.Start(kAnalytics, kBoth);
  EXPECT_EQ(Load({"home", "default", {}}), "Hello \u00DF");
  EXPECT_EQ(LastLine(RequestKind::Content),
            "/m2/shop/ubox/raw?mboxContentType=text%2Fplain%3Bcharset%3Dutf-8&t=1600000000"
            "&mboxDefault=none&mbox=home&a.ltv.amount=0");
  EXPECT_EQ(LastCookies(), "");
  EXPECT_EQ(Target::GetPcId() + " " + Target::GetSessionId(), "pc.1 s-1");

  app_.Start(kAnalytics, kBoth);
  Analytics::TrackLifetimeValueIncrease(19.9);
  Analytics::TrackLocation(52.5, 13.4);
  const std::map<std::string, std::string> parameters = {
      {"z & z", "\u00E4?"}, {"", "x"}, {"y", ""}, {kTargetPageValue, "1"}};
  const auto order = Target::CreateOrderConfirmRequest("pl\u00E4ce", "o 1", "", "p", parameters);
  EXPECT_EQ(Load(order), "");
  const std::string expected =
      "/m2/shop/ubox/raw?mboxContentType=text%2Fplain%3Bcharset%3Dutf-8&t=1600000000"
      "&mboxXDomain=disabled&mboxSession=s-1&mboxPC=pc.1&mboxDefault=none&mbox=pl%C3%A4ce"
      "&mboxPageValue=1&orderId=o%201&productPurchasedId=p&z%20%26%20z=%C3%A4%3F";
  EXPECT_EQ(LastLine(RequestKind::Content),
            expected + "&a.loc.dist=0&a.loc.poi=Berlin&a.ltv.amount=19.9");
  const std::string cookies = LastCookies();
  EXPECT_TRUE(cookies == "mboxPC=pc.1; mboxSession=s-1" ||
              cookies == "mboxSession=s-1; mboxPC=pc.1")
      << cookies;

  Config::CollectLifecycleData();
  Analytics::TrackLocation(0, 0);  // out of the circle
  Load(order);
  const std::string line = LastLine(RequestKind::Content);
  EXPECT_TRUE(line.starts_with(expected + "&a.AppID=")) << line;
  EXPECT_TRUE(line.ends_with("&a.ltv.amount=19.9")) << line;
  EXPECT_NE(line.find("&a.InstallEvent=InstallEvent&"), line.npos) << line;
  EXPECT_EQ(line.find("a.loc."), line.npos) << line;

  Target::ClearStoredIds();
  Load({"home", "", {}});
  EXPECT_EQ(LastLine(RequestKind::Content).find("mboxPC"), std::string::npos);
  EXPECT_EQ(LastCookies(), "");

  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  EXPECT_NE(app_.DataFile("cookies.txt").find("pc.1"), std::string::npos);
  Target::ClearStoredIds();
  EXPECT_EQ(Host::Flush(10s), Host::FlushResult::Done);
  EXPECT_EQ(app_.DataFile("cookies.txt").find("pc.1"), std::string::npos);
}

TEST_F(SegmentsAndContentTest, SignalsTheDataOfALaunch) {
  app_.Start(kAnalytics, kBoth);
  Config::CollectLifecycleData();
  ASSERT_TRUE(app_.Server().WaitForRequests(RequestKind::Event, 1, 10s));
  EXPECT_NE(LastLine(RequestKind::Event).find("&c_a_InstallEvent=InstallEvent&"),
            std::string::npos);
}

TEST_F(SegmentsAndContentTest, SendsNothingUnlessConfiguredAndOptedIn) {
  app_.Start(kAnalytics);
  AudienceManager::SetDpidAndDpuuid("7", "P");
  EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), std::nullopt);
  EXPECT_EQ(Load({"home", "default", {}}), "");
  EXPECT_EQ(AudienceManager::GetDpid(), "");
  EXPECT_EQ(app_.CountLogged("Skaipra - Your config file is not set up to use Skaipra"), 2);

  app_.Start(kAnalytics, kBoth);
  for (const Status status : {Status::OptOut, Status::Unknown}) {
    Config::SetPrivacyStatus(status);
    EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), Profile());
    EXPECT_EQ(Load({"home", "default", {}}), "default");
  }
  EXPECT_EQ(LastLine(RequestKind::Event) + LastLine(RequestKind::Content), "nonenone");
  Config::SetPrivacyStatus(Status::OptIn);
  EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), (Profile{{"visitor", "yes"}}));
}

TEST_F(SegmentsAndContentTest, TakesWhateverAServerDoesForNoAnswer) {
  app_.Start(kAnalytics, kBoth);
  const Fault faults[] = {
      {.kind = Fault::Kind::Reset},
      {.kind = Fault::Kind::Close},
      {.status = 503, .body = "{}"},
      {.status = 200, .body = std::string(1'100'000, 'x')},
      {.status = 302, .location = "file:///etc/passwd"},
  };
  for (Fault fault : faults) {
    fault.server = Fault::Server::Audience;
    app_.Server().PushFaults({fault});
    fault.server = Fault::Server::Content;
    app_.Server().PushFaults({fault});
    EXPECT_EQ(AudienceManager::SignalWithData({}).Get(), Profile());
    EXPECT_EQ(Load({"home", "default", {}}), "default");
  }
  EXPECT_EQ(app_.CountLogged("Skaipra - Unexpected error parsing result ("), 5);
  EXPECT_EQ(app_.CountLogged("Target - Unexpected error getting response from server ("), 5);
}

TEST_F(SegmentsAndContentTest, AnswersManyOverlappingRequests) {
  app_.Start(kAnalytics, kBoth);
  std::vector<AsyncOperation<std::optional<Profile>>> signals;
  std::vector<AsyncOperation<std::string>> loads;
  for (int i = 0; i < 20; ++i) {
    signals.push_back(AudienceManager::SignalWithData({{"color", i % 2 == 0 ? "red" : "blue"}}));
    const std::string missing = "missing " + std::to_string(i);
    if (i < 10) loads.push_back(Target::LoadRequest({i % 2 == 0 ? "home" : "x", missing, {}}));
  }
  for (std::size_t i = 0; i < signals.size(); ++i) {
    EXPECT_EQ(signals[i].Get()->size(), i % 2 == 0 ? 2U : 1U) << i;
  }
  for (std::size_t i = 0; i < loads.size(); ++i) {
    EXPECT_EQ(loads[i].Get(), i % 2 == 0 ? "Hello \u00DF" : "missing " + std::to_string(i));
  }
  EXPECT_EQ(Target::GetPcId() + " " + Target::GetSessionId(), "pc.1 s-1");
  EXPECT_EQ(app_.Server().RequestCount(RequestKind::Event), 20U);
}

TEST_F(SegmentsAndContentTest, ASilentServerCostsItsOwnTimeAndDelaysNoHit) {
  app_.Start(kAnalytics, kBoth);
  Analytics::GetAnalyticsId().Get();
  app_.Server().PushFaults(
      {{.kind = Fault::Kind::Silence, .times = 0, .server = Fault::Server::Audience},
       {.kind = Fault::Kind::Silence, .times = 0, .server = Fault::Server::Content}});
  const auto load = Target::LoadRequest({"home", "default", {}});  // waits for 60 s
  const auto signal = AudienceManager::SignalWithData({});         // for 2 s
  ASSERT_TRUE(app_.Server().WaitForRequests(RequestKind::Content, 1, 10s));
  Analytics::TrackState("Home");
  ASSERT_TRUE(app_.WaitForHits(1));
  EXPECT_EQ(signal.Get(), Profile());
  EXPECT_TRUE(app_.Logged("Skaipra - response was empty"));
  EXPECT_FALSE(load.WaitFor(0ms));
  app_.Stop();  // waits for nobody
  EXPECT_EQ(load.Get(), "default");
}

TEST_F(SegmentsAndContentTest, EndsInTheMiddleOfManyCalls) {
  app_.Server().PushFaults(
      {{.kind = Fault::Kind::Silence, .times = 0, .server = Fault::Server::Destination}});
  app_.Start(kAnalytics, kBoth);
  for (int i = 0; i < 10; ++i) AudienceManager::SignalWithData({{"color", "red"}}).Get();
  ASSERT_TRUE(app_.Server().WaitForRequests(RequestKind::Destination, 8, 10s));
  app_.Stop();
  EXPECT_LT(app_.Server().RequestCount(RequestKind::Destination), 20U);
}

}  // namespace
}  // namespace Veltro::Internal
