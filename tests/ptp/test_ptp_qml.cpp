// The point-to-point pages in the real window, walked with real clicks and
// a real long press: from the menu to a new point, chosen as the target
// from the list, and drawn as the line on the work screen.

#include "PtpSettingsVC.h"
#include "PtpVC.h"
#include "page_fixture.h"
#include "ptpSettingsList.h"
#include "ptpSettingsManageVC.h"
#include "ptp_fixture.h"
#include "screens/validationAddMarkerVC.h"
#include "ui/UITabBarController.h"

#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_PtpPlugin)

namespace {

class Pages : public zltest::PageTest<ptptest::ScreenTest> {
protected:
    template <class T>
    T* top() { return qobject_cast<T*>(nav->topViewController()); }
};

}  // namespace

TEST_F(Pages, APointAddedByLongPressBecomesTheTargetFromTheListAndTheLineIsDrawn) {
    setManual(true, 52.0, 21.0);
    fake.backend->fix(52.0, 21.0);
    zltest::LogCapture log;
    ASSERT_TRUE(clickTo("button_ptp"));
    ASSERT_TRUE(clickTo("settingsButton"));
    auto* settings = top<PtpSettingsVC>();
    ASSERT_TRUE(settings);
    settings->tableView()->selectRow(settings->tableView()->indexOf(1, 0));  // "manage"
    ASSERT_TRUE(settled());

    ASSERT_TRUE(clickTo("addPointButton"));
    auto* editor = top<validationAddMarkerVC>();
    ASSERT_TRUE(editor);
    ASSERT_TRUE(zltest::typeInto(window, "nameTXT", "Mast"));
    // A long press a little off the map's centre, where the fix is.
    QQuickItem* map = editor->mapView();
    const QPoint press = map->mapToScene(QPointF(map->width() / 2 + 40, map->height() / 2 - 40)).toPoint();
    QTest::mousePress(window, Qt::LeftButton, {}, press);
    ASSERT_TRUE(zltest::waitFor([&] { return fake.player.played.contains(1520); }));
    QTest::mouseRelease(window, Qt::LeftButton, {}, press);
    const CLLocationCoordinate2D pressed = editor->markerLocalisation.value();
    EXPECT_NE(std::pair(pressed.latitude, pressed.longitude), std::pair(52.0, 21.0));
    ASSERT_TRUE(clickTo("addButton"));
    auto* manage = top<ptpSettingsManageVC>();
    ASSERT_TRUE(manage && manage->filtred.size() == 1) << "the list reloads when the editor closes";
    EXPECT_EQ(manage->filtred[0].name, "Mast");

    ASSERT_TRUE(clickTo("backButton"));
    settings->tableView()->selectRow(settings->tableView()->indexOf(0, 1));  // "to"
    ASSERT_TRUE(settled());
    ASSERT_TRUE(top<UITabBarController>());
    QQuickItem* tabs = zltest::findVisible(window, "tabBar");
    ASSERT_TRUE(tabs);
    QTest::mouseClick(window, Qt::LeftButton, {}, tabs->mapToScene(QPointF(tabs->width() * 0.75, tabs->height() / 2)).toPoint());
    auto* list = qobject_cast<ptpSettingsList*>(top<UITabBarController>()->selectedViewController());
    ASSERT_TRUE(list);
    ASSERT_TRUE(zltest::waitFor([&] { return list->filtred.size() == 1 && zltest::findVisible(window, "pointTable"); }));
    QQuickItem* table = zltest::findVisible(window, "pointTable");
    QTest::mouseClick(window, Qt::LeftButton, {}, table->mapToScene(QPointF(table->width() / 2, 30)).toPoint());
    EXPECT_EQ(std::tuple(defaults().doubleForKey(SettingsKey::toLatitude), defaults().doubleForKey(SettingsKey::toLongitude),
                         defaults().stringForKey(SettingsKey::toName).value_or("")),
              std::tuple(pressed.latitude, pressed.longitude, QString("Mast")));

    ASSERT_TRUE(clickTo("backButton"));
    ASSERT_TRUE(clickTo("backButton"));
    auto* work = top<PtpVC>();
    ASSERT_TRUE(work && work->linia->path().count() == 2u);
    EXPECT_EQ(work->azimuth, PtpVC::initialBearing(52.0, 21.0, pressed.latitude, pressed.longitude));
    EXPECT_EQ(zltest::findVisible(window, "toTXT")->property("text").toString(),
              QStringLiteral("to: %1, %2 / Mast").arg(pressed.latitude, 0, 'f', 6).arg(pressed.longitude, 0, 'f', 6));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}
