#pragma once

#include <QColor>

#include <optional>
#include <vector>

#include "GMSOverlay.h"
#include "geometry/GMSPath.h"
#include "geometry/GMSPolylinePrep.h"
#include "geometry/GMSStyleSpan.h"

// A line through the points of a path, straight on the map or along great
// circles, with a stroke in screen points.
class GMSPolyline : public GMSOverlay {
    Q_OBJECT
public:
    GMSPolyline();
    static std::shared_ptr<GMSPolyline> polyline();
    // Keeps its own copy of the path.
    static std::shared_ptr<GMSPolyline> polylineWithPath(const GMSPath& path);

    int type() const override { return Polyline; }

    const GMSPath& path() const { return path_; }
    void setPath(const GMSPath& path);
    float strokeWidth() const { return strokeWidth_; }
    void setStrokeWidth(float width);
    QColor strokeColor() const { return strokeColor_; }
    void setStrokeColor(const QColor& color);
    bool geodesic() const { return geodesic_; }
    void setGeodesic(bool geodesic);
    const std::optional<std::vector<GMSStyleSpan>>& spans() const { return spans_; }
    void setSpans(const std::optional<std::vector<GMSStyleSpan>>& spans);

    // -1: computed from the line.
    double disappearingZoom() const { return disappearingZoom_; }
    double minimumVisibleZoom() const { return minimumVisibleZoom_; }
    bool useOldRenderer() const { return useOldRenderer_; }

    // The vertices to draw, prepared on first use after a change.
    const GMSPreparedVertices& preparedVertices() const;
    // The colour of each span, in span order (one when there are no spans).
    std::vector<QColor> spanColors() const;
    // Start and end colour of each span (equal for a solid span).
    std::vector<std::pair<QColor, QColor>> spanColorRanges() const;
    // Drops the prepared vertices.
    void invalidate() { prepared_.reset(); }
    bool hasPreparedVertices() const { return prepared_.has_value(); }

private:
    void changed();

    GMSPath path_;
    float strokeWidth_ = 1.0f;
    QColor strokeColor_{0, 0, 255};
    bool geodesic_ = false;
    std::optional<std::vector<GMSStyleSpan>> spans_;
    double disappearingZoom_ = -1.0;
    double minimumVisibleZoom_ = -1.0;
    bool hasSpanBeenSet_ = false;
    bool hasPathBeenSet_ = false;
    bool useOldRenderer_ = true;
    mutable std::optional<GMSPreparedVertices> prepared_;
};

using GMSPolylinePtr = std::shared_ptr<GMSPolyline>;

QColor GMSColorToQColor(const GMSColor& c);
GMSColor GMSColorFromQColor(const QColor& c);
