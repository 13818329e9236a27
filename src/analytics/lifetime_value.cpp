#include "analytics/lifetime_value.h"

#include <cmath>
#include <utility>

#include "base/number_text.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

void LogRefusal(double amount) {
  LogWarning(
      "Analytics - TrackLifetimeValueIncrease failed.  Amount must be positive, invalid amount "
      "specified '%.2f'",
      amount);
}

}  // namespace

void TrackLifetimeValueIncrease(double amount, StringMap data, SettingsStore& settings,
                                Tracker& tracker) {
  if (!(amount >= 0)) return LogRefusal(amount);
  const float total = static_cast<float>(amount) + settings.GetStoredLifetimeValue();
  if (!std::isfinite(total)) return LogRefusal(amount);
  settings.SetStoredLifetimeValue(total);
  data.Set(u"a.ltv.amount", FixedText(total, 2));
  tracker.TrackInternalAction(u"LifetimeValueIncrease", std::move(data), 0);
}

}  // namespace Veltro::Internal
