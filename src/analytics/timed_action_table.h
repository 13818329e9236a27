#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

#include "analytics/hit_queue.h"
#include "analytics/timed_action_document.h"
#include "analytics/tracker.h"
#include "base/string_map.h"
#include "core/work_queue.h"
#include "platform/clock.h"
#include "platform/local_folder.h"

namespace Veltro::Internal {

/// Measures how long actions take: in all, and with the application in the foreground. The running
/// actions are kept in the file "VeltroTimedActions.json", which is written after every change, so
/// that they go on in the next process.
///
/// Whether a call may track at all is decided before it gets here. Operations may be called from
/// any thread and return at once; they take effect in the order of the calls, on a worker of the
/// table's own. Refusals are logged. When the file cannot be read, the table starts empty; when it
/// cannot be written, the table goes on in memory and the next change tries again.
class TimedActionTable {
 public:
  /// Takes the answer to a question, on the worker.
  using Answer = std::function<void(bool)>;

  /// Loads the actions of earlier processes, on the worker.
  TimedActionTable(LocalFolder& folder, Tracker& tracker, HitQueue& queue, Clock& clock);

  /// Starts `action` with this context data. One of this name that runs already is forgotten.
  void TrackTimedActionStart(std::u16string action, StringMap data);

  /// Sets these entries in the context data of `action`.
  void TrackTimedActionUpdate(std::u16string action, StringMap data);

  /// Ends `action` and tracks it with its context data and both durations, in seconds:
  /// "a.action.time.total", and "a.action.time.inapp" without the pauses. It leaves the file once
  /// its hit is on disk.
  void TrackTimedActionEnd(std::u16string action);

  /// Tells `answer` whether `action` runs.
  void TrackingTimedActionExists(std::u16string action, Answer answer);

  /// The application was paused for `seconds`, which count for no action that runs now.
  void AdjustTimedActions(std::int32_t seconds);

  /// Whether every earlier call has taken effect and is on disk within `timeout`.
  bool WaitUntilSaved(std::chrono::milliseconds timeout) { return worker_.WaitUntilDone(timeout); }

 private:
  void LoadTimedActions();
  void SaveTimedActions();
  void Start(const std::u16string& name, StringMap data);
  void Update(std::u16string_view name, const StringMap& data);
  void End(std::u16string_view name);
  std::int32_t Now();

  LocalFolder& folder_;
  Tracker& tracker_;
  HitQueue& queue_;
  Clock& clock_;
  TimedActions actions_;  // used by the worker only
  WorkQueue worker_;      // last: its thread uses all of the above
};

}  // namespace Veltro::Internal
