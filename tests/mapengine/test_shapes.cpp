#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "GMSShapeGeometry.h"
#include "GMSTriangulator.h"

namespace {

using gms_triangulate::Vec2;

double triangleArea(const std::vector<Vec2>& v, const std::vector<std::uint32_t>& idx) {
    double a = 0;
    for (std::size_t i = 0; i + 2 < idx.size(); i += 3) {
        const Vec2 &p = v[idx[i]], &q = v[idx[i + 1]], &r = v[idx[i + 2]];
        a += std::abs((q.x - p.x) * (r.y - p.y) - (q.y - p.y) * (r.x - p.x)) / 2;
    }
    return a;
}

// The triangles of a ring with holes: their vertices and indices.
using Mesh = std::pair<std::vector<Vec2>, std::vector<std::uint32_t>>;
Mesh triangulated(const std::vector<Vec2>& ring, const std::vector<std::vector<Vec2>>& holes = {}) {
    Mesh m;
    gms_triangulate::triangulate(ring, holes, m.first, m.second);
    return m;
}

std::vector<Vec2> sector(double start, double sweep, int arcPoints, double radius = 1000) {
    std::vector<Vec2> r{{0, 0}};
    for (int i = 0; i < arcPoints; ++i) {
        const double a = (start + sweep * i / (arcPoints - 1)) * M_PI / 180;
        r.push_back({radius * std::cos(a), radius * std::sin(a)});
    }
    return r;
}

TEST(Triangulator, FillsExactlyTheAreaInsideTheRingAndGarbageInputAlwaysEnds) {
    const std::vector<Vec2> square{{0, 0}, {10, 0}, {10, 10}, {0, 10}};
    const std::vector<Vec2> hole{{40, 40}, {60, 40}, {60, 60}, {40, 60}};
    struct Case {
        const char* name;
        std::vector<Vec2> ring;
        std::vector<std::vector<Vec2>> holes;
        double area;
    } cases[] = {
        {"square", square, {}, 100.0},
        {"square, other way round", {square.rbegin(), square.rend()}, {}, 100.0},
        {"hole", {{0, 0}, {100, 0}, {100, 100}, {0, 100}}, {hole}, 10000.0 - 400.0},
        {"comb", {{0, 0}, {50, 0}, {50, 30}, {40, 30}, {40, 10}, {30, 10}, {30, 30}, {20, 30}, {20, 10}, {10, 10}, {10, 30}, {0, 30}}, {}, 1100.0},
    };
    for (const Case& c : cases) {
        const auto [v, idx] = triangulated(c.ring, c.holes);
        EXPECT_NEAR(triangleArea(v, idx), c.area, 1e-9) << c.name;
    }
    for (double sweep : {30.0, 120.0, 180.0, 270.0, 350.0}) {
        const auto ring = sector(10, sweep, 722);
        const auto [v, idx] = triangulated(ring);
        EXPECT_NEAR(triangleArea(v, idx), std::abs(gms_triangulate::signedArea(ring)), 1e-6 * 3.2e6) << sweep;
        EXPECT_EQ(idx.size(), 3 * (ring.size() - 2)) << sweep;
    }

    // Garbage input always ends.
    std::mt19937 rng(2024);
    std::uniform_real_distribution<double> d(-100, 100);
    for (int round = 0; round < 300; ++round) {
        std::vector<Vec2> ring(3 + rng() % 60);
        for (Vec2& p : ring) p = {d(rng), d(rng)};
        if (round % 7 == 0) ring[1] = ring[0];                       // duplicate points
        if (round % 11 == 0) ring.assign(ring.size(), Vec2{1, 1});  // all the same
        const auto [v, idx] = triangulated(ring);
        EXPECT_LE(idx.size(), 3 * (ring.size() - 2));
        for (std::uint32_t i : idx) EXPECT_LT(i, v.size());
    }
    EXPECT_TRUE(triangulated({{0, 0}, {1, 1}}).second.empty());
}

TEST(ShapeGeometry, StrokeQuadsWithMitres) {
    using gmscore::model::Point2D;
    const std::vector<Point2D> pts{{100, 100}, {200, 100}, {200, 200}};
    const auto stroke = [](const std::vector<Point2D>& pts, gms_shape::Origin at, bool closed,
                           const std::vector<QColor>& colours) {
        std::pair<std::vector<gms_shape::LineVertex>, std::vector<std::uint32_t>> m;
        gms_shape::buildStroke(pts, at, closed, colours, m.first, m.second);
        return m;
    };
    const auto [v, idx] = stroke(pts, {100, 100}, false, {QColor(255, 0, 0), QColor(0, 255, 0)});
    ASSERT_EQ(std::tuple(v.size(), idx.size()), std::tuple(8u, 12u));
    EXPECT_TRUE(v[0].x == 0.0f && v[0].y == 0.0f);
    EXPECT_NEAR(v[0].ny, 1.0, 1e-6);  // first end: plain normal
    // The corner's mitre is sqrt(2) long, at 45 degrees.
    EXPECT_NEAR(std::hypot(v[2].nx, v[2].ny), std::sqrt(2.0), 1e-6);
    EXPECT_TRUE(v[0].r == 255 && v[4].g == 255);
    // A closed ring has as many segments as points.
    EXPECT_EQ(stroke(pts, {0, 0}, true, {QColor(Qt::black)}).first.size(), 12u);
    // Degenerate input: nothing or finite numbers.
    for (const auto& x : stroke({{5, 5}, {5, 5}, {5, 5}}, {0, 0}, false, {}).first)
        EXPECT_TRUE(std::isfinite(x.nx) && std::isfinite(x.ny));
}

}  // namespace
