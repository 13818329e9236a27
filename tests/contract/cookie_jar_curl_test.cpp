#include "platform/linux/cookie_jar_curl.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "fakes/fake_local_folder.h"
#include "platform/linux/http_transport_curl.h"
#include "platform/linux/local_folder_linux.h"
#include "support/raw_server.h"
#include "support/results.h"
#include "support/scoped_variable.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {
namespace {

namespace fs = std::filesystem;

/// The value of the header `name` in a request's head; "" when it has none.
std::string HeaderOf(const std::string& head, const std::string& name) {
  const std::size_t line = head.find("\r\n" + name + ": ");
  if (line == std::string::npos) return "";
  const std::size_t start = line + name.size() + 4;
  return head.substr(start, head.find("\r\n", start) - start);
}

/// Sets the cookie that it is asked to.
RawServer::Reply SetAsAsked(const std::string& head) {
  const std::string cookie = HeaderOf(head, "X-Set");
  return {RawServer::Answer("200 OK", "", cookie.empty() ? "" : "set-COOKIE: " + cookie + "\r\n")};
}

/// A client, and a server under every name below localhost. "Restarting" gives a new client on the
/// same file.
class CookieJarCurlTest : public testing::Test {
 protected:
  void Restart() {
    transport.reset();
    std::unique_ptr<LocalFolder> folder = std::make_unique<FakeLocalFolder>(disk);
    if (!realFolder.empty()) {
      folder = std::make_unique<LocalFolderLinux>(
          std::make_shared<DataFolder>(realFolder, [] { return std::string(); }));
    }
    transport = std::make_unique<HttpTransportCurl>(
        HttpTransferCurl::Options{}, std::move(folder),
        [this](const std::string& problem) { problems.push_back(problem); });
  }

  void StartAfresh() {
    transport.reset();
    disk->Erase("cookies.txt");
    Restart();
  }

  std::string Url(const std::string& host, const std::string& path = "/") const {
    return "http://" + host + ":" + std::to_string(server.Port()) + path;
  }

  /// Asks `host`, which answers with that Set-Cookie header, for `/set`.
  void LetServerSet(const std::string& host, const std::string& cookie) {
    const HttpRequest request{Url(host, "/set"), {{"X-Set", cookie}}, std::chrono::seconds(5)};
    ASSERT_EQ(Fetch(*transport, request).status, 200);
  }

  /// The Cookie header, without its name, that a request takes along.
  std::string Sent(const std::string& url) {
    EXPECT_EQ(Fetch(*transport, {url, {}, std::chrono::seconds(5)}).status, 200) << url;
    return HeaderOf(server.Heads().back(), "Cookie");
  }

  /// Whether `text` comes to stand in the file without anything else being done.
  bool WaitForFile(const std::string& text) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
      if (disk->Contents("cookies.txt").value_or("").find(text) != std::string::npos) return true;
      std::this_thread::yield();
    }
    return false;
  }

  ScopedVariable noProxy{"no_proxy", "*"};
  RawServer server{SetAsAsked};
  TemporaryFolder temporary;
  fs::path realFolder;
  std::shared_ptr<FakeDisk> disk = std::make_shared<FakeDisk>();
  std::vector<std::string> problems;
  std::unique_ptr<HttpTransportCurl> transport;
};

