#include "sandbox.h"

#include <stdlib.h>

#include <fstream>
#include <stdexcept>

namespace Veltro::Bench {
namespace {

constexpr const char* kQueueName = "VeltroDataCache.json";

std::filesystem::path MakeFolder() {
  std::string path = std::filesystem::temp_directory_path() / "veltro-bench-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) throw std::runtime_error("no temporary folder");
  return path;
}

std::filesystem::path Template(const std::filesystem::path& templates, int count) {
  return templates / ("queue-" + std::to_string(count) + ".json");
}

}  // namespace

Sandbox::Sandbox(const std::string& server, const std::filesystem::path& templates, int queued)
    : folder_(MakeFolder()) {
  std::filesystem::create_directory(folder_ / "data");
  std::ofstream(folder_ / "VeltroConfig.json")
      << R"({"analytics":{"rsids":"bench","offlineEnabled":true,"privacyDefault":"optunknown",)"
      << R"("server":")" << server << R"("},"audienceManager":{"server":")" << server << R"("},)"
      << R"("target":{"clientCode":"bench"}})";
  if (queued > 0) std::filesystem::copy_file(Template(templates, queued), QueueFile());
  Host::Options options;
  options.packageFolder = folder_;
  options.dataFolder = folder_ / "data";
  options.applicationTitle = "Bench";
  options.applicationVersion = "1.2.3.4";
  options.targetEdgeDomain = ".localhost" + server.substr(server.rfind(':'));
  if (!Host::Configure(options)) throw std::runtime_error("the library is in use already");
}

Sandbox::~Sandbox() {
  std::error_code error;
  std::filesystem::remove_all(folder_, error);
}

std::filesystem::path Sandbox::QueueFile() const { return folder_ / "data" / kQueueName; }

void WaitUntilStored() { Host::Flush(std::chrono::minutes(1)); }

void FillQueue(int count) {
  constexpr int kAtOnce = 100;
  for (int queued = Analytics::GetTrackingQueueSize(); queued < count;
       queued = Analytics::GetTrackingQueueSize()) {
    for (int i = 0; i < kAtOnce && queued + i < count; ++i) Track();
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
