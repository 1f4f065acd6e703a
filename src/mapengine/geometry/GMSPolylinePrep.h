#pragma once

#include <cstddef>
#include <optional>
#include <utility>
#include <vector>

#include "CLLocationCoordinate2D.h"
#include "GMSMapPoint.h"
#include "GMSPath.h"
#include "GMSStyleSpan.h"

// Tolerance the engine passes to geodesic subdivision.
inline constexpr double kGMSGeodesicTolerance = 100.0;

// The intermediate coordinates that draw the great circle from `from` to
// `to` with straight pieces; the end points themselves are not appended.
// Steps shrink toward the poles; an edge shorter than the first step (about
// 222 km at the equator for tolerance 100) gets none. A tolerance that is not
// positive gives none; tolerances below 0.01 are raised to 0.01 so that one
// edge stays bounded.
void GMSGeodesicSubdivide(CLLocationCoordinate2D from, CLLocationCoordinate2D to, double tolerance,
                          std::vector<CLLocationCoordinate2D>& out);

// Segments given to each span, from the spans' `segments` and the path's
// count - 1 segments. Spans below 1e-10 (or NaN) get 0; what the spans leave
// over goes to the last span. No spans (absent or empty): one span with all.
std::vector<double> GMSSpanSegmentsForPath(const std::vector<double>* spanSegments, std::size_t coordinateCount);

// The vertices of a polyline or polygon ready to draw.
struct GMSPreparedVertices {
    // Coordinates after the span split and the geodesic subdivision.
    std::vector<CLLocationCoordinate2D> coordinates;
    // The same in world units, unwrapped over the antimeridian: x continues
    // past the edge of the world so that every edge takes the shorter way.
    // Beyond the int32 range (lapping the world) x wraps modulo 2^32.
    std::vector<gmscore::model::Point2D> points;
    // Vertices owned by each span, in order; they sum to points.size(). The
    // first span also owns vertex 0. Empty when nothing is drawn.
    std::vector<std::size_t> spanVertexCounts;

    bool empty() const { return points.empty(); }
    // Inclusive vertex range [first, last] that span k strokes: from the last
    // vertex of the span before (vertex 0 for the first span) to its own last
    // one. A span that owns no vertex gives first > last (nothing to draw).
    std::pair<std::size_t, std::size_t> spanVertexRange(std::size_t k) const;
    // All of them at once, in span order (linear time).
    std::vector<std::pair<std::size_t, std::size_t>> spanVertexRanges() const;
};

// Prepares the vertices of a path. Fewer than 2 coordinates: nothing.
// `spanSegments` are the spans' `segments` values (absent: one span).
// `closedRing` adds the closing edge's subdivision (polygons).
GMSPreparedVertices GMSPrepareVertices(const GMSPath& path, bool geodesic,
                                       const std::vector<double>* spanSegments = nullptr,
                                       bool closedRing = false);

// Same, taking the spans themselves.
GMSPreparedVertices GMSPreparePolylineVertices(const GMSPath& path, bool geodesic,
                                               const std::vector<GMSStyleSpan>* spans);

// Converts coordinates to world units and unwraps x in place.
std::vector<gmscore::model::Point2D> GMSWorldPointsUnwrapped(const std::vector<CLLocationCoordinate2D>& coordinates);
