#include <gtest/gtest.h>
#include <httplib.h>

#include <algorithm>
#include <mutex>

#include "collector/collector.h"
#include "collector/request_text.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;
constexpr milliseconds kDeadline = std::chrono::seconds(20);
constexpr const char* kContent = "/m2/client/ubox/raw?mbox=welcome";
constexpr const char* kRules = R"({
  "audience": {"uuid": "U-1", "rules": [
    {"when": {"c_color": "red & blue", "d_x": "1"}, "segments": {"\u00e4": "2", "z": "1"},
     "destinations": ["http://SELF/destination/red?to=SELF"]},
    {"when": {"c_color": "red & blue"}, "segments": {"z": "3"}, "destinations": ["http://b/"]}]},
  "content": {"pcId": "P", "sessionId": "S", "locations": {"welcome": "Hell\u00f6", "a b": "B"}}})";

class ServersTest : public testing::Test {
 protected:
  ServersTest() {
    client.set_keep_alive(true);
    client.set_url_encode(false);
    client.set_read_timeout(kDeadline);
  }
  static std::string TextOf(const httplib::Result& answer) {
    return answer ? std::to_string(answer->status) + " " + answer->body : to_string(answer.error());
  }
  std::string Get(const std::string& path) { return TextOf(client.Get(path)); }

  std::mutex mutex;
  std::vector<std::string> shown;
  Collector collector{{.onRequest =
                           [this](RequestKind kind, const ReceivedRequest& request) {
                             const std::lock_guard lock(mutex);
                             shown.push_back(RequestToText(kind, request));
                           },
                       .rules = kRules}};
  httplib::Client client{"127.0.0.1", collector.Port()};
};

