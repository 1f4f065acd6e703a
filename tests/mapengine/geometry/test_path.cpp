#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>
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
using gmscore::model::Point2D;

// Independent reading of the framing: a value ends at every character whose
// code is at most 94 ('^'); the text is whole when it ends on such a
// character and holds an even number of values.
std::optional<std::size_t> expectedPairs(std::string_view s) {
    std::size_t values = 0;
    for (unsigned char c : s)
        values += c <= 94 ? 1 : 0;
    if (s.empty())
        return 0;
    if (static_cast<unsigned char>(s.back()) > 94 || values % 2 != 0)
        return std::nullopt;
    return values / 2;
}

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
    same = same; // assigning a path to itself changes nothing: the move below finds one point
    // Empty paths share one storage until one of them changes.
    GMSMutablePath a, b;
    a.addLatitude(1, 1);
    b.removeAllCoordinates();
    EXPECT_EQ(a.count() + b.count() + GMSMutablePath().count(), 1u);
    GMSPath moved = std::move(same);
    // A moved-from path is empty, not broken.
    EXPECT_EQ(std::tuple(moved.count(), same.count()), std::tuple(1u, 0u)); // NOLINT
}

TEST(GMSPathTest, ThreeKindsOfLengthSegmentsForALengthOffsetRectangleAndCircle) {
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

    // Rhumb lengths off the meridians: against GeographicLib in the geometry utilities' test.
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

TEST(EncodedPathTest, PublicSampleValuesRoundingAndOddNumbers) {
    const std::string sample = "_p~iF~ps|U_ulLnnqC_mqNvxq`@";
    EXPECT_EQ((GMSPath{{38.5, -120.2}, {40.7, -120.95}, {43.252, -126.453}}.encodedPath()), sample);
    // The running sums are scaled by 1e-5 (a product, not a division); the
    // receiver's class decides the result's.
    std::optional<GMSMutablePath> back = GMSMutablePath::pathFromEncodedPath(sample);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->coordinateAtIndex(0).latitude, 3850000.0 * 1e-5);
    back->addLatitude(1, 1);
    EXPECT_EQ(back->count(), 4u);

    for (auto [value, text] : {std::pair{-17998321, "`~oia@"}, {0, "?"}, {-1, "@"}, {1, "A"}, {INT32_MIN, "~~~~~~B"},
                               {INT32_MAX, "}~~~~~B"}})
        EXPECT_EQ(GMSPath::polylineEncodedSigned(value), text) << value;
    for (auto [value, text] : {std::pair{0u, "?"}, {31u, "^"}, {32u, "_@"}, {UINT32_MAX, "~~~~~~B"}})
        EXPECT_EQ(GMSPath::polylineEncodedUnsigned(value), text) << value;

    // Halves go away from zero.
    EXPECT_EQ((GMSPath{{0.000005, -0.000005}}.encodedPath()), "A@");
    EXPECT_EQ((GMSPath{{0.000015, -0.000015}}.encodedPath()),
              GMSPath::polylineEncodedSigned(2) + GMSPath::polylineEncodedSigned(-2));
    // Out of range saturates, NaN reads 0; the text stays readable.
    const auto odd = GMSPath::pathFromEncodedPath(GMSPath{{std::nan(""), 1e10}, {-1e10, 0}}.encodedPath());
    ASSERT_TRUE(odd);
    ASSERT_EQ(odd->count(), 2u);
    EXPECT_TRUE(near(odd->coordinateAtIndex(0), {0, 21474.83647}, 1e-9));
    EXPECT_TRUE(near(odd->coordinateAtIndex(1), {-21474.83648, 0}, 1e-9));
}

TEST(EncodedPathTest, RandomPathsRoundTripAndRandomBytesNeverBreakTheReader) {
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> lat(-90, 90), lng(-180, 180);
    for (int round = 0; round < 200; ++round) {
        GMSMutablePath p;
        const int n = int(rng() % 50);
        for (int i = 0; i < n; ++i)
            p.addLatitude(lat(rng), lng(rng));
        const std::string text = p.encodedPath();
        auto back = GMSPath::pathFromEncodedPath(text);
        ASSERT_TRUE(back);
        ASSERT_EQ(back->count(), p.count());
        for (std::size_t i = 0; i < p.count(); ++i)
            EXPECT_TRUE(near(back->coordinateAtIndex(i), p.coordinateAtIndex(i), 0.5e-5 + 1e-9));
        EXPECT_EQ(back->encodedPath(), text);
    }

    // Random text against an independent reading of the framing: a text that
    // ends inside a value or holds a latitude without its longitude is absent.
    for (int round = 0; round < 20000; ++round) {
        std::string s(rng() % 40, '\0');
        const bool printable = round % 2 == 0;
        for (char& c : s)
            c = printable ? char(63 + rng() % 64) : char(rng() % 256);
        auto p = GMSPath::pathFromEncodedPath(s);
        const auto pairs = expectedPairs(s);
        ASSERT_EQ(bool(p), bool(pairs)) << s;
        if (p) {
            ASSERT_EQ(p->count(), *pairs);
            for (const auto& c : p->coordinates())
                ASSERT_TRUE(std::isfinite(c.latitude) && std::isfinite(c.longitude));
        }
    }
}

