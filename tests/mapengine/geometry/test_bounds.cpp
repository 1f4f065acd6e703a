#include <gtest/gtest.h>

#include <random>

#include "GMSCoordinateBounds.h"
#include "GMSPath.h"

namespace {

void expectBox(const GMSCoordinateBounds& b, double south, double west, double north, double east) {
    EXPECT_EQ(b.southWest(), (CLLocationCoordinate2D{south, west}));
    EXPECT_EQ(b.northEast(), (CLLocationCoordinate2D{north, east}));
}

} // namespace

TEST(GMSCoordinateBoundsTest, InvalidBoundsAndBuildingAndMergingTheShorterWayRound) {
    GMSCoordinateBounds none;
    EXPECT_EQ(std::tuple(none.isValid(), none.northEast(), none.center(), none.containsCoordinate({0, 0}),
                         none.intersectsBounds(GMSCoordinateBounds({0, 0}, {1, 1}))),
              std::tuple(false, kCLLocationCoordinate2DInvalid, kCLLocationCoordinate2DInvalid, false, false));
    // Any two invalid bounds are equal and hash alike.
    const auto half = GMSCoordinateBounds::withSouthWest({0, 0}, {100, 0});
    EXPECT_TRUE(none.isEqual(half) && none.hash() == half.hash());
    EXPECT_FALSE(none == GMSCoordinateBounds({0, 0}, {1, 1}));
    // Invalid coordinates are ignored when building.
    EXPECT_FALSE(GMSCoordinateBounds({0, 0}, {95, 0}).isValid());
    EXPECT_EQ(GMSCoordinateBounds({0, 0}, {1, 1}).includingCoordinate({0, 200}),
              GMSCoordinateBounds({0, 0}, {1, 1}));

    // Two points, then merged points, boxes and paths, take the shorter way round.
    expectBox(GMSCoordinateBounds({10, 20}, {-5, -30}), -5, -30, 10, 20);
    expectBox(GMSCoordinateBounds({10, 170}, {-10, -170}), -10, 170, 10, -170);
    expectBox(GMSCoordinateBounds({0, -90}, {0, 90}), 0, -90, 0, 90); // exactly 180: lo to hi
    expectBox(GMSCoordinateBounds({0, -90}, {0, 90.000001}), 0, 90.000001, 0, -90);

    const GMSCoordinateBounds a({0, 0}, {10, 10});
    // Disjoint: the smaller gap is closed.
    expectBox(a.includingCoordinate({5, 30}), 0, 0, 10, 30);
    expectBox(a.includingCoordinate({5, -30}), 0, -30, 10, 10);
    // A tie (175 degrees either way) extends to the west.
    expectBox(a.includingCoordinate({5, -175}), 0, -175, 10, 10);
    // Across the antimeridian.
    const GMSCoordinateBounds far({0, 170}, {10, 175});
    expectBox(far.includingCoordinate({-3, -178}), -3, 170, 10, -178);
    // Overlap, containment each way.
    expectBox(a.includingBounds(GMSCoordinateBounds({-1, 5}, {2, 20})), -1, 0, 10, 20);
    expectBox(a.includingBounds(GMSCoordinateBounds({1, 2}, {2, 3})), 0, 0, 10, 10);
    expectBox(a.includingBounds(GMSCoordinateBounds({1, -20}, {2, 30})), 0, -20, 10, 30);
    // Each arc reaching round to the other covers the whole circle.
    const auto wide = GMSCoordinateBounds::withSouthWest({0, -100}, {1, 100});
    const auto back = GMSCoordinateBounds::withSouthWest({0, 90}, {1, -90});
    expectBox(wide.includingBounds(back), 0, -180.0, 1, 179.999999);
    // The same arc twice is not the whole circle.
    expectBox(back.includingBounds(back), 0, 90, 1, -90);
    // An invalid receiver takes the new corners as they stand.
    expectBox(GMSCoordinateBounds().includingBounds(back), 0, 90, 1, -90);
    // An invalid argument changes nothing; the receiver never changes.
    EXPECT_EQ(a.includingBounds(GMSCoordinateBounds()), a);
    expectBox(a, 0, 0, 10, 10);

    // A path's bounds as the fuzz below builds them: here over the antimeridian.
    expectBox((GMSPath{{1, 178}, {-2, -179}, {3, 179}}.bounds()), -2, 178, 3, -179);
    expectBox(GMSCoordinateBounds({0, 0}, {1, 1}).includingPath(GMSPath{{2, 2}}), 0, 0, 2, 2);
    EXPECT_FALSE(GMSCoordinateBounds(GMSPath()).isValid());
}

