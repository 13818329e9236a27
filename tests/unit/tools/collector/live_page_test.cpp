#include <gtest/gtest.h>
#include <httplib.h>

#include <array>
#include <chrono>
#include <deque>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <tuple>
#include <utility>

#include "collector/collector.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;
constexpr milliseconds kDeadline = std::chrono::seconds(20);
constexpr const char* kHit = "/b/ss/s/0/V/s1?AQB=1&pageName=Home&ts=16&c.&a.&b=1&.a&.c&AQE=1";

std::string TextOf(const httplib::Result& answer) {
  return answer ? std::to_string(answer->status) + " " + answer->body : to_string(answer.error());
}

std::string ContentOf(const char* file) {
  std::ostringstream content;
  content << std::ifstream(file).rdbuf();
  return content.str();
}

// A browser that reads the live feed, by the plain system calls; only when it is asked to.
class Reader {
 public:
  explicit Reader(std::uint16_t port, const std::string& query = "",
                  const std::string& header = "") {
    const timeval timeout{kDeadline.count() / 1000, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    const sockaddr_in address{AF_INET, htons(port), {htonl(INADDR_LOOPBACK)}, {}};
    ::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address);
    const std::string request = "GET /api/live" + query + " HTTP/1.1\r\n" + header + "\r\n";
    ::send(socket_, request.data(), request.size(), MSG_NOSIGNAL);
    status_ = Take("\r\n\r\n").substr(9, 3);
  }
  ~Reader() { ::close(socket_); }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  const std::string& Status() const { return status_; }

  // The next message; what came of it when it does not.
  std::string Next() {
    while (message_.find("\n\n") == std::string::npos) {
      const std::string chunk = Take("\r\n");  // its size, a line end, itself
      if (chunk.empty()) return std::exchange(message_, "");
      message_ += Take("\r\n");
    }
    const std::string next = message_.substr(0, message_.find("\n\n") + 2);
    message_.erase(0, next.size());
    return next;
  }

 private:
  // What comes up to `end`, without it; "" when the connection ends or nothing comes any more.
  std::string Take(const std::string& end) {
    std::array<char, 65536> bytes{};
    while (received_.find(end) == std::string::npos) {
      const ssize_t count = ::recv(socket_, bytes.data(), bytes.size(), 0);
      if (count <= 0) return "";
      received_.append(bytes.data(), static_cast<std::size_t>(count));
    }
    const std::string taken = received_.substr(0, received_.find(end));
    received_.erase(0, taken.size() + end.size());
    return taken;
  }

  const int socket_ = ::socket(AF_INET, SOCK_STREAM, 0);
  std::string status_;
  std::string received_;
  std::string message_;
};

class LivePageTest : public testing::Test {
 protected:
  LivePageTest() {
    client.set_keep_alive(true);
    client.set_url_encode(false);
  }
  std::string Get(const std::string& path) { return TextOf(client.Get(path)); }

  std::optional<Collector> collector{std::in_place, Collector::Options{}};
  const std::uint16_t port = collector->Port();
  httplib::Client client{"127.0.0.1", port};
};

