// The azimuth map and the manual position screen, driven through their screen objects.

#include "AzimuthVC.h"
#include "GMSMapView.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "SettingsLocationVC.h"
#include "azimuth_fixture.h"
#include "screens/MapSupport.h"

#include <QSignalSpy>

using aztest::ScreenTest;

namespace {

class AzimuthMap : public ScreenTest {
protected:
    AzimuthVC* show() {
        AzimuthVC* vc = open<AzimuthVC>("azimuthVC");
        EXPECT_TRUE(vc);
        return vc;
    }
    SettingsLocationVC* showManualPosition() { return open<SettingsLocationVC>("changeLocation", QStringLiteral("1")); }
    // Turns the phone to a true heading; true when the read-out shows it's on the selected bearing.
    static bool onBearing(AzimuthVC* vc, double trueHeading) {
        vc->didUpdateHeading(CLHeading{trueHeading, trueHeading, 1.0, {}, true, 0.0, false});
        const QColor colour = vc->kompasTXT()->textColor();
        EXPECT_TRUE(colour == MapSupport::onBearingColor() || colour == QColor(Qt::white)) << trueHeading;
        return colour == MapSupport::onBearingColor();
    }
};

}  // namespace

TEST_F(AzimuthMap, NoAzimuthsDrawNothingTheCompassHidesBySettingAndTheBlueDotNeedsWhenInUse) {
    setManual(true, 52.0, 21.0);
    defaults().setBool(true, SettingsKey::hideCompassIndicator);
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusAuthorizedAlways);
    AzimuthVC* vc = show();
    EXPECT_EQ(std::tuple(vc->overrideUserInterfaceStyle(), vc->mapIsConfigured, vc->linie.size(), vc->azimuth),
              std::tuple(UIViewController::Light, true, 0, -360.0));
    EXPECT_EQ(vc->pointDescriptionTXT()->text(), "");
    EXPECT_EQ(vc->pointLocationTXT()->text(), "from: 52.000000, 21.000000");
    const GMSMapView* map = vc->mapView();
    EXPECT_EQ((std::array{map->cameraLatitude(), map->cameraLongitude(), map->cameraZoom()}),
              (std::array{52.0, 21.0, 18.0}));
    EXPECT_EQ(std::tuple(map->mapType(), map->settings()->rotateGestures(), map->padding().bottom(),
                         vc->pinKompas->isFlat()),
              std::tuple(4, false, 50.0, true));
    EXPECT_EQ(vc->pinKompas->icon().size() / vc->pinKompas->icon().devicePixelRatio(), QSize(50, 120));
    // The position and compass pins only; the compass hidden; no blue dot.
    EXPECT_EQ(std::tuple(map->overlays().size(), vc->pinKompas->opacity(), vc->pinKompas->map(), map->isMyLocationEnabled()),
              std::tuple(2u, 0.0f, map, false));
    defaults().setBool(false, SettingsKey::hideCompassIndicator);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->pinKompas->opacity(), 1.0f);

    fake.location.setAuthorizationStatus(kCLAuthorizationStatusAuthorizedWhenInUse);
    vc = show();
    EXPECT_EQ(std::pair(vc->mapView()->isMyLocationEnabled(), vc->mapView()->settings()->myLocationButton()),
              std::pair(true, true));
}

TEST_F(AzimuthMap, OneActiveAzimuthIsSelectedGreenUpToExactlyFiveDegreesAndALongPressMovesTheStart) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 2.0, "mast", 0, 128, 255);
    addAzimuth(200.0, 1.0, "off", 0, 0, 0, /*active=*/false);
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->linie.size(), 1);
    EXPECT_EQ(std::pair(vc->azimuth, vc->pointDescriptionTXT()->text()), std::pair(10.0, QString("selected azimuth: 10.0°")));
    for (auto [heading, green] : {std::pair{10.0, true}, {15.0, true}, {5.0, true}, {15.000000001, false},
                                  {4.999999, false}, {-360.0, false}}) {
        EXPECT_EQ(onBearing(vc, heading), green) << heading;
        EXPECT_EQ(std::pair(vc->actualCompassValue, double(vc->pinKompas->rotation())), std::pair(heading, heading));
    }
    onBearing(vc, 14.6);
    EXPECT_EQ(vc->kompasTXT()->text(), "15°");

    // 359 and 1 are two degrees apart, but the difference is taken plainly.
    vc->azimuth = 359.0;
    EXPECT_FALSE(onBearing(vc, 1.0));
    EXPECT_TRUE(onBearing(vc, 354.0));

    // A long press moves the start without touching the settings.
    const QString locationText = vc->pointLocationTXT()->text();
    // Through the map's own gesture: the middle of the view is the camera's position.
    vc->mapView()->setSize(QSizeF(400, 300));
    vc->mapView()->handleLongPress(QPointF(200, 150));
    EXPECT_EQ(fake.player.played, QList<int>{1520});
    ASSERT_TRUE(vc->lokalizacjaUzytkownika);
    EXPECT_NEAR(vc->lokalizacjaUzytkownika->latitude, 52.0, 0.01);

    vc->didLongPressAtCoordinate(vc->mapView(), {51.5, 20.5});
    ASSERT_EQ(vc->linie.size(), 1);
    EXPECT_EQ((std::array{vc->linie[0]->path().coordinateAtIndex(0).latitude, vc->pinUzytkownik->position().latitude,
                          vc->pinKompas->position().longitude, defaults().doubleForKey(SettingsKey::latitude)}),
              (std::array{51.5, 51.5, 20.5, 52.0}));
    EXPECT_EQ(vc->pointLocationTXT()->text(), locationText);
    EXPECT_EQ(vc->azimuth, 10.0) << "a lone line is selected again by the redraw";

    // The next appearance brings the manual position back.
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->linie[0]->path().coordinateAtIndex(0).latitude, 52.0);
}

