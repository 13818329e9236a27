#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <exception>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

#include "analytics/hit_queue.h"
#include "analytics/timed_action_document.h"
#include "analytics/tracker.h"
#include "base/string_map.h"
#include "core/work_queue.h"
#include "platform/clock.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// Measures how long actions take: in all, and with the application in the foreground. The running
/// actions are kept in the file "VeltroTimedActions.json", so that they go on in the next process.
///
/// Whether a call may track at all is decided before it gets here. Operations are called by one
/// thread at a time and take effect before they return, so that the hit of an action that ends
/// keeps its place among the others. The file is written by a worker of the table's own, whole,
/// after every change, or once after several that come while it is busy. Refusals are logged. When
/// the system refuses the file, one line is logged and the table goes on in memory; the next change
/// tries again. A file that could not be read is not written before it has been.
class TimedActionTable {
 public:
  /// Takes the answer to a question.
  using Reply = std::function<void(bool)>;

  /// Loads the actions of earlier processes.
  TimedActionTable(LocalFolder& folder, Tracker& tracker, HitQueue& queue, Clock& clock);

  /// Starts `action` with this context data. One of this name that runs already is forgotten.
  void TrackTimedActionStart(const std::u16string& action, StringMap data);

  /// Sets these entries in the context data of `action`.
  void TrackTimedActionUpdate(std::u16string_view action, const StringMap& data);

  /// Ends `action` and tracks it with its context data and both durations, in seconds:
  /// "a.action.time.total", and "a.action.time.inapp" without the pauses.
  void TrackTimedActionEnd(std::u16string_view action);

  /// Tells `reply` whether `action` runs now, on the worker, once earlier changes are saved.
  void TrackingTimedActionExists(std::u16string_view action, Reply reply);

  /// The application was paused for `seconds`, which count for no action that runs now.
  void AdjustTimedActions(std::int32_t seconds);

  /// Forgets all actions, and removes their file. Throws `PlatformError` when that stays.
  void Forget();

  /// Whether every earlier change is on disk, as far as that lets it, within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout) { return worker_.WaitUntilDone(timeout); }

 private:
  void LoadTimedActions();
  template <class Function>
  void Change(Function change);
  void SaveTimedActions();
  void LogTrouble(std::string_view format, const std::exception& error);
  std::int32_t Now();

  LocalFolder& folder_;
  Tracker& tracker_;
  HitQueue& queue_;
  Clock& clock_;
  TimedActions actions_;
  std::mutex mutex_;          // held for a change of the actions and while the worker reads them
  bool isLoaded_ = false;     // the file has been read
  bool changed_ = false;      // since the worker last wrote them
  bool actionEnded_ = false;  // among these changes
  std::atomic<bool> troubleLogged_ = false;  // the disk refuses, which is logged once
  WorkQueue worker_;                         // last: its thread uses all of the above
};

}  // namespace Veltro::Internal
