#include <gtest/gtest.h>

#include <boost/geometry.hpp>

#include <cmath>
#include <functional>
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

// Hand-placed points where the answer is known: vertices, both sides of the
// antimeridian, and near the poles where the two flavours part.
TEST(ContainsLocationTest, VerticesAntimeridianAndPoles) {
    EXPECT_FALSE(GMSGeometryContainsLocation({0, 0}, GMSPath(), true));
    EXPECT_TRUE(GMSGeometryContainsLocation({1, 2}, GMSPath{{1, 2}}, true));
    const GMSPath tri{{0, 0}, {0, 10}, {10, 5}};
    const GMSPath seam{{0, 170}, {5, 180}, {-5, -175}};
    const GMSPath dateline{{-10, 170}, {-10, -170}, {10, 180}};
    // Great-circle edges along latitude 80 bulge to about 82.9 degrees half
    // way; rhumb edges follow the parallel.
    const GMSPath cap{{80, 0}, {80, 90}, {80, 180}, {80, -90}};
    // Through a pole only the edge between the other two vertices counts.
    const GMSPath north{{80, 0}, {90, 0}, {80, 90}};
    const GMSPath south{{-80, 0}, {-90, 0}, {-80, 90}};
    enum Flavours { Both, Geodesic, Flat };
    const struct {
        const GMSPath& ring;
        CLLocationCoordinate2D point;
        Flavours flavours;
        bool inside;
    } cases[] = {
        {tri, {0, 0}, Both, true},         {tri, {0, 10}, Both, true},       {tri, {10, 5}, Both, true},
        {tri, {3, 5}, Both, true},         {tri, {-1, 5}, Both, false},      {tri, {3, 11}, Both, false},
        {seam, {5, -180}, Both, true},  // 180 and -180 are one longitude for a vertex
        {dateline, {0, 180}, Both, true},  {dateline, {0, -180}, Both, true}, {dateline, {-5, 175}, Both, true},
        {dateline, {-5, -175}, Both, true}, {dateline, {0, 160}, Both, false}, {dateline, {0, -160}, Both, false},
        {dateline, {0, 0}, Both, false},   {cap, {85, 45}, Both, true},      {cap, {89.9, -100}, Both, true},
        {cap, {70, 45}, Both, false},      {cap, {-90, 45}, Both, false},  // no ray from the south pole
        {cap, {81, 45}, Geodesic, false},  {cap, {81, 45}, Flat, true},      {north, {90, 0}, Geodesic, true},
        {north, {85, 45}, Geodesic, true}, {north, {85, -135}, Geodesic, false}, {north, {75, 45}, Geodesic, false},
        {south, {-85, 45}, Geodesic, false}, {south, {-81, 45}, Geodesic, true},
    };
    for (const auto& c : cases)
        for (bool geodesic : {true, false})
            if (c.flavours == Both || (c.flavours == Geodesic) == geodesic) {
                EXPECT_EQ(GMSGeometryContainsLocation(c.point, c.ring, geodesic), c.inside)
                    << c.point.latitude << "," << c.point.longitude << (geodesic ? " geodesic" : " flat");
            }
}

// Random sectors against Boost.Geometry: with rhumb edges the test is the
// planar even-odd test on (longitude, Mercator y), with great-circle edges
// it is Boost's spherical within.
template <typename P>
void agreesWithBoost(bool geodesic, unsigned seed, double maxLat, double maxRadius, int arcPoints, double margin,
                     int samples, const std::function<P(const CLLocationCoordinate2D&)>& point) {
    std::mt19937_64 rng(seed);
    std::uniform_real_distribution<double> lat(-maxLat, maxLat), lng(-180, 180), bearing(0, 360),
        radius(maxRadius / 2000, maxRadius);
    int inside = 0, all = 0;
    for (int s = 0; s < 40; ++s) {
        const double b = bearing(rng);
        const GMSPath ring = sector({lat(rng), geodesic ? lng(rng) : lng(rng) * 8 / 9}, b, b + 20 + 3 * s, radius(rng),
                                    arcPoints);
        bg::model::polygon<P> poly;
        for (const auto& c : ring.coordinates())
            bg::append(poly.outer(), point(c));
        bg::correct(poly);
        const auto box = ring.bounds();
        const double span = std::fmod(box.northEast().longitude - box.southWest().longitude + 360, 360);
        std::uniform_real_distribution<double> plat(box.southWest().latitude - margin, box.northEast().latitude + margin),
            plng(box.southWest().longitude - margin, box.southWest().longitude + span + margin);
        for (int i = 0; i < samples; ++i, ++all) {
            const CLLocationCoordinate2D p{plat(rng), GMSWrapLongitude(plng(rng))};
            const bool expected = bg::within(point(p), poly);
            ASSERT_EQ(GMSGeometryContainsLocation(p, ring, geodesic), expected) << s << " " << i;
            inside += expected;
        }
    }
    EXPECT_GT(inside, all / 20);  // the test really sampled both sides
    EXPECT_LT(inside, all);
}

TEST(ContainsLocationTest, FlatFlavourIsPlanarInMercatorAndGeodesicAgreesWithSphericalBoost) {
    using Flat = bg::model::d2::point_xy<double>;
    agreesWithBoost<Flat>(false, 99, 70, 300000, 60, 0.1, 500,
                          [](const CLLocationCoordinate2D& c) { return Flat(c.longitude, mercatorDeg(c.latitude)); });
    using Sphere = bg::model::point<double, 2, bg::cs::spherical_equatorial<bg::degree>>;
    agreesWithBoost<Sphere>(true, 1234, 75, 2000000, 40, 0.5, 300,
                            [](const CLLocationCoordinate2D& c) { return Sphere(c.longitude, c.latitude); });
}
