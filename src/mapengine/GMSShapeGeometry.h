#pragma once

#include <QColor>
#include <QImage>
#include <QPointF>
#include <QSizeF>

#include <cstdint>
#include <memory>
#include <vector>

#include "geometry/GMSMapPoint.h"

class GMSOverlay;

// Vertex arrays of lines and areas in world units relative to an origin, as
// the scene graph draws them. Built once per change of an overlay; a camera
// move only changes the transform above them.
namespace gms_shape {

// One corner of a stroke: position, the extrusion direction scaled for a
// mitre (multiplied by half the stroke width on the GPU) and a colour.
struct LineVertex {
    float x, y;
    float nx, ny;
    std::uint8_t r, g, b, a;
};
static_assert(sizeof(LineVertex) == 20);

struct FillVertex {
    float x, y;
};

struct Origin {
    std::int64_t x = 0, y = 0;
};

// The origin that keeps float coordinates small: the first point.
Origin originFor(const std::vector<gmscore::model::Point2D>& points);

// A stroke through the points, coloured per segment (the last colour serves
// any segment beyond the list); with segmentEndColors a segment blends from
// its colour to that one. Closed rings add the edge from last to first.
// Quads per segment, mitred joins (limited to 4x).
void buildStroke(const std::vector<gmscore::model::Point2D>& points, Origin origin, bool closed,
                 const std::vector<QColor>& segmentColors, std::vector<LineVertex>& vertices,
                 std::vector<std::uint32_t>& indices, const std::vector<QColor>* segmentEndColors = nullptr);

// Fill of an outer ring with holes.
void buildFill(const std::vector<gmscore::model::Point2D>& outer,
               const std::vector<std::vector<gmscore::model::Point2D>>& holes, Origin origin,
               std::vector<FillVertex>& vertices, std::vector<std::uint32_t>& indices);

// What the scene graph draws for one shape overlay (polyline, polygon or
// ground overlay), in world units about `origin`. Made when the overlay
// changes, on the GUI thread, and never changed after: a frame hands it to
// the render thread as it is, which only uploads it.
struct Mesh {
    std::uint64_t revision = 0;  // of the overlay it was made from
    Origin origin;
    std::vector<FillVertex> fill;
    std::vector<std::uint32_t> fillIndices;
    QColor fillColor;
    std::vector<LineVertex> stroke;
    std::vector<std::uint32_t> strokeIndices;
    float strokeWidth = 0.0f;  // points, at any zoom
    // A picture over (0, 0) to `imageSize` (north at the top), turned by
    // `bearing` degrees about `anchor`.
    QImage image;
    QSizeF imageSize;
    double bearing = 0.0;
    QPointF anchor;
    double opacity = 1.0;
};

// The mesh of an overlay as it is now; empty for one that draws nothing.
std::shared_ptr<const Mesh> meshFor(const GMSOverlay& overlay);
// Meshes made so far in the process.
std::uint64_t meshesMade();

}  // namespace gms_shape
