#include "analytics/location.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <string_view>
#include <utility>

#include "base/number_text.h"
#include "core/log.h"

namespace Veltro::Internal {
namespace {

constexpr double kEarthRadius = 6371000;  // metres
constexpr double kRadiansPerDegree = 0.017453292519943295;

constexpr std::u16string_view kPointOfInterestKey = u"a.loc.poi";
constexpr std::u16string_view kDistanceKey = u"a.loc.dist";

// Written so that what is not a number lies outside.
bool IsWithin(double value, double limit) { return value >= -limit && value <= limit; }

double SquaredSineOfHalf(double angle) { return std::pow(std::sin(angle / 2), 2); }

void SetCoordinate(const std::u16string& key, double degrees, StringMap& data) {
  const CoordinateParts parts = SplitCoordinate(degrees);
  data.Set(key + u".a", parts.a);
  data.Set(key + u".b", parts.b);
  data.Set(key + u".c", parts.c);
}

void SetPointOfInterest(const Position& position, const std::vector<PointOfInterest>& points,
                        StringMap& data) {
  for (const PointOfInterest& point : points) {
    if (point.name.empty() || point.radius == 0) continue;
    const double distance = DistanceInMetres(position, {point.latitude, point.longitude});
    if (!(distance <= point.radius)) continue;
    data.Set(kPointOfInterestKey, point.name);
    data.Set(kDistanceKey, FixedText(distance, 0));
    return;
  }
}

/// Leaves the point of interest, or that there is none, with content requests.
void UpdateParameters(const StringMap& data, PersistentParameters& parameters) {
  for (const std::u16string_view key : {kPointOfInterestKey, kDistanceKey}) {
    parameters.RemovePersistentParameter(key);
    if (const auto value = data.Find(key)) parameters.SetPersistentParameter(key, *value);
  }
}

}  // namespace

CoordinateParts SplitCoordinate(double degrees) {
  const std::u16string digits = FixedText(std::abs(degrees), 6);
  std::u16string text = std::u16string(10 - digits.size(), u'0') + digits;
  CoordinateParts parts{text.substr(0, 5), text.substr(5, 2), text.substr(7, 2)};
  if (std::signbit(degrees)) parts.a.insert(0, 1, u'-');
  return parts;
}

double DistanceInMetres(const Position& from, const Position& to) {
  const double latitude1 = from.latitude * kRadiansPerDegree;
  const double latitude2 = to.latitude * kRadiansPerDegree;
  const double longitudes = (to.longitude - from.longitude) * kRadiansPerDegree;
  const double sum = SquaredSineOfHalf(latitude2 - latitude1) +
                     std::cos(latitude1) * std::cos(latitude2) * SquaredSineOfHalf(longitudes);
  const double h = std::min(sum, 1.0);  // rounding may take opposite points beyond
  return 2 * kEarthRadius * std::atan2(std::sqrt(h), std::sqrt(1 - h));
}

void TrackLocation(const Position& position, double accuracy, StringMap data,
                   const Configuration& config, PersistentParameters& parameters,
                   Tracker& tracker) {
  if (!IsWithin(position.latitude, 90)) {
    return LogWarning(
        "Analytics - TrackLocation failed, latitude value provided (%f) is out of bounds (%f to "
        "%f)",
        position.latitude, -90.0, 90.0);
  }
  if (!IsWithin(position.longitude, 180)) {
    return LogWarning(
        "Analytics - TrackLocation failed, longitude value provided (%f) is out of bounds (%f to "
        "%f)",
        position.longitude, -180.0, 180.0);
  }
  SetCoordinate(u"a.loc.lat", position.latitude, data);
  SetCoordinate(u"a.loc.lon", position.longitude, data);
  if (accuracy > 0 && std::isfinite(accuracy)) data.Set(u"a.loc.acc", FixedText(accuracy, 0));
  SetPointOfInterest(position, config.pointsOfInterest, data);
  UpdateParameters(data, parameters);
  tracker.TrackInternalAction(u"Location", std::move(data), 0);
}

}  // namespace Veltro::Internal
