#pragma once

#include <QObject>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <cstdint>
#include <memory>

class GMSMapView;

// The base of everything the application puts on a map. Overlays are made
// through their factories (shared ownership): a map holds a strong reference
// to each overlay placed on it, so an overlay stays until its map is set to
// nullptr or the map is cleared, even when the application lets go of it.
// The map itself is held weakly.
class GMSOverlay : public QObject, public std::enable_shared_from_this<GMSOverlay> {
    Q_OBJECT
public:
    enum OverlayType { Marker = 1, GroundOverlay = 2, Polyline = 3, Polygon = 4 };
    ~GMSOverlay() override;

    virtual int type() const = 0;

    QString title() const { return title_; }
    void setTitle(const QString& title);

    std::int32_t zIndex() const { return zIndex_; }
    void setZIndex(std::int32_t z);

    bool isTappable() const { return tappable_; }
    void setTappable(bool tappable);

    GMSMapView* map() const;
    // Places the overlay on `map`, moves it from its old one, or with
    // nullptr takes it off.
    void setMap(GMSMapView* map);

    QVariant userData() const { return userData_; }
    void setUserData(const QVariant& data) { userData_ = data; }

    // Id of the drawn entity, 0 while there is none.
    std::uint64_t overlayID() const { return overlayID_; }
    bool isPending() const { return pending_; }

    // Grows with every change that the map has to redraw.
    std::uint64_t revision() const { return revision_; }

protected:
    explicit GMSOverlay(bool tappable);
    // A property changed: costs only a store while off the map.
    void updateOnMap();

private:
    friend class GMSMapView;
    bool tappable_;
    bool pending_ = false;
    std::int32_t zIndex_ = 0;
    QString title_;
    QPointer<QObject> map_;  // a GMSMapView
    QVariant userData_;
    std::uint64_t overlayID_ = 0;
    std::uint64_t revision_ = 1;
};

using GMSOverlayPtr = std::shared_ptr<GMSOverlay>;
