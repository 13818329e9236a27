#include "analytics/timed_action_table.h"

#include <exception>
#include <utility>

#include "base/number_text.h"
#include "core/local_json_file.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

constexpr std::string_view kFileName = "VeltroTimedActions.json";

/// The most that the end of an action waits for its hit to be on disk.
constexpr std::chrono::seconds kHitTimeout{5};

}  // namespace

TimedActionTable::TimedActionTable(LocalFolder& folder, Tracker& tracker, HitQueue& queue,
                                   Clock& clock)
    : folder_(folder), tracker_(tracker), queue_(queue), clock_(clock) {
  worker_.Post([this] { LoadTimedActions(); });
}

void TimedActionTable::TrackTimedActionStart(std::u16string action, StringMap data) {
  worker_.Post([this, action = std::move(action), data = std::move(data)]() mutable {
    Start(action, std::move(data));
  });
}

void TimedActionTable::TrackTimedActionUpdate(std::u16string action, StringMap data) {
  worker_.Post(
      [this, action = std::move(action), data = std::move(data)] { Update(action, data); });
}

void TimedActionTable::TrackTimedActionEnd(std::u16string action) {
  worker_.Post([this, action = std::move(action)] { End(action); });
}

void TimedActionTable::TrackingTimedActionExists(std::u16string action, Answer answer) {
  worker_.Post([this, action = std::move(action), answer = std::move(answer)] {
    answer(actions_.contains(action));
  });
}

void TimedActionTable::AdjustTimedActions(std::int32_t seconds) {
  worker_.Post([this, seconds] {
    for (auto& [name, action] : actions_) {
      action.adjusted = Lower32Bits(std::int64_t{action.adjusted} + seconds);
    }
    SaveTimedActions();
  });
}

void TimedActionTable::LoadTimedActions() {
  try {
    const std::string text = ReadLocalJsonFile(folder_, kFileName);
    if (!text.empty()) actions_ = ReadTimedActions(text);
  } catch (const std::exception& error) {
    LogError("Analytics - Unable to load timed actions (%s).", error.what());
  }
}

void TimedActionTable::SaveTimedActions() {
  try {
    WriteLocalJsonFile(folder_, kFileName, WriteTimedActions(actions_));
  } catch (const std::exception& error) {
    LogError("Analytics - Unable to save timed actions file (%s).", error.what());
  }
}

void TimedActionTable::Start(const std::u16string& name, StringMap data) {
  if (name.empty()) {
    return LogWarning("Analytics - Cannot start timed action with a null or empty action name.");
  }
  const std::int32_t now = Now();
  actions_.insert_or_assign(name, TimedAction{std::move(data), now, now});
  SaveTimedActions();
}

void TimedActionTable::Update(std::u16string_view name, const StringMap& data) {
  if (name.empty()) {
    return LogWarning("Analytics - Cannot update timed action with a null or empty action name.");
  }
  if (data.Empty()) {
    return LogWarning("Analytics - Cannot update timed action with blank context data, skipping.");
  }
  const auto action = actions_.find(name);
  if (action == actions_.end()) {
    return LogWarning("Analytics - Cannot find timed action to update (%s).", name);
  }
  for (const auto [key, value] : data) action->second.data.Set(key, value);
  SaveTimedActions();
}

void TimedActionTable::End(std::u16string_view name) {
  if (name.empty()) {
    return LogWarning("Analytics - Cannot end timed action with a null or empty action name.");
  }
  const auto found = actions_.find(name);
  if (found == actions_.end()) {
    return LogWarning(
        "Analytics - Ignoring attempt to end timed action that had not yet begun (%s).", name);
  }
  const TimedAction& action = found->second;
  const std::int64_t now = Now();
  StringMap data = action.data;
  data.Set(u"a.action.time.total", DecimalText(Lower32Bits(now - action.start)));
  data.Set(u"a.action.time.inapp", DecimalText(Lower32Bits(now - action.adjusted)));
  tracker_.TrackAction(name, std::move(data));
  // If the process dies in between, the action is on disk twice rather than not at all.
  queue_.WaitUntilSaved(kHitTimeout);
  actions_.erase(found);
  SaveTimedActions();
}

std::int32_t TimedActionTable::Now() { return Lower32Bits(clock_.UnixSeconds()); }

}  // namespace Veltro::Internal
