#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <random>

#include "GMSGeometryUtils.h"
#include "GMSPolylinePrep.h"
#include "near.h"

using gmscore::model::Point2D;

namespace {

constexpr double kSteps[] = {0.0349, 0.0248, 0.0201, 0.0172, 0.0151, 0.0135, 0.0122, 0.011,
                             0.0099, 0.0089, 0.0079, 0.0069, 0.0059, 0.0046, 0.0029, 0.0025};

std::vector<CLLocationCoordinate2D> subdivide(CLLocationCoordinate2D a, CLLocationCoordinate2D b, double t = 100.0) {
    std::vector<CLLocationCoordinate2D> out;
    GMSGeodesicSubdivide(a, b, t, out);
    return out;
}

std::size_t total(const std::vector<std::size_t>& v) { return std::accumulate(v.begin(), v.end(), std::size_t(0)); }

} // namespace

TEST(GeodesicSubdivisionTest, StepsFollowTheLatitudeTableAndPolesAndAntipodesAreSpecial) {
    // 1.99 degrees is 0.0347 rad, under the first step of 0.0349; no tolerance, no subdivision.
    for (auto [lng, tolerance] : {std::pair{1.0, 100.0}, {1.99, 100.0}, {50.0, 0.0}, {50.0, -1.0}})
        EXPECT_TRUE(subdivide({0, 0}, {0, lng}, tolerance).empty()) << lng << " " << tolerance;
    // Up a meridian the steps shrink band by band (the coarse case below counts them along the equator).
    const CLLocationCoordinate2D start{0, 30};
    const auto up = subdivide(start, {89, 30});
    ASSERT_GT(up.size(), 40u);
    CLLocationCoordinate2D prev = start;
    for (const auto& p : up) {
        const std::size_t band = std::size_t(std::fabs(std::trunc(prev.latitude * 0.17453292519943295)));
        EXPECT_NEAR(GMSGeometryCentralAngle(prev, p), kSteps[band], 1e-9);
        EXPECT_NEAR(p.longitude, 30.0, 1e-9);
        prev = p;
    }
    // A larger tolerance scales every step by sqrt(t / 100).
    const auto coarse = subdivide({0, 0}, {0, 10}, 400);
    ASSERT_EQ(coarse.size(), 2u);
    EXPECT_NEAR(coarse[0].longitude * kGMSDegreesToRadians, 0.0698, 1e-12);

    // From a pole one point, at 0.98888 of the pole's latitude, on the far meridian.
    EXPECT_EQ(subdivide({90, 0}, {0, 10}), (std::vector<CLLocationCoordinate2D>{{90 * 0.9888888888888889, 10}}));
    auto poleToPole = subdivide({90, 0}, {-90, 50});
    ASSERT_EQ(poleToPole.size(), 2u);
    EXPECT_TRUE(near(poleToPole[1], {-90 * 0.9888888888888889, 50}, 1e-12));
    EXPECT_TRUE(subdivide({90, 0}, {88.5, 0}).empty());

    // Between antipodes the line runs over the equator at the mean longitude.
    const auto anti = subdivide({10, 20}, {-10, -160});
    ASSERT_FALSE(anti.empty());
    EXPECT_TRUE(std::any_of(anti.begin(), anti.end(),
                            [](auto& p) { return std::fabs(p.latitude) < 1.5 && std::fabs(p.longitude + 70) < 3; }));
    for (const auto& p : subdivide({0, 0}, {0, 180}))
        EXPECT_TRUE(std::fabs(p.latitude) < 1e-9 && p.longitude > 0) << p.latitude << "," << p.longitude;
}

