// The point-to-point screen through its object: the bearing against an
// independent geodesic library, the from point's choice, the texts, the
// line, the long press and the read-out's colour.

#include "GMSMapView.h"
#include "PtpVC.h"
#include "ptp_fixture.h"
#include "screens/MapSupport.h"

#include <GeographicLib/Geodesic.hpp>

#include <QRandomGenerator>

#include <cmath>

using ptptest::ScreenTest;

TEST(InitialBearing, AgreesWithGeographicLibOnASphereAndHoldsAtThePolesAndTheAntimeridian) {
    const GeographicLib::Geodesic sphere(6371000.0, 0.0);
    QRandomGenerator rng(20261125);
    for (int i = 0; i < 5000; ++i) {
        const double lat1 = rng.bounded(178.0) - 89.0, lon1 = rng.bounded(360.0) - 180.0;
        const double lat2 = rng.bounded(178.0) - 89.0, lon2 = rng.bounded(360.0) - 180.0;
        double s12, azi1, azi2;
        const double arc = sphere.Inverse(lat1, lon1, lat2, lon2, s12, azi1, azi2);
        if (arc < 1e-6 || arc > 179.0) continue;  // the bearing is ill-defined there
        const double expected = std::fmod(azi1 + 360.0, 360.0);
        const double got = PtpVC::initialBearing(lat1, lon1, lat2, lon2);
        ASSERT_GE(got, 0.0);
        ASSERT_LT(got, 360.0);
        ASSERT_NEAR(std::remainder(got - expected, 360.0), 0.0, 1e-8) << lat1 << "," << lon1 << " " << lat2 << "," << lon2;
    }
    struct Case { double lat1, lon1, lat2, lon2, bearing; };
    for (const Case c : {Case{0, 0, 90, 0, 0}, Case{0, 0, -90, 0, 180}, Case{90, 0, 0, 0, 180},
                         Case{-90, 0, 0, 0, 0}, Case{0, 179, 0, -179, 90}, Case{0, -179, 0, 179, 270},
                         Case{52, 21, 52, 21, 0}}) {
        EXPECT_NEAR(PtpVC::initialBearing(c.lat1, c.lon1, c.lat2, c.lon2), c.bearing, 1e-9)
            << c.lat1 << "," << c.lon1 << " -> " << c.lat2 << "," << c.lon2;
    }
}

namespace {

class PtpScreen : public ScreenTest {
protected:
    PtpVC* show() { return open<PtpVC>("ptpVC"); }
    void setTarget(double lat, double lon, const QString& name = QString()) {
        defaults().setDouble(lat, SettingsKey::toLatitude);
        defaults().setDouble(lon, SettingsKey::toLongitude);
        defaults().setObject(name, SettingsKey::toName);
        defaults().setObject(QStringLiteral("the description"), SettingsKey::toDesc);
    }
    static bool green(PtpVC* vc, double heading) {
        vc->didUpdateHeading(CLHeading{heading, heading, 1.0, {}, true, 0.0, false});
        return vc->kompasTXT->textColor() == MapSupport::onBearingColor();
    }
};

}  // namespace

// Without a manual point or a fix nothing is drawn from; once a fix is
// known, the manual point wins unless it is exactly (0, 0).
TEST_F(PtpScreen, TheFromPointIsManualUnlessItIsExactlyZeroThenTheFixThenNothing) {
    struct Case {
        bool manual;
        double lat, lon;
        QString fromText;  // empty: no from point
    };
    const Case cases[] = {
        {false, 10.0, 20.0, ""},
        {true, 10.0, 20.0, "from: 10.000000, 20.000000"},
        {true, 0.0, 20.0, "from: 0.000000, 20.000000"},
        {true, 0.0, 0.0, "from: 50.000000, 19.000000"},
        {false, 10.0, 20.0, "from: 50.000000, 19.000000"},
    };
    PtpVC* vc = show();
    for (const Case& c : cases) {
        SCOPED_TRACE(c.fromText.toStdString());
        if (&c == &cases[1]) backend->fix(50.0, 19.0);
        setManual(c.manual, c.lat, c.lon);
        vc->viewWillAppear(false);
        EXPECT_EQ(std::tuple(vc->fromTXT->text(), vc->userOnMap, vc->punktyLinii.count()),
                  std::tuple(c.fromText, !c.fromText.isEmpty(), c.fromText.isEmpty() ? 1u : 2u));
        EXPECT_EQ(vc->pinUzytkownik->map(), c.fromText.isEmpty() ? nullptr : vc->mapView());
    }
}

TEST_F(PtpScreen, TextsLineLongPressAndTheReadOutWithoutWrapAtNorth) {
    // A first run: the target is (0, 0) with the plain title, and with no
    // from point no bearing ever matches.
    PtpVC* vc = show();
    ASSERT_TRUE(vc);
    EXPECT_EQ(std::tuple(vc->title(), vc->toTXT->text(), vc->pinCel->title(), vc->azimuth, green(vc, 0.0)),
              std::tuple(QString("point to point"), QString("to: 0.000000, 0.000000"), QString("target location"),
                         std::optional(-360.0), false));

    // The description is never shown; the target comes first in the line.
    setTarget(52.1, 21.1, "Mast");
    setManual(true, 52.0, 21.0);
    defaults().setBool(true, SettingsKey::hideCompassIndicator);
    vc = show();
    EXPECT_EQ(std::tuple(vc->toTXT->text(), vc->pinCel->title(), vc->pinKompas->opacity(), vc->azimuth),
              std::tuple(QString("to: 52.100000, 21.100000 / Mast"), QString("Mast"), 0.0f,
                         std::optional(PtpVC::initialBearing(52.0, 21.0, 52.1, 21.1))));
    EXPECT_EQ(std::tuple(vc->linia->strokeColor(), vc->linia->strokeWidth(), vc->linia->geodesic(), vc->linia->map(),
                         vc->linia->path().coordinateAtIndex(0).latitude),
              std::tuple(QColor(255, 0, 0), 2.0f, true, vc->mapView(), 52.1));

    // Green up to exactly 5.0 degrees, with no wrap at north.
    vc->azimuth = 10.0;
    for (auto [heading, on] : {std::pair{15.0, true}, {5.0, true}, {15.000001, false}, {370.0, false}}) {
        EXPECT_EQ(green(vc, heading), on) << heading;
        EXPECT_EQ(vc->pinKompas->rotation(), heading);
    }
    vc->azimuth = 1.0;
    EXPECT_FALSE(green(vc, 359.0)) << "358 apart";
    EXPECT_EQ(vc->kompasTXT->text(), "359°");

    // A long press makes the pressed point the manual from point for good.
    setTarget(52.0, 22.0, "Mast");
    vc->viewWillAppear(false);
    defaults().setBool(false, SettingsKey::useGeocoder);
    vc->didLongPressAtCoordinate(vc->mapView(), {52.0, 20.0});
    EXPECT_EQ(std::tuple(player->played, defaults().boolForKey(SettingsKey::useGeocoder),
                         defaults().doubleForKey(SettingsKey::latitude), defaults().doubleForKey(SettingsKey::longitude),
                         vc->fromTXT->text(), vc->linia->path().count()),
              std::tuple(QList<int>({1520}), true, 52.0, 20.0, QString("from: 52.000000, 20.000000"), 2u));
    EXPECT_EQ(vc->azimuth, PtpVC::initialBearing(52.0, 20.0, 52.0, 22.0));
}
