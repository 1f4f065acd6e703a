#pragma once

#include <QColor>

#include <vector>

#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "geometry/GMSPath.h"

class GMSMapView;

// A field scene like the validation screen draws: radio sectors around
// sites, a long great-circle link, and coloured site markers. Shared by the
// demo and the benchmarks.
namespace zl_demo {

// A sector: the site, then 721 points of the arc (a point every quarter of a
// degree over 180 degrees), then the site again: 723 points.
GMSMutablePath sectorPath(CLLocationCoordinate2D site, double azimuth, double width, double radiusMeters,
                          int arcPoints = 721);

struct Scene {
    std::vector<GMSPolygonPtr> sectors;
    std::vector<GMSMarkerPtr> markers;
    GMSPolylinePtr link;
};

// `sectors` sectors and `markers` markers on a grid around `centre`, and a
// geodesic polyline of `linePoints` points.
Scene makeScene(CLLocationCoordinate2D centre, int sectors, int markers, int linePoints);
void placeScene(const Scene& scene, GMSMapView* map);

}  // namespace zl_demo