TEST(SpanSegmentsTest, SpansShareTheSegmentsAndPlainLinesAreConvertedAsTheyStand) {
    EXPECT_EQ(GMSSpanSegmentsForPath(nullptr, 5), std::vector<double>{4});
    using V = std::vector<double>;
    const struct {
        V spans;
        std::size_t count;
        V expected;
    } cases[] = {{{}, 5, {4}},
                 {{5}, 3, {2}},
                 {{1, 1, 1}, 3, {1, 1, 0}},
                 {{1, 0, 0.5}, 4, {1, 0, 2}},
                 {{std::nan(""), 1e-11, -3, 0.5}, 3, {0, 0, 0, 2}}};
    for (const auto& c : cases)
        EXPECT_EQ(GMSSpanSegmentsForPath(&c.spans, c.count), c.expected) << c.spans.size();

    // Plain lines are converted as they stand.
    EXPECT_TRUE(GMSPrepareVertices(GMSPath(), true).empty());
    EXPECT_TRUE(GMSPrepareVertices(GMSPath{{1, 1}}, false).spanVertexCounts.empty());
    const GMSPath p{{0, 0}, {10, 10}, {-5, 20}};
    const auto v = GMSPrepareVertices(p, false);
    EXPECT_EQ(v.spanVertexCounts, std::vector<std::size_t>{3});
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(v.points.at(i), Point2D::fromCoordinate(p.coordinateAtIndex(i)));

    // Style spans feed the segments.
    const GMSPath q{{0, 0}, {0, 1}, {0, 2}};
    const std::vector<GMSStyleSpan> spans{GMSStyleSpan::spanWithColor({1, 0, 0, 1}, 1.5),
                                          GMSStyleSpan::spanWithStyle(GMSStrokeStyle::gradientFromColor({0, 0, 1, 1}, {0, 1, 0, 1}))};
    EXPECT_EQ(GMSPreparePolylineVertices(q, false, &spans).spanVertexCounts, (std::vector<std::size_t>{3, 1}));
    EXPECT_EQ(GMSPreparePolylineVertices(q, false, nullptr).spanVertexCounts, std::vector<std::size_t>{3});
}

TEST(PolylinePrepTest, SpansSplitSegments) {
    const GMSPath p{{0, 0}, {0, 1}, {0, 2}};
    const auto at = [&](std::vector<double> spans) { return GMSPrepareVertices(p, false, &spans); };
    const auto v = at({0.5, 1.5});
    EXPECT_EQ(v.coordinates, (std::vector<CLLocationCoordinate2D>{{0, 0}, {0, 0.5}, {0, 1}, {0, 2}}));
    EXPECT_EQ(v.spanVertexCounts, (std::vector<std::size_t>{2, 2}));
    EXPECT_EQ(v.spanVertexRanges(), (std::vector<std::pair<std::size_t, std::size_t>>{{0, 1}, {1, 3}}));

    // Two spans ending in the same segment, then whole segments.
    const auto w = at({0.25, 0.5, 1.25});
    ASSERT_EQ(w.coordinates.size(), 5u);
    EXPECT_NEAR(w.coordinates[2].longitude, 0.75, 1e-12);
    EXPECT_EQ(w.spanVertexCounts, (std::vector<std::size_t>{2, 1, 2}));
    // Fractions within 1e-10 of a vertex count as the vertex.
    EXPECT_EQ(at({0.99999999999, 1.00000000001}).coordinates.size(), 3u);
    // A skipped span owns nothing and draws nothing.
    const auto s = at({1, 0, 1});
    EXPECT_EQ(s.spanVertexCounts, (std::vector<std::size_t>{2, 0, 1}));
    EXPECT_GT(s.spanVertexRange(1).first, s.spanVertexRange(1).second);
}

TEST(PolylinePrepTest, SpanBordersFollowTheLineKind) {
    const GMSPath p{{40, -70}, {50, 10}};
    const std::vector<double> half{0.5, 0.5};
    const auto geo = GMSPrepareVertices(p, true, &half);
    // The border vertex lies on the great circle, then each half is subdivided.
    EXPECT_GT(geo.points.size(), 10u);
    const auto border = GMSGeometryInterpolate(p.coordinateAtIndex(0), p.coordinateAtIndex(1), 0.5);
    EXPECT_EQ(geo.coordinates[geo.spanVertexRange(0).second], border);

    // A straight line interpolates in the world square, the short way round.
    const GMSPath over{{0, 170}, {0, -170}};
    const auto flat = GMSPrepareVertices(over, false, &half);
    ASSERT_EQ(flat.coordinates.size(), 3u);
    EXPECT_NEAR(std::fabs(flat.coordinates[1].longitude), 180.0, 1e-9);
}

TEST(PolylinePrepTest, GeodesicCountsAndClosedRings) {
    const GMSPath p{{0, 0}, {0, 10}, {0, 10.5}, {0, 20}};
    const auto v = GMSPrepareVertices(p, true);
    EXPECT_EQ(v.coordinates.size(), 4u + 5u + 0u + 4u);
    EXPECT_EQ(v.spanVertexCounts, std::vector<std::size_t>{v.coordinates.size()});
    EXPECT_EQ(std::pair(v.coordinates.front(), v.coordinates.back()),
              std::pair(p.coordinateAtIndex(0), p.coordinateAtIndex(3)));

    const GMSPath ring{{0, 0}, {0, 10}, {10, 5}};
    const auto open = GMSPrepareVertices(ring, true, nullptr, false);
    const auto closed = GMSPrepareVertices(ring, true, nullptr, true);
    // The ring is not closed by a repeat.
    EXPECT_EQ(std::tuple(closed.coordinates.size() > open.coordinates.size(), closed.spanVertexCounts,
                         closed.coordinates.back() == ring.coordinateAtIndex(0),
                         GMSPrepareVertices(ring, false, nullptr, true).coordinates.size()),
              std::tuple(true, std::vector<std::size_t>{closed.points.size()}, false, 3u));
}

