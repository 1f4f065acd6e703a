#pragma once

#include <QImage>
#include <QPointF>

#include <optional>

#include "GMSOverlay.h"
#include "geometry/GMSCoordinateBounds.h"

// An image laid on the map over a box of coordinates, turned by a bearing
// around its anchor.
class GMSGroundOverlay : public GMSOverlay {
    Q_OBJECT
public:
    GMSGroundOverlay();
    static std::shared_ptr<GMSGroundOverlay> groundOverlay();
    static std::shared_ptr<GMSGroundOverlay> groundOverlayWithBounds(const GMSCoordinateBounds& bounds,
                                                                     const QImage& icon);
    // Bounds from the image's size in points, shown at `zoomLevel`, with the
    // anchor at `position`.
    static std::shared_ptr<GMSGroundOverlay> groundOverlayWithPosition(CLLocationCoordinate2D position,
                                                                       const QImage& icon, double zoomLevel);

    int type() const override { return GroundOverlay; }

    QPointF anchor() const { return anchor_; }
    void setAnchor(QPointF anchor);
    CLLocationCoordinate2D position() const { return position_; }
    float opacity() const { return opacity_; }
    void setOpacity(float opacity);
    double bearing() const { return bearing_; }
    // Normalised to [0, 360).
    void setBearing(double bearing);
    QImage icon() const { return icon_; }
    void setIcon(const QImage& icon);
    const std::optional<GMSCoordinateBounds>& bounds() const { return bounds_; }
    void setBounds(const std::optional<GMSCoordinateBounds>& bounds);

private:
    void recomputePosition();

    QPointF anchor_{0.5, 0.5};
    CLLocationCoordinate2D position_;
    float opacity_ = 1.0f;
    double bearing_ = 0.0;
    QImage icon_;
    std::optional<GMSCoordinateBounds> bounds_;
};

using GMSGroundOverlayPtr = std::shared_ptr<GMSGroundOverlay>;
