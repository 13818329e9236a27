#pragma once

#include <string>

#include "analytics/tracker.h"
#include "base/string_map.h"
#include "config/configuration.h"
#include "target/persistent_parameters.h"

namespace Veltro::Internal {

/// A point on the earth's surface.
struct Position {
  double latitude = 0;   ///< degrees, -90 to 90
  double longitude = 0;  ///< degrees, -180 to 180
};

/// A coordinate as reported: joined from the left, its parts give one, two and four decimals.
struct CoordinateParts {
  std::u16string a;  ///< such as "-012.3"
  std::u16string b;  ///< the next two decimals
  std::u16string c;  ///< the two behind them
};

/// `degrees`, rounded to six decimals, in parts. It must lie between -999 and 999.
CoordinateParts SplitCoordinate(double degrees);

/// The great-circle distance in metres, by the haversine formula (R. W. Sinnott, "Virtues of the
/// Haversine", Sky and Telescope 68, 1984) on a sphere with a radius of 6,371 km.
double DistanceInMetres(const Position& from, const Position& to);

/// The user is at `position`: tracks the internal action "Location" with its coordinates, with
/// `accuracy` (metres; 0 or less when not known) and with the first configured point of interest
/// around it, which content requests carry from now on. A position out of bounds is refused with a
/// warning.
void TrackLocation(const Position& position, double accuracy, StringMap data,
                   const Configuration& config, PersistentParameters& parameters, Tracker& tracker);

}  // namespace Veltro::Internal
