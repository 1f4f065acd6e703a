#include "GMSPolygon.h"

GMSPolygon::GMSPolygon() : GMSOverlay(false) {}

std::shared_ptr<GMSPolygon> GMSPolygon::polygon() { return std::make_shared<GMSPolygon>(); }

std::shared_ptr<GMSPolygon> GMSPolygon::polygonWithPath(const GMSPath& path) {
    auto p = polygon();
    p->setPath(path);
    return p;
}

void GMSPolygon::setPath(const GMSPath& path) {
    path_ = path.copy();
    updateOnMap();
}

void GMSPolygon::setHoles(const std::vector<GMSPath>& holes) {
    holes_.clear();
    holes_.reserve(holes.size());
    for (const GMSPath& h : holes) holes_.push_back(h.copy());
    updateOnMap();
}

void GMSPolygon::setStrokeWidth(float width) {
    strokeWidth_ = width;
    updateOnMap();
}

void GMSPolygon::setStrokeColor(const QColor& color) {
    strokeColor_ = color;
    updateOnMap();
}

void GMSPolygon::setFillColor(const QColor& color) {
    fillColor_ = color;
    updateOnMap();
}

void GMSPolygon::setGeodesic(bool geodesic) {
    geodesic_ = geodesic;
    updateOnMap();
}
