#include "collector/collector.h"

#include <gtest/gtest.h>
#include <httplib.h>

#include <future>
#include <optional>

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;
constexpr milliseconds kDeadline = std::chrono::seconds(20);
constexpr const char* kHit = "/b/ss/s/0/V/s1?AQB=1&pageName=Home&c.&a.&b=1&.a&.c&AQE=1";

class CollectorTest : public testing::Test {
 protected:
  CollectorTest() {
    client.set_keep_alive(true);
    client.set_url_encode(false);
    client.set_read_timeout(kDeadline);
  }
  static std::string TextOf(const httplib::Result& answer) {
    return answer ? std::to_string(answer->status) + " " + answer->body : to_string(answer.error());
  }
  std::string Get(const std::string& path) { return TextOf(client.Get(path)); }
  std::string PostFaults(const std::string& faults) {
    return TextOf(client.Post("/api/faults", faults, "application/json"));
  }

  // What a request on a connection of its own leads to, by the plain system calls.
  std::string Outcome(const std::string& target, milliseconds patience = kDeadline) const {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    const timeval timeout{patience.count() / 1000, patience.count() % 1000 * 1000};
    ::setsockopt(socket, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    ::connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const std::string request = "GET " + target + " HTTP/1.1\r\n\r\n";
    ::send(socket, request.data(), request.size(), MSG_NOSIGNAL);
    std::string start(12, ' ');
    const ssize_t count = ::recv(socket, start.data(), start.size(), MSG_WAITALL);
    if (count <= 0) start = count == 0 ? "close" : errno == ECONNRESET ? "reset" : "silence";
    ::close(socket);
    return start;
  }

  std::optional<Collector> collector{std::in_place, Collector::Options{.identifier = "ID"}};
  const std::uint16_t port = collector->Port();
  httplib::Client client{"127.0.0.1", port};
};

TEST_F(CollectorTest, KeepsHitsInOrderAndExactlyAsReceived) {
  const std::string targets[] = {kHit, "/b/ss/?a=%e4+%20%FF", "/b/ss/" + std::string(8 << 20, 'x')};
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_EQ(Get(targets[i]), "200 ");
    EXPECT_TRUE(collector->Hits().at(i).rawTarget == targets[i]) << i;
  }
  EXPECT_GT(collector->Hits()[0].receivedTime, 1'600'000'000'000);
  EXPECT_NE(Get("/api/hits")
                .find(R"("kind":"state","name":"Home","reportSuites":["s"],"codeVersion":"V",)"
                      R"("randomPart":"s1","variables":{"AQB":"1","AQE":"1","pageName":"Home"},)"
                      R"("contextData":{"a.b":"1"},"headers":{"Accept":"*/*",)"),
            std::string::npos);
  ASSERT_TRUE(client.Delete("/api/hits"));
  EXPECT_EQ(Get(kHit), "200 ");
  EXPECT_EQ(collector->Hits().at(0).sequence, 4);
}

TEST_F(CollectorTest, CountsConnectionsThatBringHitsOrIdentifierRequests) {
  EXPECT_EQ(Get("/event"), "200 {}");
  EXPECT_EQ(Get(kHit) + Get(kHit) + Get("/id"), R"(200 200 200 {"id":"ID"})");
  EXPECT_EQ(Outcome("/event") + Outcome("/id"), "HTTP/1.1 200HTTP/1.1 200");
  EXPECT_TRUE(Get("/api/stats")
                  .starts_with(R"(200 {"hits":2,"attempts":2,"connections":2,"idRequests":2,)"));
}

TEST_F(CollectorTest, WaitsForHits) {
  auto waiting = std::async(std::launch::async, [this] { return Get("/api/hits/wait?count=2"); });
  for (int i = 0; i < 2; ++i) Outcome(kHit);
  EXPECT_TRUE(waiting.get().starts_with(R"(200 {"count":2,"complete":true,"hits":[{"seq)"));
  const auto start = std::chrono::steady_clock::now();
  EXPECT_NE(Get("/api/hits/wait?count=3&timeout=50").find("complete\":false"), std::string::npos);
  EXPECT_GE(std::chrono::steady_clock::now() - start, milliseconds(50));
  for (const std::string query : {"count=", "count=-1", "timeout=1s"}) {
    EXPECT_TRUE(Get("/api/hits/wait?" + query).starts_with("400 {\"error\":")) << query;
  }
}

TEST_F(CollectorTest, LetsFaultsHappenInOrder) {
  // The fault, what the client sees, the status that the attempt was to get.
  const std::tuple<std::string, std::string, std::int32_t> rows[] = {
      {R"("delay", "milliseconds": 60)", "HTTP/1.1 200", 200},
      {R"("delay", "milliseconds": 600000)", "silence", 200},
      {R"("silence")", "silence", 0},
      {R"("reset")", "reset", 0},
      {R"("close")", "close", 0},
      {R"("status", "status": 307, "location": "/x", "times": 2)", "HTTP/1.1 307", 307},
  };
  for (const auto& row : rows) PostFaults("[{\"kind\": " + std::get<0>(row) + "}]");
  PostFaults(R"({"kind": "status", "times": 0})");
  for (std::size_t attempts = 0; const auto& [fault, outcome, status] : rows) {
    SCOPED_TRACE(fault);
    EXPECT_EQ(Outcome(kHit, outcome == "silence" ? milliseconds(100) : kDeadline), outcome);
    ASSERT_TRUE(collector->WaitForRequests(RequestKind::Hit, ++attempts, kDeadline));
    EXPECT_EQ(collector->Requests(RequestKind::Hit).back().status, status);
  }
  EXPECT_EQ(client.Get(kHit)->get_header_value("Location"), "/x");
  EXPECT_EQ(Get(kHit) + Get("/id"), "500 500 ");
  ASSERT_TRUE(client.Delete("/api/faults"));
  EXPECT_EQ(Get(kHit), "200 ");
  EXPECT_EQ(collector->Hits().size(), 4u);  // the late one, both redirected ones, the last one
}

TEST_F(CollectorTest, RefusesBadFaults) {
  for (const std::string bad : {"", "1", "\"\xFF\"", R"("status", "status": 199)",
                                R"("status", "location": 1)", R"("reset", "times": -1)"}) {
    EXPECT_TRUE(PostFaults(R"([{"kind":"reset"},{"kind":)" + bad + "}]").starts_with("400 {"));
  }
  EXPECT_EQ(Get(kHit), "200 ");
}

TEST_F(CollectorTest, HoldsItsPortUntilItStopsWithoutWaitingForAnybody) {
  EXPECT_THROW(Collector({.port = port}), std::runtime_error);
  PostFaults(R"({"kind": "silence"})");
  auto silent = std::async(std::launch::async, [this] { return Outcome(kHit); });
  ASSERT_TRUE(collector->WaitForRequests(RequestKind::Hit, 1, kDeadline));
  auto waiting = std::async(std::launch::async, [this] { return Outcome("/api/hits/wait"); });
  ASSERT_EQ(Get("/id"), R"(200 {"id":"ID"})");  // on a connection that stays open, and idle
  const auto start = std::chrono::steady_clock::now();
  collector.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, kDeadline / 4);
  EXPECT_NO_THROW(Collector({.port = port}));
}

}  // namespace
}  // namespace Veltro::Collector
