#include "MapSupport.h"

#include "GMSCameraPosition.h"
#include "GMSMapView.h"
#include "GMSUISettings.h"
#include "LocationManager.h"
#include "LocationServices.h"
#include "WorkPosition.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

#include <cmath>

namespace MapSupport {

QImage compassIndicatorIcon() {
    const QImage source(QStringLiteral(":/map/new_compass_indicator.png"));
    qreal scale = 1.0;
    if (auto* app = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
        if (QScreen* screen = app->primaryScreen()) scale = screen->devicePixelRatio();
    QImage icon(QSize(qRound(50 * scale), qRound(120 * scale)), QImage::Format_ARGB32_Premultiplied);
    icon.setDevicePixelRatio(scale);
    icon.fill(Qt::transparent);
    if (source.isNull()) return icon;
    QPainter p(&icon);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    p.drawImage(QRectF(0, 0, 50, 120), source);
    return icon;
}

bool enableMyLocation(GMSMapView* map, LocationManager* manager) {
    if (!map || !manager || !::enableMyLocation(*manager)) return false;
    map->setMyLocationEnabled(true);
    map->settings()->setMyLocationButton(true);
    if (!manager->services()) return true;
    // The map engine knows nothing of positions; this joins it to the
    // location services of the manager.
    if (const auto fix = manager->location()) map->setLocationFix(fix->coordinate);
    QObject::connect(manager->services(), &LocationServices::locationsUpdated, map,
                     [map](const QList<CLLocation>& fixes) {
                         if (!fixes.isEmpty()) map->setLocationFix(fixes.last().coordinate);
                     });
    return true;
}

LocationManager* setUpCompassMap(GMSMapView* map, GMSMapViewDelegate* screen, LocationServices* services,
                                 QObject* owner) {
    map->setDelegate(screen);
    QMarginsF padding = map->padding();
    padding.setBottom(50.0);
    map->setPadding(padding);
    auto* manager = new LocationManager(services, owner);
    manager->requestWhenInUseAuthorization();
    manager->setDesiredAccuracy(kCLLocationAccuracyBest);
    manager->startUpdatingHeading();
    enableMyLocation(map, manager);
    return manager;
}

void showWorkPosition(GMSMapView* map, const GMSMarkerPtr& needle, const GMSMarkerPtr& pin,
                      CLLocationCoordinate2D position, const QString& title) {
    map->setCamera(GMSCameraPosition(position.latitude, position.longitude, 18.0f));
    needle->setPosition(position);
    needle->setIcon(compassIndicatorIcon());
    needle->setFlat(true);
    needle->setMap(map);
    pin->setPosition(position);
    pin->setTitle(title);
    pin->setFlat(false);
    pin->setMap(map);
    map->setMapType(GMSMapView::kGMSTypeHybrid);
    map->settings()->setRotateGestures(false);
}

void searchAddress(QObject* screen, QPointer<Geocoder>& current, const Geocoder::Config& config,
                   const QString& address, const Geocoder::CompletionHandler& done) {
    QPointer<Geocoder> running = current;
    Geocoder* mine = new Geocoder(config, screen);
    current = mine;
    if (running) {
        running->cancelGeocode();
        running->deleteLater();
    }
    // The geocoder is the screen's child: while it can answer, `current` lives.
    mine->geocodeAddressString(address, [&current, mine, done](const QList<CLPlacemark>& placemarks,
                                                               const std::optional<CLError>& error) {
        if (mine == current) done(placemarks, error);
    });
}

bool onBearing(double heading, double bearing) { return std::fabs(heading - bearing) <= kOnBearingDegrees; }

QColor onBearingColor() { return QColor::fromRgbF(0.46666667f, 0.7647059f, 0.26666668f, 1.0f); }

QColor readoutColor(double heading, double bearing) {
    return onBearing(heading, bearing) ? onBearingColor() : QColor(Qt::white);
}

}  // namespace MapSupport
