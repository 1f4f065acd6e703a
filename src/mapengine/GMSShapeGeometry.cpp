#include "GMSShapeGeometry.h"

#include <algorithm>
#include <atomic>
#include <cmath>

#include "GMSGroundOverlay.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "GMSSimdState.h"
#include "GMSTriangulator.h"

namespace gms_shape {

using gmscore::model::Point2D;

Origin originFor(const std::vector<Point2D>& points) {
    if (points.empty()) return {};
    return {points.front().x, points.front().y};
}

namespace {

std::atomic<std::uint64_t> g_meshesMade{0};
constexpr double kWorld = double(gmscore::model::kWorldSize);

struct Dir {
    double x = 0, y = 0;
};

Dir unitNormal(double dx, double dy) {
    const double len = std::hypot(dx, dy);
    if (len == 0.0) return {};
    return {-dy / len, dx / len};
}

}  // namespace

void buildStroke(const std::vector<Point2D>& points, Origin origin, bool closed,
                 const std::vector<QColor>& segmentColors, std::vector<LineVertex>& vertices,
                 std::vector<std::uint32_t>& indices, const std::vector<QColor>* segmentEndColors) {
    const std::size_t n = points.size();
    if (n < 2) return;
    gmsClearUpperSimdState();
    const std::size_t segments = closed ? n : n - 1;
    // Normals of each segment; a zero-length segment borrows its neighbour's.
    std::vector<Dir> segN(segments);
    for (std::size_t s = 0; s < segments; ++s) {
        const Point2D& a = points[s];
        const Point2D& b = points[(s + 1) % n];
        segN[s] = unitNormal(double(b.x) - a.x, double(b.y) - a.y);
    }
    for (std::size_t s = 1; s < segments; ++s)
        if (segN[s].x == 0 && segN[s].y == 0) segN[s] = segN[s - 1];
    for (std::size_t s = segments; s-- > 1;)
        if (segN[s - 1].x == 0 && segN[s - 1].y == 0) segN[s - 1] = segN[s];

    // Mitre at each vertex.
    std::vector<Dir> miter(n);
    for (std::size_t i = 0; i < n; ++i) {
        const bool hasIn = closed || i > 0;
        const bool hasOut = closed || i + 1 < n;
        const Dir in = hasIn ? segN[(i + segments - 1) % segments] : segN[0];
        const Dir out = hasOut ? segN[i % segments] : segN[segments - 1];
        Dir m{in.x + out.x, in.y + out.y};
        const double len = std::hypot(m.x, m.y);
        if (len < 1e-9) {
            miter[i] = out;
            continue;
        }
        m.x /= len;
        m.y /= len;
        double scale = 1.0 / std::max(0.25, m.x * out.x + m.y * out.y);
        miter[i] = {m.x * scale, m.y * scale};
    }

    vertices.reserve(vertices.size() + segments * 4);
    indices.reserve(indices.size() + segments * 6);
    for (std::size_t s = 0; s < segments; ++s) {
        const QColor c0 = segmentColors.empty() ? QColor(Qt::blue)
                                                : segmentColors[std::min(s, segmentColors.size() - 1)];
        const QColor c1 = segmentEndColors && !segmentEndColors->empty()
                              ? (*segmentEndColors)[std::min(s, segmentEndColors->size() - 1)]
                              : c0;
        const std::uint32_t first = std::uint32_t(vertices.size());
        for (std::size_t k = 0; k < 2; ++k) {
            const QColor& c = k == 0 ? c0 : c1;
            const std::uint8_t r = std::uint8_t(c.red()), g = std::uint8_t(c.green()), b = std::uint8_t(c.blue()),
                               a = std::uint8_t(c.alpha());
            const std::size_t i = (s + k) % n;
            const float x = float(double(points[i].x) - double(origin.x));
            const float y = float(double(points[i].y) - double(origin.y));
            const Dir& m = miter[i];
            vertices.push_back({x, y, float(m.x), float(m.y), r, g, b, a});
            vertices.push_back({x, y, float(-m.x), float(-m.y), r, g, b, a});
        }
        indices.insert(indices.end(), {first, first + 1, first + 2, first + 1, first + 3, first + 2});
    }
}

void buildFill(const std::vector<Point2D>& outer, const std::vector<std::vector<Point2D>>& holes, Origin origin,
               std::vector<FillVertex>& vertices, std::vector<std::uint32_t>& indices) {
    gmsClearUpperSimdState();
    auto convert = [&](const std::vector<Point2D>& ring) {
        std::vector<gms_triangulate::Vec2> out;
        out.reserve(ring.size());
        for (const Point2D& p : ring) out.push_back({double(p.x) - double(origin.x), double(p.y) - double(origin.y)});
        // A closing point equal to the first adds nothing.
        if (out.size() > 1 && out.front().x == out.back().x && out.front().y == out.back().y) out.pop_back();
        return out;
    };
    std::vector<std::vector<gms_triangulate::Vec2>> h;
    h.reserve(holes.size());
    for (const auto& ring : holes) h.push_back(convert(ring));
    std::vector<gms_triangulate::Vec2> v;
    const std::uint32_t base = std::uint32_t(vertices.size());
    std::vector<std::uint32_t> local;
    gms_triangulate::triangulate(convert(outer), h, v, local);
    vertices.reserve(vertices.size() + v.size());
    for (const auto& p : v) vertices.push_back({float(p.x), float(p.y)});
    indices.reserve(indices.size() + local.size());
    for (std::uint32_t i : local) indices.push_back(base + i);
}

namespace {

// A polygon ring in world units. Straight rings need no span or subdivision
// work, only the conversion and the unwrap over the antimeridian.
GMSPreparedVertices ringVertices(const GMSPath& path, bool geodesic) {
    if (geodesic) return GMSPrepareVertices(path, true, nullptr, true);
    GMSPreparedVertices pv;
    if (path.count() < 2) return pv;
    pv.points = GMSWorldPointsUnwrapped(path.coordinates());
    pv.spanVertexCounts = {pv.points.size()};
    return pv;
}

void polylineMesh(const GMSPolyline& pl, Mesh& m) {
    const GMSPreparedVertices& pv = pl.preparedVertices();
    if (pv.points.size() < 2 || !(pl.strokeWidth() > 0.0f)) return;
    m.origin = originFor(pv.points);
    // Colours per segment from the span that owns it; a gradient span
    // blends along its vertices.
    const std::vector<std::pair<QColor, QColor>> spanColors = pl.spanColorRanges();
    std::vector<QColor> seg(pv.points.size() - 1, spanColors.front().first);
    std::vector<QColor> segEnd(seg);
    for (std::size_t s = 0; s < pv.spanVertexCounts.size() && s < spanColors.size(); ++s) {
        const auto [first, last] = pv.spanVertexRange(s);
        const auto& [from, to] = spanColors[s];
        const double len = last > first ? double(last - first) : 1.0;
        auto at = [&](std::size_t i) {
            if (from == to) return from;
            const double f = double(i - first) / len;
            return QColor::fromRgbF(from.redF() + (to.redF() - from.redF()) * f,
                                    from.greenF() + (to.greenF() - from.greenF()) * f,
                                    from.blueF() + (to.blueF() - from.blueF()) * f,
                                    from.alphaF() + (to.alphaF() - from.alphaF()) * f);
        };
        for (std::size_t i = first; i < last && i < seg.size(); ++i) {
            seg[i] = at(i);
            segEnd[i] = at(i + 1);
        }
    }
    buildStroke(pv.points, m.origin, false, seg, m.stroke, m.strokeIndices, &segEnd);
    m.strokeWidth = pl.strokeWidth();
}

void polygonMesh(const GMSPolygon& pg, Mesh& m) {
    const GMSPreparedVertices outer = ringVertices(pg.path(), pg.geodesic());
    if (outer.points.size() < 2) return;
    m.origin = originFor(outer.points);
    std::vector<std::vector<Point2D>> holes;
    for (const GMSPath& h : pg.holes()) {
        GMSPreparedVertices hv = ringVertices(h, pg.geodesic());
        if (hv.points.size() >= 3) holes.push_back(std::move(hv.points));
    }
    if (pg.fillColor().isValid() && pg.fillColor().alpha() > 0 && outer.points.size() >= 3) {
        buildFill(outer.points, holes, m.origin, m.fill, m.fillIndices);
        m.fillColor = pg.fillColor();
    }
    if (pg.strokeColor().isValid() && pg.strokeWidth() > 0.0f) {
        const std::vector<QColor> colors{pg.strokeColor()};
        buildStroke(outer.points, m.origin, true, colors, m.stroke, m.strokeIndices);
        for (const auto& h : holes) buildStroke(h, m.origin, true, colors, m.stroke, m.strokeIndices);
        m.strokeWidth = pg.strokeWidth();
    }
}

void groundMesh(const GMSGroundOverlay& go, Mesh& m) {
    if (!go.bounds() || !go.bounds()->isValid() || go.icon().isNull()) return;
    const Point2D sw = Point2D::fromCoordinate(go.bounds()->southWest());
    const Point2D ne = Point2D::fromCoordinate(go.bounds()->northEast());
    double w = double(ne.x) - sw.x;
    if (w < 0) w += kWorld;
    const double h = double(ne.y) - sw.y;
    m.origin = {sw.x, sw.y};
    m.image = go.icon();
    m.imageSize = QSizeF(w, h);
    m.bearing = go.bearing();
    m.anchor = QPointF(go.anchor().x() * w, (1.0 - go.anchor().y()) * h);
    m.opacity = std::clamp(double(go.opacity()), 0.0, 1.0);
}

}  // namespace

std::shared_ptr<const Mesh> meshFor(const GMSOverlay& overlay) {
    gmsClearUpperSimdState();
    ++g_meshesMade;
    auto m = std::make_shared<Mesh>();
    m->revision = overlay.revision();
    switch (overlay.type()) {
    case GMSOverlay::Polyline: polylineMesh(static_cast<const GMSPolyline&>(overlay), *m); break;
    case GMSOverlay::Polygon: polygonMesh(static_cast<const GMSPolygon&>(overlay), *m); break;
    case GMSOverlay::GroundOverlay: groundMesh(static_cast<const GMSGroundOverlay&>(overlay), *m); break;
    default: break;
    }
    return m;
}

std::uint64_t meshesMade() { return g_meshesMade.load(); }

}  // namespace gms_shape
