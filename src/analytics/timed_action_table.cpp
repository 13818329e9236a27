#include "analytics/timed_action_table.h"

#include <utility>

#include "base/number_text.h"
#include "core/local_json_file.h"
#include "core/log.h"
#include "platform/platform_error.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kFileName = "VeltroTimedActions.json";

/// The most that the file of the actions waits for the hits of those that ended.
constexpr std::chrono::seconds kHitTimeout{5};

}  // namespace

TimedActionTable::TimedActionTable(LocalFolder& folder, Tracker& tracker, HitQueue& queue,
                                   Clock& clock)
    : folder_(folder), tracker_(tracker), queue_(queue), clock_(clock) {
  LoadTimedActions();
}

void TimedActionTable::TrackTimedActionStart(const std::u16string& action, StringMap data) {
  if (action.empty()) {
    return LogWarning("Analytics - Cannot start timed action with a null or empty action name.");
  }
  LoadTimedActions();
  const std::int32_t now = Now();
  Change([&] { actions_.insert_or_assign(action, TimedAction{std::move(data), now, now}); });
}

void TimedActionTable::TrackTimedActionUpdate(std::u16string_view action, const StringMap& data) {
  if (action.empty()) {
    return LogWarning("Analytics - Cannot update timed action with a null or empty action name.");
  }
  if (data.Empty()) {
    return LogWarning("Analytics - Cannot update timed action with blank context data, skipping.");
  }
  LoadTimedActions();
  const auto found = actions_.find(action);
  if (found == actions_.end()) {
    return LogWarning("Analytics - Cannot find timed action to update (%s).", action);
  }
  Change([&] {
    for (const auto [key, value] : data) found->second.data.Set(key, value);
  });
}

void TimedActionTable::TrackTimedActionEnd(std::u16string_view action) {
  if (action.empty()) {
    return LogWarning("Analytics - Cannot end timed action with a null or empty action name.");
  }
  LoadTimedActions();
  const auto found = actions_.find(action);
  if (found == actions_.end()) {
    return LogWarning(
        "Analytics - Ignoring attempt to end timed action that had not yet begun (%s).", action);
  }
  const std::int64_t now = Now();
  StringMap data = found->second.data;
  data.Set(u"a.action.time.total", DecimalText(Lower32Bits(now - found->second.start)));
  data.Set(u"a.action.time.inapp", DecimalText(Lower32Bits(now - found->second.adjusted)));
  tracker_.TrackAction(action, std::move(data));
  Change([&] {
    actions_.erase(found);
    actionEnded_ = true;
  });
}

void TimedActionTable::TrackingTimedActionExists(std::u16string_view action, Reply reply) {
  LoadTimedActions();
  worker_.Post([exists = actions_.contains(action), reply = std::move(reply)] { reply(exists); });
}

void TimedActionTable::AdjustTimedActions(std::int32_t seconds) {
  LoadTimedActions();
  Change([&] {
    for (auto& [name, action] : actions_) {
      action.adjusted = Lower32Bits(std::int64_t{action.adjusted} + seconds);
    }
  });
}

void TimedActionTable::Forget() {
  {
    const std::lock_guard lock(mutex_);
    actions_.clear();
    isLoaded_ = true;
  }
  if (!worker_.WaitUntilDone(kHitTimeout)) {
    throw PlatformError("timed actions are still being written");
  }
  folder_.Remove(kFileName);
}

/// Adds the stored actions to those that have come meanwhile. Once they are read, or have proved
/// damaged, there is nothing more to load.
void TimedActionTable::LoadTimedActions() {
  if (isLoaded_) return;
  try {
    const std::string text = ReadLocalJsonFile(folder_, kFileName);
    const std::lock_guard lock(mutex_);
    isLoaded_ = true;
    if (!text.empty()) actions_.merge(ReadTimedActions(text));
  } catch (const std::exception& error) {
    LogTrouble("Analytics - Unable to load timed actions (%s).", error);
  }
}

/// Changes the actions, which the worker may be reading, and has it save them.
template <class Function>
void TimedActionTable::Change(Function change) {
  {
    const std::lock_guard lock(mutex_);
    change();
    changed_ = true;
  }
  worker_.Post([this] { SaveTimedActions(); });
}

void TimedActionTable::SaveTimedActions() {
  std::string text;
  bool actionEnded = false;
  {
    const std::lock_guard lock(mutex_);
    if (!isLoaded_ || !std::exchange(changed_, false)) return;
    actionEnded = std::exchange(actionEnded_, false);
    text = WriteTimedActions(actions_);
  }
  // If the process dies in between, an action is on disk twice rather than not at all.
  if (actionEnded) queue_.WaitUntilSaved(kHitTimeout);
  try {
    WriteLocalJsonFile(folder_, kFileName, text);
    troubleLogged_ = false;
  } catch (const std::exception& error) {
    LogTrouble("Analytics - Unable to save timed actions file (%s).", error);
  }
}

void TimedActionTable::LogTrouble(std::string_view format, const std::exception& error) {
  if (!troubleLogged_.exchange(true)) LogError(format, error.what());
}

std::int32_t TimedActionTable::Now() { return Lower32Bits(clock_.UnixSeconds()); }

}  // namespace Veltro::Internal
