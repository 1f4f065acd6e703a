#include "GMSOverlay.h"

#include <QDebug>

#include "GMSMapView.h"

GMSOverlay::GMSOverlay(bool tappable) : tappable_(tappable) {}

GMSOverlay::~GMSOverlay() = default;

void GMSOverlay::setTitle(const QString& title) {
    title_ = title;
    updateOnMap();
}

void GMSOverlay::setZIndex(std::int32_t z) {
    zIndex_ = z;
    updateOnMap();
}

void GMSOverlay::setTappable(bool tappable) {
    tappable_ = tappable;
    updateOnMap();
}

GMSMapView* GMSOverlay::map() const { return static_cast<GMSMapView*>(map_.data()); }

void GMSOverlay::setMap(GMSMapView* map) {
    if (map == this->map()) return;
    if (map && weak_from_this().expired()) {
        qWarning().noquote() << "GMSOverlay: an overlay must be made by its factory (shared ownership) "
                                "before it can be placed on a map; not placed";
        return;
    }
    if (GMSMapView* old = this->map()) {
        map_.clear();
        old->updateOverlay(this);
    }
    overlayID_ = 0;
    map_ = map;
    if (map) map->updateOverlay(this);
}

void GMSOverlay::updateOnMap() {
    ++revision_;
    if (GMSMapView* m = map()) m->updateOverlay(this);
}
