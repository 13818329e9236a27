#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "api/runtime.h"
#include "collector/collector.h"
#include "fakes/fake_clock.h"
#include "support/temporary_folder.h"

namespace Veltro::Internal::Testing {

/// An application on this machine, with a package, a data folder and servers of its own (one
/// collector plays them all), in the clock of a test. While it runs, the public functions of the
/// library act for it. It may be stopped and started again, which is to the library what a new
/// process is; the time goes on where it stood.
class TestApplication {
 public:
  TestApplication();
  ~TestApplication();

  /// Starts with this "analytics" object in the configuration file, in which SERVER stands for the
  /// collection server, and these `others`, which begin with a comma.
  void Start(std::string analytics, std::string_view others = "");

  /// Starts with this configuration file; without one when it is null.
  void StartWithFile(const char* text);

  /// Ends the process: accepted calls take effect, and the request under way is cancelled.
  void Stop();

  /// The number of queued hits once all earlier calls have taken effect.
  std::int32_t QueueSize();

  /// The text of a file in the data folder; of the queue's.
  std::string DataFile(std::string_view name) const;
  std::string QueueFile() const { return DataFile("VeltroDataCache.json"); }
  void PutQueueFile(std::string_view text) const;

  std::filesystem::path DataPath() const { return folder_.Path() / "data"; }

  bool Logged(std::string_view text) const { return CountLogged(text) > 0; }
  int CountLogged(std::string_view text) const;
  void ForgetLog();

  /// Path and query of the hits received so far, without the path up to the random part.
  std::vector<std::string> Received() const;

  /// Whether `count` hits, no more, have been received and none is left once all earlier calls have
  /// taken effect.
  bool WaitForHits(std::size_t count);

  std::string deviceModel = "Box 7";  ///< from the next start on

  Collector::Collector& Server() { return collector_; }
  FakeClock& Time() { return *clock_; }

 private:
  struct Log {
    mutable std::mutex mutex;
    std::vector<std::string> lines;
  };

  TemporaryFolder folder_;
  Collector::Collector collector_;
  std::shared_ptr<Log> log_ = std::make_shared<Log>();
  FakeClock* clock_ = nullptr;
  std::int64_t now_ = FakeClock::kStart;  // while it is stopped
  std::unique_ptr<Runtime> runtime_;
};

}  // namespace Veltro::Internal::Testing