TEST_F(ServersTest, AnswersEventsByTheRulesThatApply) {
  const std::string toSelf =
      "http://" + collector.Host() + "/destination/red?to=" + collector.Host();
  const std::string both =
      "200 {\"uuid\":\"U-1\",\"stuff\":[{\"cn\":\"\u00e4\",\"cv\":\"2\"},"
      R"({"cn":"z","cv":"1"},{"cn":"z","cv":"3"}],"dests":[{"c":")" +
      toSelf + R"("},{"c":"http://b/"}]})";
  const std::tuple<const char*, std::string, std::string> rows[] = {
      {"none applies", "/event?c_color=red", R"(200 {"uuid":"U-1"})"},
      {"no query", "/event", R"(200 {"uuid":"U-1"})"},
      {"one applies", "/event?d_x=2&%63_color=red%20%26%20blue",
       R"(200 {"uuid":"U-1","stuff":[{"cn":"z","cv":"3"}],"dests":[{"c":"http://b/"}]})"},
      {"both apply, far behind in the query",
       "/event?long=" + std::string(100'000, 'x') + "&d_x=1&c_color=red%20%26%20blue", both},
  };
  for (const auto& [name, target, answer] : rows) EXPECT_EQ(Get(target), answer) << name;

  collector.SetRules(R"({"audience": {"rules": [{"segments": {"always": ""}}]}})");
  EXPECT_EQ(Get("/event"), R"(200 {"stuff":[{"cn":"always","cv":""}]})");
  collector.SetRules("");
  EXPECT_EQ(Get("/event?c_color=red%20%26%20blue"), "200 {}");
}

TEST_F(ServersTest, AnswersContentRequestsAndChecksTheirIds) {
  const std::string pc = "mboxPC=P; Max-Age=1209600|";
  const std::string session = "mboxSession=S; Max-Age=1800|";
  struct Row {
    const char* name;
    std::string query, cookies, answer, set;
  };
  const Row rows[] = {
      {"no cookies", "mbox=welcome", "", "200 Hell\u00f6", pc + session},
      {"other cookies", "mbox=a%20b", "xmboxPC=P; mboxPCx=P; alone", "200 B", pc + session},
      {"unknown location", "mbox=Welcome", "mboxPC=1", "200 ", session},
      {"no location", "", "mboxSession=1", "200 ", pc},
      {"ids of the client", "mboxPC=p%201&mboxSession=s=&mbox=welcome",
       "a=b; mboxSession=s=;  mboxPC=p 1", "200 Hell\u00f6", ""},
      {"missing cookie", "mboxPC=P&mbox=welcome", "mboxSession=P",
       "400 the query has mboxPC=P, but there is no such cookie\n", ""},
      {"another cookie", "mboxSession=S&mbox=welcome", "mboxPC=S; mboxSession=T",
       "400 the query has mboxSession=S, the cookie T\n", ""},
  };
  for (const auto& [name, query, cookies, expected, expectedSet] : rows) {
    const auto answer = client.Get("/m2/client/ubox/raw?" + query, {{"Cookie", cookies}});
    EXPECT_EQ(TextOf(answer), expected) << name;
    std::string set;
    const auto [first, last] = answer->headers.equal_range("Set-Cookie");
    for (auto header = first; header != last; ++header) set += header->second + "|";
    EXPECT_EQ(set, expectedSet) << name;
    EXPECT_TRUE(answer->get_header_value("Content-Type").starts_with("text/plain")) << name;
  }
  EXPECT_EQ(collector.Requests(RequestKind::Content).back().headers.at("Cookie"),
            "mboxPC=S; mboxSession=T");
  EXPECT_EQ(collector.Requests(RequestKind::Content).back().status, 400);
}

TEST_F(ServersTest, RefusesBadRulesAndKeepsTheOld) {
  // The rules, what the message says.
  const std::pair<const char*, const char*> rows[] = {
      {"{", "parse error"},
      {"{\"content\": {\"locations\": {\"a\": \"\xFF\"}}}", "UTF-8"},
      {"[]", "the whole must be an object"},
      {R"({"contents": {}})", "unknown member \"contents\" of the whole"},
      {R"({"audience": {"segments": {}}})", "unknown member \"segments\" of \"audience\""},
      {R"({"audience": {"uuid": 1}})", "\"uuid\" must be a text"},
      {R"({"audience": {"rules": {}}})", "\"rules\" must be an array"},
      {R"({"audience": {"rules": [1]}})", "a rule must be an object"},
      {R"({"audience": {"rules": [{"When": {}}]}})", "unknown member \"When\" of a rule"},
      {R"({"audience": {"rules": [{"when": {"a": 1}}]}})", "\"a\" in \"when\" must be a text"},
      {R"({"audience": {"rules": [{"segments": []}]}})", "\"segments\" must be an object"},
      {R"({"audience": {"rules": [{"destinations": [1]}]}})", "each of \"destinations\" must be"},
      {R"({"content": {"pcId": "a;b"}})", "\"pcId\" must consist of"},
      {R"({"content": {"sessionId": ""}})", "\"sessionId\" must consist of"},
      {R"({"content": {"locations": {"a": null}}})", "\"a\" in \"locations\" must be a text"},
  };
  for (const auto& [rules, message] : rows) {
    try {
      collector.SetRules(rules);
      ADD_FAILURE() << "accepted " << rules;
    } catch (const std::exception& error) {
      EXPECT_NE(std::string(error.what()).find(message), std::string::npos) << error.what();
    }
    EXPECT_THROW(Collector({.rules = rules}), std::exception) << rules;
  }
  EXPECT_EQ(Get(kContent), "200 Hell\u00f6");
}

TEST_F(ServersTest, SpoilsTheAnswersOfOneServerOnly) {
  const std::pair<const char*, std::string> servers[] = {{"collection", "/id"},
                                                         {"audience", "/event"},
                                                         {"content", kContent},
                                                         {"destination", "/destination/"}};
  for (const auto& [server, target] : servers) {
    collector.ClearFaults();
    const std::string fault = R"({"kind": "status", "status": 200, "body": "{\u00e4", "server": ")";
    ASSERT_EQ(TextOf(client.Post("/api/faults", fault + server + "\"}", "")), "200 ");
    collector.PushFaults({{.body = "second", .server = Fault::Server::Collection}});
    for (const auto& other : servers) {
      const bool isSpoiled = target == other.second;
      EXPECT_EQ(Get(other.second) == "200 {\u00e4", isSpoiled) << server << " " << other.first;
    }
    EXPECT_EQ(Get("/id") == "500 second", target == "/id") << server;
  }
  EXPECT_TRUE(TextOf(client.Post("/api/faults", R"({"kind": "reset", "server": "x"})", ""))
                  .starts_with("400 "));
  EXPECT_TRUE(TextOf(client.Post("/api/faults", R"({"kind": "reset", "body": 1})", ""))
                  .starts_with("400 "));
}

TEST_F(ServersTest, KeepsCountsAndShowsRequestsOfEachKind) {
  collector.PushFaults({{.status = 503, .server = Fault::Server::Destination},
                        {.kind = Fault::Kind::Close, .server = Fault::Server::Audience}});
  Get("/event?b=%1B%F6&a=1%202");
  Get("/destination/r%C3%B6d?x=%2F");
  Get(kContent);
  Get("/id");
  const std::string lines[] = {"event a=1 2 b=\\x1b\\xf6 (no answer)\n",
                               "destination /destination/r%C3%B6d?x=%2F (503)\n",
                               "content welcome\n", "id /id\n"};
  {
    const std::lock_guard lock(mutex);
    EXPECT_TRUE(std::ranges::equal(shown, lines)) << testing::PrintToString(shown);
  }
  EXPECT_TRUE(Get("/api/events")
                  .starts_with(
                      R"(200 [{"rawTarget":"/event?b=%1B%F6&a=1%202","headers":{"Accept":"*/*",)"));
  EXPECT_TRUE(Get("/api/destinations").ends_with("\"},\"status\":503}]"));
  EXPECT_TRUE(Get("/api/contents").starts_with("200 [{\"rawTarget\":\"/m2/client/ubox/raw?mbox="));
  const std::string rest = R"("connections":1,"idRequests":1,"events":)";
  EXPECT_EQ(Get("/api/stats"),
            R"(200 {"hits":0,"attempts":0,)" + rest + R"(1,"destinations":1,"contents":1})");
  EXPECT_TRUE(collector.WaitForRequests(RequestKind::Event, 1, kDeadline));
  EXPECT_FALSE(collector.WaitForRequests(RequestKind::Event, 2, milliseconds(1)));
  collector.Clear();
  EXPECT_EQ(Get("/api/stats"),
            R"(200 {"hits":0,"attempts":0,)" + rest + R"(0,"destinations":0,"contents":0})");
  EXPECT_EQ(collector.RequestCount(RequestKind::Event), 1u);
}

}  // namespace
}  // namespace Veltro::Collector
