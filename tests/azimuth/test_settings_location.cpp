// The manual position screen driven through its screen object.

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
    EXPECT_EQ(std::pair(vc->picker->selectedSegmentIndex(), vc->pinUzytkownika->map()), std::pair(1, vc->mapView()));
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.250000, 21.500000");
    EXPECT_EQ((std::array{vc->mapView()->cameraLatitude(), vc->mapView()->cameraZoom()}), (std::array{52.25, 18.0}));

    for (auto [lat, lon] : {std::pair{0.0, 0.0}, {0.0, 10.0}, {10.0, 0.0}}) {
        setManual(false, lat, lon);
        vc = show();
        EXPECT_EQ(std::tuple(vc->picker->selectedSegmentIndex(), vc->pinUzytkownika->map(), vc->pointLocationTXT->text(),
                             vc->mapView()->cameraZoom(), vc->mapView()->mapType()),
                  std::tuple(0, nullptr, QString(), 4.0, 4))
            << "the map is set up before the stop";
    }
}

TEST_F(ManualPosition, AnAddressFoundOrALongPressMovesThePointSegmentsSwitchTheSourceAndAFailureChangesNothing) {
    setManual(false, 52.0, 21.0);
    SettingsLocationVC* vc = show();
    vc->geocodeFinished({}, CLError{kCLErrorNetwork, "offline"});
    vc->geocodeFinished({CLPlacemark{std::nullopt, "nowhere"}}, std::nullopt);
    EXPECT_EQ(vc->pointLocationTXT->text(), "point: 52.000000, 21.000000");
    EXPECT_EQ(manual(), std::tuple(false, 52.0, 21.0));

    CLLocation found;
    found.coordinate = {40.0, -3.5};
    vc->geocodeFinished({CLPlacemark{found, "somewhere"}, CLPlacemark{std::nullopt, "x"}}, std::nullopt);
    EXPECT_EQ(manual(), std::tuple(true, 40.0, -3.5));
    EXPECT_EQ(std::pair(vc->pointLocationTXT->text(), player->played.size()),
              std::pair(QString("point: 40.000000, -3.500000"), qsizetype(0))) << "a search plays no sound";

    // A long press stores a manual point; the segments switch the source.
    vc->didLongPressAtCoordinate(vc->mapView(), {48.5, 2.25});
    EXPECT_EQ(manual(), std::tuple(true, 48.5, 2.25));
    EXPECT_EQ(std::tuple(player->played, vc->pinUzytkownika->position().latitude, vc->pointLocationTXT->text(),
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
