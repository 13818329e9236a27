#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

#include "veltro/async_operation.h"
#include "veltro/export.h"

namespace Veltro {

/// What an application may tell the library about itself and its surroundings, all of it optional.
/// Every function may be called from any thread and never throws. In a child forked after the first
/// call to the library, no call of the library does anything, until the child is another program.
class VELTRO_EXPORT Host {
 public:
  /// What `Configure` takes. What is left empty has its default.
  struct Options {
    /// Where "VeltroConfig.json" and "AppxManifest.xml" lie. Default: the environment variable
    /// VELTRO_PACKAGE_DIR, else the folder of the executable.
    std::filesystem::path packageFolder;

    /// Where the library keeps its files. Default: the environment variable VELTRO_DATA_DIR, else
    /// "<application title>/veltro" in XDG_DATA_HOME (~/.local/share). Several processes may use
    /// one folder.
    std::filesystem::path dataFolder;

    std::string applicationTitle;    ///< in place of the manifest's
    std::string applicationVersion;  ///< "1.2.3.4", in place of the manifest's

    std::string deviceManufacturer;  ///< in place of what the system reports
    std::string deviceModel;         ///< in place of what the system reports

    /// What follows the client code in the name of the content server. Default: the environment
    /// variable VELTRO_TARGET_EDGE_DOMAIN, else the built-in suffix.
    std::string targetEdgeDomain;

    /// "HOST:PORT" of a veltro-collector, for a dry run: hits, signals and content requests go
    /// there over http instead of to the configured servers. Needs no "VeltroConfig.json": what
    /// that does not set up is named "dry-run". Uses the folder "dry-run" in the data folder, so
    /// that nothing of it gets to the servers later; each hit tells which keys of its context data
    /// were cleaned and which values left out. Default: the environment variable VELTRO_DRY_RUN,
    /// else no dry run.
    std::string dryRunCollector;

    /// A file of certificates (PEM) to trust in place of the system's.
    std::string caFile;

    /// Takes the log lines, UTF-8 without line feed at the end, in place of standard error. Called
    /// from any thread; must not call the library.
    std::function<void(std::string_view line)> logSink;
  };

  /// How a flush ended.
  enum class FlushResult {
    Done,        ///< everything is sent
    TimedOut,    ///< the deadline passed first
    Offline,     ///< the server cannot be reached or has trouble; the records wait on disk
    NotAllowed,  ///< the privacy status forbids sending; the records wait on disk
  };

  /// Sets the options, before the first use of the library. Afterwards it returns false and changes
  /// nothing.
  static bool Configure(Options options);

  /// The size of the application's window in pixels, before the first record is made. Without it
  /// the resolution is "Unknown".
  static void SetWindowSize(double width, double height);

  /// Waits until all calls so far are on disk and the queue is sent, whatever the batch limit, no
  /// longer than `deadline`.
  static FlushResult Flush(std::chrono::milliseconds deadline);

  /// Forgets the user, as they may ask for: removes what is recorded and not yet sent, the running
  /// timed actions, all identifiers, the profile, the lifetime value, what is known of launches,
  /// and cookies, from memory and disk. Requests that wait are not sent, and answers under way
  /// bring none of it back. Calls before it are covered; those after it concern somebody new. The
  /// privacy status stays as it is, and media go on playing. What servers know they keep, and so do
  /// other processes that run on the same data folder, which may store it again: end them first.
  ///
  /// The result is whether nothing of it is left on disk; false also when the disk did not answer
  /// in time. The reason is logged then, and a later call tries again.
  static AsyncOperation<bool> Purge();
};

}  // namespace Veltro
