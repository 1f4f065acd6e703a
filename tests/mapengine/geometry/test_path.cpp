#include <gtest/gtest.h>

#include <cmath>
#include <thread>

#include "GMSCoordinateBounds.h"
#include "GMSEarth.h"
#include "GMSGeometryUtils.h"
#include "GMSMapPoint.h"
#include "GMSPath.h"
#include "near.h"

namespace {

constexpr double kMetresPerDegree = kGMSEarthRadius * kGMSDegreesToRadians;

using Coords = std::vector<CLLocationCoordinate2D>;

} // namespace

TEST(GMSMutablePathTest, EditsPadBeyondTheEndAndOutOfRangeReadsAreInvalid) {
    GMSMutablePath p;
    p.addLatitude(1, 1);
    p.insertCoordinate({2, 2}, 1);             // index == count appends
    p.insertCoordinate({3, 3}, 0);             // before the first
    p.insertCoordinate({9, 9}, p.count() + 2); // pads two (0, 0) first
    p.replaceCoordinateAtIndex(0, {5, 5});
    EXPECT_EQ(p.coordinates(), (Coords{{5, 5}, {1, 1}, {2, 2}, {0, 0}, {0, 0}, {9, 9}}));
    EXPECT_EQ(p.coordinateAtIndex(6), kCLLocationCoordinate2DInvalid);
    EXPECT_FALSE(CLLocationCoordinate2DIsValid(kCLLocationCoordinate2DInvalid));
    GMSMutablePath q;
    q.replaceCoordinateAtIndex(1, {7, 7});
    EXPECT_EQ(q.coordinates(), (Coords{{0, 0}, {7, 7}}));
    // Padding that would exhaust memory is refused and changes nothing.
    EXPECT_FALSE(q.replaceCoordinateAtIndex(SIZE_MAX, {2, 2}));
    EXPECT_FALSE(q.insertCoordinate({2, 2}, GMSMutablePath::kMaxPaddedCount));
    EXPECT_EQ(q.coordinates(), (Coords{{0, 0}, {7, 7}}));
}

TEST(GMSMutablePathTest, EveryChangeEmptiesTheCacheButABadRemovalKeepsIt) {
    GMSMutablePath empty;
    empty.removeCoordinateAtIndex(0);
    empty.removeLastCoordinate();
    EXPECT_EQ(empty.count(), 0u);

    GMSMutablePath p{{0, 0}, {0, 1}};
    const std::vector<double>& cache = p.cummulativeLengthsOfKind(kGMSLengthGeodesic);
    const double* storage = cache.data();
    p.removeCoordinateAtIndex(5);
    const std::vector<double>& again = p.cummulativeLengthsOfKind(kGMSLengthGeodesic);
    EXPECT_EQ(&again, &cache); // a reference to the cache, not a copy
    EXPECT_EQ(again.data(), storage);

    const auto length = [&] { return p.lengthOfKind(kGMSLengthGeodesic) / kMetresPerDegree; };
    p.addLatitude(0, 3);
    EXPECT_NEAR(length(), 3, 1e-9);
    p.replaceCoordinateAtIndex(2, {0, 2});
    EXPECT_NEAR(length(), 2, 1e-9);
    p.insertCoordinate({0, 5}, 1);
    EXPECT_NEAR(length(), 5 + 4 + 1, 1e-9);
    p.removeCoordinateAtIndex(1);
    EXPECT_NEAR(length(), 2, 1e-9);
    p.removeLastCoordinate();
    EXPECT_NEAR(length(), 1, 1e-9);
    p.removeAllCoordinates();
    EXPECT_EQ(p.cummulativeLengthsOfKind(kGMSLengthGeodesic), std::vector<double>{0.0});
}