TEST(GMSMapPointTest, ProjectionInverseInterpolationDistanceAndFixedPointWorld) {
    EXPECT_TRUE(GMSProject({0, 0}).x == 0.0 && std::abs(GMSProject({0, 0}).y) < 1e-16);
    EXPECT_DOUBLE_EQ(GMSProject({0, 180}).x, 1.0);
    EXPECT_DOUBLE_EQ(GMSProject({0, -90}).x, -0.5);
    EXPECT_NEAR(GMSProject({85.0511287798066, 0}).y, 1.0, 1e-12); // the square's top edge
    EXPECT_LT(GMSProject({-45, 0}).y, 0.0);
    for (double lat = -85; lat <= 85; lat += 8.5)
        EXPECT_TRUE(near(GMSUnproject(GMSProject({lat, lat * 2})), {lat, lat * 2}, 1e-12));
    // Interpolation takes the shorter way, not through longitude 0.
    EXPECT_NEAR(GMSMapPointInterpolate(GMSProject({0, 170}), GMSProject({0, -170}), 0.5).x, 1.0, 1e-12);
    EXPECT_NEAR(GMSMapPointInterpolate(GMSProject({0, 170}), GMSProject({0, -170}), 0.75).x * 180, -175, 1e-9);
    const auto plain = GMSMapPointInterpolate({0.2, 0.1}, {0.4, -0.3}, 0.5);
    EXPECT_TRUE(near(QPointF(plain.x, plain.y), QPointF(0.3, -0.1), 1e-15));
    EXPECT_NEAR(GMSMapPointDistance({0.9, 0}, {-0.9, 0}), 0.2, 1e-15);
    EXPECT_NEAR(GMSMapPointDistance({0.3, 0.1}, {-0.1, 0.4}), 0.5, 1e-15);

    // The fixed-point world: rounding, saturation and the round trip.
    EXPECT_EQ(Point2D::fromCoordinate({0, 180}), (Point2D{536870912, 0}));
    EXPECT_EQ(Point2D::fromCoordinate({0, -180}), (Point2D{-536870912, 0}));
    EXPECT_EQ(Point2D::fromCoordinate({0, 90}).x, 268435456);
    EXPECT_EQ(Point2D::fromCoordinate(kCLLocationCoordinate2DInvalid), (Point2D{0, 0}));
    // y as ln(tan(lat/2 + pi/4)) x 2^29/pi.
    const double lat = 52.2297 * kGMSDegreesToRadians;
    EXPECT_EQ(Point2D::fromCoordinate({52.2297, 21.0122}).y,
              std::int32_t(std::round(std::log(std::tan(lat / 2 + kGMSQuarterPi)) * 170891318.8941079)));
    // Poles saturate; NaN and beyond-pole latitudes give INT32_MIN.
    constexpr auto kMin = std::numeric_limits<std::int32_t>::min(), kMax = std::numeric_limits<std::int32_t>::max();
    for (auto [c, want] : {std::pair{CLLocationCoordinate2D{90, 0}, Point2D{0, kMax}}, {{-90, 0}, {0, kMin}},
                           {{100, 0}, {0, kMin}}, {{0, std::nan("")}, {kMin, 0}}, {{0, 1e12}, {kMax, 0}}})
        EXPECT_EQ(Point2D::fromCoordinate(c), want) << c.latitude << "," << c.longitude;

    using gmscore::model::roundToWorldUnit;
    // Halves away from zero; out of range saturates.
    for (auto [in, out] : {std::pair{0.5, 1}, {-0.5, -1}, {2.5, 3}, {-2.5, -3}, {2.4999, 2}, {2147483647.4, kMax},
                           {-2147483648.4, kMin}, {-1e300, kMin}, {std::numeric_limits<double>::infinity(), kMax}})
        EXPECT_EQ(roundToWorldUnit(in), out) << in;

    for (double lat = -80; lat <= 80; lat += 7.3) {
        const CLLocationCoordinate2D c{lat, lat * 2.1};
        EXPECT_TRUE(near(Point2D::fromCoordinate(c).toCoordinate(), c, 1e-6));
        const auto mp = Point2D::fromCoordinate(c).toMapPoint();
        EXPECT_TRUE(near(QPointF(mp.x, mp.y), QPointF(GMSProject(c).x, GMSProject(c).y), 1e-8));
    }
}
