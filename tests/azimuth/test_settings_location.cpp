// The manual position screen: what it shows at load, the long press, the
// source segments and the result of an address search.

#include "SettingsLocationVC.h"
#include "azimuth_fixture.h"

#include <QSignalSpy>

using aztest::ScreenTest;

namespace {
class ManualPosition : public ScreenTest {
protected:
    SettingsLocationVC* show() { return open<SettingsLocationVC>("changeLocation", QStringLiteral("1")); }
};
}  // namespace

TEST_F(ManualPosition, AStoredPointShowsWithItsMarkerAndAZeroCoordinateStopsTheLoad) {
    setManual(true, 52.25, 21.5);
    SettingsLocationVC* vc = show();
    ASSERT_TRUE(vc);
    EXPECT_EQ(vc->picker->titles(), (QStringList{"automatic (GPS)", "manual"}));
    EXPECT_EQ(vc->picker->selectedSegmentIndex(), 1);
    EXPECT_EQ(vc->pinUzytkownika->map(), vc->mapView());
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.250000, 21.500000");
    EXPECT_EQ((std::array{vc->mapView()->cameraLatitude(), vc->mapView()->cameraZoom()}), (std::array{52.25, 18.0}));

    for (auto [lat, lon] : {std::pair{0.0, 0.0}, {0.0, 10.0}, {10.0, 0.0}}) {
        setManual(false, lat, lon);
        vc = show();
        EXPECT_EQ(vc->picker->selectedSegmentIndex(), 0);
        EXPECT_EQ(vc->pinUzytkownika->map(), nullptr);
        EXPECT_EQ(vc->pointLocationTXT->text(), "");
        EXPECT_EQ(vc->mapView()->cameraZoom(), 4.0);
        EXPECT_EQ(vc->mapView()->mapType(), 4) << "the map is set up before the stop";
    }
}

TEST_F(ManualPosition, LongPressStoresAManualPointAndSegmentsSwitchTheSource) {
    setManual(false, 52.0, 21.0);
    SettingsLocationVC* vc = show();
    vc->didLongPressAtCoordinate(vc->mapView(), {48.5, 2.25});
    EXPECT_EQ(player->played, QList<int>{1520});
    EXPECT_EQ(vc->pinUzytkownika->position().latitude, 48.5);
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 48.500000, 2.250000");
    EXPECT_EQ(vc->mapView()->cameraLongitude(), 2.25);
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::longitude), 2.25);
    EXPECT_EQ(vc->picker->selectedSegmentIndex(), 0) << "the press doesn't move the segments";

    vc->picker->userSelect(0);
    EXPECT_FALSE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::latitude), 48.5);
    vc->picker->userSelect(1);
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useGeocoder));
}

TEST_F(ManualPosition, AnAddressFoundMovesThePointAndAFailureChangesNothing) {
    setManual(false, 52.0, 21.0);
    SettingsLocationVC* vc = show();
    vc->geocodeFinished({}, CLError{kCLErrorNetwork, "offline"});
    vc->geocodeFinished({CLPlacemark{std::nullopt, "nowhere"}}, std::nullopt);
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.000000, 21.000000");
    EXPECT_FALSE(defaults().boolForKey(SettingsKey::useGeocoder));

    CLLocation found;
    found.coordinate = {40.0, -3.5};
    vc->geocodeFinished({CLPlacemark{found, "somewhere"}, CLPlacemark{std::nullopt, "x"}}, std::nullopt);
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 40.000000, -3.500000");
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useGeocoder));
    EXPECT_EQ(defaults().doubleForKey(SettingsKey::longitude), -3.5);
    EXPECT_TRUE(player->played.isEmpty()) << "a search plays no sound";

    // Without an address service the search ends quietly.
    QSignalSpy done(vc, &SettingsLocationVC::searchFinished);
    QSignalSpy keyboard(vc, &SettingsLocationVC::endEditing);
    vc->lokalizacjaName->userEdit("Main Street 1");
    vc->szukajLokalizacji();
    EXPECT_EQ(keyboard.size(), 1);
    ASSERT_TRUE(done.wait(5000));
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 40.000000, -3.500000");
}
