#pragma once

#include <QColor>

#include <vector>

#include "GMSOverlay.h"
#include "geometry/GMSPath.h"

// A filled area bounded by a closed path, with optional holes and outline.
class GMSPolygon : public GMSOverlay {
    Q_OBJECT
public:
    GMSPolygon();
    static std::shared_ptr<GMSPolygon> polygon();
    static std::shared_ptr<GMSPolygon> polygonWithPath(const GMSPath& path);

    int type() const override { return Polygon; }

    const GMSPath& path() const { return path_; }
    void setPath(const GMSPath& path);
    const std::vector<GMSPath>& holes() const { return holes_; }
    // Each hole is copied.
    void setHoles(const std::vector<GMSPath>& holes);
    float strokeWidth() const { return strokeWidth_; }
    void setStrokeWidth(float width);
    // Invalid (the default): no outline is drawn.
    QColor strokeColor() const { return strokeColor_; }
    void setStrokeColor(const QColor& color);
    QColor fillColor() const { return fillColor_; }
    void setFillColor(const QColor& color);
    bool geodesic() const { return geodesic_; }
    void setGeodesic(bool geodesic);

private:
    GMSPath path_;
    std::vector<GMSPath> holes_;
    float strokeWidth_ = 1.0f;
    QColor strokeColor_;
    QColor fillColor_ = QColor::fromRgbF(0.0f, 0.0f, 1.0f, 0.3f);
    bool geodesic_ = false;
};

using GMSPolygonPtr = std::shared_ptr<GMSPolygon>;
