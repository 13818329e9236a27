#include <fcntl.h>
#include <unistd.h>

#include <stdexcept>

#include "bare_client.h"
#include "bare_server.h"
#include "measure.h"
#include "sandbox.h"
#include "scenario.h"

// What the queue does in a second.

namespace Veltro::Bench {
namespace {

constexpr int kMostDrained = 10'000;

/// Writes of `size` bytes, each behind the one before it, that this disk takes in a second.
double BareAppendsPerSecond(const std::filesystem::path& folder, std::size_t size, int count) {
  const std::string bytes(size, 'x');
  const int file = open((folder / "floor").c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600);
  const auto start = Clock::now();
  for (int i = 0; i < count; ++i) {
    if (pwrite(file, bytes.data(), size, static_cast<off_t>(size) * i) < 0) {
      throw std::runtime_error("no file for the floor");
    }
  }
  const double rate = count / Seconds(Clock::now() - start);
  close(file);
  return rate;
}

/// Tracks as fast as it goes until the queue holds 1,000, 10,000 and 100,000 hits.
std::vector<Figure> RunStore(const Setting& setting) {
  const Sandbox sandbox("127.0.0.1:9", setting.templates, 0);
  Track();
  Analytics::GetTrackingQueueSize();
  std::vector<Figure> figures;
  int queued = 1;
  for (const int depth : {1'000, 10'000, 100'000}) {
    const int count = depth - queued;
    const auto start = Clock::now();
    for (int i = 0; i < count; ++i) Track();
    WaitForQueue(depth);
    const double rate = count / Seconds(Clock::now() - start);
    queued = depth;
    const std::size_t size = std::filesystem::file_size(sandbox.QueueFile()) / depth;
    const double floor = BareAppendsPerSecond(sandbox.Folder(), size, count);
    figures.push_back({"tracked and stored, up to " + std::to_string(depth) + " queued", rate,
                       "hits/s", Floor{"one write of the same bytes", floor}, ">= 50000"});
  }
  return figures;
}

/// Sends a queue of `count` hits, again and again, and asks the same server as often with libcurl
/// alone.
std::vector<Figure> RunDrain(const Setting& setting, int count) {
  const BareServer server;
  server.KeepApart();
  const Sandbox sandbox(server.Address(), setting.templates, 0);
  std::string bareUrl;
  double hits = 0;
  double drainTime = 0;
  double bareTime = 0;
  for (int round = 0; round < kMostDrained / count; ++round) {
    FillQueue(count);
    WaitUntilStored();
    if (round == 0) {
      const auto size = std::filesystem::file_size(sandbox.QueueFile());
      bareUrl = "http://" + server.Address() + "/b/ss/bench/0/WINU-4.0.0/s1234567?" +
                std::string(size / static_cast<std::uint64_t>(count) - 30, 'x');
      RunBareClient(bareUrl, 100);  // starts libcurl
    }
    bareTime += RunBareClient(bareUrl, count / 2);
    const std::uint64_t before = server.Hits();
    server.StartClock();
    Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
    server.WaitForHits(before + static_cast<std::uint64_t>(count));
    drainTime += count / server.Rate();
    hits += count;
    Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
    bareTime += RunBareClient(bareUrl, count - count / 2);
  }
  return {{"drain of " + std::to_string(count) + " hits", hits / drainTime, "hits/s",
           Floor{"libcurl alone", hits / bareTime}, ">= 0.85 x"}};
}

/// Connections that a drain of 10,000 hits uses.
std::vector<Figure> RunConnections(const Setting& setting) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, kMostDrained);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  server.WaitForHits(kMostDrained);
  return {{"connections for a drain of 10000 hits",
           static_cast<double>(server.Connections()),
           "",
           {},
           "<= 1"}};
}

}  // namespace

std::vector<Scenario> QueueScenarios() {
  std::vector<Scenario> scenarios = {{"store", RunStore}};
  for (const int count : {1'000, 10'000}) {
    scenarios.push_back({"drain, " + std::to_string(count),
                         [count](const Setting& setting) { return RunDrain(setting, count); }});
  }
  scenarios.push_back({"drain, connections", RunConnections, 1});
  return scenarios;
}

}  // namespace Veltro::Bench
