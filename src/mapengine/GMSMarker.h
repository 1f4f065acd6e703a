#pragma once

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QSizeF>

#include "GMSOverlay.h"
#include "geometry/CLLocationCoordinate2D.h"

// A pin (or any image) standing at a coordinate, drawn upright on the screen
// at a constant size, or lying flat on the map.
class GMSMarker : public GMSOverlay {
    Q_OBJECT
public:
    // Tap order of markers: tapClass in the low half, relativePriority in the high.
    static constexpr std::uint32_t kMarkerTapOrdering = (2u << 16) | 32000u;  // 163072

    GMSMarker();
    static std::shared_ptr<GMSMarker> marker();
    static std::shared_ptr<GMSMarker> markerWithPosition(CLLocationCoordinate2D position);

    // The engine's pin.
    static QImage defaultMarkerImage();
    // The pin in `color`: hue and saturation of the colour, luminosity of the
    // pin, the pin's silhouette. Null when the pin image is missing.
    static QImage markerImageWithColor(const QColor& color);

    int type() const override { return Marker; }

    CLLocationCoordinate2D position() const { return position_; }
    void setPosition(CLLocationCoordinate2D position);

    QString snippet() const { return snippet_; }
    void setSnippet(const QString& snippet);

    // A null icon shows the default pin.
    QImage icon() const { return icon_; }
    void setIcon(const QImage& icon);
    // What is drawn: the icon, or the pin.
    QImage effectiveIcon() const;

    QPointF groundAnchor() const { return groundAnchor_; }
    void setGroundAnchor(QPointF anchor);
    QPointF infoWindowAnchor() const { return infoWindowAnchor_; }
    void setInfoWindowAnchor(QPointF anchor);

    float opacity() const { return opacity_; }
    void setOpacity(float opacity);
    double rotation() const { return rotation_; }
    void setRotation(double degrees);
    bool isFlat() const { return flat_; }
    void setFlat(bool flat);
    bool isDraggable() const { return draggable_; }
    void setDraggable(bool draggable);
    bool tracksViewChanges() const { return tracksViewChanges_; }
    void setTracksViewChanges(bool on) { tracksViewChanges_ = on; }
    QSizeF tapPadding() const { return tapPadding_; }
    void setTapPadding(QSizeF padding) { tapPadding_ = padding; }
    int collisionBehavior() const { return collisionBehavior_; }
    std::uint32_t tapOrdering() const { return tapOrdering_; }

private:
    CLLocationCoordinate2D position_;
    QString snippet_;
    QImage icon_;
    QPointF groundAnchor_{0.5, 1.0};
    QPointF infoWindowAnchor_{0.5, 0.0};
    float opacity_ = 1.0f;
    double rotation_ = 0.0;
    bool flat_ = false;
    bool draggable_ = false;
    bool tracksViewChanges_ = true;
    QSizeF tapPadding_{4.0, 4.0};
    int collisionBehavior_ = 0;
    std::uint32_t tapOrdering_ = kMarkerTapOrdering;
};

using GMSMarkerPtr = std::shared_ptr<GMSMarker>;