TEST_F(CookieJarCurlTest, ServersSetCookiesWithinTheirReach) {
  const std::string a = "a.shop.localhost";
  const struct {
    const char* name;
    std::string host, cookie, askedHost, askedPath;
    bool isSent;
  } rows[] = {
      {"of a session", a, "n=1", a, "/", true},
      {"expired", a, "n=1; Max-Age=0", a, "/", false},
      {"not for scripts", a, "n=1; HttpOnly; Max-Age=100", a, "/", true},
      {"of a host, in capitals", a, "n=1", "A.Shop.LOCALHOST", "/", true},
      {"of a host, below it", a, "n=1", "b." + a, "/", false},
      {"of a host, beside it", a, "n=1", "b.shop.localhost", "/", false},
      {"of a domain, in it", a, "n=1; Domain=shop.localhost", "b.shop.localhost", "/", true},
      {"of a domain, itself", a, "n=1; Domain=.SHOP.localhost", "shop.localhost", "/", true},
      {"of a domain, alike", a, "n=1; Domain=shop.localhost", "bshop.localhost", "/", false},
      {"of a public suffix", a, "n=1; Domain=localhost", a, "/", false},
      {"of somebody else", a, "n=1; Domain=other.localhost", "other.localhost", "/", false},
      {"of a path, below it", a, "n=1; Path=/x", a, "/x/y?z", true},
      {"of a path, itself", a, "n=1; Path=/x/", a, "/x", true},
      {"of a path, alike", a, "n=1; Path=/x", a, "/xy", false},
      {"of a path, above it", a, "n=1; Path=/x", a, "/", false},
      {"secret in the open", a, "n=1; Secure", a, "/", false},
      {"secret on this machine", "127.0.0.1", "n=1; Secure", "127.0.0.1", "/", true},
      {"of an address", "127.0.0.1", "n=1", "127.0.0.1", "/", true},
  };
  for (const auto& row : rows) {
    StartAfresh();
    LetServerSet(row.host, row.cookie);
    const std::string url = Url(row.askedHost, row.askedPath);
    EXPECT_EQ(transport->GetCookie(url, "n"), row.isSent ? "1" : "") << row.name;
    EXPECT_EQ(Sent(url), row.isSent ? "n=1" : "") << row.name;
    transport->ClearCookie(url, "n");
    EXPECT_EQ(Sent(url), "") << row.name;
  }
}

TEST_F(CookieJarCurlTest, MostSpecificCookieWins) {
  const std::string host = "a.shop.localhost";
  const struct {
    const char* cookie;
    std::string atHost, belowPath, beside;  // what is read
  } rows[] = {
      {"n=1", "1", "1", "0"},
      {"n=1; Domain=shop.localhost", "1", "1", "1"},
      {"n=1; Path=/x; Domain=shop.localhost", "0", "1", "0"},
      {"n=1; Domain=shop.localhost; Max-Age=0", "", "", ""},
      {"n=1; Max-Age=0", "0", "0", "0"},
  };
  for (const auto& row : rows) {
    StartAfresh();
    transport->SetCookie(Url(host), "n", "0");
    LetServerSet(host, row.cookie);
    EXPECT_EQ(transport->GetCookie(Url(host), "n"), row.atHost) << row.cookie;
    EXPECT_EQ(transport->GetCookie(Url(host, "/x/y"), "n"), row.belowPath) << row.cookie;
    EXPECT_EQ(transport->GetCookie(Url("shop.localhost"), "n"), row.beside) << row.cookie;
    transport->ClearCookie(Url(host, "/x"), "n");
    EXPECT_EQ(transport->GetCookie(Url(host, "/x"), "n"), "") << row.cookie;
  }
  StartAfresh();
  LetServerSet("shop.localhost", "n=0; Domain=shop.localhost");
  LetServerSet("shop.localhost", "n=1");
  LetServerSet("shop.localhost", "n=0; Domain=shop.localhost");
  EXPECT_EQ(transport->GetCookie(Url("shop.localhost"), "n"), "1") << "alike but for their reach";
}

TEST_F(CookieJarCurlTest, SetCookieReachesTheRegistrableDomain) {
  const struct {
    const char* host;
    const char* askedHost;
    bool reaches;
  } rows[] = {
      {"a.b.co.uk", "c.d.b.co.uk", true},
      {"a.b.co.uk", "c.co.uk", false},
      {"co.uk", "a.co.uk", false},
      {"A.B.Co.Uk.", "b.co.uk", true},
      {"shop.localhost", "a.shop.localhost", true},
      {"shop.localhost", "localhost", false},
      {"localhost", "shop.localhost", false},
      {"127.0.0.1", "127.0.0.1", true},
      {"127.0.0.1", "1.0.0.1", false},
      {"x.edge.veltro.invalid", "y.veltro.invalid", true},
      {"x.edge.veltro.invalid", "other.invalid", false},
  };
  for (const auto& row : rows) {
    StartAfresh();
    transport->SetCookie(Url(row.host, "/deep/path"), "n", "1");
    EXPECT_EQ(transport->GetCookie(Url(row.askedHost), "n"), row.reaches ? "1" : "")
        << row.host << " " << row.askedHost;
  }
}

