// The shell's QML in the real window, walked with real clicks.

#include "page_fixture.h"
#include "screen_fixture.h"
#include "screens/AboutVC.h"
#include "screens/SettingsVC.h"

#include <QDirIterator>
#include <QQmlComponent>
#include <QtQml/QQmlExtensionPlugin>
#include <gtest/gtest.h>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)

namespace {
void noAreaScreens(NavigationController&, const ScreenContext&) {}
}  // namespace

using App = zltest::PageTest<zltest::ScreenTest<&noAreaScreens>>;

TEST_F(App, EveryQmlFileOfTheShellLoadsWithoutWarnings) {
    zltest::LogCapture log;
    engine->addImportPath("qrc:/");
    QDirIterator it(":/Zenloft/Shell/qml", {"*.qml"}, QDir::Files, QDirIterator::Subdirectories);
    int files = 0;
    while (it.hasNext()) {
        const QString path = it.next();
        // The window is loaded by the walk below; a row needs its model's roles.
        if (path.endsWith("Main.qml") || path.endsWith("TableRow.qml")) continue;
        QQmlComponent component(engine.get(), QUrl("qrc" + path));
        std::unique_ptr<QObject> object(component.create());
        ASSERT_TRUE(object) << path.toStdString() << ": " << component.errorString().toStdString();
        ++files;
    }
    EXPECT_GE(files, 20);
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}

TEST_F(App, AWalkThroughTheMenuWithRealClicksAndAStoreProblemDialog) {
    zltest::LogCapture log;
    EXPECT_EQ(window->size(), QSize(390, 844));
    ASSERT_TRUE(clickTo("button_settings"));
    ASSERT_TRUE(qobject_cast<SettingsVC*>(nav->topViewController()));
    ASSERT_TRUE(clickTo("backButton"));
    EXPECT_EQ(nav->depth(), 1);

    ASSERT_TRUE(clickTo("button_help"));
    ASSERT_TRUE(qobject_cast<AboutVC*>(nav->topViewController()));
    QQuickItem* help = zltest::findVisible(window, "helpText");
    ASSERT_TRUE(help);
    EXPECT_GT(help->height(), 1000) << "the whole help page is laid out";
    ASSERT_TRUE(clickTo("backButton"));
    EXPECT_EQ(nav->depth(), 1);

    // A store problem shows as a dialog.
    auto* dialog = window->findChild<QObject*>("problemDialog");
    ASSERT_TRUE(dialog);
    fake.appDelegate.reportProblem("The store x could not be opened");
    EXPECT_TRUE(zltest::waitFor([&] { return dialog->property("visible").toBool(); }));
    fake.appDelegate.dismissProblem();
    EXPECT_TRUE(zltest::waitFor([&] { return !dialog->property("visible").toBool(); }));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();
}
