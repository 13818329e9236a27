#include "measure.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

namespace Veltro::Bench {

void Latencies::Add(const Latencies& others) {
  values_.insert(values_.end(), others.values_.begin(), others.values_.end());
}

double Latencies::Quantile(double share) const {
  std::vector<double> values = values_;
  const auto rank = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
  std::nth_element(values.begin(), values.begin() + rank, values.end());
  return values[static_cast<std::size_t>(rank)];
}

Latencies TimeCalls(int count, std::chrono::microseconds pace, const std::function<void()>& call) {
  Latencies latencies;
  auto next = Clock::now();
  for (int i = 0; i < count; ++i) {
    const auto start = Clock::now();
    call();
    latencies.Add(Clock::now() - start);
    if (pace.count() == 0) continue;
    next += pace;
    std::this_thread::sleep_until(next);
  }
  return latencies;
}

Latencies TimeCallsFromThreads(int threads, int count, std::chrono::microseconds pace,
                               const std::function<void()>& call) {
  std::vector<Latencies> parts(static_cast<std::size_t>(threads));
  std::vector<std::thread> running;
  for (Latencies& part : parts) {
    running.emplace_back([&part, count, pace, &call] { part = TimeCalls(count, pace, call); });
  }
  for (std::thread& thread : running) thread.join();
  Latencies all;
  for (const Latencies& part : parts) all.Add(part);
  return all;
}

double ResidentMemory() {
  std::ifstream file("/proc/self/statm");
  long size = 0;
  long resident = 0;
  file >> size >> resident;
  return static_cast<double>(resident * (sysconf(_SC_PAGESIZE) / 1024));
}

long CountSleeps() {
  constexpr std::string_view kName = "voluntary_ctxt_switches:";
  long sleeps = 0;
  for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
    if (task.path().filename() == std::to_string(gettid())) continue;
    std::ifstream file(task.path() / "status");
    for (std::string line; std::getline(file, line);) {
      if (line.starts_with(kName)) sleeps += std::stol(line.substr(kName.size()));
    }
  }
  return sleeps;
}

}  // namespace Veltro::Bench
