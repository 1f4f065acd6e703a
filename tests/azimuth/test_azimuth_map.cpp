// The azimuth map driven through its screen object: the work position
// (manual, device, and the (0, 0) fallback), lines and markers, selection
// by itself and by tap, the long press, and the heading read-out's colour.

#include "AzimuthVC.h"
#include "GMSMapView.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "azimuth_fixture.h"
#include "azimuthSettingsVC.h"

using aztest::ScreenTest;

namespace {

class AzimuthMap : public ScreenTest {
protected:
    AzimuthVC* show() {
        AzimuthVC* vc = open<AzimuthVC>("azimuthVC");
        EXPECT_TRUE(vc);
        return vc;
    }
    static CLHeading heading(double trueHeading) {
        CLHeading h;
        h.trueHeading = trueHeading;
        h.magneticHeading = trueHeading;
        h.isTrueHeading = true;
        return h;
    }
    static bool isGreen(const AzimuthVC* vc) { return vc->kompasTXT()->textColor() == AzimuthVC::onBearingColor(); }
    static bool isWhite(const AzimuthVC* vc) { return vc->kompasTXT()->textColor() == QColor(Qt::white); }
};

}  // namespace

TEST_F(AzimuthMap, NoAzimuthsDrawNothingAndSelectNothing) {
    setManual(true, 52.0, 21.0);
    AzimuthVC* vc = show();
    EXPECT_EQ(vc->title(), "azimuth");
    EXPECT_EQ(vc->overrideUserInterfaceStyle(), UIViewController::Light);
    EXPECT_TRUE(vc->mapIsConfigured);
    EXPECT_TRUE(vc->linie.isEmpty());
    EXPECT_TRUE(vc->markery.isEmpty());
    EXPECT_EQ(vc->azimuth, -360.0);
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "");
    EXPECT_EQ(vc->pointLocationTXT()->text(), "from: 52.000000, 21.000000");
    const GMSMapView* map = vc->mapView();
    EXPECT_EQ(map->cameraLatitude(), 52.0);
    EXPECT_EQ(map->cameraLongitude(), 21.0);
    EXPECT_EQ(map->cameraZoom(), 18.0);
    EXPECT_EQ(map->mapType(), 4);
    EXPECT_FALSE(map->settings()->rotateGestures());
    EXPECT_EQ(map->padding().bottom(), 50.0);
    EXPECT_EQ(vc->pinUzytkownik->map(), map);
    EXPECT_EQ(vc->pinUzytkownik->title(), "your location");
    EXPECT_TRUE(vc->pinKompas->isFlat());
    EXPECT_EQ(vc->pinKompas->icon().size() / vc->pinKompas->icon().devicePixelRatio(), QSize(50, 120));
    EXPECT_EQ(map->overlays().size(), 2u);
}

TEST_F(AzimuthMap, OneActiveAzimuthIsSelectedAndGreenUpToExactlyFiveDegrees) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 2.0, "mast", 0, 128, 255);
    addAzimuth(200.0, 1.0, "off", 0, 0, 0, /*active=*/false);
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->linie.size(), 1);
    EXPECT_EQ(vc->azimuth, 10.0);
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "selected azimuth: 10.0°");

    struct Case {
        double heading;
        bool green;
    };
    for (const Case c : {Case{10.0, true}, Case{15.0, true}, Case{5.0, true}, Case{15.000000001, false},
                         Case{4.999999, false}, Case{16.0, false}, Case{12.5, true}, Case{-360.0, false}}) {
        vc->didUpdateHeading(heading(c.heading));
        EXPECT_EQ(isGreen(vc), c.green) << c.heading;
        EXPECT_EQ(isWhite(vc), !c.green) << c.heading;
        EXPECT_EQ(vc->actualCompassValue, c.heading);
        EXPECT_EQ(vc->pinKompas->rotation(), c.heading);
    }
    vc->didUpdateHeading(heading(14.6));
    EXPECT_EQ(vc->kompasTXT()->text(), "15°");
}

TEST_F(AzimuthMap, NoWrapAtNorth) {
    setManual(true, 52.0, 21.0);
    addAzimuth(359.0, 2.0);
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->azimuth, 359.0);
    vc->didUpdateHeading(heading(1.0));
    EXPECT_TRUE(isWhite(vc)) << "359 and 1 are two degrees apart, but the difference is taken plainly";
    vc->didUpdateHeading(heading(354.0));
    EXPECT_TRUE(isGreen(vc));
    vc->didUpdateHeading(heading(359.9));
    EXPECT_TRUE(isGreen(vc));
}

