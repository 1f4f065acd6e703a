#include <gtest/gtest.h>

#include <boost/geometry.hpp>

#include <cmath>
#include <random>

#include "GMSGeometryUtils.h"

namespace bg = boost::geometry;

namespace {

// A radio sector as the validation screen builds it: apex, an arc of points,
// and the apex again to close.
GMSPath sector(CLLocationCoordinate2D apex, double fromBearing, double toBearing, double radiusMetres, int arcPoints) {
    GMSMutablePath p;
    p.addCoordinate(apex);
    for (int i = 0; i < arcPoints; ++i) {
        const double b = fromBearing + (toBearing - fromBearing) * i / (arcPoints - 1);
        p.addCoordinate(GMSGeometryOffset(apex, radiusMetres / kGMSEarthRadius, b));
    }
    p.addCoordinate(apex);
    return p;
}

double mercatorDeg(double lat) { return std::log(std::tan(lat * kGMSDegreesToRadians / 2 + kGMSQuarterPi)); }

} // namespace

TEST(ContainsLocationTest, EmptyAndVertices) {
    EXPECT_FALSE(GMSGeometryContainsLocation({0, 0}, GMSPath(), true));
    EXPECT_TRUE(GMSGeometryContainsLocation({1, 2}, GMSPath{{1, 2}}, true));
    const GMSPath tri{{0, 0}, {0, 10}, {10, 5}};
    for (bool geodesic : {true, false}) {
        for (const auto& v : tri.coordinates())
            EXPECT_TRUE(GMSGeometryContainsLocation(v, tri, geodesic));
        EXPECT_TRUE(GMSGeometryContainsLocation({3, 5}, tri, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({-1, 5}, tri, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({3, 11}, tri, geodesic));
        // 180 and -180 are the same longitude for a vertex.
        EXPECT_TRUE(GMSGeometryContainsLocation({5, -180}, GMSPath{{0, 170}, {5, 180}, {-5, -175}}, geodesic));
    }
}

TEST(ContainsLocationTest, AroundTheAntimeridian) {
    const GMSPath tri{{-10, 170}, {-10, -170}, {10, 180}};
    for (bool geodesic : {true, false}) {
        EXPECT_TRUE(GMSGeometryContainsLocation({0, 180}, tri, geodesic));
        EXPECT_TRUE(GMSGeometryContainsLocation({0, -180}, tri, geodesic));
        EXPECT_TRUE(GMSGeometryContainsLocation({-5, 175}, tri, geodesic));
        EXPECT_TRUE(GMSGeometryContainsLocation({-5, -175}, tri, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({0, 160}, tri, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({0, -160}, tri, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({0, 0}, tri, geodesic));
    }
}

TEST(ContainsLocationTest, FlavoursDifferNearThePole) {
    // A ring along latitude 80. Its great-circle edges bulge toward the pole
    // (to about 82.9 degrees half way), its rhumb edges follow the parallel.
    const GMSPath ring{{80, 0}, {80, 90}, {80, 180}, {80, -90}};
    for (bool geodesic : {true, false}) {
        EXPECT_TRUE(GMSGeometryContainsLocation({85, 45}, ring, geodesic));
        EXPECT_TRUE(GMSGeometryContainsLocation({89.9, -100}, ring, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({70, 45}, ring, geodesic));
        EXPECT_FALSE(GMSGeometryContainsLocation({-90, 45}, ring, geodesic)); // no ray from the south pole
    }
    EXPECT_FALSE(GMSGeometryContainsLocation({81, 45}, ring, true));
    EXPECT_TRUE(GMSGeometryContainsLocation({81, 45}, ring, false));
}

TEST(ContainsLocationTest, EdgesTouchingAPoleAreNotCounted) {
    // Through the north pole: only the edge from (80, 90) back to (80, 0)
    // counts.
    const GMSPath ring{{80, 0}, {90, 0}, {80, 90}};
    EXPECT_TRUE(GMSGeometryContainsLocation({90, 0}, ring, true)); // on the vertex
    EXPECT_TRUE(GMSGeometryContainsLocation({85, 45}, ring, true));
    EXPECT_FALSE(GMSGeometryContainsLocation({85, -135}, ring, true)); // outside the counted edge's span
    EXPECT_FALSE(GMSGeometryContainsLocation({75, 45}, ring, true));
    // Mirrored in the south the counted edge bulges toward the pole, to
    // about -82.9 degrees, and a point beyond it sees no crossing.
    const GMSPath south{{-80, 0}, {-90, 0}, {-80, 90}};
    EXPECT_FALSE(GMSGeometryContainsLocation({-85, 45}, south, true));
    EXPECT_TRUE(GMSGeometryContainsLocation({-81, 45}, south, true));
}

TEST(ContainsLocationTest, FlatFlavourIsPlanarInMercatorCoordinates) {
    // With rhumb edges the test is the planar even-odd test on
    // (longitude, Mercator y); Boost.Geometry's cartesian within is the
    // reference.
    using P = bg::model::d2::point_xy<double>;
    std::mt19937_64 rng(99);
    std::uniform_real_distribution<double> lat(-70, 70), lng(-160, 160), bearing(0, 360), radius(50, 300000);
    int inside = 0;
    for (int s = 0; s < 40; ++s) {
        const double b = bearing(rng);
        const GMSPath ring = sector({lat(rng), lng(rng)}, b, b + 30 + s, radius(rng), 60);
        bg::model::polygon<P> poly;
        for (const auto& c : ring.coordinates())
            bg::append(poly.outer(), P(c.longitude, mercatorDeg(c.latitude)));
        bg::correct(poly);
        const auto box = ring.bounds();
        std::uniform_real_distribution<double> plat(box.southWest().latitude - 0.1, box.northEast().latitude + 0.1);
        std::uniform_real_distribution<double> plng(box.southWest().longitude - 0.1, box.northEast().longitude + 0.1);
        for (int i = 0; i < 500; ++i) {
            const CLLocationCoordinate2D p{plat(rng), plng(rng)};
            const bool expected = bg::within(P(p.longitude, mercatorDeg(p.latitude)), poly);
            ASSERT_EQ(GMSGeometryContainsLocation(p, ring, false), expected) << s << " " << i;
            inside += expected;
        }
    }
    EXPECT_GT(inside, 1000); // the test really sampled both sides
}

TEST(ContainsLocationTest, GeodesicFlavourAgreesWithSphericalBoost) {
    using P = bg::model::point<double, 2, bg::cs::spherical_equatorial<bg::degree>>;
    std::mt19937_64 rng(1234);
    std::uniform_real_distribution<double> lat(-75, 75), lng(-180, 180), bearing(0, 360), radius(1000, 2000000);
    int inside = 0;
    for (int s = 0; s < 40; ++s) {
        const double b = bearing(rng);
        const GMSPath ring = sector({lat(rng), lng(rng)}, b, b + 20 + 3 * s, radius(rng), 40);
        bg::model::polygon<P> poly;
        for (const auto& c : ring.coordinates())
            bg::append(poly.outer(), P(c.longitude, c.latitude));
        bg::correct(poly);
        const auto box = ring.bounds();
        const double south = box.southWest().latitude - 0.5, north = box.northEast().latitude + 0.5;
        const double west = box.southWest().longitude - 0.5;
        double span = box.northEast().longitude - box.southWest().longitude;
        if (span < 0)
            span += 360;
        std::uniform_real_distribution<double> plat(south, north), plng(0, span + 1.0);
        for (int i = 0; i < 300; ++i) {
            const CLLocationCoordinate2D p{plat(rng), GMSWrapLongitude(west + plng(rng))};
            const bool expected = bg::within(P(p.longitude, p.latitude), poly);
            ASSERT_EQ(GMSGeometryContainsLocation(p, ring, true), expected) << s << " " << i;
            inside += expected;
        }
    }
    EXPECT_GT(inside, 500);
}
