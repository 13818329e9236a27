#include "analytics/tracker.h"

#include <utility>

#include "analytics/hit_query.h"
#include "base/number_text.h"

namespace Veltro::Internal {
namespace {

constexpr std::u16string_view kVariablePrefix = u"&&";
constexpr std::uint64_t kRandomPartLimit = 10'000'000;

/// Moves the variables in disguise from the context data to the variables.
void MoveVariables(StringMap& data, StringMap& variables) {
  StringMap disguised;
  for (const auto [key, value] : data) {
    if (key.size() > kVariablePrefix.size() && key.starts_with(kVariablePrefix)) {
      disguised.Add(key, value);
    }
  }
  for (const auto [key, value] : disguised) {
    data.Remove(key);
    variables.Set(key.substr(kVariablePrefix.size()), value);
  }
}

}  // namespace

void Tracker::TrackState(std::u16string_view state, StringMap data) {
  const std::u16string name =
      state.empty() ? sources_.device.GetApplicationId() : std::u16string(state);
  BuildAndQueueHit(std::move(data), {{u"pageName", name}}, Now());
}

void Tracker::TrackAction(std::u16string_view action, StringMap data) {
  data.Add(u"a.action", action);
  TrackLink(u"QXACTION:", action, std::move(data), Now());
}

void Tracker::TrackInternalAction(std::u16string_view action, StringMap data,
                                  std::int32_t timestamp) {
  if (action.empty()) action = u"None";
  data.Add(u"a.internalaction", action);
  TrackLink(u"VLTINTERNAL:", action, std::move(data), timestamp >= 1 ? timestamp : Now());
}

void Tracker::BuildAndQueueHit(StringMap data, StringMap variables, std::int32_t timestamp) {
  data.Merge(*sources_.lifecycleData.Get());
  if (sources_.privacy.Status() == VeltroPrivacyStatus::Unknown) {
    data.Add(u"a.privacy.mode", u"unknown");
  }
  CompleteVariables(variables, timestamp);
  MoveVariables(data, variables);
  std::string hit = "s";
  hit += NextRandomPart();
  hit += "?AQB=1&ndh=1";
  AppendHitParameters(variables, data, hit);
  hit += "&AQE=1";
  queue_.EnqueueHit(std::move(hit), timestamp);
}

std::int32_t Tracker::Now() { return Lower32Bits(sources_.clock.UnixSeconds()); }

void Tracker::TrackLink(std::u16string_view prefix, std::u16string_view action, StringMap data,
                        std::int32_t timestamp) {
  const std::u16string name = std::u16string(prefix).append(action);
  BuildAndQueueHit(
      std::move(data),
      {{u"pageName", sources_.device.GetApplicationId()}, {u"pe", u"lnk_o"}, {u"pev2", name}},
      timestamp);
}

void Tracker::CompleteVariables(StringMap& variables, std::int32_t timestamp) {
  variables.Add(u"aid", sources_.identifiers.GetAnalyticsId());
  const std::u16string visitorId = sources_.settings.GetStoredVisitorId();
  if (!visitorId.empty()) variables.Add(u"vid", visitorId);
  variables.Add(u"ce", sources_.config.charset);
  if (sources_.config.offlineEnabled) variables.Add(u"ts", DecimalText(timestamp));
  variables.Add(u"t", sources_.device.GetTimeZoneField());
}

/// A number that defeats caches. It need not be secret: its sequence begins anew with each run.
std::string Tracker::NextRandomPart() {
  const std::lock_guard lock(mutex_);
  sources_.random.Seed(++hitCounter_);
  const auto high = static_cast<std::uint64_t>(sources_.random.Next());
  const auto low = static_cast<std::uint64_t>(sources_.random.Next());
  return std::to_string(((high << 32) | low) % kRandomPartLimit);
}

}  // namespace Veltro::Internal
