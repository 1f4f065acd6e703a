// The azimuth pages in the real window, walked with real clicks.

#include "AzimuthVC.h"
#include "NewAzimuthVC.h"
#include "azimuthSettingsVC.h"
#include "azimuth_fixture.h"
#include "page_fixture.h"
#include "screens/MapSupport.h"

#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_AzimuthPlugin)

using Pages = zltest::PageTest<aztest::ScreenTest>;

TEST_F(Pages, FromTheMenuAnAddedAzimuthEndsUpAsALineOnTheMapPageWithItsReadOut) {
    setManual(true, 52.0, 21.0);
    zltest::LogCapture log;
    ASSERT_TRUE(clickTo("button_azimuth"));
    auto* map = qobject_cast<AzimuthVC*>(nav->topViewController());
    ASSERT_TRUE(map);
    EXPECT_TRUE(map->linie.isEmpty());

    ASSERT_TRUE(clickTo("settingsButton"));
    auto* settings = qobject_cast<azimuthSettingsVC*>(nav->topViewController());
    ASSERT_TRUE(settings);
    // With no azimuth stored, the first row of the azimuth section adds one.
    settings->tableView()->selectRow(settings->tableView()->indexOf(1, 0));
    ASSERT_TRUE(settled());
    ASSERT_TRUE(qobject_cast<NewAzimuthVC*>(nav->topViewController()));
    EXPECT_TRUE(zltest::typeInto(window, "azimuthInput", "12,5"));
    EXPECT_TRUE(zltest::typeInto(window, "distanceInput", "2"));
    ASSERT_TRUE(clickTo("button"));
    ASSERT_EQ(nav->topViewController(), settings) << "the editor closes after saving";

    ASSERT_TRUE(clickTo("backButton"));
    ASSERT_EQ(nav->topViewController(), map);
    ASSERT_EQ(map->linie.size(), 1) << "the map redraws from the store when it appears again";
    EXPECT_EQ(map->linie.first()->map(), map->mapView());
    EXPECT_TRUE(map->mapView()->window() == window && map->mapView()->width() > 100) << "the screen's map is in the page";
    map->didUpdateHeading(CLHeading{12.0, 12.0, 1.0, {}, true, 0.0, false});
    QQuickItem* readOut = zltest::findVisible(window, "kompasTXT");
    ASSERT_TRUE(readOut);
    // The stored 12.5 is the selected line: the typed comma was read as a decimal point.
    EXPECT_EQ(std::tuple(readOut->property("text").toString(), readOut->property("color").value<QColor>(),
                         zltest::findVisible(window, "pointDescriptionTXT")->property("text").toString()),
              std::tuple(QString("12°"), MapSupport::onBearingColor(), QString("selected azimuth: 12.5°")));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}
