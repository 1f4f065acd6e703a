#include "GMSMarker.h"

#include "GMSColorBlend.h"

GMSMarker::GMSMarker() : GMSOverlay(true), position_(kCLLocationCoordinate2DInvalid) {}

std::shared_ptr<GMSMarker> GMSMarker::marker() { return std::make_shared<GMSMarker>(); }

std::shared_ptr<GMSMarker> GMSMarker::markerWithPosition(CLLocationCoordinate2D position) {
    auto m = marker();
    m->setPosition(position);
    return m;
}

QImage GMSMarker::defaultMarkerImage() {
    static const QImage pin(QStringLiteral(":/map/default_marker.png"));
    return pin;
}

QImage GMSMarker::markerImageWithColor(const QColor& color) {
    return GMSTintImageWithColor(defaultMarkerImage(), color);
}

void GMSMarker::setPosition(CLLocationCoordinate2D position) {
    position_ = position;
    updateOnMap();
}

void GMSMarker::setSnippet(const QString& snippet) {
    snippet_ = snippet;
    updateOnMap();
}

void GMSMarker::setIcon(const QImage& icon) {
    icon_ = icon;
    updateOnMap();
}

QImage GMSMarker::effectiveIcon() const { return icon_.isNull() ? defaultMarkerImage() : icon_; }

void GMSMarker::setGroundAnchor(QPointF anchor) {
    groundAnchor_ = anchor;
    updateOnMap();
}

void GMSMarker::setInfoWindowAnchor(QPointF anchor) {
    infoWindowAnchor_ = anchor;
    updateOnMap();
}

void GMSMarker::setOpacity(float opacity) {
    opacity_ = opacity;
    updateOnMap();
}

void GMSMarker::setRotation(double degrees) {
    rotation_ = degrees;
    updateOnMap();
}

void GMSMarker::setFlat(bool flat) {
    flat_ = flat;
    updateOnMap();
}

void GMSMarker::setDraggable(bool draggable) {
    draggable_ = draggable;
    updateOnMap();
}