TEST_F(CookieJarCurlTest, IgnoresWhatCannotBeACookie) {
  const std::string url = Url("127.0.0.1");
  const std::string sound = "a=b,\"c\"~!";
  const std::string rows[][3] = {
      {url, "n", sound},     {url, "", "v"},         {url, "a=b", "v"}, {url, "a;b", "v"},
      {url, "a\tb", "v"},    {url, "n", "a;b"},      {url, "n", "a b"}, {url, "n", "a\r\nB: c"},
      {url, "n", "\x7F"},    {url, "n", "\xC3\xA9"}, {"", "n", "v"},    {"file:///etc", "n", "v"},
      {"http://", "n", "v"},
  };
  for (const auto& [setUrl, name, value] : rows) {
    StartAfresh();
    const bool isTaken = value == sound;
    transport->SetCookie(setUrl, name, value);
    EXPECT_EQ(transport->GetCookie(setUrl, name), isTaken ? value : "") << name << "=" << value;
    EXPECT_EQ(Sent(url), isTaken ? name + "=" + value : "");
    transport.reset();
    EXPECT_EQ(disk->Contents("cookies.txt").has_value(), isTaken) << name << "=" << value;
  }
}

TEST_F(CookieJarCurlTest, LastsBeyondTheProcessInAFileOfTheUsersOwn) {
  realFolder = temporary.Path() / "data";
  Restart();
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "any"), "");
  EXPECT_FALSE(fs::exists(realFolder));
  transport->SetCookie(Url("127.0.0.1"), "own", "1");
  LetServerSet("127.0.0.1", "kept=2; Path=/; HttpOnly; Secure; Max-Age=1000");
  LetServerSet("127.0.0.1", "session=3");
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "session"), "3");
  Restart();
  EXPECT_EQ(fs::status(realFolder / "cookies.txt").permissions(), fs::perms(0600));
  const std::string sent = Sent(Url("127.0.0.1"));
  EXPECT_TRUE(sent == "own=1; kept=2" || sent == "kept=2; own=1") << sent;
  transport->ClearCookie(Url("127.0.0.1"), "own");
  Restart();
  EXPECT_EQ(Sent(Url("127.0.0.1")), "kept=2");
  EXPECT_TRUE(problems.empty());
}

TEST_F(CookieJarCurlTest, NeverFollowsALinkInThePlaceOfItsFile) {
  realFolder = temporary.Path() / "data";
  const fs::path elsewhere = temporary.Path() / "elsewhere";
  fs::create_directory(realFolder);
  fs::permissions(realFolder, fs::perms(0700));
  std::ofstream(elsewhere) << "127.0.0.1\tFALSE\t/\tFALSE\t253402300799\tplanted\t1\n";
  const auto size = fs::file_size(elsewhere);
  fs::create_symlink(elsewhere, realFolder / "cookies.txt");
  Restart();
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "planted"), "");
  transport->SetCookie(Url("127.0.0.1"), "own", "1");
  Restart();
  EXPECT_EQ(fs::file_size(elsewhere), size);
  EXPECT_EQ(Sent(Url("127.0.0.1")), "own=1");
  EXPECT_TRUE(problems.empty());
}

TEST_F(CookieJarCurlTest, TakesTheSoundLinesOfADamagedFile) {
  const std::string start = "127.0.0.1\tFALSE\t/\tFALSE\t";
  const std::string lines[] = {
      "Set-Cookie: everywhere=1",
      "ALL",
      start + "9999999999\tgood\t1\r",
      start + "0\tsession\t1",
      start + "soon\ttime\t1",
      start + "9999999999\ttoo\tmany\tfields",
      start + "9999999999\tfew",
      start + "9999999999\tcontrol\t\x01",
      std::string(9000, 'x'),
      "\t\tFALSE\t\t9999999999\tempty\t1",
      ".b.test\tTRUE\t/\tTRUE\t9999999999\tsecret\t1",
      start + "9999999999\tlast\t2",
  };
  std::string text;
  for (const std::string& line : lines) text += line + '\n';
  text.pop_back();
  disk->Put("cookies.txt", text);
  Restart();
  const std::string sent = Sent(Url("127.0.0.1"));
  EXPECT_TRUE(sent == "good=1; last=2" || sent == "last=2; good=1") << sent;
  EXPECT_EQ(transport->GetCookie("https://a.b.test/", "secret"), "1");
  EXPECT_EQ(transport->GetCookie("http://a.b.test/", "secret"), "");
  EXPECT_TRUE(problems.empty());
}

