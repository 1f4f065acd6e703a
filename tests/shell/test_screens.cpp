// The shell's screens driven through their objects.

#include "screens/AboutVC.h"
#include "screens/IntroVC.h"
#include "screens/MainVC.h"
#include "screens/SettingsVC.h"
#include "screen_fixture.h"
#include "ui/NavigationController.h"
#include "ui/UITableView.h"

#include <QAbstractItemModelTester>
#include <QSignalSpy>
#include <gtest/gtest.h>

namespace {

class Blank : public UIViewController {};

void workScreens(NavigationController& nav, const ScreenContext&) {
    for (const char* id : {"azimuthVC", "ptpVC", "validationVC", "settings", "help", "azimuth_settings",
                           "ptp_settings", "validation_settings"})
        nav.registerScreen(id, [] { return new Blank; }, QUrl());
}

struct Menu : zltest::ScreenTest<&workScreens> {
    IntroVC* showMenu() {
        auto* intro = new IntroVC(fake.context);
        nav->setRootViewController(intro, QUrl());
        QCoreApplication::processEvents();  // the manager's first callback
        return intro;
    }
    LocationServices& services = fake.location;
};

}  // namespace

TEST_F(Menu, EachPermissionStatusOpensTheChosenScreen) {
    // The menus of earlier rounds left the stack and refuse their segues.
    zltest::LogCapture log;
    for (auto [status, answer] : {std::pair{1, 1}, {2, 2}, {3, 3}, {4, 4}, {0, 2}, {0, 4}}) {
        services.setAuthorizationStatus(status);
        services.setPromptAnswer(answer);
        IntroVC* intro = showMenu();
        EXPECT_EQ(intro->selected(), -1);
        intro->button_ptp();
        if (status == 0) {
            EXPECT_EQ(nav->depth(), 1) << "the segue waits for the answer";
            ASSERT_TRUE(zltest::waitFor([&] { return nav->depth() == 2; })) << "status " << status;
        }
        EXPECT_EQ(nav->depth(), 2) << "status " << status << ": a refusal doesn't block the screen";
        QCoreApplication::processEvents();
        EXPECT_EQ(nav->depth(), 2) << "opened once";
    }
}

TEST_F(Menu, ButtonsPickTheirWorkScreensSettingsAndHelpLeaveTheChoiceAndAPermissionChangeReopensIt) {
    services.setAuthorizationStatus(4);
    IntroVC* intro = showMenu();
    QSignalSpy pushed(nav.get(), &NavigationController::pushed);
    for (auto [button, index] : {std::pair{&IntroVC::button_azimuth, 0}, {&IntroVC::button_ptp, 1},
                                 {&IntroVC::button_validation, 2}, {&IntroVC::button_settings, 2},
                                 {&IntroVC::button_help, 2}}) {
        (intro->*button)();
        EXPECT_EQ(std::tuple(intro->selected(), nav->depth()), std::tuple(index, 2));
        nav->popViewControllerAnimated(false);
    }
    EXPECT_EQ(pushed.size(), 5);

    // A later permission change opens the last work screen again.
    services.setAuthorizationStatus(2);
    ASSERT_TRUE(zltest::waitFor([&] { return nav->depth() == 2; }));
}

TEST_F(Menu, FoldersAreMadeAtEveryAppearanceWithoutComplaintAndOneThatCantBeMadeIsLogged) {
    services.setAuthorizationStatus(4);
    zltest::LogCapture log;
    // The spy must exist before the menu appears: on a quick disk the folders
    // are made before the first event pass is over.
    auto* intro = new IntroVC(fake.context);
    QSignalSpy ready(intro, &IntroVC::foldersReady);
    nav->setRootViewController(intro, QUrl());
    ASSERT_TRUE(ready.count() > 0 || ready.wait(5000));
    for (const QString& name : IntroVC::folderNames())
        EXPECT_TRUE(QDir(fake.context.paths.documentsPath(name)).exists()) << name.toStdString();
    EXPECT_FALSE(QDir(fake.context.paths.documentsPath("azimuths")).exists()) << "made by the export screen";
    ready.clear();
    intro->viewDidAppear(false);
    ASSERT_TRUE(ready.wait(5000));
    EXPECT_TRUE(log.warnings().isEmpty()) << log.warnings().join("\n").toStdString();

    // A folder that can't be made is logged and the next is tried.
    QTemporaryDir dir;
    ASSERT_FALSE(zltest::writeFile(dir.filePath("sectors"), "a file where the folder should be").isEmpty());
    IntroVC::makeFolders(dir.path());
    EXPECT_TRUE(log.contains("Unable to create directory"));
    EXPECT_TRUE(QDir(QDir(dir.path()).filePath("KML - export")).exists());
}

