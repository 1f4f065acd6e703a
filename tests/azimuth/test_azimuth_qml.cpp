// The azimuth pages in the real window: each opens without a QML warning,
// shows its screen's outlets, and a few real clicks walk between them.

#include "AzimuthExportVC.h"
#include "AzimuthScreens.h"
#include "AzimuthVC.h"
#include "GMSServices.h"
#include "NewAzimuthVC.h"
#include "ShellScreens.h"
#include "ShellServices.h"
#include "azimuth_fixture.h"
#include "azimuthSettingsVC.h"
#include "screens/MainVC.h"

#include <QQmlApplicationEngine>
#include "quicktest.h"

#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTest>
#include <QtQml/QQmlExtensionPlugin>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_AzimuthPlugin)

namespace {

class Pages : public aztest::ScreenTest {
protected:
    static void SetUpTestSuite() { QQuickStyle::setStyle("Material"); }
    void SetUp() override {
        ScreenTest::SetUp();
        mainVC.loadViewIfNeeded();
        ShellScreens::registerScreens(*nav);
        AzimuthScreens::registerScreens(*nav, fake.context);
        shell = std::make_unique<ShellServices>(nav.get(), &mainVC, appDelegate);
        engine = std::make_unique<QQmlApplicationEngine>();
        engine->addImportPath("qrc:/");
    }
    void TearDown() override {
        engine.reset();
        shell.reset();
        ScreenTest::TearDown();
    }
    QQuickWindow* loadMain() {
        engine->load(QUrl("qrc:/Zenloft/Shell/qml/Main.qml"));
        auto* window = qobject_cast<QQuickWindow*>(engine->rootObjects().value(0));
        if (!window) return nullptr;
        ShellScreens::showMenu(*nav, fake.context);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        return window;
    }
    QQuickItem* find(QQuickWindow* window, const char* name) { return zltest::findVisible(window, name); }
    bool click(QQuickWindow* window, const char* name) { return zltest::clickItem(window, name); }
    void settle() { QTest::qWait(400); }

    MainVC mainVC;
    std::unique_ptr<ShellServices> shell;
    std::unique_ptr<QQmlApplicationEngine> engine;
};

}  // namespace

TEST_F(Pages, EveryAzimuthPageOpensWithoutWarnings) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 1.0, "a");
    zltest::LogCapture log;
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    for (const char* id : {"azimuthVC", "settingsVC", "azimuth_settings", "newAzimuth", "importAzimuths",
                           "exportAzimuths", "changeLocation"}) {
        ASSERT_TRUE(nav->performSegue(nav->topViewController(), id, QVariant())) << id;
        settle();
        EXPECT_EQ(nav->depth(), 2) << id;
        nav->popToRootViewControllerAnimated(false);
        settle();
    }
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

TEST_F(Pages, TheMapPageShowsTheMapAndReadOutAndItsButtonOpensTheSettings) {
    setManual(true, 52.0, 21.0);
    addAzimuth(10.0, 1.0, "a");
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    ASSERT_TRUE(nav->performSegue(nav->topViewController(), "azimuthVC", QVariant()));
    settle();
    auto* vc = qobject_cast<AzimuthVC*>(nav->topViewController());
    ASSERT_TRUE(vc);
    EXPECT_TRUE(vc->mapView()->window() == window) << "the screen's map is in the page";
    EXPECT_GT(vc->mapView()->width(), 100);
    vc->didUpdateHeading(CLHeading{12.0, 12.0, 1.0, {}, true, 0.0, false});
    QQuickItem* readOut = find(window, "kompasTXT");
    ASSERT_TRUE(readOut);
    EXPECT_EQ(readOut->property("text").toString(), "12°");
    EXPECT_EQ(readOut->property("color").value<QColor>(), AzimuthVC::onBearingColor());
    EXPECT_EQ(find(window, "pointDescriptionTXT")->property("text").toString(), "selected azimuth: 10.0°");

    ASSERT_TRUE(click(window, "settingsButton"));
    settle();
    EXPECT_TRUE(qobject_cast<azimuthSettingsVC*>(nav->topViewController()));
    ASSERT_TRUE(click(window, "backButton"));
    settle();
    EXPECT_EQ(nav->topViewController(), vc);
}

TEST_F(Pages, TheFormTakesTypedTextAndItsButtonSaves) {
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    ASSERT_TRUE(nav->performSegue(nav->topViewController(), "newAzimuth", QStringLiteral("1")));
    settle();
    auto* vc = qobject_cast<NewAzimuthVC*>(nav->topViewController());
    ASSERT_TRUE(vc);
    for (auto [name, text] : {std::pair{"azimuthInput", "12,5"}, std::pair{"distanceInput", "3"}}) {
        QQuickItem* input = find(window, name);
        ASSERT_TRUE(input) << name;
        input->forceActiveFocus();
        for (const char* c = text; *c; ++c) QTest::keyClick(window, *c);
    }
    EXPECT_EQ(vc->azimuth->text(), "12,5");
    ASSERT_TRUE(click(window, "button"));
    settle();
    ASSERT_EQ(stored().size(), 1);
    EXPECT_EQ(stored().first()->azimuth(), 12.5);
    EXPECT_EQ(nav->depth(), 1);
}

TEST_F(Pages, FromTheMenuAnAddedAzimuthEndsUpAsALineOnTheMap) {
    setManual(true, 52.0, 21.0);
    zltest::LogCapture log;
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    ASSERT_TRUE(click(window, "button_azimuth"));
    settle();
    auto* map = qobject_cast<AzimuthVC*>(nav->topViewController());
    ASSERT_TRUE(map);
    EXPECT_TRUE(map->linie.isEmpty());

    ASSERT_TRUE(click(window, "settingsButton"));
    settle();
    auto* settings = qobject_cast<azimuthSettingsVC*>(nav->topViewController());
    ASSERT_TRUE(settings);
    // With no azimuth stored, the first row of the azimuth section adds one.
    settings->tableView()->selectRow(settings->tableView()->indexOf(1, 0));
    settle();
    auto* editor = qobject_cast<NewAzimuthVC*>(nav->topViewController());
    ASSERT_TRUE(editor);
    for (auto [name, text] : {std::pair{"azimuthInput", "45"}, std::pair{"distanceInput", "2"}}) {
        QQuickItem* input = find(window, name);
        ASSERT_TRUE(input) << name;
        input->forceActiveFocus();
        for (const char* c = text; *c; ++c) QTest::keyClick(window, *c);
    }
    ASSERT_TRUE(click(window, "button"));
    settle();
    ASSERT_EQ(nav->topViewController(), settings) << "the editor closes after saving";
    ASSERT_EQ(stored().size(), 1);

    ASSERT_TRUE(click(window, "backButton"));
    settle();
    ASSERT_EQ(nav->topViewController(), map);
    ASSERT_EQ(map->linie.size(), 1) << "the map redraws from the store when it appears again";
    EXPECT_EQ(map->linie.first()->map(), map->mapView());
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}
