// The shell's QML: every page and cell loads without a warning, and a walk
// through the menu with real clicks opens and closes the screens.

#include "AppPaths.h"
#include "LocationServices.h"
#include "ShellScreens.h"
#include "ShellServices.h"
#include "screens/AboutVC.h"
#include "screens/SettingsVC.h"
#include "fake_context.h"
#include "testsupport.h"

#include <QDirIterator>
#include <QQmlApplicationEngine>
#include <QQmlComponent>
#include "quicktest.h"

#include <QQuickItem>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QTest>
#include <QtQml/QQmlExtensionPlugin>
#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)

namespace {

struct App : ::testing::Test {
    static void SetUpTestSuite() { QQuickStyle::setStyle("Material"); }
    void SetUp() override {
        mainVC.loadViewIfNeeded();
        ShellScreens::registerScreens(navigation);
        engine.addImportPath("qrc:/");
    }

    QQuickWindow* loadMain() {
        engine.load(QUrl("qrc:/Zenloft/Shell/qml/Main.qml"));
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
        if (!window) return nullptr;
        ShellScreens::showMenu(navigation, fake.context);
        window->show();
        EXPECT_TRUE(QTest::qWaitForWindowExposed(window));
        return window;
    }
    QQuickItem* find(QQuickWindow* window, const char* name) { return zltest::findVisible(window, name); }
    bool click(QQuickWindow* window, const char* name) { return zltest::clickItem(window, name); }
    void settle() { QTest::qWait(450); }  // page transitions

    zltest::FakeScreenContext fake;
    NavigationController navigation;
    MainVC mainVC;
    ShellServices services{&navigation, &mainVC, &fake.appDelegate};
    QQmlApplicationEngine engine;
};

}  // namespace

TEST_F(App, EveryQmlFileOfTheShellLoadsWithoutWarnings) {
    zltest::LogCapture log;
    QDirIterator it(":/Zenloft/Shell/qml", {"*.qml"}, QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        // The window is loaded by the walk below; a row needs its model's roles.
        if (path.endsWith("Main.qml") || path.endsWith("TableRow.qml")) continue;
        QQmlComponent component(&engine, QUrl("qrc" + path));
        ASSERT_FALSE(component.isError()) << path.toStdString() << ": " << component.errorString().toStdString();
        std::unique_ptr<QObject> object(component.create());
        ASSERT_TRUE(object) << path.toStdString() << ": " << component.errorString().toStdString();
        ++files;
    }
    EXPECT_GE(files, 20);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

TEST_F(App, AWalkThroughTheMenuWithRealClicks) {
    zltest::LogCapture log;
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    EXPECT_EQ(window->size(), QSize(390, 844));
    ASSERT_TRUE(click(window, "button_settings"));
    settle();
    ASSERT_EQ(navigation.depth(), 2);
    auto* settings = qobject_cast<SettingsVC*>(navigation.topViewController());
    ASSERT_TRUE(settings);
    ASSERT_TRUE(click(window, "backButton"));
    settle();
    EXPECT_EQ(navigation.depth(), 1);

    ASSERT_TRUE(click(window, "button_help"));
    settle();
    ASSERT_TRUE(qobject_cast<AboutVC*>(navigation.topViewController()));
    QQuickItem* help = find(window, "helpText");
    ASSERT_TRUE(help);
    EXPECT_GT(help->height(), 1000) << "the whole help page is laid out";
    ASSERT_TRUE(click(window, "backButton"));
    settle();
    EXPECT_EQ(navigation.depth(), 1);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

TEST_F(App, AStoreProblemIsShownAsADialog) {
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    fake.appDelegate.reportProblem("The store x could not be opened");
    QTest::qWait(50);
    auto* dialog = window->findChild<QObject*>("problemDialog");
    ASSERT_TRUE(dialog);
    EXPECT_TRUE(dialog->property("visible").toBool());
    fake.appDelegate.dismissProblem();
    EXPECT_TRUE(zltest::waitFor([&] { return !dialog->property("visible").toBool(); }));
}
