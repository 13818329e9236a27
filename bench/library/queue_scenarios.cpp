#include <fcntl.h>
#include <unistd.h>

#include <thread>

#include "bare_client.h"
#include "bare_server.h"
#include "measure.h"
#include "sandbox.h"
#include "scenario.h"

// What the queue does in a second.

namespace Veltro::Bench {
namespace {

/// Writes of `size` bytes, each behind the one before it, that this disk takes in a second.
double BareAppendsPerSecond(const std::filesystem::path& folder, std::size_t size, int count) {
  const std::string bytes(size, 'x');
  const int file = open((folder / "floor").c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600);
  const auto start = Clock::now();
  for (int i = 0; i < count; ++i) {
    if (pwrite(file, bytes.data(), size, static_cast<off_t>(size) * i) < 0) return 0;
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
    while (Analytics::GetTrackingQueueSize() < depth) {
    }
    const double rate = count / Seconds(Clock::now() - start);
    queued = depth;
    const std::size_t size = std::filesystem::file_size(sandbox.QueueFile()) / depth;
    const double floor = BareAppendsPerSecond(sandbox.Folder(), size, count);
    figures.push_back({"tracked and stored, up to " + std::to_string(depth) + " queued", rate,
                       "hits/s", Floor{"one write of the same bytes", floor}, ">= 50000"});
  }
  return figures;
}

/// Sends a queue of `count` hits, and asks the same server as often with libcurl alone.
std::vector<Figure> RunDrain(const Setting& setting, int count) {
  const BareServer server;
  server.KeepApart();
  const Sandbox sandbox(server.Address(), setting.templates, 0);
  FillQueue(count);
  WaitUntilStored();
  const std::size_t size =
      std::filesystem::file_size(sandbox.QueueFile()) / static_cast<std::size_t>(count);
  const std::string url = "http://" + server.Address() + "/b/ss/bench/0/WINU-4.0.0/s1234567?";
  const std::string bareUrl = url + std::string(size - 30, 'x');
  RunBareClient(bareUrl, count / 10);
  const double bareBefore = RunBareClient(bareUrl, count / 2);
  const std::uint64_t hits = server.Hits();
  const std::uint64_t connections = server.Connections();
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  server.WaitForHits(hits + 1);  // libcurl has been started, and the connection made
  const auto start = Clock::now();
  const std::uint64_t before = server.Hits();
  if (!server.WaitForHits(hits + static_cast<std::uint64_t>(count))) return {};
  const double rate = static_cast<double>(server.Hits() - before) / Seconds(Clock::now() - start);
  const double used = static_cast<double>(server.Connections() - connections);
  const double bare = bareBefore + RunBareClient(bareUrl, count - count / 2);
  const std::string name = "drain of " + std::to_string(count) + " hits";
  return {{name, rate, "hits/s", Floor{"libcurl alone", count / bare}, ">= 0.85 x"},
          {name + ", connections", used, "", {}, "<= 1"}};
}

}  // namespace

std::vector<Scenario> QueueScenarios() {
  std::vector<Scenario> scenarios = {{"store", RunStore}};
  for (const int count : {1'000, 10'000}) {
    scenarios.push_back({"drain, " + std::to_string(count),
                         [count](const Setting& setting) { return RunDrain(setting, count); }});
  }
  return scenarios;
}

}  // namespace Veltro::Bench