TEST_F(AzimuthMap, TwoAzimuthsSelectOnlyByTapAndALongPressClearsIt) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 2.0, "a");
    addAzimuth(90.0, 1.5, "");
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->markery.size(), 2);
    EXPECT_EQ(vc->azimuth, -360.0);
    vc->didUpdateHeading(heading(90.0));
    EXPECT_TRUE(isWhite(vc)) << "nothing selected";

    // Markers that aren't azimuth ends change nothing, and the map keeps
    // its usual info window (false).
    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->pinUzytkownik.get()));
    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->pinKompas.get()));
    EXPECT_EQ(vc->azimuth, -360.0);
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "");

    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->markery[1].marker.get()));
    EXPECT_EQ(vc->azimuth, 90.0);
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "selected azimuth: 90.0°");
    vc->didUpdateHeading(heading(88.0));
    EXPECT_TRUE(isGreen(vc));

    vc->didLongPressAtCoordinate(vc->mapView(), {52.1, 21.1});
    EXPECT_EQ(vc->azimuth, -360.0);
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "");
}

TEST_F(AzimuthMap, LinesAndEndMarkersCarryColourTextsAndGeometry) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.5, 2.0, "a", 255, 0, 0);
    addAzimuth(90.0, 1.5, QString(), 0, 0, 255);
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->linie.size(), 2);
    const auto expectedEnd = AzimuthLines::destinationPoint(52.0, 21.0, 10.5, 2.0);
    const GMSPolyline& line = *vc->linie[0];
    EXPECT_EQ(line.map(), vc->mapView());
    EXPECT_EQ(line.strokeWidth(), 2.0f);
    EXPECT_TRUE(line.geodesic());
    EXPECT_EQ(line.strokeColor(), QColor::fromRgbF(1.0f, 0.0f, 0.0f, 1.0f));
    ASSERT_EQ(line.path().count(), 2u);
    EXPECT_EQ(line.path().coordinateAtIndex(0).latitude, 52.0);
    EXPECT_EQ(line.path().coordinateAtIndex(1).latitude, expectedEnd.latitude);
    EXPECT_EQ(line.path().coordinateAtIndex(1).longitude, expectedEnd.longitude);
    const GMSMarker& end = *vc->markery[0].marker;
    EXPECT_EQ(end.position().latitude, expectedEnd.latitude);
    EXPECT_EQ(end.title(), "10.5 °, 2.0 km");
    EXPECT_EQ(end.snippet(), "a");
    EXPECT_FALSE(end.icon().isNull());
    EXPECT_EQ(vc->markery[1].marker->snippet(), "");
    EXPECT_EQ(vc->markery[1].azymut, 90.0);
    EXPECT_EQ(vc->mapView()->overlays().size(), 6u);

    // Miles change the texts, never the line.
    defaults().setBool(true, SettingsKey::useImperialUnits);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->markery[0].marker->title(), "10.5 °, 1.2 mi");
    EXPECT_EQ(vc->linie[0]->path().coordinateAtIndex(1).latitude, expectedEnd.latitude);
    EXPECT_EQ(vc->mapView()->overlays().size(), 6u) << "a redraw replaces, it doesn't add";
}

TEST_F(AzimuthMap, LongPressMovesTheStartWithoutTouchingTheSettings) {
    setManual(true, 52.0, 21.0);
    addAzimuth(45.0, 3.0);
    AzimuthVC* vc = show();
    const QString locationText = vc->pointLocationTXT()->text();
    const CLLocationCoordinate2D pressed{51.5, 20.5};

    vc->didLongPressAtCoordinate(vc->mapView(), pressed);
    EXPECT_EQ(player->played, QList<int>{1520});
    ASSERT_EQ(vc->linie.size(), 1);
    EXPECT_EQ(vc->linie[0]->path().coordinateAtIndex(0).latitude, 51.5);
    EXPECT_EQ(vc->linie[0]->path().coordinateAtIndex(0).longitude, 20.5);
    EXPECT_EQ(vc->pinUzytkownik->position().latitude, 51.5);
    EXPECT_EQ(vc->pinKompas->position().longitude, 20.5);
    EXPECT_EQ(vc->pointLocationTXT()->text(), locationText);
    EXPECT_EQ(vc->azimuth, 45.0) << "a lone line is selected again by the redraw";
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::latitude), 52.0);
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::longitude), 21.0);

    // The next appearance brings the manual position back.
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->linie[0]->path().coordinateAtIndex(0).latitude, 52.0);
}