TEST_F(AzimuthMap, TwoAzimuthsDrawTheirLinesSelectOnlyByTapAndARedrawReplacesThem) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.5, 2.0, "a", 255, 0, 0);
    addAzimuth(90.0, 1.5, QString(), 0, 0, 255);
    AzimuthVC* vc = show();
    ASSERT_EQ(vc->linie.size(), 2);
    ASSERT_EQ(vc->markery.size(), 2);
    const auto end = AzimuthLines::destinationPoint(52.0, 21.0, 10.5, 2.0);
    const GMSPolyline& line = *vc->linie[0];
    EXPECT_EQ(std::tuple(line.map(), line.strokeWidth(), line.geodesic(), line.strokeColor(), line.path().count()),
              std::tuple(vc->mapView(), 2.0f, true, QColor::fromRgbF(1.0f, 0.0f, 0.0f, 1.0f), 2u));
    EXPECT_EQ(line.path().coordinateAtIndex(1).longitude, end.longitude);
    const GMSMarker& marker = *vc->markery[0].marker;
    EXPECT_EQ(std::tuple(marker.position().latitude, marker.title(), marker.snippet(), marker.icon().isNull()),
              std::tuple(end.latitude, QString("10.5 °, 2.0 km"), QString("a"), false));
    EXPECT_EQ(vc->mapView()->overlays().size(), 6u);

    EXPECT_EQ(vc->azimuth, -360.0);
    EXPECT_FALSE(onBearing(vc, 90.0)) << "nothing selected";
    // Markers that aren't azimuth ends change nothing, and the map keeps
    // its usual info window (false).
    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->pinUzytkownik.get()));
    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->pinKompas.get()));
    EXPECT_EQ(vc->azimuth, -360.0);
    EXPECT_FALSE(vc->didTapMarker(vc->mapView(), vc->markery[1].marker.get()));
    EXPECT_EQ(std::pair(vc->azimuth, vc->pointDescriptionTXT()->text()), std::pair(90.0, QString("selected azimuth: 90.0°")));
    EXPECT_TRUE(onBearing(vc, 88.0));
    vc->didLongPressAtCoordinate(vc->mapView(), {52.1, 21.1});
    EXPECT_EQ(std::pair(vc->azimuth, vc->pointDescriptionTXT()->text()), std::pair(-360.0, QString()));

    // Miles change the texts; a redraw replaces, it doesn't add.
    defaults().setBool(true, SettingsKey::useImperialUnits);
    vc->viewWillAppear(false);
    EXPECT_EQ(vc->markery[0].marker->title(), "10.5 °, 1.2 mi");
    EXPECT_EQ(vc->mapView()->overlays().size(), 6u);
}

