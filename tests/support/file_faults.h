#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace Veltro::Internal::Testing {

/// What goes wrong with a file operation.
struct FileFault {
  enum class Strikes { All, Reads, Changes, Writes };

  const char* name = "none";
  int error = 0;         ///< what the operation fails with; 0: a write takes but half of its bytes
  bool forGood = false;  ///< that operation and all after it, not that one only
  Strikes strikes = Strikes::All;  ///< operations of these kinds, which alone are counted
};

/// Watches the operations of this process on the files below a folder while it lives, and lets them
/// go wrong. A program that links this has functions of the C library in its hands, SQLite's calls
/// of them included, on any thread; syncs reach no device and `usleep` does not wait there. One at
/// a time.
class FileFaults {
 public:
  /// Brings `fault` upon the `n`-th operation from now (1 is the next), upon none when `n` is 0.
  explicit FileFaults(const std::filesystem::path& folder, int n = 0, const FileFault& fault = {});
  ~FileFaults();
  FileFaults(const FileFaults&) = delete;
  FileFaults& operator=(const FileFaults&) = delete;

  /// Stops for a while, in which a test looks into the folder.
  void Pause();
  void Resume();

  /// Whether any operation went wrong.
  bool Struck() const;

  /// The operations so far, as in "pwrite settings.db".
  std::vector<std::string> Calls() const;
};

}  // namespace Veltro::Internal::Testing
