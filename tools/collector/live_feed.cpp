#include "collector/live_feed.h"

#include <chrono>
#include <memory>
#include <string>

#include "collector/entry_json.h"
#include "collector/http_server.h"
#include "collector/query.h"

namespace Veltro::Collector {
namespace {

using std::chrono::milliseconds;

constexpr int kMostReaders = 8;

// The most that one message takes; an entry that is larger comes alone.
constexpr std::size_t kMostEntries = 500;
constexpr std::size_t kMostBytes = 1024 * 1024;

// Gathers what comes in quick succession, which spares everybody work and nobody notices.
constexpr milliseconds kPause{50};

constexpr milliseconds kTimeBetweenLooks{1000};
constexpr std::chrono::seconds kTimeBetweenPings{8};

std::string Message(const char* event, std::optional<std::int64_t> id, const std::string& data) {
  std::string message = "event: " + std::string(event) + "\n";
  if (id) message += "id: " + std::to_string(*id) + "\n";
  return message + "data: " + data + "\n\n";
}

// The number of the last entry that the reader knows; 0: he knows none.
std::int64_t KnownNumber(const httplib::Request& request) {
  const bool comesBack = request.has_header("Last-Event-ID");
  const std::string text =
      comesBack ? request.get_header_value("Last-Event-ID") : request.get_param_value("after");
  return std::max(WholeNumber<std::int64_t>(text).value_or(0), std::int64_t{0});
}

}  // namespace

// Writes to one browser, on the thread of its connection.
class LiveFeed::Reader {
 public:
  Reader(LiveFeed& feed, std::int64_t known) : feed_(feed), known_(known) { ++feed_.readers_; }
  ~Reader() { --feed_.readers_; }
  Reader(const Reader&) = delete;
  Reader& operator=(const Reader&) = delete;

  // Writes what is new, or waits a while for that; false when nothing is to follow.
  bool Continue(httplib::DataSink& sink) {
    const std::uint64_t changeCount = feed_.changes_.Count();
    const std::string news = Faults() + Entries();
    if (!news.empty()) return Write(news, sink) && (hasMore_ || feed_.changes_.Pause(kPause));
    if (!feed_.changes_.WaitForMore(changeCount, kTimeBetweenLooks)) return false;
    if (HttpServer::CurrentConnection().WaitUntilClientLeaves(milliseconds(0))) return false;
    const bool isQuiet = Clock::now() - lastWrite_ >= kTimeBetweenPings;
    return !isQuiet || Write(":\n\n", sink);
  }

 private:
  using Clock = std::chrono::steady_clock;

  std::string Faults() {
    std::string faults = FaultsToJson(feed_.faults_.Waiting());
    if (faults == faults_) return "";
    faults_ = std::move(faults);
    return Message("faults", std::nullopt, faults_);
  }

  std::string Entries() {
    const auto [clearedAt, entries] = feed_.log_.After(known_, kMostEntries);
    std::string clear;
    if (clearedAt) {
      clear = Message("clear", clearedAt, "{}");
      known_ = *clearedAt;
    }
    std::string list;
    for (const auto& entry : entries) {
      if (list.size() > kMostBytes) break;
      list += list.empty() ? '[' : ',';
      list += EntryToJson(*entry);
      known_ = entry->number;
    }
    hasMore_ =
        !entries.empty() && (entries.size() == kMostEntries || known_ < entries.back()->number);
    return list.empty() ? clear : clear + Message("entries", known_, list + "]");
  }

  bool Write(const std::string& text, httplib::DataSink& sink) {
    lastWrite_ = Clock::now();
    return sink.write(text.data(), text.size());
  }

  LiveFeed& feed_;
  std::int64_t known_;
  std::string faults_;  // as they were told last
  bool hasMore_ = false;
  Clock::time_point lastWrite_{};
};

void LiveFeed::Answer(const httplib::Request& request, httplib::Response& response) {
  const auto reader = std::make_shared<Reader>(*this, KnownNumber(request));
  if (readers_ > kMostReaders) {
    response.status = 503;
    response.set_content("{\"error\":\"too many readers\"}", "application/json");
    return;
  }
  response.set_header("Cache-Control", "no-cache");
  response.set_chunked_content_provider(
      "text/event-stream",
      [reader](std::size_t, httplib::DataSink& sink) { return reader->Continue(sink); });
}

}  // namespace Veltro::Collector
