#include "GMSProjection.h"

#include <algorithm>
#include <cmath>

namespace gms_mercator {

constexpr double kPi = 3.141592653589793;

double xForLongitude(double longitude) { return longitude / 360.0 + 0.5; }

double yForLatitude(double latitude) {
    // Beyond 85.05 degrees the Mercator square ends; clamp so poles stay finite.
    const double lat = std::clamp(latitude, -89.999, 89.999);
    const double m = std::log(std::tan(lat * kPi / 360.0 + kPi / 4.0));
    return std::clamp(0.5 - m / (2.0 * kPi), 0.0, 1.0);
}

double longitudeForX(double x) { return (x - 0.5) * 360.0; }

double latitudeForY(double y) {
    const double m = (0.5 - y) * 2.0 * kPi;
    return (2.0 * std::atan(std::exp(m)) - kPi / 2.0) * 57.29577951308232;
}

}  // namespace gms_mercator

GMSProjection::GMSProjection(const GMSCameraPosition& camera, QSizeF viewSize, QMarginsF padding)
    : camera_(camera), size_(viewSize) {
    const double zoom = std::isfinite(camera.zoom()) ? camera.zoom() : 2.0;
    worldSize_ = 256.0 * std::exp2(zoom);
    const double w = viewSize.width() - padding.left() - padding.right();
    const double h = viewSize.height() - padding.top() - padding.bottom();
    center_ = QPointF(padding.left() + w / 2.0, padding.top() + h / 2.0);
    targetWorld_ = worldPointForCoordinate(camera.target());
    const double b = camera.bearing() * 0.017453292519943295;
    cos_ = std::cos(b);
    sin_ = std::sin(b);
}

QPointF GMSProjection::worldPointForCoordinate(CLLocationCoordinate2D c) const {
    return {gms_mercator::xForLongitude(c.longitude) * worldSize_, gms_mercator::yForLatitude(c.latitude) * worldSize_};
}

QPointF GMSProjection::pointForWorldPoint(QPointF world, bool wrap) const {
    double dx = world.x() - targetWorld_.x();
    const double dy = world.y() - targetWorld_.y();
    if (wrap) dx -= std::round(dx / worldSize_) * worldSize_;
    // Rotate so that the bearing points up.
    return {center_.x() + dx * cos_ + dy * sin_, center_.y() - dx * sin_ + dy * cos_};
}

QPointF GMSProjection::worldPointForPoint(QPointF point) const {
    const double sx = point.x() - center_.x(), sy = point.y() - center_.y();
    return {targetWorld_.x() + sx * cos_ - sy * sin_, targetWorld_.y() + sx * sin_ + sy * cos_};
}

QPointF GMSProjection::pointForCoordinate(CLLocationCoordinate2D coordinate) const {
    return pointForWorldPoint(worldPointForCoordinate(coordinate));
}

CLLocationCoordinate2D GMSProjection::coordinateForPoint(QPointF point) const {
    const QPointF w = worldPointForPoint(point);
    const double y = std::clamp(w.y() / worldSize_, 0.0, 1.0);
    const double lng = GMSCameraPosition::wrapLongitude(gms_mercator::longitudeForX(w.x() / worldSize_));
    return {gms_mercator::latitudeForY(y), lng};
}

double GMSProjection::pointsForMeters(double meters, CLLocationCoordinate2D coordinate) const {
    const double circumference = 40030230.14070891 * std::cos(coordinate.latitude * 0.017453292519943295);
    return meters / circumference * worldSize_;
}

bool GMSProjection::containsCoordinate(CLLocationCoordinate2D coordinate) const {
    const QPointF p = pointForCoordinate(coordinate);
    return p.x() >= 0 && p.y() >= 0 && p.x() <= size_.width() && p.y() <= size_.height();
}

GMSVisibleRegion GMSProjection::visibleRegion() const {
    const double w = size_.width(), h = size_.height();
    return {coordinateForPoint({0, h}), coordinateForPoint({w, h}), coordinateForPoint({0, 0}),
            coordinateForPoint({w, 0})};
}
