// Vertex preparation before a polyline or polygon is drawn: spans split
// their segments, geodesic edges are subdivided, coordinates go to world
// units and are unwrapped over the antimeridian.

#include "GMSPolylinePrep.h"

#include <algorithm>
#include <cmath>

#include "GMSGeometryUtils.h"

using gmscore::model::Point2D;

namespace {

constexpr double kFractionEpsilon = 1e-10;
constexpr double kFractionNearOne = 0.9999999999;

CLLocationCoordinate2D interpolate(CLLocationCoordinate2D a, CLLocationCoordinate2D b, double f, bool geodesic) {
    if (geodesic)
        return GMSGeometryInterpolate(a, b, f);
    return GMSUnproject(GMSMapPointInterpolate(GMSProject(a), GMSProject(b), f));
}

// Step 3: walk the coordinates span by span; a span ending inside a segment
// adds a vertex there.
void splitAtSpanBorders(const std::vector<CLLocationCoordinate2D>& coords, const std::vector<double>& segments,
                        bool geodesic, GMSPreparedVertices& out) {
    const std::size_t lastIndex = coords.size() - 1;
    out.coordinates.reserve(coords.size() + segments.size());
    out.coordinates.push_back(coords[0]);
    out.spanVertexCounts.assign(segments.size(), 0);
    out.spanVertexCounts[0] = 1;

    std::size_t vertex = 0; // last whole vertex passed
    double fraction = 0.0;  // position inside the segment after it
    for (std::size_t k = 0; k < segments.size(); ++k) {
        const double amount = segments[k];
        if (!(amount > 0.0))
            continue;
        double end = double(vertex) + fraction + amount;
        double whole = std::floor(end);
        double f = end - whole;
        if (f > kFractionNearOne) {
            whole += 1.0;
            f = 0.0;
        } else if (f < kFractionEpsilon) {
            f = 0.0;
        }
        std::size_t endVertex = whole >= double(lastIndex) ? lastIndex : std::size_t(whole);
        if (endVertex == lastIndex)
            f = 0.0;
        std::size_t added = 0;
        for (std::size_t j = vertex + 1; j <= endVertex; ++j) {
            out.coordinates.push_back(coords[j]);
            ++added;
        }
        if (f > 0.0) {
            out.coordinates.push_back(interpolate(coords[endVertex], coords[endVertex + 1], f, geodesic));
            ++added;
        }
        out.spanVertexCounts[k] += added;
        vertex = endVertex;
        fraction = f;
    }
}

// Step 4: the vertex, then its edge's intermediate points, which belong to
// the span that owns the edge's end.
void subdivide(GMSPreparedVertices& prepared, bool closedRing) {
    const std::vector<CLLocationCoordinate2D> in = std::move(prepared.coordinates);
    std::vector<CLLocationCoordinate2D>& out = prepared.coordinates;
    out.clear();
    out.reserve(in.size() * 2);

    std::vector<std::size_t> counts(prepared.spanVertexCounts.size(), 0);
    std::size_t span = 0;
    std::size_t remainingInSpan = prepared.spanVertexCounts[0];
    auto advanceSpan = [&] {
        while (remainingInSpan == 0 && span + 1 < prepared.spanVertexCounts.size())
            remainingInSpan = prepared.spanVertexCounts[++span];
    };
    for (std::size_t i = 0; i < in.size(); ++i) {
        advanceSpan();
        if (i > 0) {
            const std::size_t before = out.size();
            GMSGeodesicSubdivide(in[i - 1], in[i], kGMSGeodesicTolerance, out);
            counts[span] += out.size() - before;
        }
        out.push_back(in[i]);
        ++counts[span];
        --remainingInSpan;
    }
    if (closedRing && in.size() > 1) {
        const std::size_t before = out.size();
        GMSGeodesicSubdivide(in.back(), in.front(), kGMSGeodesicTolerance, out);
        counts[span] += out.size() - before;
    }
    prepared.spanVertexCounts = std::move(counts);
}

} // namespace

