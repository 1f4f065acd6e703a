#include "GMSGroundOverlay.h"

#include <cmath>

#include "geometry/GMSMapPoint.h"

using gmscore::model::Point2D;

GMSGroundOverlay::GMSGroundOverlay() : GMSOverlay(false), position_(kCLLocationCoordinate2DInvalid) {}

std::shared_ptr<GMSGroundOverlay> GMSGroundOverlay::groundOverlay() { return std::make_shared<GMSGroundOverlay>(); }

std::shared_ptr<GMSGroundOverlay> GMSGroundOverlay::groundOverlayWithBounds(const GMSCoordinateBounds& bounds,
                                                                            const QImage& icon) {
    auto g = groundOverlay();
    g->setBounds(bounds);
    g->setIcon(icon);
    return g;
}

std::shared_ptr<GMSGroundOverlay> GMSGroundOverlay::groundOverlayWithPosition(CLLocationCoordinate2D position,
                                                                              const QImage& icon, double zoomLevel) {
    auto g = groundOverlay();
    const QSizeF size = icon.deviceIndependentSize();
    // World units per point at that zoom: the world is 256 points at zoom 0.
    const double unitsPerPoint = double(gmscore::model::kWorldSize) / (256.0 * std::exp2(zoomLevel));
    const Point2D p = Point2D::fromCoordinate(position);
    const double w = size.width() * unitsPerPoint, h = size.height() * unitsPerPoint;
    const QPointF a = g->anchor();
    const double swx = p.x - a.x() * w, swy = p.y - (1.0 - a.y()) * h;
    const Point2D sw{gmscore::model::roundToWorldUnit(swx), gmscore::model::roundToWorldUnit(swy)};
    const Point2D ne{gmscore::model::roundToWorldUnit(swx + w), gmscore::model::roundToWorldUnit(swy + h)};
    g->setBounds(GMSCoordinateBounds::withSouthWest(sw.toCoordinate(), ne.toCoordinate()));
    g->setIcon(icon);
    return g;
}

void GMSGroundOverlay::recomputePosition() {
    if (!bounds_ || !bounds_->isValid()) {
        position_ = kCLLocationCoordinate2DInvalid;
        return;
    }
    const Point2D sw = Point2D::fromCoordinate(bounds_->southWest());
    const Point2D ne = Point2D::fromCoordinate(bounds_->northEast());
    double width = double(ne.x) - double(sw.x);
    if (width < 0) width += double(gmscore::model::kWorldSize);  // over the antimeridian
    const double x = sw.x + anchor_.x() * width;
    const double y = sw.y + (1.0 - anchor_.y()) * (double(ne.y) - double(sw.y));
    CLLocationCoordinate2D c =
        Point2D{gmscore::model::roundToWorldUnit(x), gmscore::model::roundToWorldUnit(y)}.toCoordinate();
    if (c.longitude >= 180.0) c.longitude -= 360.0;
    position_ = c;
}

void GMSGroundOverlay::setAnchor(QPointF anchor) {
    if (anchor == anchor_) return;
    anchor_ = anchor;
    recomputePosition();
    updateOnMap();
}

void GMSGroundOverlay::setOpacity(float opacity) {
    opacity_ = opacity;
    updateOnMap();
}

void GMSGroundOverlay::setBearing(double bearing) {
    if (std::isfinite(bearing)) {
        // Far values would take forever one turn at a time.
        if (std::abs(bearing) > 1e6) bearing = std::fmod(bearing, 360.0);
        while (bearing < 0.0) bearing += 360.0;
        while (bearing >= 360.0) bearing -= 360.0;
    }
    bearing_ = bearing;
    updateOnMap();
}

void GMSGroundOverlay::setIcon(const QImage& icon) {
    icon_ = icon;
    updateOnMap();
}

void GMSGroundOverlay::setBounds(const std::optional<GMSCoordinateBounds>& bounds) {
    bounds_ = bounds;
    recomputePosition();
    updateOnMap();
}