TEST_F(AzimuthMap, LongPressThroughTheMapReachesTheScreen) {
    setManual(true, 52.0, 21.0);
    AzimuthVC* vc = show();
    vc->mapView()->setSize(QSizeF(400, 300));
    vc->mapView()->handleLongPress(QPointF(200, 150));
    EXPECT_EQ(player->played, QList<int>{1520});
    ASSERT_TRUE(vc->lokalizacjaUzytkownika);
    EXPECT_NEAR(vc->lokalizacjaUzytkownika->latitude, 52.0, 0.01);
}

TEST_F(AzimuthMap, ManualPositionAtZeroZeroFallsBackToTheDevice) {
    addAzimuth(30.0, 1.0);
    backend->fix(50.0, 19.0);
    setManual(true, 0.0, 0.0);
    AzimuthVC* vc = show();
    ASSERT_TRUE(vc->lokalizacjaUzytkownika);
    EXPECT_EQ(vc->lokalizacjaUzytkownika->latitude, 50.0);
    EXPECT_EQ(vc->lokalizacjaUzytkownika->longitude, 19.0);
    EXPECT_EQ(vc->pointLocationTXT()->text(), "from: 50.000000, 19.000000");

    // A manual position on the equator is a position.
    setManual(true, 0.0, 10.0);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->lokalizacjaUzytkownika->longitude, 10.0);
    // Manual off: the device again, even with a manual point stored.
    setManual(false, 45.0, 5.0);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->lokalizacjaUzytkownika->latitude, 50.0);
}

TEST_F(AzimuthMap, WithoutAnyPositionNothingIsDrawnAndNothingSaid) {
    services->setAuthorizationStatus(kCLAuthorizationStatusDenied);
    addAzimuth(30.0, 1.0);
    setManual(true, 0.0, 0.0);
    zltest::LogCapture log;
    AzimuthVC* vc = show();
    EXPECT_FALSE(vc->mapIsConfigured);
    EXPECT_FALSE(vc->lokalizacjaUzytkownika);
    EXPECT_TRUE(vc->linie.isEmpty());
    EXPECT_EQ(vc->pointLocationTXT()->text(), "");
    EXPECT_EQ(vc->mapView()->cameraZoom(), 4.0) << "the map stays at its first camera";
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
    // The heading still runs.
    vc->didUpdateHeading(heading(123.0));
    EXPECT_EQ(vc->kompasTXT()->text(), "123°");
}

TEST_F(AzimuthMap, HeadingsOfTheDeviceReachTheReadOut) {
    setManual(true, 52.0, 21.0);
    addAzimuth(80.0, 1.0);
    AzimuthVC* vc = show();
    EXPECT_TRUE(vc->locationManager->isUpdatingHeading());
    backend->heading(77.0);  // no device fix: the heading passes as it came
    EXPECT_EQ(vc->kompasTXT()->text(), "77°");
    EXPECT_TRUE(isGreen(vc));
}

TEST_F(AzimuthMap, CompassIndicatorHidesBySettingAndStaysOnTheMap) {
    setManual(true, 52.0, 21.0);
    defaults().setBool(true, SettingsKey::hideCompassIndicator);
    AzimuthVC* vc = show();
    EXPECT_EQ(vc->pinKompas->opacity(), 0.0f);
    EXPECT_EQ(vc->pinKompas->map(), vc->mapView());
    defaults().setBool(false, SettingsKey::hideCompassIndicator);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->pinKompas->opacity(), 1.0f);
}

TEST_F(AzimuthMap, ABlueDotOnlyWithWhenInUse) {
    services->setAuthorizationStatus(kCLAuthorizationStatusAuthorizedAlways);
    AzimuthVC* always = show();
    EXPECT_FALSE(always->mapView()->isMyLocationEnabled());
    services->setAuthorizationStatus(kCLAuthorizationStatusAuthorizedWhenInUse);
    AzimuthVC* inUse = show();
    EXPECT_TRUE(inUse->mapView()->isMyLocationEnabled());
    EXPECT_TRUE(inUse->mapView()->settings()->myLocationButton());
}

TEST_F(AzimuthMap, TheSettingsButtonOpensTheAzimuthSettingsAndTheMapRedrawsOnReturn) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 1.0);
    AzimuthVC* vc = show();
    vc->settings();
    auto* settings = qobject_cast<azimuthSettingsVC*>(nav->topViewController());
    ASSERT_TRUE(settings);
    // Turning the only azimuth off removes its line once the map is back.
    settings->tableView()->setCellControl(settings->tableView()->indexOf(1, 0), "setEnabled", false);
    EXPECT_EQ(vc->linie.size(), 1);
    nav->popViewControllerAnimated(false);
    EXPECT_TRUE(vc->linie.isEmpty());
    EXPECT_EQ(vc->azimuth, -360.0);
}