TEST(GMSCoordinateBoundsTest, ContainsIntersectsCenterAndHash) {
    const GMSCoordinateBounds b({-10, 170}, {10, -170});
    for (auto [c, inside] : {std::pair{CLLocationCoordinate2D{0, 180}, true}, {{0, -180}, true}, {{10, 170}, true},
                             {{0, 0}, false}, {{11, 175}, false}})
        EXPECT_EQ(b.containsCoordinate(c), inside) << c.latitude << "," << c.longitude;
    for (auto [other, meets] : {std::pair{GMSCoordinateBounds({0, -175}, {20, -100}), true},
                                {GMSCoordinateBounds({-1, -179}, {1, 179}), true}, // the short way round
                                {GMSCoordinateBounds({0, 0}, {5, 5}), false},
                                {GMSCoordinateBounds({20, 175}, {30, 176}), false}})
        EXPECT_EQ(b.intersectsBounds(other), meets);
    EXPECT_TRUE(GMSCoordinateBounds({-1, -1}, {1, 1}).intersectsBounds(GMSCoordinateBounds({-5, -5}, {5, 5})));

    EXPECT_EQ(GMSCoordinateBounds({-10, -20}, {30, 40}).center(), (CLLocationCoordinate2D{10, 10}));
    EXPECT_EQ(b.center(), (CLLocationCoordinate2D{0, -180}));
    EXPECT_EQ(GMSCoordinateBounds({0, 160}, {10, -170}).center(), (CLLocationCoordinate2D{5, 175}));
    EXPECT_EQ(GMSCoordinateBounds({0, 175}, {10, -155}).center(), (CLLocationCoordinate2D{5, -170}));

    const GMSCoordinateBounds h({0, 0}, {1, 2});
    EXPECT_EQ(h.hash(), 1057090438081u); // over the corners' float bits
    EXPECT_EQ(h, GMSCoordinateBounds({1, 2}, {0, 0}));
    EXPECT_FALSE(h == GMSCoordinateBounds({0, 0}, {1, 2.0000001}));
}

TEST(GMSCoordinateBoundsTest, GrownBoundsContainEverythingIncluded) {
    std::mt19937_64 rng(17);
    std::uniform_real_distribution<double> lat(-90, 90), lng(-180, 180), spread(0, 60);
    for (int round = 0; round < 300; ++round) {
        // Clustered points, sometimes around the antimeridian.
        const double centre = round % 3 == 0 ? 180.0 : lng(rng);
        const double width = spread(rng);
        std::uniform_real_distribution<double> near(centre - width, centre + width);
        std::vector<CLLocationCoordinate2D> pts;
        GMSCoordinateBounds b;
        for (int i = 0; i < 10; ++i) {
            double x = near(rng);
            x = x >= 180 ? x - 360 : (x < -180 ? x + 360 : x);
            pts.push_back({lat(rng), x});
            b = b.includingCoordinate(pts.back());
            // Merging whole boxes keeps them too.
            const GMSCoordinateBounds other(pts.front(), pts.back());
            const GMSCoordinateBounds both = b.includingBounds(other);
            ASSERT_TRUE(both.containsCoordinate(other.southWest()) && both.containsCoordinate(other.northEast()));
        }
        for (const auto& p : pts)
            ASSERT_TRUE(b.containsCoordinate(p)) << round;
        ASSERT_TRUE(b.containsCoordinate(b.center()));
        ASSERT_EQ(GMSCoordinateBounds(GMSPath(pts)), b);
    }
}