std::vector<double> GMSSpanSegmentsForPath(const std::vector<double>* spanSegments, std::size_t coordinateCount) {
    const double total = coordinateCount > 0 ? double(coordinateCount - 1) : 0.0;
    if (!spanSegments || spanSegments->empty())
        return {total};
    std::vector<double> out(spanSegments->size(), 0.0);
    double remaining = total;
    for (std::size_t k = 0; k < spanSegments->size() && remaining > 0.0; ++k) {
        const double s = (*spanSegments)[k];
        if (std::isnan(s) || s < 1e-10)
            continue;
        const double given = std::min(s, remaining);
        out[k] = given;
        remaining -= given;
    }
    if (remaining > 0.0)
        out.back() += remaining;
    return out;
}

std::vector<Point2D> GMSWorldPointsUnwrapped(const std::vector<CLLocationCoordinate2D>& coordinates) {
    std::vector<Point2D> points;
    points.reserve(coordinates.size());
    std::int64_t offset = 0;
    std::int64_t previousX = 0;
    for (std::size_t i = 0; i < coordinates.size(); ++i) {
        Point2D p = Point2D::fromCoordinate(coordinates[i]);
        if (i > 0) {
            const std::int64_t jump = std::int64_t(p.x) + offset - previousX;
            // A jump of more than half the world is the antimeridian: go on
            // past the edge of the world instead.
            if (jump >= gmscore::model::kWorldHalfSize + 1 || jump <= -(gmscore::model::kWorldHalfSize + 1))
                offset += p.x >= 0 ? -gmscore::model::kWorldSize : gmscore::model::kWorldSize;
        }
        // A line that laps the world more than once leaves the int32 range;
        // it is stored modulo 2^32, a multiple of the world width, so every
        // point keeps its place in the world and differences between
        // neighbours taken in 32-bit arithmetic stay exact.
        const std::int64_t x = std::int64_t(p.x) + offset;
        p.x = std::int32_t(static_cast<std::uint32_t>(static_cast<std::uint64_t>(x)));
        previousX = x;
        points.push_back(p);
    }
    return points;
}

std::pair<std::size_t, std::size_t> GMSPreparedVertices::spanVertexRange(std::size_t k) const {
    std::size_t begin = 0;
    for (std::size_t i = 0; i < k && i < spanVertexCounts.size(); ++i)
        begin += spanVertexCounts[i];
    const std::size_t own = k < spanVertexCounts.size() ? spanVertexCounts[k] : 0;
    const std::size_t first = begin > 0 ? begin - 1 : 0;
    if (own == 0)
        return {first + 1, first}; // empty
    return {first, begin + own - 1};
}

std::vector<std::pair<std::size_t, std::size_t>> GMSPreparedVertices::spanVertexRanges() const {
    std::vector<std::pair<std::size_t, std::size_t>> ranges;
    ranges.reserve(spanVertexCounts.size());
    std::size_t begin = 0;
    for (const std::size_t own : spanVertexCounts) {
        const std::size_t first = begin > 0 ? begin - 1 : 0;
        ranges.push_back(own == 0 ? std::pair{first + 1, first} : std::pair{first, begin + own - 1});
        begin += own;
    }
    return ranges;
}

GMSPreparedVertices GMSPrepareVertices(const GMSPath& path, bool geodesic, const std::vector<double>* spanSegments,
                                       bool closedRing) {
    GMSPreparedVertices prepared;
    const std::vector<CLLocationCoordinate2D>& coords = path.coordinates();
    if (coords.size() < 2)
        return prepared;
    const std::vector<double> segments = GMSSpanSegmentsForPath(spanSegments, coords.size());
    if (segments.size() == 1) {
        // One span: every vertex as it stands.
        prepared.coordinates = coords;
        prepared.spanVertexCounts = {coords.size()};
    } else {
        splitAtSpanBorders(coords, segments, geodesic, prepared);
    }
    if (geodesic)
        subdivide(prepared, closedRing);
    prepared.points = GMSWorldPointsUnwrapped(prepared.coordinates);
    return prepared;
}

GMSPreparedVertices GMSPreparePolylineVertices(const GMSPath& path, bool geodesic, const std::vector<GMSStyleSpan>* spans) {
    if (!spans)
        return GMSPrepareVertices(path, geodesic, nullptr, false);
    std::vector<double> segments;
    segments.reserve(spans->size());
    for (const GMSStyleSpan& s : *spans)
        segments.push_back(s.segments());
    return GMSPrepareVertices(path, geodesic, &segments, false);
}
