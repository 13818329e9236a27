#pragma once

#include <filesystem>
#include <string>

#include "support/temporary_folder.h"
#include "support/ten_values.h"
#include "veltro/veltro.h"

namespace Veltro::Bench {

using Internal::Testing::TenValues;

/// Makes this process an application of its own: a new folder with package and data, a
/// configuration, and a queue that holds `queued` hits from an earlier run. Sending is held until
/// `SetPrivacyStatus(OptIn)`. The folder goes with the sandbox.
class Sandbox {
 public:
  /// `server` is an address with port. `templates` is a folder in which queue files of an earlier
  /// run are kept for those who come later.
  Sandbox(const std::string& server, const std::filesystem::path& templates, int queued);

  const std::filesystem::path& Folder() const { return folder_.Path(); }
  std::filesystem::path QueueFile() const;

 private:
  Internal::Testing::TemporaryFolder folder_;
};

/// Tracks one action with ten values.
inline void Track() { Analytics::TrackAction("buy", TenValues()); }

/// Waits until every accepted call is on disk.
void WaitUntilStored();

/// Waits until the queue holds `count` hits. Throws after a minute.
void WaitForQueue(int count);

/// Tracks until the queue holds `count` hits, no faster than they are stored, so that memory holds
/// no more than a few calls.
void FillQueue(int count);

/// Queue files with 10, 10,000 and 100,000 hits, made by one run of the library.
void MakeTemplates(const std::string& server, const std::filesystem::path& templates);

}  // namespace Veltro::Bench