TEST_F(LivePageTest, TellsWhatIsKeptAndWhatComes) {
  Get(kHit);
  Get("/event?c_%61=1");
  Reader reader(port);
  EXPECT_EQ(reader.Next(), "event: faults\ndata: []\n\n");
  const std::string kept = reader.Next();
  EXPECT_TRUE(
      kept.starts_with("event: entries\nid: 2\ndata: [{\"number\":1,\"type\":\"hit\",\"rec"));
  EXPECT_NE(kept.find(R"(,"status":200,"length":62,"kind":"state","name":"Home",)"
                      R"("reportSuites":["s"],"timestamp":16,"variables":{"AQB":"1","AQE":"1",)"
                      R"("pageName":"Home","ts":"16"},"contextData":{"a.b":"1"}},{"number":2,)"),
            std::string::npos)
      << kept;
  EXPECT_TRUE(kept.ends_with("\"length\":14,\"name\":\"\",\"parameters\":{\"c_a\":\"1\"}}]\n\n"));

  const std::string faults = R"([{"kind":"close","server":"collection","times":1},)"
                             R"({"kind":"delay","milliseconds":5,"server":"content","times":0}])";
  client.Post("/api/faults", faults, "");
  EXPECT_EQ(reader.Next(), "event: faults\ndata: " + faults + "\n\n");
  EXPECT_EQ(Get("/api/faults"), "200 " + faults);
  httplib::Client("127.0.0.1", port).Get("/b/ss/");
  EXPECT_TRUE(reader.Next().starts_with("event: faults\ndata: [{\"kind\":\"delay\""));
  const std::string spoiled = reader.Next();
  EXPECT_NE(spoiled.find(R"("status":0,"length":6,"kind":"state")"), std::string::npos) << spoiled;
  client.Delete("/api/hits");
  EXPECT_EQ(reader.Next(), "event: clear\nid: 4\ndata: {}\n\n");
  Get("/m2/c/ubox/raw?mbox=a%20b");
  EXPECT_TRUE(reader.Next().starts_with("event: entries\nid: 5\n"));
}

TEST_F(LivePageTest, GoesOnWhereTheReaderWas) {
  for (int i = 0; i < 3; ++i) Get("/destination/" + std::to_string(i));
  collector->Clear();                         // is number 4
  for (int i = 0; i < 1200; ++i) Get("/id");  // 5 to 1204
  // What the reader asks for, what it learns first.
  const std::tuple<const char*, const char*, const char*, std::string> rows[] = {
      {"all", "", "", "event: entries\nid: 504\ndata: [{\"number\":5,"},
      {"more", "?after=700", "", "event: entries\nid: 1200\ndata: [{\"number\":701,"},
      {"the rest", "?after=1200", "", "event: entries\nid: 1204\ndata: [{\"number\":1201,"},
      {"again", "?after=7", "Last-Event-ID: 1203\r\n", "event: entries\nid: 1204\n"},
      {"cleared meanwhile", "?after=3", "", "event: clear\nid: 4\n"},
      {"just cleared", "?after=4", "", "event: entries\nid: 504\ndata: [{\"number\":5,"},
      {"of an earlier collector", "", "Last-Event-ID: 1205\r\n", "event: clear\nid: 4\n"},
      {"nonsense", "?after=x", "Last-Event-ID: -1\r\n", "event: entries\nid: 504\n"},
  };
  for (const auto& [name, query, header, first] : rows) {
    SCOPED_TRACE(name);
    Reader reader(port, query, header);
    reader.Next();
    EXPECT_EQ(reader.Next().substr(0, first.size()), first);
  }
}

TEST_F(LivePageTest, HasFewReadersAndEndsThemAll) {
  std::deque<Reader> readers;
  for (int i = 0; i < 8; ++i) EXPECT_EQ(readers.emplace_back(port).Status(), "200") << i;
  EXPECT_EQ(Reader(port).Status(), "503");
  readers.pop_back();
  const auto start = std::chrono::steady_clock::now();
  const auto isLate = [&] { return std::chrono::steady_clock::now() - start > kDeadline / 4; };
  while (readers.emplace_back(port).Status() == "503" && !isLate()) readers.pop_back();
  EXPECT_EQ(readers.back().Next(), "event: faults\ndata: []\n\n");
  collector.reset();
  for (Reader& reader : readers) reader.Next();
  EXPECT_EQ(readers.front().Next(), "");
  EXPECT_FALSE(isLate());
}

