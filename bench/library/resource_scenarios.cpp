#include <cstdio>
#include <memory>
#include <stdexcept>
#include <thread>

#include "bare_server.h"
#include "measure.h"
#include "sandbox.h"
#include "scenario.h"
#include "stalled_disk.h"

// What the library takes of the machine.

namespace Veltro::Bench {
namespace {

using namespace std::chrono_literals;

/// The number that a command prints. Throws when it prints none.
double NumberFrom(const std::string& command) {
  const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(command.c_str(), "r"), pclose);
  double number = 0;
  if (!pipe || std::fscanf(pipe.get(), "%lf", &number) != 1) {
    throw std::runtime_error("no figure from: " + command);
  }
  return number;
}

std::vector<Figure> RunFirstCall(const Setting& setting, int queued) {
  const Sandbox sandbox("127.0.0.1:9", setting.templates, queued);
  TenValues();
  const Latencies thread = TimeCalls(1, 0us, [] { std::thread([] {}).detach(); });
  const Latencies call = TimeCalls(1, 0us, Track);
  Analytics::GetTrackingQueueSize();
  return {{"first call, " + std::to_string(queued) + " stored hits", call.Median(), "us",
           Floor{"start of a thread", thread.Median()}, "<= 500"}};
}

/// Memory once all has been used: settings, files and network.
std::vector<Figure> RunMemory(const Setting& setting) {
  const BareServer server;
  const double bare = NumberFrom(VELTRO_BARE_CLIENT " http://" + server.Address() + "/b/ss/memory");
  const Sandbox sandbox(server.Address(), setting.templates, 0);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  Track();
  Host::Flush(10s);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::Unknown);
  WaitUntilStored();
  const double idle = ResidentMemory() / 1024;
  std::vector<Figure> figures = {
      {"memory idle", idle, "MB", Floor{"libcurl alone", bare / 1024}, ""}};
  for (const int queued : {10'000, 100'000}) {
    FillQueue(queued);
    WaitUntilStored();
    figures.push_back({"memory more with " + std::to_string(queued) + " queued",
                       ResidentMemory() / 1024 - idle,
                       "MB",
                       {},
                       queued > 10'000 ? "<= 3" : "<= 1"});
  }
  return figures;
}

/// Counts what happens while the application does nothing, after everything has been used.
std::vector<Figure> RunIdle(const Setting& setting) {
  const BareServer server;
  const Sandbox sandbox(server.Address(), setting.templates, 0);
  Config::SetPrivacyStatus(VeltroPrivacyStatus::OptIn);
  Config::CollectLifecycleData();
  Track();
  MediaSettings film;
  film.Name = "film";
  Media::Open(film);
  Media::Play(film.Name, 0);
  Media::Stop(film.Name, 1);
  AudienceManager::SignalWithData(TenValues()).WaitFor(5s);
  Host::Flush(10s);
  std::this_thread::sleep_for(1500ms);  // syncs are due within a second
  const long sleeps = CountSleeps();
  const long operations = CountDiskOperations();
  if (sleeps == 0 || operations == 0) throw std::runtime_error("nothing is counted");
  const auto wait = setting.quick ? 3s : 10s;
  std::this_thread::sleep_for(wait);
  const std::string during = " in " + std::to_string(wait.count()) + " s of idleness";
  return {{"wake-ups" + during, static_cast<double>(CountSleeps() - sleeps), "", {}, "<= 0"},
          {"writes and syncs" + during,
           static_cast<double>(CountDiskOperations() - operations),
           "",
           {},
           "<= 0"}};
}

std::vector<Figure> RunSize(const Setting& setting) {
  const std::string stripped = setting.templates / "stripped.so";
  const double size =
      NumberFrom("strip -o " + stripped + " " VELTRO_LIBRARY " && stat -c %s " + stripped);
  return {{"stripped library", size / 1000, "kB", {}, "<= 450"}};
}

}  // namespace

std::vector<Scenario> ResourceScenarios() {
  std::vector<Scenario> scenarios;
  for (const int queued : {0, 10'000}) {
    scenarios.push_back({"first call, " + std::to_string(queued),
                         [queued](const Setting& setting) { return RunFirstCall(setting, queued); },
                         15});
  }
  scenarios.push_back({"memory", RunMemory, 1});
  scenarios.push_back({"idle", RunIdle, 1});
  scenarios.push_back({"size", RunSize, 1});
  return scenarios;
}

}  // namespace Veltro::Bench
