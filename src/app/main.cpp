// Zenloft: builds the long-lived services once, registers every screen with
// them and opens the menu.

#include "AppDelegate.h"
#include "AppOptions.h"
#include "AppPaths.h"
#include "AzimuthScreens.h"
#include "PtpScreens.h"
#include "Clock.h"
#include "Drivers.h"
#include "LocationServices.h"
#include "ScreenContext.h"
#include "SelfTest.h"
#include "ShellScreens.h"
#include "ShellServices.h"
#include "SystemSound.h"
#include "settings/UserDefaults.h"
#include "store/Realm.h"
#include "ui/NavigationController.h"

#include "GMSServices.h"
#include "MapServiceSetup.h"

#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QtQml/QQmlExtensionPlugin>

#include <cstdio>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_AzimuthPlugin)

int main(int argc, char* argv[]) {
    // Where nothing paces frames to the display (X11 without a compositor),
    // Qt holds a requested frame back 5 ms to gather updates. The map paces
    // its own frames, so a tile that completes the screen is drawn at once.
    if (!qEnvironmentVariableIsSet("QT_QPA_UPDATE_IDLE_TIME"))
        qputenv("QT_QPA_UPDATE_IDLE_TIME", "0");
    QGuiApplication app(argc, argv);
    QGuiApplication::setApplicationName(QStringLiteral("Zenloft"));
    QGuiApplication::setOrganizationName(QStringLiteral("Zenloft"));
    QGuiApplication::setApplicationVersion(QStringLiteral(ZENLOFT_VERSION));

    QString error;
    const AppOptions options = AppOptions::parse(app.arguments(), &error);
    if (!error.isEmpty()) {
        std::fprintf(stderr, "zenloft: %s\n", qPrintable(error));
        return 2;
    }
    if (options.selfTest) SelfTest::installWarningCounter();

    const AppPaths paths(options.dataDir.isEmpty() ? AppPaths::defaultDataDir() : options.dataDir);
    QDir().mkpath(paths.dataDir());

    // The services every screen is handed.
    zl::Clock& clock = zl::Clock::system();
    RealmConfiguration realm(paths.realmFile(), &clock);
    UserDefaults defaults(paths.settingsFile());
    LocationServices location(&clock);
    QtSoundPlayer sound;
    AppDelegate appDelegate(paths);
    ScreenContext context;
    context.appDelegate = &appDelegate;
    context.realm = &realm;
    context.defaults = &defaults;
    context.location = &location;
    context.clock = &clock;
    context.sound = &sound;
    context.paths = paths;
    context.geocoder.endpoint = QUrl(qEnvironmentVariable("ZENLOFT_GEOCODER_URL"));

    QString apiKey = options.apiKey;
    if (apiKey.isEmpty()) apiKey = defaults.stringForKey(QStringLiteral("map/apiKey")).value_or(QString());

    // Position source: the platform's unless configured otherwise.
    QString locationError;
    const QString locationSource = options.locationSource.isEmpty() ? QStringLiteral("platform") : options.locationSource;
    if (!location.configure(locationSource, &locationError))
        qWarning().noquote() << "position source" << locationSource << "refused:" << locationError;

    appDelegate.didFinishLaunching(apiKey);
    GMSServices::provideAPIKey(apiKey);
    // Tiles from the map service, through the caches; without a service the
    // map draws what the disk cache holds, or its test pattern.
    MapServiceOptions mapOptions;
    mapOptions.endpoint = QUrl(options.mapEndpoint.isEmpty() ? QStringLiteral("http://127.0.0.1:8765/glm/mmap")
                                                             : options.mapEndpoint);
    mapOptions.apiKey = apiKey;
    mapOptions.settingsIniPath = paths.settingsFile();
    mapOptions.cacheDir = QDir(paths.cacheDir()).filePath(QStringLiteral("MapEngine"));
    mapOptions.clock = &clock;
    std::unique_ptr<MapServiceSetup> mapService;
    if (!options.selfTest) {
        mapService = std::make_unique<MapServiceSetup>(mapOptions);
        if (!mapService->startServices(true)) {
            qWarning().noquote() << "map service not set up; the map shows its test pattern";
            mapService.reset();
        }
    }
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [&mapService] { mapService.reset(); });
    appDelegate.preloadStore();

    NavigationController navigation;
    MainVC mainVC;
    mainVC.loadViewIfNeeded();
    ShellServices services(&navigation, &mainVC, &appDelegate);

    ShellScreens::registerScreens(navigation);
    AzimuthScreens::registerScreens(navigation, context);
    PtpScreens::registerScreens(navigation, context);

    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;
    if (options.selfTest) SelfTest::startCounting();
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.load(QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/Main.qml")));
    if (engine.rootObjects().isEmpty()) return 1;
    ShellScreens::showMenu(navigation, context);

    if (options.selfTest) {
        const int code = SelfTest::run(navigation, engine);
        GMSServices::waitForTileWorkers();
        return code;
    }
    if (options.exitAfterFirstFrame) Drivers::timeStartup(engine, navigation, options.openSegues);
    if (!options.screenshot.isEmpty())
        Drivers::takeScreenshot(engine, navigation, options.openSegues, options.screenshot, options.screenshotDelayMs);

    const int code = app.exec();
    appDelegate.saveStoreChanges();
    GMSServices::waitForTileWorkers();
    return code;
}