TEST_F(LivePageTest, IsSlowForASlowReaderOnly) {
  Reader slow(port);
  // More than sockets take.
  for (int i = 0; i < 5; ++i) EXPECT_EQ(Get(kHit + std::string(2 << 20, 'x')), "200 ");
  Reader reader(port, "?after=4");
  reader.Next();
  EXPECT_TRUE(reader.Next().starts_with("event: entries\nid: 5\n"));
  const auto start = std::chrono::steady_clock::now();
  collector.reset();
  EXPECT_LT(std::chrono::steady_clock::now() - start, kDeadline / 2);
}

TEST_F(LivePageTest, GivesOneEntryWithAllItHas) {
  Get(kHit);
  Get("/destination/a?b=1");
  EXPECT_NE(Get("/api/entries/1").find(R"("rawTarget":"/b/ss/s/0/V/s1?AQB=1&pageName=Home&ts=16)"),
            std::string::npos);
  EXPECT_TRUE(
      Get("/api/entries/1").ends_with(R"("codeVersion":"V","randomPart":"s1","malformed":false})"));
  const std::string destination = Get("/api/entries/2");
  EXPECT_NE(destination.find(R"("name":"/destination/a","parameters":{"b":"1"},"rawTarget":)"
                             R"("/destination/a?b=1","headers":{"Accept":"*/*",)"),
            std::string::npos)
      << destination;
  for (const char* number : {"0", "3", "99999999999999999999", "x"}) {
    EXPECT_TRUE(Get(std::string("/api/entries/") + number).starts_with("404 ")) << number;
  }
  collector->Clear();
  EXPECT_TRUE(Get("/api/entries/1").starts_with("404 "));
}

TEST_F(LivePageTest, IsThereForItsOwnReadersOnly) {
  const std::string own = "127.0.0.1:" + std::to_string(port);
  // Host, origin (if any), the status.
  const std::tuple<std::string, std::string, int> rows[] = {
      {own, "", 200},
      {"LocalHost", "", 200},
      {"[::1]:80", "", 200},
      {own, "http://" + own, 200},
      {"localhost:1", "http://localhost:1", 200},
      {"example.com", "", 403},
      {"127.0.0.1.example.com:80", "", 403},
      {"[::1].example.com", "", 403},
      {"example.com", "http://example.com", 403},
      {own, "http://example.com", 403},
      {own, "http://localhost:" + std::to_string(port), 403},
      {own, "https://" + own, 403},
      {own, "null", 403},
  };
  for (const auto& [host, origin, status] : rows) {
    httplib::Headers headers = {{"Host", host}};
    if (!origin.empty()) headers.emplace("Origin", origin);
    collector->PushFaults({{.times = 0}});
    for (const char* path : {"/", "/page/index.html", "/api/hits", "/api/stats", "/api/faults"}) {
      EXPECT_EQ(client.Get(path, headers)->status, status) << host << " " << origin << path;
    }
    EXPECT_EQ(client.Post("/api/faults", headers, "[]", "text/plain")->status, status);
    EXPECT_EQ(client.Delete("/api/faults", headers)->status, status) << host << " " << origin;
    EXPECT_EQ(Get("/api/faults") == "200 []", status == 200) << host << " " << origin;
    collector->ClearFaults();
    EXPECT_EQ(client.Get("/id", headers)->status, 200) << host;
  }
}

TEST_F(LivePageTest, ConsistsOfFilesThatMayNotReachOut) {
  const auto page = client.Get("/");
  EXPECT_EQ(page->get_header_value("Content-Type"), "text/html; charset=utf-8");
  EXPECT_EQ(page->get_header_value("Content-Security-Policy"),
            "default-src 'self'; img-src 'self' data:; base-uri 'none'; form-action 'self'; "
            "frame-ancestors 'none'");
  EXPECT_EQ(page->body, client.Get("/page/index.html")->body);
  EXPECT_EQ(page->body, ContentOf(VELTRO_PAGE "/index.html"));
  EXPECT_TRUE(Get("/page/index").starts_with("404 "));
}

}  // namespace
}  // namespace Veltro::Collector