TEST(GMSMutablePathTest, CopiesAreSnapshots) {
    GMSMutablePath m{{1, 1}};
    GMSPath snapshot = m.copy();
    EXPECT_TRUE(snapshot.isSameStorage(m)); // no copy until a change
    m.addLatitude(2, 2);
    GMSMutablePath again = snapshot.mutableCopy();
    again.addLatitude(3, 3);
    EXPECT_EQ(std::tuple(snapshot.count(), m.count(), again.count()), std::tuple(1u, 2u, 2u));

    GMSPath same = snapshot.copy();
    same = same; // assigning a path to itself changes nothing
    EXPECT_EQ(same.count(), 1u);
    // Empty paths share one storage until one of them changes.
    GMSMutablePath a, b;
    a.addLatitude(1, 1);
    b.removeAllCoordinates();
    EXPECT_EQ(a.count() + b.count() + GMSMutablePath().count(), 1u);
    GMSPath moved = std::move(same);
    // A moved-from path is empty, not broken.
    EXPECT_EQ(std::tuple(moved.count(), same.count()), std::tuple(1u, 0u)); // NOLINT
}

TEST(GMSPathTest, ThreeKindsOfLengthAndSegmentsForALength) {
    GMSPath empty;
    EXPECT_EQ(empty.cummulativeLengthsOfKind(kGMSLengthProjected), std::vector<double>{0.0});
    EXPECT_EQ(empty.lengthOfKind(kGMSLengthGeodesic), 0.0);

    GMSPath meridian{{10, 5}, {40, 5}};
    EXPECT_NEAR(meridian.lengthOfKind(kGMSLengthGeodesic), 30 * kMetresPerDegree, 1e-6);
    EXPECT_NEAR(meridian.lengthOfKind(kGMSLengthRhumb), 30 * kMetresPerDegree, 1e-6);
    EXPECT_TRUE(meridian.lengthOfKind(GMSLengthKind(3)) == 0.0 &&
                meridian.cummulativeLengthsOfKind(GMSLengthKind(3)).empty());
    meridian.clearCache();
    EXPECT_NEAR(meridian.lengthOfKind(kGMSLengthRhumb), 30 * kMetresPerDegree, 1e-6);

    // Along a parallel a rhumb line is cos(lat) times the longitude span and
    // crosses the antimeridian the short way.
    GMSPath parallel{{60, 179}, {60, -179}, {60, 179}};
    const auto& rhumb = parallel.cummulativeLengthsOfKind(kGMSLengthRhumb);
    EXPECT_NEAR(rhumb[1], kMetresPerDegree, 1e-6);
    EXPECT_NEAR(rhumb[2], 2 * kMetresPerDegree, 1e-6);

    // Projected: world-square units, round the back when that is shorter.
    GMSPath equator{{0, 0}, {0, 90}, {0, 170}, {0, -170}};
    const auto& proj = equator.cummulativeLengthsOfKind(kGMSLengthProjected);
    EXPECT_DOUBLE_EQ(proj[1], 0.5);
    EXPECT_NEAR(proj[2], 0.5 + 80.0 / 180.0, 1e-12);
    EXPECT_NEAR(proj[3] - proj[2], 20.0 / 180.0, 1e-12);

    // Segments for a length of each kind.
    equator = GMSPath{{0, 0}, {0, 1}, {0, 2}, {0, 3}};
    const struct {
        double length;
        GMSLengthKind kind;
        double segments;
    } cases[] = {
        {0, kGMSLengthGeodesic, 0},   {-5, kGMSLengthGeodesic, 0},          {10, GMSLengthKind(3), 0},
        {1.5 * kMetresPerDegree, kGMSLengthGeodesic, 1.5},                  {0.25 * kMetresPerDegree, kGMSLengthRhumb, 0.25},
        {1e12, kGMSLengthGeodesic, 3}, // past the end: count - 1
        {1.0 / 180.0, kGMSLengthProjected, 1},
    };
    for (const auto& c : cases)
        EXPECT_NEAR(equator.segmentsForLength(c.length, c.kind), c.segments, 1e-9) << c.length;

    // Projected lengths are spread over the Mercator function when the
    // latitude changes.
    GMSPath north{{0, 0}, {60, 0}};
    const double half = north.lengthOfKind(kGMSLengthProjected) / 2;
    const auto m = [](double deg) { return std::log(std::tan(deg * kGMSDegreesToRadians / 2 + kGMSQuarterPi)); };
    EXPECT_NEAR(north.segmentsForLength(half, kGMSLengthProjected), m(30) / m(60), 1e-12);
}

