#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <tuple>

#include <QLineF>

#include "GMSCameraPosition.h"
#include "GMSProjection.h"
#include "GMSServices.h"
#include "testsupport.h"

namespace {

// The map view's camera tests cover the zoom, north and east limits.
TEST(CameraPosition, LimitsClampAndWrapEqualityIsExactAndHashIsOverTheRawBits) {
    EXPECT_EQ(GMSCameraPosition(), GMSCameraPosition::cameraWithLatitude(0, 0, 21));
    const auto fields = [](const GMSCameraPosition& c) {
        return std::tuple(c.target().latitude, c.target().longitude, c.bearing(), c.viewingAngle());
    };
    EXPECT_EQ(fields(GMSCameraPosition::cameraWithLatitude(-95, 180, 10, 370, 120)), std::tuple(-90, -180, 10, 90));
    EXPECT_EQ(fields(GMSCameraPosition::cameraWithLatitude(95, -180, 10, -90, -5)), std::tuple(90, -180, 270, 0));
    EXPECT_EQ(fields(GMSCameraPosition::cameraWithLatitude(0, -540, 10, 360, 0)), std::tuple(0, -180, 0, 0));
    // NaN passes through the clamped fields.
    const double nan = std::numeric_limits<double>::quiet_NaN();
    GMSCameraPosition c({nan, 0.0}, std::numeric_limits<float>::quiet_NaN(), 0.0, nan);
    EXPECT_TRUE(std::isnan(c.target().latitude) && std::isnan(c.zoom()) && std::isnan(c.viewingAngle()));

    // Equality is exact on all five numbers.
    const auto a = GMSCameraPosition::cameraWithLatitude(10, 20, 12, 30, 40);
    EXPECT_EQ(a, GMSCameraPosition::cameraWithLatitude(10, 20, 12, 30, 40));
    for (auto [lng, zoom, angle] : {std::tuple{20.0, 12.0f, 40.000001}, {20.0000001, 12.0f, 40.0}, {20.0, 12.5f, 40.0}})
        EXPECT_NE(a, GMSCameraPosition::cameraWithLatitude(10, lng, zoom, 30, angle)) << lng << " " << zoom;
    // Wrapped values compare after wrapping.
    EXPECT_EQ(GMSCameraPosition::cameraWithLatitude(0, 190, 5), GMSCameraPosition::cameraWithLatitude(0, -170, 5));
    EXPECT_EQ(GMSCameraPosition::cameraWithLatitude(52.5, 13.25, 12.0f, 45.0, 10.0).hash(), 3150901292866878273ull);
}

TEST(CameraPosition, ZoomForMetersPerPoints) {
    // At the equator the world (40030 km) spans 256 points at zoom 0.
    EXPECT_FLOAT_EQ(GMSCameraPosition::zoomAtCoordinate({0, 0}, 40030230.14070891, 256), 0.0f);
    EXPECT_FLOAT_EQ(GMSCameraPosition::zoomAtCoordinate({0, 0}, 40030230.14070891 / 1024, 256), 10.0f);
    // At 60 degrees a metre is twice as many points.
    EXPECT_NEAR(GMSCameraPosition::zoomAtCoordinate({60, 0}, 40030230.14070891, 256), -1.0f, 1e-5);
}

TEST(Services, KeyRules) {
    GMSServices::resetForTests();
    zltest::LogCapture log;
    EXPECT_TRUE(!GMSServices::sharedServicesIfActive() && !GMSServices::sharedServices());
    EXPECT_TRUE(log.contains("GMSServices must be initialized via [GMSServices provideAPIKey:...] prior to use"));
    EXPECT_FALSE(GMSServices::provideAPIKey(""));
    EXPECT_TRUE(log.contains("provideAPIKey: requires non-empty API key"));
    const QString key = QString(39, QChar('k'));
    EXPECT_TRUE(GMSServices::provideAPIKey(key));
    EXPECT_FALSE(GMSServices::provideAPIKey("another"));
    EXPECT_TRUE(log.contains("provideAPIKey: should be called at most once"));
    // Its key and tile source: the tile services' end-to-end test.
    GMSServices* s = GMSServices::sharedServicesSync();
    EXPECT_EQ(std::tuple(GMSServices::sharedServices(), GMSServices::sharedServicesIfActive(), s && s->displayLink()),
              std::tuple(s, s, true));
    GMSServices::resetForTests();
}

TEST(Projection, RoundTripsAtManyCameras) {
    const QSizeF size(400, 300);
    for (double bearing : {0.0, 30.0, 90.0, 211.0}) {
        for (float zoom : {2.0f, 7.5f, 18.0f, 21.0f}) {
            const GMSProjection p(GMSCameraPosition({47.3, 8.5}, zoom, bearing, 0), size, QMarginsF(10, 40, 20, 60));
            for (QPointF pt : {QPointF(0, 0), QPointF(400, 300), QPointF(123.5, 77.25), QPointF(200, 150)})
                EXPECT_LT(QLineF(p.pointForCoordinate(p.coordinateForPoint(pt)), pt).length(), 1e-6) << zoom << bearing;
        }
    }
}

TEST(Projection, WorldSizePaddedCentreOrientationMetersAndVisibleRegion) {
    GMSProjection p(GMSCameraPosition({0, 0}, 2.0f, 0, 0), QSizeF(400, 400), QMarginsF(0, 100, 0, 0));
    EXPECT_DOUBLE_EQ(p.worldSize(), 1024.0);
    EXPECT_EQ(p.pointForCoordinate({0, 0}), QPointF(200, 250));
    // 90 degrees east is a quarter of the world to the right.
    EXPECT_NEAR(p.pointForCoordinate({0, 90}).x(), 200 + 256, 1e-9);
    // North is up; with bearing 90 east is up.
    EXPECT_LT(p.pointForCoordinate({10, 0}).y(), 250);
    const GMSProjection east(GMSCameraPosition({0, 0}, 2.0f, 90, 0), QSizeF(400, 400));
    EXPECT_NEAR(east.pointForCoordinate({0, 10}).x(), 200, 1e-9);
    EXPECT_LT(east.pointForCoordinate({0, 10}).y(), 200);

    // Metres, containment and the visible region at zoom 10.
    p = GMSProjection(GMSCameraPosition({0, 0}, 10.0f, 0, 0), QSizeF(200, 100));
    EXPECT_NEAR(p.pointsForMeters(40030230.14070891, {0, 0}), 256.0 * 1024, 1e-6);
    EXPECT_NEAR(p.pointsForMeters(1000, {60, 0}), 2 * p.pointsForMeters(1000, {0, 0}), 1e-9);
    EXPECT_TRUE(p.containsCoordinate({0, 0}) && !p.containsCoordinate({0, 10}));
    const GMSVisibleRegion r = p.visibleRegion();
    EXPECT_TRUE(r.farLeft.longitude < 0 && r.farRight.longitude > 0 && r.farLeft.latitude > r.nearLeft.latitude);
    // Over the antimeridian the coordinate wraps.
    const GMSProjection q(GMSCameraPosition({0, 179.99}, 10.0f, 0, 0), QSizeF(200, 100));
    EXPECT_LT(q.coordinateForPoint({200, 50}).longitude, -179.0);
    EXPECT_NEAR(q.pointForCoordinate({0, -179.99}).x(), 100 + 0.02 / 360 * 256 * 1024, 1e-6);
}

}  // namespace
