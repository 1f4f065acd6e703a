// The shell's QML in the real window, walked with real clicks.

#include "ShellScreens.h"
#include "ShellServices.h"
#include "fake_context.h"
#include "quicktest.h"
#include "screens/AboutVC.h"
#include "screens/SettingsVC.h"

#include <QDirIterator>
#include <QQmlComponent>
#include <QQuickStyle>
#include <QtQml/QQmlExtensionPlugin>
#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)

namespace {

struct App : ::testing::Test {
    static void SetUpTestSuite() { QQuickStyle::setStyle("Material"); }
    void SetUp() override {
        mainVC.loadViewIfNeeded();
        ShellScreens::registerScreens(navigation);
    }
    QQuickWindow* loadMain() {
        return zltest::loadMainWindow(engine, [&] { ShellScreens::showMenu(navigation, fake.context); });
    }
    // Clicks and waits until the page stack shows the screen on top.
    bool clickTo(QQuickWindow* window, const char* name) {
        return zltest::clickItem(window, name) &&
               zltest::waitForPage(window, navigation.topViewController(), navigation.depth());
    }

    zltest::FakeScreenContext fake;
    NavigationController navigation;
    MainVC mainVC;
    ShellServices services{&navigation, &mainVC, &fake.appDelegate};
    QQmlApplicationEngine engine;
};

}  // namespace

TEST_F(App, EveryQmlFileOfTheShellLoadsWithoutWarnings) {
    zltest::LogCapture log;
    engine.addImportPath("qrc:/");
    QDirIterator it(":/Zenloft/Shell/qml", {"*.qml"}, QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        // The window is loaded by the walk below; a row needs its model's roles.
        if (path.endsWith("Main.qml") || path.endsWith("TableRow.qml")) continue;
        QQmlComponent component(&engine, QUrl("qrc" + path));
        std::unique_ptr<QObject> object(component.create());
        ASSERT_TRUE(object) << path.toStdString() << ": " << component.errorString().toStdString();
        ++files;
    }
    EXPECT_GE(files, 20);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

TEST_F(App, AWalkThroughTheMenuWithRealClicksAndAStoreProblemDialog) {
    zltest::LogCapture log;
    QQuickWindow* window = loadMain();
    ASSERT_TRUE(window);
    EXPECT_EQ(window->size(), QSize(390, 844));
    ASSERT_TRUE(clickTo(window, "button_settings"));
    ASSERT_TRUE(qobject_cast<SettingsVC*>(navigation.topViewController()));
    ASSERT_TRUE(clickTo(window, "backButton"));
    EXPECT_EQ(navigation.depth(), 1);

    ASSERT_TRUE(clickTo(window, "button_help"));
    ASSERT_TRUE(qobject_cast<AboutVC*>(navigation.topViewController()));
    QQuickItem* help = zltest::findVisible(window, "helpText");
    ASSERT_TRUE(help);
    EXPECT_GT(help->height(), 1000) << "the whole help page is laid out";
    ASSERT_TRUE(clickTo(window, "backButton"));
    EXPECT_EQ(navigation.depth(), 1);

    // A store problem shows as a dialog.
    auto* dialog = window->findChild<QObject*>("problemDialog");
    ASSERT_TRUE(dialog);
    fake.appDelegate.reportProblem("The store x could not be opened");
    EXPECT_TRUE(zltest::waitFor([&] { return dialog->property("visible").toBool(); }));
    fake.appDelegate.dismissProblem();
    EXPECT_TRUE(zltest::waitFor([&] { return !dialog->property("visible").toBool(); }));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}
