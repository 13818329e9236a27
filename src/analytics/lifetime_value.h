#pragma once

#include "analytics/tracker.h"
#include "base/string_map.h"
#include "core/settings_store.h"

namespace Veltro::Internal {

/// The user has become worth `amount` more: adds it to the stored lifetime value, in single
/// precision, and tracks the internal action "LifetimeValueIncrease" with the sum as
/// "a.ltv.amount". An amount that is negative or no number, or takes the sum out of range, is
/// refused with a warning. Throws `PlatformError` when the settings fail. Called by one thread at a
/// time.
void TrackLifetimeValueIncrease(double amount, StringMap data, SettingsStore& settings,
                                Tracker& tracker);

}  // namespace Veltro::Internal