TEST(SettingsScreen, TheTableModelsRowsTheirSeguesTheVersionAndAMissingHelpPage) {
    NavigationController nav;
    QStringList opened;
    for (const char* id : {"azimuth_settings", "ptp_settings", "validation_settings", "help"}) {
        const QString segue = QString::fromLatin1(id);
        nav.registerScreen(segue, [&opened, segue] { opened << segue; return new Blank; }, QUrl());
    }
    auto* settings = new SettingsVC;
    nav.setRootViewController(settings, QUrl());
    UITableView* table = settings->tableView();
    QAbstractItemModelTester tester(table, QAbstractItemModelTester::FailureReportingMode::Fatal);
    ASSERT_EQ(table->rowCount(), 5);
    const QModelIndex version = table->index(3);
    EXPECT_EQ((QVariantList{table->data(version, UITableView::SectionTitleRole),
                            table->data(version, UITableView::CellClassRole),
                            table->data(table->index(1), UITableView::FieldsRole).toMap().value("label"),
                            table->data(version, UITableView::DeletableRole)}),
              (QVariantList{"1|general", "settings_table_cell_dual", "point to point", false}));
    EXPECT_EQ(std::pair(table->indexOf(1, 0), table->indexOf(5, 0)), std::pair(3, -1));
    QSignalSpy deselect(table, &UITableView::deselectRow);
    for (int i : {0, 1, 2, 4}) {
        table->selectRow(i);
        nav.popViewControllerAnimated(false);
    }
    table->selectRow(3);  // version: nothing
    table->selectRow(99);
    table->deleteRow(-1);
    EXPECT_EQ(opened, QStringList({"azimuth_settings", "ptp_settings", "validation_settings", "help"}));
    EXPECT_EQ(deselect.size(), 5) << "a selected row is deselected";

    // The version row falls back when the app has none.
    const QString saved = QCoreApplication::applicationVersion();
    QCoreApplication::setApplicationVersion(QString());
    EXPECT_EQ(SettingsVC::bundleVersion(), "1.0.0-alpha");
    QCoreApplication::setApplicationVersion("3.1.4");
    EXPECT_EQ(SettingsVC::bundleVersion(), "3.1.4");
    QCoreApplication::setApplicationVersion(saved);

    // A help page missing from the bundle stays empty (the bundled one is laid out in the QML walk).
    AboutVC missing;
    missing.fileName = "about_xx";
    missing.loadViewIfNeeded();
    EXPECT_TRUE(missing.webView()->html().isEmpty());
}

TEST(TableModel, CellsAreAskedForWhenReadAndKeptUntilTheNextReload) {
    struct Counting : UITableViewDataSource {
        int numberOfRowsInSection(int) const override { return rows; }
        UITableViewCell cellForRowAtIndexPath(int, int r) const override {
            ++asked;
            return {"settingsCellTypeII", {{"settingName", QString::number(r)}, {"settingState", false}}};
        }
        int rows = 100000;
        mutable int asked = 0;
    } source;
    UITableView table;
    table.setDataSource(&source);
    EXPECT_EQ(std::pair(table.rowCount(), source.asked), std::pair(100000, 0));
    const QModelIndex row = table.index(99999);
    table.setCellControl(99999, "settingState", true);
    EXPECT_EQ((QVariantList{table.data(row, UITableView::FieldsRole).toMap().value("settingState"),
                            table.data(row, UITableView::CellClassRole), source.asked}),
              (QVariantList{true, "settingsCellTypeII", 1}));
    source.rows = 2;  // shrunk, not reloaded yet: a row it no longer has reads empty
    EXPECT_EQ(table.data(table.index(5), UITableView::CellClassRole), "");
    table.reloadData();
    EXPECT_EQ(table.data(table.index(1), UITableView::FieldsRole).toMap().value("settingName"), "1");
}

TEST(RootScreen, StripHeightRules) {
    MainVC main;
    main.loadViewIfNeeded();
    EXPECT_EQ(main.bottomAdHeight(), 0.0);
    main.bannerDidShow();
    EXPECT_EQ(main.bottomAdHeight(), 50.0);
    main.setUserInterfaceIdiom(MainVC::Pad);
    main.bannerDidShow();
    EXPECT_EQ(main.bottomAdHeight(), 90.0);
    main.bannerDidHide();
    EXPECT_EQ(main.bottomAdHeight(), 0.0);
}

TEST(ApplicationDelegate, OpensTheStoreLazilySavesOnlyChangesAndReportsAStoreThatWontOpen) {
    QTemporaryDir dir;
    AppDelegate app{AppPaths(dir.path())};
    EXPECT_TRUE(app.didFinishLaunching(QString(39, QLatin1Char('k'))));
    EXPECT_TRUE(app.notice().isEmpty());
    EXPECT_FALSE(app.hasOpenedStore()) << "launch touches no store";
    app.saveStoreChanges();  // nothing opened: nothing to do
    EXPECT_FALSE(QFile::exists(QDir(dir.path()).filePath("Zenloft.sqlite")));

    NSPersistentContainer* container = app.persistentContainer();
    EXPECT_EQ(app.persistentContainer(), container) << "the same container every time";
    auto* a = container->viewContext()->insertNewObject<Azimuth>();
    a->setId("A");
    app.sceneDidEnterBackground();
    EXPECT_FALSE(container->viewContext()->hasChanges());
    EXPECT_TRUE(container->viewContext()->flush());
    EXPECT_TRUE(app.problem().isEmpty());
    zltest::LogCapture log;
    app.didFinishLaunching("short");
    EXPECT_TRUE(app.notice().contains("5 characters"));
    EXPECT_TRUE(log.contains("5 characters, expected 39"));

    // A store that won't open is reported by name, and so is each refused save.
    QTemporaryDir broken;
    const QString store = zltest::writeFile(broken.filePath("Zenloft.sqlite"), QByteArray(2048, 'z'));
    AppDelegate other{AppPaths(broken.path())};
    QSignalSpy problem(&other, &AppDelegate::problemChanged);
    other.persistentContainer()->viewContext()->insertNewObject<Azimuth>();
    EXPECT_EQ(problem.size(), 1);
    EXPECT_TRUE(other.problem().contains(store));
    other.saveStoreChanges();
    EXPECT_TRUE(other.problem().contains("could not save")) << other.problem().toStdString();
    other.dismissProblem();
    EXPECT_TRUE(other.problem().isEmpty());
}