TEST_F(CookieJarCurlTest, DoesWithoutAFileThatCannotBeReadOrWrittenAndLosesNothingOfIt) {
  Restart();
  transport->SetCookie(Url("127.0.0.1"), "old", "kept");
  transport.reset();
  disk->FailAtOperation(1, FakeDisk::Repeat::ForGood);
  Restart();
  for (const char* value : {"1", "2"}) {
    transport->SetCookie(Url("127.0.0.1"), "n", value);
    EXPECT_EQ(Sent(Url("127.0.0.1")), std::string("n=") + value);
  }
  disk->Heal();
  Restart();
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "n"), "2");
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "old"), "kept");
  EXPECT_EQ(problems.size(), 1U);
}

TEST_F(CookieJarCurlTest, SavesByItselfWhatChangesOneAfterTheOther) {
  Restart();
  LetServerSet("127.0.0.1", "first=1; Max-Age=1000");
  EXPECT_TRUE(WaitForFile("\tfirst\t1"));
  LetServerSet("127.0.0.1", "second=2; Max-Age=1000");
  EXPECT_TRUE(WaitForFile("\tsecond\t2"));
  EXPECT_EQ(disk->GetCounts().replaces, 2);
}

TEST_F(CookieJarCurlTest, SavesAtOnceForWhoeverWaits) {
  Restart();
  const auto start = std::chrono::steady_clock::now();
  for (const std::string name : {"first", "second", "third", "fourth", "fifth"}) {
    transport->SetCookie(Url("127.0.0.1"), name, "1");
    EXPECT_TRUE(transport->WaitUntilSaved(std::chrono::seconds(10)));
    EXPECT_NE(disk->Contents("cookies.txt").value_or("").find("\t" + name), std::string::npos);
  }
  EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(3));  // without pauses
  EXPECT_TRUE(transport->WaitUntilSaved(std::chrono::milliseconds(0)));
}

TEST_F(CookieJarCurlTest, KeepsSoManyCookiesAndThoseThatLastLongest) {
  Restart();
  LetServerSet("127.0.0.1", "brief=1; Max-Age=1000");
  for (int i = 0; i < 200; ++i) {
    transport->SetCookie(Url("127.0.0.1"), "n" + std::to_string(i), "1");
  }
  EXPECT_TRUE(transport->WaitUntilSaved(std::chrono::seconds(10)));
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "brief"), "");
  EXPECT_EQ(transport->GetCookie(Url("127.0.0.1"), "n0"), "1");
  EXPECT_EQ(disk->Contents("cookies.txt").value_or("").find("brief"), std::string::npos);
}

TEST_F(CookieJarCurlTest, WritesManyChangesTogetherAndUnchangedCookiesNotAtAll) {
  const auto change = [this](int count) {
    Restart();
    disk->ResetCounts();
    for (int i = 0; i < count; ++i) {
      transport->SetCookie(Url("127.0.0.1"), "n" + std::to_string(i), "1");
    }
    transport->ClearCookie(Url("127.0.0.1"), "other");
    LetServerSet("127.0.0.1", "session=1");
    transport.reset();
    return disk->GetCounts().replaces;
  };
  const auto start = std::chrono::steady_clock::now();
  const int writes = change(150);
  const auto seconds =
      std::chrono::floor<std::chrono::seconds>(std::chrono::steady_clock::now() - start).count();
  EXPECT_GE(writes, 1);
  EXPECT_LE(writes, 2 + seconds);
  EXPECT_EQ(change(150), 0);
  EXPECT_TRUE(problems.empty());
}

}  // namespace
}  // namespace Veltro::Internal::Testing