TEST_F(AzimuthMap, ManualPositionAtZeroZeroFallsBackToTheDeviceAndItsHeadingsAndWithoutOneDrawsNothing) {
    addAzimuth(80.0, 1.0);
    fake.backend->fix(50.0, 19.0);
    setManual(true, 0.0, 0.0);
    AzimuthVC* vc = show();
    ASSERT_TRUE(vc->lokalizacjaUzytkownika);
    EXPECT_EQ(std::tuple(vc->lokalizacjaUzytkownika->longitude, vc->pointLocationTXT()->text(),
                         vc->locationManager->isUpdatingHeading()),
              std::tuple(19.0, QString("from: 50.000000, 19.000000"), true));
    fake.backend->heading(77.0);  // corrected by the declination at the device fix, about +6
    EXPECT_EQ(vc->kompasTXT()->text(), "83°");

    // Without any position nothing is drawn and nothing said.
    fake.location.setAuthorizationStatus(kCLAuthorizationStatusDenied);
    zltest::LogCapture log;
    vc = show();
    // The map stays at its first camera.
    EXPECT_EQ(std::tuple(vc->mapIsConfigured, vc->lokalizacjaUzytkownika.has_value(), vc->linie.size(),
                         vc->pointLocationTXT()->text(), vc->mapView()->cameraZoom()),
              std::tuple(false, false, 0, QString(), 4.0));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
    onBearing(vc, 123.0);  // the heading still runs
    EXPECT_EQ(vc->kompasTXT()->text(), "123°");
}

TEST_F(AzimuthMap, TheManualPositionScreenShowsAStoredPointWithItsMarkerAndAZeroCoordinateStopsTheLoad) {
    setManual(true, 52.25, 21.5);
    SettingsLocationVC* vc = showManualPosition();
    ASSERT_TRUE(vc);
    EXPECT_EQ(vc->picker->titles(), (QStringList{"automatic (GPS)", "manual"}));
    EXPECT_EQ(std::pair(vc->picker->selectedSegmentIndex(), vc->pinUzytkownika->map()), std::pair(1, vc->mapView()));
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.250000, 21.500000");
    EXPECT_EQ((std::array{vc->mapView()->cameraLatitude(), vc->mapView()->cameraZoom()}), (std::array{52.25, 18.0}));

    for (auto [lat, lon] : {std::pair{0.0, 0.0}, {0.0, 10.0}, {10.0, 0.0}}) {
        setManual(false, lat, lon);
        vc = showManualPosition();
        EXPECT_EQ(std::tuple(vc->picker->selectedSegmentIndex(), vc->pinUzytkownika->map(), vc->pointLocationTXT->text(),
                             vc->mapView()->cameraZoom(), vc->mapView()->mapType()),
                  std::tuple(0, nullptr, QString(), 4.0, 4))
            << "the map is set up before the stop";
    }
}

TEST_F(AzimuthMap, OnTheManualPositionScreenAFoundAddressOrALongPressMovesThePointAndAFailureChangesNothing) {
    setManual(false, 52.0, 21.0);
    SettingsLocationVC* vc = showManualPosition();
    vc->geocodeFinished({}, CLError{kCLErrorNetwork, "offline"});
    vc->geocodeFinished({CLPlacemark{std::nullopt, "nowhere"}}, std::nullopt);
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.000000, 21.000000");
    EXPECT_EQ(manual(), std::tuple(false, 52.0, 21.0));

    CLLocation found;
    found.coordinate = {40.0, -3.5};
    vc->geocodeFinished({CLPlacemark{found, "somewhere"}, CLPlacemark{std::nullopt, "x"}}, std::nullopt);
    EXPECT_EQ(manual(), std::tuple(true, 40.0, -3.5));
    EXPECT_EQ(std::pair(vc->pointLocationTXT->text(), fake.player.played.size()),
              std::pair(QString("point: 40.000000, -3.500000"), qsizetype(0))) << "a search plays no sound";

    // A long press stores a manual point; the segments switch the source.
    vc->didLongPressAtCoordinate(vc->mapView(), {48.5, 2.25});
    EXPECT_EQ(manual(), std::tuple(true, 48.5, 2.25));
    EXPECT_EQ(std::tuple(fake.player.played, vc->pinUzytkownika->position().latitude, vc->pointLocationTXT->text(),
                         vc->mapView()->cameraLongitude(), vc->picker->selectedSegmentIndex()),
              std::tuple(QList<int>{1520}, 48.5, QString("point: 48.500000, 2.250000"), 2.25, 0))
        << "the press doesn't move the segments";

    for (int segment : {0, 1}) {
        vc->picker->userSelect(segment);
        EXPECT_EQ(manual(), std::tuple(segment == 1, 48.5, 2.25));
    }

    // Without an address service the search ends quietly.
    QSignalSpy done(vc, &SettingsLocationVC::searchFinished);
    QSignalSpy keyboard(vc, &SettingsLocationVC::endEditing);
    vc->lokalizacjaName->userEdit("Main Street 1");
    vc->szukajLokalizacji();
    EXPECT_EQ(keyboard.size(), 1);
    ASSERT_TRUE(done.wait(5000));
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 48.500000, 2.250000");
}
