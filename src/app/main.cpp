// Zenloft: builds the long-lived services once, registers every screen and
// opens the menu.

#include "AppDelegate.h"
#include "AppOptions.h"
#include "AzimuthScreens.h"
#include "AppPaths.h"
#include "Geocoder.h"
#include "LocationServices.h"
#include "SelfTest.h"
#include "ShellScreens.h"
#include "ShellServices.h"
#include "settings/UserDefaults.h"
#include "store/Realm.h"
#include "ui/NavigationController.h"

#include "GMSServices.h"
#include "MapServiceSetup.h"

#include <QDateTime>
#include <QDebug>
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickStyle>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/QQmlExtensionPlugin>

#include <cstdio>

Q_IMPORT_QML_PLUGIN(Zenloft_ShellPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)
Q_IMPORT_QML_PLUGIN(Zenloft_AzimuthPlugin)

namespace {

struct StartupTiming {
    QQuickWindow* window;
    QObject* stack;
    NavigationController* navigation;
    QStringList taps;
    int step = -1;  // -1: waiting for the first frame
    qint64 tappedAt = 0;
    bool shown = false;

    void frame() {
        const qint64 now = QDateTime::currentMSecsSinceEpoch();
        if (step < 0) {
            std::printf("first frame at %lld\n", now);
            step = 0;
            next();
        } else if (!shown) {
            shown = true;
            std::printf("%s: first frame after %lld ms\n", qPrintable(taps.value(step)), now - tappedAt);
        } else if (stack && !stack->property("busy").toBool()) {
            std::printf("%s: transition done after %lld ms\n", qPrintable(taps.value(step)), now - tappedAt);
            navigation->popToRootViewControllerAnimated(false);
            ++step;
            next();
        } else {
            window->update();
        }
        std::fflush(stdout);
    }
    void next() {
        if (step >= taps.size()) {
            QCoreApplication::exit(0);
            return;
        }
        shown = false;
        tappedAt = QDateTime::currentMSecsSinceEpoch();
        QMetaObject::invokeMethod(navigation->topViewController(), taps.at(step).toLatin1().constData());
        window->update();
    }
};

}  // namespace

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

    if (!options.dataDir.isEmpty()) AppPaths::setDataDir(options.dataDir);
    QDir().mkpath(AppPaths::dataDir());
    UserDefaults::setStandardPath(AppPaths::settingsFile());
    Realm::setDefaultPath(AppPaths::realmFile());

    QString apiKey = options.apiKey;
    if (apiKey.isEmpty()) apiKey = UserDefaults::standardUserDefaults().stringForKey(QStringLiteral("map/apiKey")).value_or(QString());

    // Position source: the platform's unless configured otherwise.
    QString locationError;
    const QString locationSource = options.locationSource.isEmpty() ? QStringLiteral("platform") : options.locationSource;
    if (!LocationServices::shared()->configure(locationSource, &locationError))
        qWarning().noquote() << "position source" << locationSource << "refused:" << locationError;
    const QString geocoder = qEnvironmentVariable("ZENLOFT_GEOCODER_URL");
    if (!geocoder.isEmpty()) {
        Geocoder::Config config = Geocoder::defaultConfig();
        config.endpoint = QUrl(geocoder);
        Geocoder::setDefaultConfig(config);
    }

    AppDelegate appDelegate;
    appDelegate.didFinishLaunching(apiKey);
    GMSServices::provideAPIKey(apiKey);
    // Tiles from the map service, through the caches; without a service the
    // map draws what the disk cache holds, or its test pattern.
    MapServiceOptions mapOptions;
    mapOptions.endpoint = QUrl(options.mapEndpoint.isEmpty() ? QStringLiteral("http://127.0.0.1:8765/glm/mmap")
                                                             : options.mapEndpoint);
    mapOptions.apiKey = apiKey;
    mapOptions.settingsIniPath = AppPaths::settingsFile();
    mapOptions.cacheDir = QDir(AppPaths::cacheDir()).filePath(QStringLiteral("MapEngine"));
    if (!options.selfTest && !MapServiceSetup::start(mapOptions))
        qWarning().noquote() << "map service not set up; the map shows its test pattern";
    QObject::connect(&app, &QCoreApplication::aboutToQuit, [] { MapServiceSetup::stop(); });
    appDelegate.preloadStore();

    NavigationController navigation;
    MainVC mainVC;
    mainVC.loadViewIfNeeded();
    ShellServices services(&navigation, &mainVC, &appDelegate);

    ShellScreens::registerScreens(navigation);
    AzimuthScreens::registerScreens(navigation);

    QQuickStyle::setStyle(QStringLiteral("Material"));
    QQmlApplicationEngine engine;
    if (options.selfTest) SelfTest::startCounting();
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.load(QUrl(QStringLiteral("qrc:/Zenloft/Shell/qml/Main.qml")));
    if (engine.rootObjects().isEmpty()) return 1;
    ShellScreens::showMenu(navigation);

    if (options.selfTest) {
        const int code = SelfTest::run(navigation, engine);
        GMSServices::waitForTileWorkers();
        return code;
    }

    if (options.exitAfterFirstFrame) {
        // Start-up timing; with --open, also the time from the tap on each
        // named menu button to the first frame that shows its screen and to
        // the end of the page transition.
        auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
        QObject* stack = window->findChild<QObject*>(QStringLiteral("navigationStack"));
        auto* timing = new StartupTiming{window, stack, &navigation, options.openSegues};
        QObject::connect(window, &QQuickWindow::frameSwapped, &app, [timing] { timing->frame(); },
                         Qt::QueuedConnection);
    }

    if (!options.screenshot.isEmpty()) {
        QTimer::singleShot(300, &app, [&] {
            for (const QString& segue : options.openSegues) {
                UIViewController* top = navigation.topViewController();
                const QByteArray method = segue.toLatin1() + "()";
                if (segue == QLatin1String("back"))
                    navigation.popViewControllerAnimated(false);
                else if (top && top->metaObject()->indexOfMethod(method.constData()) >= 0)
                    QMetaObject::invokeMethod(top, segue.toLatin1().constData());  // a button of the screen
                else if (top)
                    top->performSegueWithIdentifier(segue);
            }
            QTimer::singleShot(options.screenshotDelayMs, &app, [&] {
                auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().value(0));
                const bool saved = window && window->grabWindow().save(options.screenshot);
                std::fprintf(saved ? stdout : stderr, "%s %s\n", saved ? "saved" : "could not save",
                             qPrintable(options.screenshot));
                QCoreApplication::exit(saved ? 0 : 1);
            });
        });
    }

    const int code = app.exec();
    appDelegate.saveStoreChanges();
    GMSServices::waitForTileWorkers();
    return code;
}
