#include "MapSupport.h"

#include "GMSMapView.h"
#include "LocationManager.h"
#include "LocationServices.h"

#include <QGuiApplication>
#include <QPainter>
#include <QScreen>

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

void feedMyLocation(GMSMapView* map, LocationManager* manager) {
    if (!map || !manager || !manager->services()) return;
    if (const auto fix = manager->location()) map->setLocationFix(fix->coordinate);
    QObject::connect(manager->services(), &LocationServices::locationsUpdated, map,
                     [map](const QList<CLLocation>& fixes) {
                         if (!fixes.isEmpty()) map->setLocationFix(fixes.last().coordinate);
                     });
}

}  // namespace MapSupport
