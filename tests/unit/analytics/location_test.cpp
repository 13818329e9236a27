#include "analytics/location.h"

#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <string_view>

#include "support/tracker_fixture.h"

namespace Veltro::Internal {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class LocationTest : public Testing::TrackerFixture {
 protected:
  /// What the hit of a location says behind the entry of its action; "" when there is no hit.
  std::string Track(Position position, double accuracy = 0, StringMap data = {}) {
    TrackLocation(position, accuracy, std::move(data), config_, parameters_, tracker_);
    const std::string hit = LastHit();
    const std::string_view head = "&c.&a.&internalaction=Location&loc.";
    if (hit.find("&pev2=VLTINTERNAL%3ALocation&") == hit.npos) return "";
    const auto begin = hit.find(head) + head.size();
    return hit.substr(begin, hit.find("&.c&") - begin);
  }

  PersistentParameters parameters_;
};

TEST(SplitCoordinate, GivesOneTwoAndFourDecimals) {
  const struct {
    double degrees;
    std::u16string_view a, b, c;
  } rows[] = {{0, u"000.0", u"00", u"00"},         {-0.0, u"-000.0", u"00", u"00"},
              {90, u"090.0", u"00", u"00"},        {-90, u"-090.0", u"00", u"00"},
              {180, u"180.0", u"00", u"00"},       {-180, u"-180.0", u"00", u"00"},
              {5.5, u"005.5", u"00", u"00"},       {-0.0000004, u"-000.0", u"00", u"00"},
              {40.123456, u"040.1", u"23", u"45"}, {-111.654321, u"-111.6", u"54", u"32"},
              {9.9999996, u"010.0", u"00", u"00"}, {-89.9999995, u"-090.0", u"00", u"00"},
              {99.9999994, u"099.9", u"99", u"99"}};
  for (const auto& row : rows) {
    const CoordinateParts parts = SplitCoordinate(row.degrees);
    EXPECT_EQ(parts.a, row.a) << row.degrees;
    EXPECT_EQ(parts.b, row.b) << row.degrees;
    EXPECT_EQ(parts.c, row.c) << row.degrees;
  }
}

/// The distance by the angle between two vectors, which is exact at any distance.
double DistanceOfVectors(const Position& from, const Position& to) {
  using Real = long double;
  constexpr Real kDegree = 3.14159265358979323846L / 180;
  const auto vector = [](const Position& position, Real* v) {
    const Real latitude = position.latitude * kDegree, longitude = position.longitude * kDegree;
    v[0] = std::cos(latitude) * std::cos(longitude);
    v[1] = std::cos(latitude) * std::sin(longitude);
    v[2] = std::sin(latitude);
  };
  Real a[3], b[3];
  vector(from, a);
  vector(to, b);
  const Real cross =
      std::hypot(a[1] * b[2] - a[2] * b[1], a[2] * b[0] - a[0] * b[2], a[0] * b[1] - a[1] * b[0]);
  const Real dot = a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
  return static_cast<double>(6371000 * std::atan2(cross, dot));
}

TEST(DistanceInMetres, AgreesWithTheAngleBetweenVectors) {
  std::mt19937 random(17);
  std::uniform_real_distribution<double> latitude(-90, 90), longitude(-180, 180), offset(-.01, .01);
  for (int i = 0; i < 10'000; ++i) {
    const Position from{latitude(random), longitude(random)};
    const Position near{from.latitude + offset(random), from.longitude + offset(random)};
    const Position far{latitude(random), longitude(random)};
    const Position opposite{-from.latitude, from.longitude + 180};
    EXPECT_NEAR(DistanceInMetres(from, near), DistanceOfVectors(from, near), 0.001);
    EXPECT_NEAR(DistanceInMetres(from, far), DistanceOfVectors(from, far), 1);
    EXPECT_NEAR(DistanceInMetres(from, opposite), 20015086.8, 1);
    EXPECT_EQ(DistanceInMetres(from, from), 0);
  }
}

TEST_F(LocationTest, ReportsPositionAndAccuracy) {
  const std::string place = "&lat.&a=052.5&b=20&c=00&.lat&lon.&a=013.4&b=05&c=00&.lon&.loc&.a";
  EXPECT_EQ(Track({52.52, 13.405}), place);
  for (const double unknown : {0.0, -1.0, kNan, kInfinity}) {
    EXPECT_EQ(Track({52.52, 13.405}, unknown), place) << unknown;
  }
  EXPECT_EQ(Track({52.52, 13.405}, 12.5), "&acc=12" + place);
  EXPECT_EQ(Track({-90, -180}),
            "&lat.&a=-090.0&b=00&c=00&.lat&lon.&a=-180.0&b=00&c=00&.lon&.loc&.a");
  EXPECT_EQ(Track({90, 180}, 0.4, {{u"x", u"1"}, {u"a.loc.acc", u"host's"}}),
            "&acc=0&lat.&a=090.0&b=00&c=00&.lat&lon.&a=180.0&b=00&c=00&.lon&.loc&.a&x=1");
}

TEST_F(LocationTest, RefusesWhatLiesOutOfBounds) {
  const struct {
    Position position;
    const char* logged;
  } rows[] = {
      {{90.000001, 0},
       "latitude value provided (90.000001) is out of bounds (-90.000000 to "
       "90.000000)\n"},
      {{-kInfinity, 0}, "latitude value provided (-inf)"},
      {{kNan, 0}, "latitude value provided (nan)"},
      {{0, -180.5},
       "longitude value provided (-180.500000) is out of bounds (-180.000000 to "
       "180.000000)\n"},
      {{0, kNan}, "longitude value provided (nan)"},
  };
  parameters_.SetPersistentParameter(u"a.loc.poi", u"Home");
  for (const auto& row : rows) {
    EXPECT_EQ(Track(row.position), "");
    EXPECT_EQ(log_.Count("Veltro Warning: Analytics - TrackLocation failed, "), 1);
    EXPECT_TRUE(log_.Contains(row.logged)) << row.logged;
    log_.Clear();
  }
  EXPECT_EQ(parameters_.Get(), (StringMap{{u"a.loc.poi", u"Home"}}));
}

TEST_F(LocationTest, ReportsTheFirstPointOfInterestAroundAndLeavesItForContentRequests) {
  config_.pointsOfInterest = {{u"", 10, 10, 1e6},           {u"No circle", 10, 10, 0},
                              {u"Nowhere", kNan, 0, 9},     {u"Edge", 10.001, 10, 111.1},
                              {u"Wide", 10.0003, 10, 5000}, {u"Near", 10, 10, 5000}};
  EXPECT_EQ(Track({10, 10}).substr(0, 19), "&dist=33&lat.&a=010");
  EXPECT_EQ(parameters_.Get(), (StringMap{{u"a.loc.dist", u"33"}, {u"a.loc.poi", u"Wide"}}));
  config_.pointsOfInterest[3].radius = DistanceInMetres({10, 10}, {10.001, 10});
  EXPECT_NE(Track({10, 10}).find("&poi=Edge&"), std::string::npos);
  EXPECT_EQ(parameters_.Get(), (StringMap{{u"a.loc.dist", u"111"}, {u"a.loc.poi", u"Edge"}}));
  EXPECT_EQ(Track({20, 20}).find("poi"), std::string::npos);
  EXPECT_EQ(parameters_.Get(), StringMap());
}

}  // namespace
}  // namespace Veltro::Internal
