// Pictures of the azimuth screens for the documentation: the map with three
// coloured lines, the settings list and the editor. Run under Xvfb with
// QSG_RHI_BACKEND=opengl (lines need the OpenGL scene graph):
//   xvfb-run -a -s "-screen 0 1280x1024x24" env QSG_RHI_BACKEND=opengl \
//     QT_QPA_PLATFORM=xcb azimuth_screenshots <dir>

#include "AppDelegate.h"
#include "fake_context.h"
#include "AppPaths.h"
#include "AzimuthScreens.h"
#include "AzimuthVC.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "ShellScreens.h"
#include "ShellServices.h"
#include "screens/MainVC.h"
#include "settings/UserDefaults.h"
#include "store/Entities.h"
#include "ui/NavigationController.h"
#include "ui/UITableView.h"

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTemporaryDir>
#include <QtQml/QQmlExtensionPlugin>

#include <cstdio>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_AzimuthPlugin)

namespace {
void settle(int ms) {
    QElapsedTimer t;
    t.start();
    while (t.elapsed() < ms) QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
}
bool save(QQuickWindow* window, const QString& path) {
    const bool ok = window->grabWindow().save(path);
    std::printf("%s %s\n", ok ? "saved" : "could not save", qPrintable(path));
    return ok;
}
}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: azimuth_screenshots <dir>\n");
        return 2;
    }
    const QString out = QString::fromLocal8Bit(argv[1]);
    QDir().mkpath(out);
    zltest::FakeScreenContext fake;
    GMSServices::provideAPIKey(QString(39, QChar('A')));

    UserDefaults& defaults = fake.defaults;
    defaults.setBool(true, SettingsKey::useGeocoder);
    defaults.setDouble(50.0614, SettingsKey::latitude);
    defaults.setDouble(19.9383, SettingsKey::longitude);

    AppDelegate& appDelegate = fake.appDelegate;
    NSManagedObjectContext* context = appDelegate.persistentContainer()->viewContext();
    struct Line {
        double azimuth, km;
        const char* desc;
        int r, g, b;
    };
    for (const Line l : {Line{35.0, 0.09, "sector A", 230, 57, 70}, Line{160.0, 0.08, "sector B", 255, 214, 10},
                         Line{275.5, 0.06, "", 72, 149, 239}}) {
        Azimuth* a = context->insertNewObject<Azimuth>();
        a->setId(QStringLiteral("SHOT-%1").arg(l.azimuth));
        a->setAzimuth(l.azimuth);
        a->setDistance(l.km);
        a->setDesc(QString::fromUtf8(l.desc));
        a->setColorRed(l.r);
        a->setColorGreen(l.g);
        a->setColorBlue(l.b);
        a->setIsActive(true);
    }
    QString error;
    context->save(&error);

    NavigationController navigation;
    MainVC mainVC;
    mainVC.loadViewIfNeeded();
    ShellServices services(&navigation, &mainVC, &appDelegate);
    ShellScreens::registerScreens(navigation);
    AzimuthScreens::registerScreens(navigation, fake.context);

    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.load(QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/Main.qml")));
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
    if (!window) return 1;
    ShellScreens::showMenu(navigation, fake.context);
    settle(300);

    navigation.performSegue(navigation.topViewController(), QStringLiteral("azimuthVC"), QVariant());
    auto* map = qobject_cast<AzimuthVC*>(navigation.topViewController());
    if (!map) return 1;
    settle(600);
    map->didTapMarker(map->mapView(), map->markery[0].marker.get());
    CLHeading heading;
    heading.trueHeading = 37.0;
    heading.isTrueHeading = true;
    map->didUpdateHeading(heading);
    for (int i = 0; i < 50 && map->mapView()->tileManager()->isLoading(); ++i) settle(100);
    settle(500);
    bool ok = save(window, QDir(out).filePath("azimuth-map.png"));

    map->settings();
    settle(700);
    ok &= save(window, QDir(out).filePath("azimuth-settings.png"));

    navigation.topViewController()->performSegueWithIdentifier(QStringLiteral("newAzimuth"), QStringLiteral("SHOT-35"));
    settle(700);
    ok &= save(window, QDir(out).filePath("azimuth-editor.png"));

    // An import with two files in the folder, one of them chosen.
    QDir().mkpath(fake.context.paths.documentsPath(QStringLiteral("azimuths")));
    for (const char* name : {"site 12.json", "tower east.json"}) {
        QFile f(QDir(fake.context.paths.documentsPath(QStringLiteral("azimuths"))).filePath(QString::fromUtf8(name)));
        if (f.open(QIODevice::WriteOnly)) f.write("{\"azimuths\": []}");
    }
    navigation.popViewControllerAnimated(false);
    navigation.topViewController()->performSegueWithIdentifier(QStringLiteral("importAzimuths"), QStringLiteral("1"));
    settle(500);
    if (auto* table = navigation.topViewController()->findChild<UITableView*>()) table->selectRow(1);
    settle(300);
    ok &= save(window, QDir(out).filePath("azimuth-import.png"));

    navigation.popViewControllerAnimated(false);
    navigation.topViewController()->performSegueWithIdentifier(QStringLiteral("changeLocation"), QStringLiteral("1"));
    settle(1500);
    ok &= save(window, QDir(out).filePath("azimuth-location.png"));
    return ok ? 0 : 1;
}
