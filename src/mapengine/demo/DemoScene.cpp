#include "DemoScene.h"

#include <cmath>

#include "GMSMapView.h"
#include "geometry/GMSEarth.h"
#include "geometry/GMSGeometryUtils.h"

namespace zl_demo {

GMSMutablePath sectorPath(CLLocationCoordinate2D site, double azimuth, double width, double radiusMeters,
                          int arcPoints) {
    GMSMutablePath path;
    path.addCoordinate(site);
    const double angle = radiusMeters / kGMSEarthRadius;
    for (int i = 0; i < arcPoints; ++i) {
        const double heading = azimuth - width / 2 + width * i / (arcPoints - 1);
        path.addCoordinate(GMSGeometryOffset(site, angle, heading));
    }
    path.addCoordinate(site);
    return path;
}

Scene makeScene(CLLocationCoordinate2D centre, int sectors, int markers, int linePoints) {
    Scene s;
    static const QColor palette[] = {QColor(230, 60, 50), QColor(40, 160, 70), QColor(50, 110, 230),
                                     QColor(240, 180, 20), QColor(160, 60, 200)};
    const int side = std::max(1, int(std::ceil(std::sqrt(double(std::max(sectors, markers))))));
    for (int i = 0; i < sectors; ++i) {
        const CLLocationCoordinate2D site{centre.latitude + (i / side - side / 2) * 0.02,
                                          centre.longitude + (i % side - side / 2) * 0.03};
        auto p = GMSPolygon::polygonWithPath(sectorPath(site, (i * 67) % 360, 180.0, 900.0));
        QColor fill = palette[i % 5];
        fill.setAlphaF(0.35f);
        p->setFillColor(fill);
        p->setStrokeColor(palette[i % 5].darker(130));
        p->setStrokeWidth(2);
        s.sectors.push_back(p);
    }
    for (int i = 0; i < markers; ++i) {
        const CLLocationCoordinate2D site{centre.latitude + (i / side - side / 2) * 0.02,
                                          centre.longitude + (i % side - side / 2) * 0.03};
        auto m = GMSMarker::markerWithPosition(site);
        m->setIcon(GMSMarker::markerImageWithColor(palette[i % 5]));
        m->setTitle(QStringLiteral("Site %1").arg(i + 1));
        m->setSnippet(QStringLiteral("%1, %2").arg(site.latitude, 0, 'f', 4).arg(site.longitude, 0, 'f', 4));
        s.markers.push_back(m);
    }
    // A long link with many vertices, drawn along great circles.
    GMSMutablePath line;
    for (int i = 0; i < linePoints; ++i) {
        const double f = double(i) / std::max(1, linePoints - 1);
        line.addLatitude(centre.latitude - 20.0 + 40.0 * f + 0.3 * std::sin(f * 60.0),
                         centre.longitude - 60.0 + 120.0 * f);
    }
    s.link = GMSPolyline::polylineWithPath(line);
    s.link->setGeodesic(true);
    s.link->setStrokeWidth(4);
    s.link->setStrokeColor(QColor(255, 140, 0));
    return s;
}

void placeScene(const Scene& scene, GMSMapView* map) {
    for (const auto& p : scene.sectors) p->setMap(map);
    if (scene.link) scene.link->setMap(map);
    for (const auto& m : scene.markers) m->setMap(map);
}

}  // namespace zl_demo
