#include "sandbox.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <stdexcept>

namespace Veltro::Bench {
namespace {

constexpr const char* kQueueName = "VeltroDataCache.json";

std::filesystem::path Template(const std::filesystem::path& templates, int count) {
  return templates / ("queue-" + std::to_string(count) + ".json");
}

}  // namespace

Sandbox::Sandbox(const std::string& server, const std::filesystem::path& templates, int queued) {
  std::filesystem::create_directory(Folder() / "data");
  std::ofstream(Folder() / "VeltroConfig.json")
      << R"({"analytics":{"rsids":"bench","offlineEnabled":true,"privacyDefault":"optunknown",)"
      << R"("server":")" << server << R"("},"audienceManager":{"server":")" << server << R"("},)"
      << R"("target":{"clientCode":"bench"}})";
  if (queued > 0) std::filesystem::copy_file(Template(templates, queued), QueueFile());
  Host::Options options;
  options.packageFolder = Folder();
  options.dataFolder = Folder() / "data";
  options.applicationTitle = "Bench";
  options.applicationVersion = "1.2.3.4";
  options.targetEdgeDomain = ".localhost" + server.substr(server.rfind(':'));
  if (!Host::Configure(options)) throw std::runtime_error("the library is in use already");
}

std::filesystem::path Sandbox::QueueFile() const { return Folder() / "data" / kQueueName; }

void WaitUntilStored() { Host::Flush(std::chrono::minutes(1)); }

void WaitForQueue(int count) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  while (Analytics::GetTrackingQueueSize() < count) {
    if (std::chrono::steady_clock::now() > end) throw std::runtime_error("the queue does not grow");
  }
}

void FillQueue(int count) {
  constexpr int kAtOnce = 100;
  for (int queued = Analytics::GetTrackingQueueSize(); queued < count;) {
    const int next = std::min(queued + kAtOnce, count);
    for (; queued < next; ++queued) Track();
    WaitForQueue(queued);
  }
}

void MakeTemplates(const std::string& server, const std::filesystem::path& templates) {
  const Sandbox sandbox(server, templates, 0);
  for (const int count : {10, 10'000, 100'000}) {
    FillQueue(count);
    WaitUntilStored();
    std::filesystem::copy_file(sandbox.QueueFile(), Template(templates, count));
  }
}

}  // namespace Veltro::Bench
