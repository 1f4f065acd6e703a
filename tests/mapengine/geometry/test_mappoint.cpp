#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "GMSEarth.h"
#include "GMSMapPoint.h"
#include "near.h"

using gmscore::model::Point2D;

TEST(GMSMapPointTest, ProjectionInverseInterpolationAndDistance) {
    EXPECT_TRUE(GMSProject({0, 0}).x == 0.0 && std::abs(GMSProject({0, 0}).y) < 1e-16);
    EXPECT_DOUBLE_EQ(GMSProject({0, 180}).x, 1.0);
    EXPECT_DOUBLE_EQ(GMSProject({0, -90}).x, -0.5);
    EXPECT_NEAR(GMSProject({85.0511287798066, 0}).y, 1.0, 1e-12); // the square's top edge
    EXPECT_LT(GMSProject({-45, 0}).y, 0.0);
    for (double lat = -85; lat <= 85; lat += 8.5) {
        EXPECT_TRUE(near(GMSUnproject(GMSProject({lat, lat * 2})), {lat, lat * 2}, 1e-12));
    }
    // Interpolation takes the shorter way.
    const auto mid = GMSMapPointInterpolate(GMSProject({0, 170}), GMSProject({0, -170}), 0.5);
    EXPECT_NEAR(mid.x, 1.0, 1e-12); // not pulled through longitude 0
    const auto q = GMSMapPointInterpolate(GMSProject({0, 170}), GMSProject({0, -170}), 0.75);
    EXPECT_NEAR(q.x * 180, -175, 1e-9);
    const auto plain = GMSMapPointInterpolate({0.2, 0.1}, {0.4, -0.3}, 0.5);
    EXPECT_TRUE(near(QPointF(plain.x, plain.y), QPointF(0.3, -0.1), 1e-15));
    EXPECT_NEAR(GMSMapPointDistance({0.9, 0}, {-0.9, 0}), 0.2, 1e-15);
    EXPECT_NEAR(GMSMapPointDistance({0.3, 0.1}, {-0.1, 0.4}), 0.5, 1e-15);
}

TEST(Point2DTest, FixedPointWorldRoundingAndRoundTrip) {
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