TEST(PolylinePrepTest, UnwrapsOverTheAntimeridian) {
    const std::int32_t half = gmscore::model::kWorldHalfSize;
    const GMSPath eastward{{0, 170}, {0, -170}, {0, -150}, {0, 170}};
    const auto e = GMSPrepareVertices(eastward, false);
    ASSERT_EQ(e.points.size(), 4u);
    // Past the edge of the world, and back again.
    EXPECT_EQ(std::tuple(e.points[1].x, e.points[2].x, e.points[3].x),
              std::tuple(Point2D::fromCoordinate({0, -170}).x + 2 * half,
                         Point2D::fromCoordinate({0, -150}).x + 2 * half, e.points[0].x));

    EXPECT_EQ(GMSWorldPointsUnwrapped({{0, -170}, {0, 170}})[1].x, Point2D::fromCoordinate({0, 170}).x - 2 * half);

    // A jump of exactly half the world is left alone.
    const auto exact = GMSWorldPointsUnwrapped({{0, -90}, {0, 90}});
    EXPECT_EQ(exact[1].x - exact[0].x, half);
    // Many laps round the world wrap modulo 2^32: neighbours stay 100
    // degrees apart in 32-bit arithmetic and each point keeps its place.
    std::vector<CLLocationCoordinate2D> laps;
    for (int i = 0; i < 40; ++i)
        laps.push_back({0, GMSWrapLongitude(i * 100.0)});
    const auto many = GMSWorldPointsUnwrapped(laps);
    const std::int32_t hundred = Point2D::fromCoordinate({0, 100}).x;
    for (std::size_t i = 1; i < many.size(); ++i) {
        const auto step = std::int32_t(std::uint32_t(many[i].x) - std::uint32_t(many[i - 1].x));
        EXPECT_NEAR(step, hundred, 1) << i;
        EXPECT_EQ((std::int64_t(many[i].x) - Point2D::fromCoordinate(laps[i]).x) % (std::int64_t(2) * half), 0);
    }

    // A geodesic line over the antimeridian stays continuous.
    const auto g = GMSPrepareVertices(GMSPath{{30, 150}, {40, -120}}, true);
    for (std::size_t i = 1; i < g.points.size(); ++i)
        EXPECT_LT(std::abs(std::int64_t(g.points[i].x) - std::int64_t(g.points[i - 1].x)), std::int64_t(half) / 8);
}

TEST(PolylinePrepTest, RandomSpansKeepTheBooks) {
    std::mt19937_64 rng(3);
    std::uniform_real_distribution<double> lat(-85, 85), lng(-180, 180), seg(-0.5, 3.0);
    for (int round = 0; round < 300; ++round) {
        std::vector<CLLocationCoordinate2D> pts(2 + rng() % 12);
        for (auto& c : pts)
            c = {lat(rng), lng(rng)};
        std::vector<double> spans(1 + rng() % 6);
        for (double& s : spans)
            s = seg(rng);
        const bool geodesic = round % 2 == 0;
        const auto v = GMSPrepareVertices(GMSPath(pts), geodesic, &spans, round % 3 == 0);
        ASSERT_EQ(std::tuple(v.spanVertexCounts.size(), total(v.spanVertexCounts), v.coordinates.size()),
                  std::tuple(spans.size(), v.points.size(), v.points.size()));
        ASSERT_GE(v.points.size(), pts.size());
        EXPECT_EQ(v.coordinates.front(), pts.front());
        const auto ranges = v.spanVertexRanges();
        for (std::size_t k = 0; k < ranges.size(); ++k) {
            EXPECT_EQ(ranges[k], v.spanVertexRange(k));
            EXPECT_TRUE(ranges[k].first > ranges[k].second || ranges[k].second < v.points.size()) << k;
        }
        // Every original vertex is kept, in order.
        std::size_t j = 0;
        for (const auto& c : v.coordinates)
            if (j < pts.size() && c == pts[j])
                ++j;
        EXPECT_EQ(j, pts.size());
    }
}
