#include "GMSShapeGeometry.h"

#include <cmath>

#include "GMSSimdState.h"
#include "GMSTriangulator.h"

namespace gms_shape {

using gmscore::model::Point2D;

Origin originFor(const std::vector<Point2D>& points) {
    if (points.empty()) return {};
    return {points.front().x, points.front().y};
}

namespace {

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

}  // namespace gms_shape
