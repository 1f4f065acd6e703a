#include <gtest/gtest.h>

#include <GeographicLib/Geodesic.hpp>
#include <GeographicLib/GeodesicLine.hpp>
#include <GeographicLib/Rhumb.hpp>

#include <cmath>
#include <random>

#include "GMSGeometryUtils.h"
#include "near.h"

namespace {

double angleDiff(double a, double b) { return std::remainder(a - b, 360.0); }

} // namespace

// Random pairs of points: heading, distance, interpolation, offset and rhumb
// length against GeographicLib on the engine's sphere.
TEST(GeometryUtilsTest, AgreesWithGeographicLib) {
    // The engine's sphere as an independent reference.
    const GeographicLib::Geodesic sphere(kGMSEarthRadius, 0);
    const GeographicLib::Rhumb rhumb(kGMSEarthRadius, 0);
    std::mt19937_64 rng(20261122);
    std::uniform_real_distribution<double> latitude(-89, 89), longitude(-180, 180), heading(0, 360), angle(0, 3.0);
    const auto lngTolerance = [](double lat, double t) { return t / std::max(0.01, std::cos(lat * kGMSDegreesToRadians)); };
    for (int i = 0; i < 2000; ++i) {
        const CLLocationCoordinate2D a{latitude(rng), longitude(rng)}, b{latitude(rng), longitude(rng)};
        const GeographicLib::GeodesicLine line = sphere.InverseLine(a.latitude, a.longitude, b.latitude, b.longitude);
        const double s12 = line.Distance();
        EXPECT_NEAR(GMSGeometryDistance(a, b), s12, 1e-6 * std::max(1.0, s12 / 1e6));
        if (s12 < 0.99 * kGMSPi * kGMSEarthRadius) { // near antipodes the bearing is ill-defined
            const double h = GMSGeometryHeading(a, b);
            ASSERT_TRUE(h >= 0.0 && h < 360.0) << h;
            EXPECT_NEAR(angleDiff(h, line.Azimuth()), 0.0, 1e-7) << i;
            for (double f : {0.0, 0.25, 0.5, 1.0, 1.5}) {
                double lat, lng;
                line.Position(f * s12, lat, lng);
                const auto p = GMSGeometryInterpolate(a, b, f);
                EXPECT_NEAR(p.latitude, lat, 1e-7);
                EXPECT_NEAR(angleDiff(p.longitude, lng), 0.0, lngTolerance(lat, 1e-7));
            }
        }
        const double h = heading(rng), delta = angle(rng);
        double lat2, lng2, rhumbLength, azi;
        sphere.Direct(a.latitude, a.longitude, h, delta * kGMSEarthRadius, lat2, lng2);
        const auto p = GMSGeometryOffset(a, delta, h);
        EXPECT_NEAR(p.latitude, lat2, 1e-8) << i;
        EXPECT_NEAR(angleDiff(p.longitude, lng2), 0.0, lngTolerance(lat2, 1e-8));
        ASSERT_TRUE(p.longitude >= -180.0 && p.longitude < 180.0) << p.longitude;
        rhumb.Inverse(a.latitude, a.longitude, b.latitude, b.longitude, rhumbLength, azi);
        EXPECT_NEAR(GMSPath({a, b}).lengthOfKind(kGMSLengthRhumb), rhumbLength, 1e-6 * std::max(1.0, rhumbLength / 1e5));
    }
}

// What the random comparisons can't reach: a point to itself, exact
// antimeridian and half-circle values, interpolation past the end.
TEST(GeometryUtilsTest, EdgeCases) {
    EXPECT_EQ(GMSGeometryHeading({12.5, 33}, {12.5, 33}), 0.0);
    EXPECT_EQ(GMSGeometryOffset({0, 180}, 0, 0).longitude, -180.0);
    EXPECT_TRUE(near(GMSGeometryOffset({0, 170}, 20 * kGMSDegreesToRadians, 90), {0, -170}, 1e-12));
    EXPECT_TRUE(near(GMSGeometryInterpolate({0, 0}, {0, 10}, 2.0), {0, 20}, 1e-12));
    EXPECT_NEAR(GMSGeometryLength(GMSPath{{0, 0}, {0, 90}, {90, 0}}), kGMSEarthCircumference / 2, 1e-6);
    for (auto [in, out] : {std::pair{180.0, -180.0}, {190.0, -170.0}, {-180.0, -180.0}, {12.3456789, 12.3456789}})
        EXPECT_EQ(GMSWrapLongitude(in), out) << in;
}
