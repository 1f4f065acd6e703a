// Bearing lines, their end points checked against an independent geodesic library.

#include "AzimuthLines.h"

#include <GeographicLib/Geodesic.hpp>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

using namespace AzimuthLines;

namespace {

AzimuthInput input(double bearing, double km, bool active = true, QString desc = QString()) {
    AzimuthInput a;
    a.azimuth = bearing;
    a.distance = km;
    a.isActive = active;
    a.desc = desc;
    a.colorRed = 255;
    a.colorGreen = 128;
    a.colorBlue = 0;
    return a;
}

double wrap180(double lon) { return std::remainder(lon, 360.0); }

}  // namespace

TEST(DestinationPoint, AgreesWithGeographicLibOnTheSameSphereAndGoesBeyond180AcrossTheAntimeridian) {
    const GeographicLib::Geodesic sphere(6371000.0, 0.0);
    std::mt19937 rng(42);
    std::uniform_real_distribution<double> lat(-85, 85), lon(-180, 180), brg(0, 360), km(0, 2000);
    for (int i = 0; i < 2000; ++i) {
        const double la = lat(rng), lo = lon(rng), b = brg(rng), d = km(rng);
        double la2 = 0, lo2 = 0;
        sphere.Direct(la, lo, b, d * 1000.0, la2, lo2);
        const auto p = destinationPoint(la, lo, b, d);
        EXPECT_NEAR(p.latitude, la2, 1e-8) << la << " " << lo << " " << b << " " << d;
        EXPECT_NEAR(wrap180(p.longitude - lo2), 0.0, 1e-8) << la << " " << lo << " " << b << " " << d;
    }

    const auto p = destinationPoint(0.0, 179.5, 90.0, 200.0);
    EXPECT_GT(p.longitude, 180.0);
    EXPECT_NEAR(p.longitude, 179.5 + 200.0 / 6371.0 * 180.0 / 3.141592653589793, 1e-9);
    EXPECT_LT(destinationPoint(10.0, -179.9, 270.0, 100.0).longitude, -180.0);
}

TEST(AzimuthLinesTest, ActiveLinesInStoreOrderWithColoursAndTexts) {
    const CLLocationCoordinate2D start{52.0, 21.0};
    const QList<AzimuthInput> azimuths{input(10, 1.5, true, "roof"), input(20, 2, false), input(350.06, 0.25)};
    const auto lines = azimuthLines(start, azimuths, false);
    ASSERT_EQ(lines.size(), 2);
    EXPECT_EQ(std::tuple(lines[0].start, lines[0].title, lines[0].snippet, lines[0].azymut),
              std::tuple(start, QString("10.0 °, 1.5 km"), QString("roof"), 10.0));
    EXPECT_EQ((std::array{lines[0].red, lines[0].green, lines[0].blue}), (std::array{1.0, 128 / 255.0, 0.0}));
    EXPECT_EQ(lines[1].title, "350.1 °, 0.2 km");
    EXPECT_FALSE(lines[1].snippet.isNull() || !lines[1].snippet.isEmpty()) << "an absent description is an empty snippet";
    EXPECT_EQ(lines[1].end, destinationPoint(52.0, 21.0, 350.06, 0.25));
    EXPECT_EQ(azimuthLines(start, azimuths, true)[0].title, "10.0 °, 0.9 mi");
    EXPECT_EQ(azimuthLines(start, azimuths, true)[1].end, lines[1].end) << "miles change the text, never the line";
    // One line, none, two and an inactive one beside an active one are selected on the map screen.
    EXPECT_EQ(selectedAzimuth(azimuthLines(start, {input(1, 1, false)}, false)), kNoAzimuth);
}

