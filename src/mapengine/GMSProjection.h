#pragma once

#include <QMarginsF>
#include <QPointF>
#include <QSizeF>

#include "GMSCameraPosition.h"
#include "geometry/CLLocationCoordinate2D.h"

// The four corners of the view on the ground.
struct GMSVisibleRegion {
    CLLocationCoordinate2D nearLeft, nearRight, farLeft, farRight;
};

// A snapshot of how the map sits on the screen: camera, view size and
// padding. The world is 256 points wide at zoom 0 and doubles with each zoom
// level; the camera target sits at the centre of the padded view and the
// bearing points up. Points are the view's own coordinates.
class GMSProjection {
public:
    GMSProjection() = default;
    GMSProjection(const GMSCameraPosition& camera, QSizeF viewSize, QMarginsF padding = {});

    QPointF pointForCoordinate(CLLocationCoordinate2D coordinate) const;
    CLLocationCoordinate2D coordinateForPoint(QPointF point) const;
    double pointsForMeters(double meters, CLLocationCoordinate2D coordinate) const;
    bool containsCoordinate(CLLocationCoordinate2D coordinate) const;
    GMSVisibleRegion visibleRegion() const;

    // The world in points at this zoom.
    double worldSize() const { return worldSize_; }
    QPointF viewCenter() const { return center_; }
    const GMSCameraPosition& camera() const { return camera_; }
    QSizeF viewSize() const { return size_; }

    // World position in points of this zoom, x east from longitude -180,
    // y south from the top of the world (no wrap).
    QPointF worldPointForCoordinate(CLLocationCoordinate2D c) const;
    // Screen point of a world point; `wrap` picks the copy nearest the camera.
    QPointF pointForWorldPoint(QPointF world, bool wrap = true) const;
    QPointF worldPointForPoint(QPointF point) const;

private:
    GMSCameraPosition camera_;
    QSizeF size_;
    QPointF center_;
    double worldSize_ = 256.0;
    QPointF targetWorld_;
    double cos_ = 1.0, sin_ = 0.0;
};

// Mercator of the engine, in normalised units: x in [0, 1) from longitude
// -180, y in [0, 1] from the north edge.
namespace gms_mercator {
double xForLongitude(double longitude);
double yForLatitude(double latitude);
double longitudeForX(double x);
double latitudeForY(double y);
}  // namespace gms_mercator
