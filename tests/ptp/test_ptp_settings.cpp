// The point-to-point settings, the location container with its map tab,
// and the maximum distance wheels, through their objects.

#include "PtpSettingsMap.h"
#include "PtpSettingsVC.h"
#include "ptpSettingsMaxDistance.h"
#include "ptp_fixture.h"
#include "ui/UITabBarController.h"

using ptptest::ScreenTest;

namespace {

class PtpSettings : public ScreenTest {
protected:
    void tap(PtpSettingsVC* vc, int section, int row) {
        vc->tableView()->selectRow(vc->tableView()->indexOf(section, row));
    }
    PtpSettingsMap* location(PtpSettingsVC* settings, int row) {
        tap(settings, 0, row);
        auto* tabs = qobject_cast<UITabBarController*>(nav->topViewController());
        EXPECT_TRUE(tabs);
        return tabs ? qobject_cast<PtpSettingsMap*>(tabs->selectedViewController()) : nullptr;
    }
    double stored(const QString& key) const { return defaults().doubleForKey(key); }
};

}  // namespace

TEST_F(PtpSettings, FirstLoadDescriptorsTheOrderCycleAndTheUnits) {
    defaults().setBool(true, SettingsKey::useGeocoder);
    PtpSettingsVC* vc = open<PtpSettingsVC>("ptpSettings");
    ASSERT_TRUE(vc);
    EXPECT_EQ(stored(SettingsKey::maxDistance), 10.0) << "the radius comes into being here";
    EXPECT_EQ(vc->OpisDeskryptorow, (QList<QStringList>{{"manual", "manual"},
                                                        {"", "", "", "10 km", "distance ↓"},
                                                        {"", "km", "", ""}}));
    EXPECT_EQ(std::pair(vc->cellForRowAtIndexPath(2, 0).cellClass,
                        vc->cellForRowAtIndexPath(1, 3).fields.value("descriptionName").toString()),
              std::pair(QString("settingsCellTypeII"), QString("10 km")));

    // 0 -> 1 -> 2 -> 3 -> 0, each text at once.
    QStringList texts;
    for (int i = 0; i < 4; ++i) {
        tap(vc, 1, 4);
        texts << QString::number(defaults().integerForKey(SettingsKey::ptpListSortBy)) + " " + vc->OpisDeskryptorow[1][4];
    }
    EXPECT_EQ(texts, QStringList({"1 distance ↑", "2 name ↓", "3 name ↑", "0 distance ↓"}));
    // A value beyond the table is neither shown nor repaired.
    defaults().setInteger(7, SettingsKey::ptpListSortBy);
    tap(vc, 1, 4);
    EXPECT_EQ(defaults().integerForKey(SettingsKey::ptpListSortBy), 7);
    EXPECT_EQ(vc->OpisDeskryptorow[1][4], "distance ↓");

    // The units toggle changes the radius row at once: "%.0f" of 10 x 0.6213712.
    tap(vc, 2, 1);
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::useImperialUnits));
    EXPECT_EQ(std::pair(vc->OpisDeskryptorow[1][3], vc->OpisDeskryptorow[2][1]), std::pair(QString("6 mi"), QString("mi")));
    defaults().setDouble(1000.0, SettingsKey::maxDistance);
    vc->viewDidAppear(false);
    EXPECT_EQ(vc->OpisDeskryptorow[1][3], "621 mi");

    vc->cellControlChanged(2, 0, "settingState", true);
    EXPECT_TRUE(defaults().boolForKey(SettingsKey::hideCompassIndicator));
    EXPECT_FALSE(vc->hideCompassIndicator) << "the switch writes the setting only";

    tap(vc, 1, 3);
    EXPECT_TRUE(qobject_cast<ptpSettingsMaxDistance*>(nav->topViewController()));
}

// The long press, the search and the segments themselves are the shared
// location map's, checked on the azimuth area's manual position.
TEST_F(PtpSettings, TheMapTabSetsTheFromPointOrTheTargetUnderItsOwnKeys) {
    PtpSettingsVC* settings = open<PtpSettingsVC>("ptpSettings");
    ASSERT_TRUE(settings);
    // From: a point on the prime meridian is dropped at load and shown
    // again when the tab appears.
    setManual(false, 52.0, 0.0);
    PtpSettingsMap* map = location(settings, 0);
    ASSERT_TRUE(map);
    EXPECT_EQ(std::tuple(map->type, nav->topViewController()->title(), map->picker->selectedSegmentIndex(),
                         map->picker->enabled(), map->pinUzytkownika->position().latitude),
              std::tuple(pointType::from, QString("from"), 0, true, 52.0));

    // To: always manual; a search keeps the target's name, a press clears it.
    defaults().setObject(QString("Mast"), SettingsKey::toName);
    nav->popViewControllerAnimated(false);
    map = location(settings, 1);
    ASSERT_TRUE(map);
    EXPECT_EQ(std::tuple(map->type, map->title(), map->picker->selectedSegmentIndex(), map->picker->enabled()),
              std::tuple(pointType::to, QString("to"), 1, false));
    CLLocation found;
    found.coordinate = {51.0, 18.0};
    map->geocodeFinished({CLPlacemark{found, "somewhere"}}, std::nullopt);
    EXPECT_EQ(std::tuple(stored(SettingsKey::toLatitude), defaults().boolForKey(SettingsKey::toUseGeocoder),
                         defaults().stringForKey(SettingsKey::toName).value_or("-")),
              std::tuple(51.0, true, QString("Mast")));
    map->didLongPressAtCoordinate(map->mapView(), {51.5, 18.5});
    EXPECT_EQ(std::tuple(stored(SettingsKey::toLatitude), defaults().stringForKey(SettingsKey::toName).value_or("-"),
                         defaults().stringForKey(SettingsKey::toDesc).value_or("-"), stored(SettingsKey::latitude)),
              std::tuple(51.5, QString(""), QString(""), 52.0));
}

TEST_F(PtpSettings, TheWheelsStoreKilometresAndShowTheChosenUnit) {
    // Stored km and unit -> the wheels at load: unset becomes 10 km, 1 km
    // in miles rounds up, 999 mi reads back, 1000 or more leaves the digits.
    for (auto [km, imperial, wheels] : {std::tuple{0.0, false, QList<int>{0, 1, 0, 0}},
                                        {1.0, true, {0, 0, 1, 1}},
                                        {999.0 / 0.6213711922, true, {9, 9, 9, 1}},
                                        {999.6, false, {0, 0, 0, 0}}}) {
        defaults().setDouble(km, SettingsKey::maxDistance);
        defaults().setBool(imperial, SettingsKey::useImperialUnits);
        auto* vc = open<ptpSettingsMaxDistance>("ptpSettingsMaxDistance");
        ASSERT_TRUE(vc);
        EXPECT_EQ(vc->picker->selectedRows(), wheels) << km;
    }
    auto* vc = open<ptpSettingsMaxDistance>("ptpSettingsMaxDistance");
    for (int wheel : {0, 1, 2}) vc->picker->userSelect(0, wheel);
    EXPECT_EQ(stored(SettingsKey::maxDistance), 0.0) << "000 is stored as it stands";
    vc->picker->userSelect(1, 1);
    vc->picker->userSelect(1, 3);
    EXPECT_EQ(std::pair(stored(SettingsKey::maxDistance), defaults().boolForKey(SettingsKey::useImperialUnits)),
              std::pair(10.0 / 0.6213711922, true)) << "the unit wheel alone changes the meaning";
}
