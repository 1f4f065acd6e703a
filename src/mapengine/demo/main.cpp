// The map demo: coordinate tiles on a hybrid map, radio sectors, a long
// geodesic link and tinted markers. Drag, pinch, wheel and double-click to
// move; flick for inertia. With --screenshots <dir> it saves pictures of a
// few views and quits (run it under Xvfb with QSG_RHI_BACKEND=opengl).
#include <QCommandLineParser>
#include <QDir>
#include <QGuiApplication>
#include <QQmlApplicationEngine>
#include <QQuickWindow>
#include <QTimer>
#include <QtQml/qqmlextensionplugin.h>

#include <functional>

#include "DemoScene.h"
#include "GMSMapView.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "GMSUISettings.h"

Q_IMPORT_QML_PLUGIN(Zenloft_MapPlugin)

namespace {

// Runs the steps one after another, each once the map has its tiles.
void runSteps(GMSMapView* map, QQuickWindow* window, std::vector<std::function<void()>> steps, std::size_t i = 0) {
    if (i >= steps.size()) {
        QGuiApplication::quit();
        return;
    }
    QTimer::singleShot(300, map, [=] {
        if (map->tileManager()->isLoading() || map->isAnimating()) {
            runSteps(map, window, steps, i);
            return;
        }
        steps[i]();
        runSteps(map, window, steps, i + 1);
    });
}

}  // namespace

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    QCommandLineParser parser;
    parser.addHelpOption();
    QCommandLineOption shots("screenshots", "Save screenshots to <dir> and quit.", "dir");
    parser.addOption(shots);
    parser.process(app);

    GMSServices::provideAPIKey(qEnvironmentVariable("ZENLOFT_MAP_KEY", QString(39, QChar('D'))));

    QQmlApplicationEngine engine;
    engine.addImportPath(QStringLiteral("qrc:/"));
    engine.loadData(R"(
import QtQuick
import QtQuick.Window
import Zenloft.Map
Window {
    width: 800; height: 600; visible: true; title: "Zenloft map demo"
    GMSMapView { objectName: "map"; anchors.fill: parent; mapType: 4 }
    Text {
        anchors { left: parent.left; bottom: parent.bottom; margins: 8 }
        color: "white"; style: Text.Outline; styleColor: "black"
        text: "zoom " + map.cameraZoom.toFixed(2) + "  " + map.cameraLatitude.toFixed(4) + ", " + map.cameraLongitude.toFixed(4)
        property var map: parent.children[0]
    }
}
)");
    if (engine.rootObjects().isEmpty()) return 1;
    auto* window = qobject_cast<QQuickWindow*>(engine.rootObjects().first());
    auto* map = window->findChild<GMSMapView*>("map");
    if (!map) return 1;

    const CLLocationCoordinate2D centre{50.0614, 19.9383};
    static const zl_demo::Scene scene = zl_demo::makeScene(centre, 9, 9, 2000);
    zl_demo::placeScene(scene, map);
    map->settings()->setCompassButton(true);
    map->settings()->setMyLocationButton(true);
    map->setMyLocationEnabled(true);
    map->setLocationFix({centre.latitude - 0.012, centre.longitude + 0.01});
    map->setCamera(GMSCameraPosition(centre, 12.5f));

    if (parser.isSet(shots)) {
        const QString dir = parser.value(shots);
        QDir().mkpath(dir);
        auto save = [=](const QString& name) { window->grabWindow().save(dir + "/map-" + name + ".png"); };
        runSteps(map, window,
                 {[=] { save("overview"); },
                  [=] {
                      map->setCamera(GMSCameraPosition(centre, 14.0f, 30.0, 0.0));
                      map->setSelectedMarker(scene.markers[4].get());
                  },
                  [=] { save("rotated-infowindow"); },
                  [=] { map->setCamera(GMSCameraPosition(centre, 4.0f)); },
                  [=] { save("geodesic-link"); }});
    }
    return app.exec();
}