TEST(GMSPathTest, OffsetRectangleAndCircle) {
    // An offset keeps the class and does not normalise.
    EXPECT_EQ(GMSPath({{80, 170}, {-10, 0}}).pathOffsetByLatitude(20, 20).coordinates(), (Coords{{100, 190}, {10, 20}}));
    GMSMutablePath m2 = GMSMutablePath{{1, 1}}.pathOffsetByLatitude(1, -2);
    m2.addLatitude(0, 0);
    EXPECT_EQ(m2.coordinates(), (Coords{{2, -1}, {0, 0}}));

    EXPECT_FALSE(GMSPath::rectanglePathWithBounds(GMSCoordinateBounds()));
    EXPECT_EQ(GMSPath::rectanglePathWithBounds(GMSCoordinateBounds({10, 20}, {-5, -30}))->coordinates(),
              (Coords{{-5, 20}, {10, 20}, {10, -30}, {-5, -30}}));

    for (auto [centre, radius] :
         {std::pair{CLLocationCoordinate2D{0, 0}, -1.0}, {{0, 0}, std::nan("")}, {{91, 0}, 10.0}})
        EXPECT_FALSE(GMSPath::circlePathWithCenter(centre, radius)) << radius;
    const CLLocationCoordinate2D c{52.2, 21.0};
    auto small = GMSPath::circlePathWithCenter(c, 1000);
    ASSERT_TRUE(small);
    EXPECT_EQ(std::pair(small->count(), small->coordinateAtIndex(0) == small->coordinateAtIndex(47)),
              std::pair(std::size_t(48), false)); // left open
    // Bearing 0 first: due north.
    EXPECT_TRUE(near(small->coordinateAtIndex(0), {52.2 + 1000 / kMetresPerDegree, 21.0}, 1e-9));
    for (const auto& p : small->coordinates())
        EXPECT_NEAR(GMSGeometryDistance(c, p), 1000.0, 1e-6);
    for (auto [radius, count] : {std::pair{1999999.0, 48u}, {2000000.0, 96u}, {4000000.0, 192u}})
        EXPECT_EQ(GMSPath::circlePathWithCenter(c, radius)->count(), count) << radius;
    // A zero radius still makes a 3 cm ring; longitudes wrap near 180.
    auto tiny = GMSPath::circlePathWithCenter({0, 180}, 0);
    for (const auto& p : tiny->coordinates())
        EXPECT_LE(std::fabs(p.longitude), 180.0);
    EXPECT_NEAR(tiny->coordinateAtIndex(0).latitude, 0.03 / kMetresPerDegree, 1e-15);
}

TEST(GMSPathTest, CopiesReadLengthsOnManyThreads) {
    std::vector<CLLocationCoordinate2D> pts;
    for (int i = 0; i < 5000; ++i)
        pts.push_back({std::sin(i * 0.01) * 60, i * 0.05 - 120});
    const GMSPath path(pts);
    std::vector<double> results(4);
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([copy = path, &results, t] { results[t] = copy.lengthOfKind(GMSLengthKind(t % 3)); });
    for (auto& th : threads)
        th.join();
    const double geodesic = path.lengthOfKind(kGMSLengthGeodesic);
    EXPECT_EQ(results, (std::vector{geodesic, path.lengthOfKind(kGMSLengthRhumb),
                                    path.lengthOfKind(kGMSLengthProjected), geodesic}));
}
