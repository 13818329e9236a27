#include "support/test_application.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "core/log.h"
#include "platform/linux/linux_platform.h"
#include "veltro/analytics.h"
#include "veltro/config.h"
#include "veltro/host.h"

namespace Veltro::Internal::Testing {
namespace {

constexpr std::string_view kManifest =
    "<Package><Properties><DisplayName>Shop</DisplayName></Properties>"
    "<Identity Version=\"1.2.3.4\"/></Package>";

void WriteFile(const std::filesystem::path& path, std::string_view text) {
  std::ofstream(path, std::ios::binary) << text;
}

std::string ReplaceAll(std::string text, std::string_view what, std::string_view with) {
  for (std::size_t i = 0; (i = text.find(what, i)) != text.npos; i += with.size()) {
    text.replace(i, what.size(), with);
  }
  return text;
}

}  // namespace

TestApplication::TestApplication() : collector_(Collector::Collector::Options{}) {
  std::filesystem::create_directory(folder_.Path() / "package");
  std::filesystem::create_directory(folder_.Path() / "data");
  WriteFile(folder_.Path() / "package/AppxManifest.xml", kManifest);
}

TestApplication::~TestApplication() { Stop(); }

void TestApplication::Start(std::string analytics, std::string_view others) {
  const std::string text = "{\"analytics\":" + std::move(analytics).append(others) + "}";
  StartWithFile(ReplaceAll(text, "SERVER", collector_.Host()).c_str());
}

void TestApplication::StartWithFile(const char* text) {
  Stop();
  const std::filesystem::path file = folder_.Path() / "package/VeltroConfig.json";
  std::filesystem::remove(file);
  if (text != nullptr) WriteFile(file, text);

  LinuxPlatformOptions options;
  options.packageFolder = folder_.Path() / "package";
  options.dataFolder = folder_.Path() / "data";
  options.deviceManufacturer = "Acme";
  options.deviceModel = deviceModel;
  options.targetEdgeDomain = ".localhost:" + std::to_string(collector_.Port());
  options.logSink = [log = log_](std::string_view line) {
    const std::lock_guard lock(log->mutex);
    log->lines.emplace_back(line);
  };
  options.onProblem = [](const std::string& problem) { LogWarning("Config - %s", problem); };
  Platform platform = MakeLinuxPlatform(std::move(options));
  auto clock = std::make_unique<FakeClock>();
  clock->SetUnixSeconds(now_);
  clock_ = clock.get();
  platform.clock = std::move(clock);
  runtime_ = std::make_unique<Runtime>(std::move(platform));
  Runtime::ReplaceCurrent(runtime_.get());
  Config::DebugLogging(true);
  runtime_->SharedQueue().WaitUntilDone(std::chrono::seconds(10));
}

void TestApplication::Stop() {
  if (!runtime_) return;
  Runtime::ReplaceCurrent(nullptr);
  now_ = clock_->UnixSeconds();
  runtime_.reset();
  clock_ = nullptr;
  SetDebugLoggingEnabled(false);
}

std::int32_t TestApplication::QueueSize() {
  runtime_->WaitUntilSaved(std::chrono::seconds(10));
  return Analytics::GetTrackingQueueSize();
}

std::string TestApplication::DataFile(std::string_view name) const {
  std::ifstream file(folder_.Path() / "data" / name, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void TestApplication::PutQueueFile(std::string_view text) const {
  WriteFile(folder_.Path() / "data/VeltroDataCache.json", text);
}

int TestApplication::CountLogged(std::string_view text) const {
  const std::lock_guard lock(log_->mutex);
  return static_cast<int>(
      std::count_if(log_->lines.begin(), log_->lines.end(),
                    [&](const std::string& line) { return line.find(text) != std::string::npos; }));
}

void TestApplication::ForgetLog() {
  const std::lock_guard lock(log_->mutex);
  log_->lines.clear();
}

std::vector<std::string> TestApplication::Received() const {
  std::vector<std::string> received;
  for (const Collector::Hit& hit : collector_.Hits()) {
    received.push_back(hit.rawTarget.substr(hit.rawTarget.rfind("/s") + 1));
  }
  return received;
}

bool TestApplication::WaitForHits(std::size_t count) {
  return Host::Flush(std::chrono::seconds(10)) == Host::FlushResult::Done &&
         collector_.Hits().size() == count;
}

}  // namespace Veltro::Internal::Testing
