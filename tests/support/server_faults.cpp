#include "support/server_faults.h"

#include <zlib.h>

#include <utility>

namespace Veltro::Internal::Testing {
namespace {

using Outcome = HttpResult::Outcome;
using Reply = RawServer::Reply;
using Then = RawServer::Then;
using namespace std::chrono_literals;

constexpr std::chrono::milliseconds kShort = 150ms;
constexpr std::chrono::milliseconds kLong = 5s;
constexpr std::size_t kMostTaken = 1024 * 1024ULL;

ServerFault Answered(const char* name, Reply reply, std::int32_t status, std::string body = {},
                     bool isWhole = true) {
  return {name, std::move(reply), kLong, Outcome::Answered, status, 0, std::move(body), isWhole};
}

ServerFault Failed(const char* name, Reply reply, std::uint32_t error) {
  return {name, std::move(reply), kLong, Outcome::Failed, 0, error};
}

ServerFault TimedOut(const char* name, Reply reply) {
  return {name, std::move(reply), kShort, Outcome::Cancelled};
}

ServerFault Refused() {
  ServerFault fault = Failed("Refused", {}, kHttpCannotConnect);
  fault.start = RawServer::Start::Refusing;
  return fault;
}

std::string Gzip(std::string text) {
  constexpr int kWithGzipHead = 16;
  z_stream stream{};
  deflateInit2(&stream, 9, Z_DEFLATED, MAX_WBITS + kWithGzipHead, 8, Z_DEFAULT_STRATEGY);
  std::string packed(deflateBound(&stream, text.size()), '\0');
  stream.next_in = reinterpret_cast<Bytef*>(text.data());
  stream.avail_in = static_cast<uInt>(text.size());
  stream.next_out = reinterpret_cast<Bytef*>(packed.data());
  stream.avail_out = static_cast<uInt>(packed.size());
  deflate(&stream, Z_FINISH);
  packed.resize(stream.total_out);
  deflateEnd(&stream);
  return packed;
}

std::string WithLength(const std::string& length, const std::string& body) {
  return "HTTP/1.1 200 OK\r\nContent-Length: " + length + "\r\n\r\n" + body;
}

}  // namespace

std::vector<ServerFault> AllServerFaults() {
  const std::string megabyte(kMostTaken, 'x');
  const std::string zeros(kMostTaken, '\0');
  const std::string bomb = Gzip(std::string(4 * kMostTaken, '\0'));
  const std::string ok = RawServer::Answer("200 OK");
  const std::string head = "HTTP/1.1 200 OK\r\n";
  const std::string early = "HTTP/1.1 103 Early\r\n";
  const std::string chunked = head + "Transfer-Encoding: chunked\r\n\r\n";
  const std::string chunk = "1000\r\n" + std::string(0x1000, 'x') + "\r\n";
  const std::string gzipped = "Content-Encoding: gzip\r\n";
  return {
      Answered("NoContent", {"HTTP/1.1 204 No Content\r\n\r\n"}, 204),
      Answered("BodyUpToClose", {"HTTP/1.0 200 OK\r\n\r\nrest", Then::Close}, 200, "rest"),
      Answered("InformationalFirst", {early + "\r\n" + RawServer::Answer("200 OK", "a")}, 200, "a"),
      Answered("SlowlyButInTime", {"x", Then::KeepOpen, 9, 1ms, WithLength("9", "")}, 200,
               "xxxxxxxxx"),
      Answered("LengthTooShort", {WithLength("2", "halved"), Then::Close}, 200, "ha"),
      Answered("LengthBeyondAll", {WithLength("9223372036854775808", "x"), Then::Close}, 200, "x"),
      Answered("TwoLengths", {WithLength("1\r\nContent-Length: 2", "ab")}, 200, "ab"),
      Answered("AnswerBehindTheAnswer", {RawServer::Answer("500 Oops") + ok}, 500),
      Answered("BodyOfTheLimit", {RawServer::Answer("200 OK", megabyte)}, 200, megabyte),
      Answered("BodyOverTheLimit", {RawServer::Answer("200 OK", megabyte + "y")}, 200, megabyte,
               false),
      Answered("EndlessBody", {chunk, Then::Close, 1'000'000, 0ms, chunked}, 200, megabyte, false),
      Answered("GzipBomb", {RawServer::Answer("200 OK", bomb, gzipped)}, 200, zeros, false),
      Answered("RedirectToNowhere", {RawServer::Answer("307 Moved", "lost")}, 307, "lost"),
      Answered("RedirectToFile", {RawServer::Redirect("302 Moved", "file:///etc/passwd")}, 302,
               "moved"),
      Answered("RedirectToOtherScheme", {RawServer::Redirect("308 Moved", "ftp://127.0.0.1/")}, 308,
               "moved"),
      Answered("NoRedirectStatus", {RawServer::Redirect("304 Same", "/elsewhere")}, 304),
      Answered("WantsAPassword",
               {RawServer::Answer("401 Who", "", "WWW-Authenticate: Basic realm=\"r\"\r\n")}, 401),
      Answered("NotFound", {RawServer::Answer("404 Not Found", "none")}, 404, "none"),
      Answered("NeverServed", {RawServer::Answer("503 Busy", "", "Retry-After: 9999\r\n")}, 503),
      Answered("StatusOfNoClass", {RawServer::Answer("999 Odd")}, 999),
      Refused(),
      Failed("ClosedBeforeAnswer", {"", Then::Close}, kHttpConnectionClosed),
      Failed("HalfClosedBeforeAnswer", {"", Then::HalfClose}, kHttpConnectionClosed),
      Failed("ResetBeforeAnswer", {"", Then::Reset}, kHttpConnectionReset),
      Failed("ClosedInBody", {WithLength("9", "half"), Then::Close}, kHttpConnectionReset),
      Failed("GarbageStatusLine", {"GARBAGE\r\n\r\n", Then::Close}, kHttpUnknownError),
      Failed("BodyWithoutHead", {"<html>hello</html>", Then::Close}, kHttpUnknownError),
      Failed("NegativeLength", {WithLength("-1", "x"), Then::Close}, kHttpUnknownError),
      Failed("BadChunk", {chunked + "zz\r\n", Then::Close}, kHttpConnectionReset),
      Failed("HugeChunk", {chunked + "fffffffffffffffff\r\nx", Then::Close}, kHttpConnectionReset),
      Failed("NoGzip", {RawServer::Answer("200 OK", "plain", gzipped)}, kHttpUnknownError),
      Failed("EndlessHeaderLine", {std::string(2'000'000, 'a'), Then::Close, 1, 0ms, head + "A: "},
             kHttpUnknownError),
      Failed("FloodOfHeaders",
             {early + "A: " + std::string(1000, 'a') + "\r\n\r\n", Then::Close, 400},
             kHttpUnknownError),
      Failed("RedirectLoop", {RawServer::Redirect("302 Moved", "/again")}, kHttpRedirectFailed),
      Failed("RedirectToBadHost", {RawServer::Redirect("302 Moved", "http://\xFF\xFE.test/")},
             kHttpRedirectFailed),
      TimedOut("Silence", {}),
      TimedOut("SilenceInBody", {WithLength("9", "half")}),
      TimedOut("TrickleOfStatusLine", {"K", Then::Close, 1000, 10ms, "HTTP/1.1 200 "}),
      TimedOut("TrickleOfHeads", {early + "\r\n", Then::Close, 1000, 10ms}),
      TimedOut("TrickleOfBody", {"1\r\nx\r\n", Then::Close, 1000, 10ms, chunked}),
  };
}

}  // namespace Veltro::Internal::Testing
