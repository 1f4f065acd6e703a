#include "GMSTriangulator.h"

#include <algorithm>
#include <cmath>

namespace gms_triangulate {

namespace {

constexpr double kDentTolerance = 1.0;  // world units

double cross(const Vec2& a, const Vec2& b, const Vec2& c) {
    return (b.x - a.x) * (c.y - a.y) - (b.y - a.y) * (c.x - a.x);
}

bool inTriangle(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& p) {
    // Counter-clockwise triangle; points on the edges count as inside so that
    // an ear never swallows a touching vertex.
    return cross(a, b, p) >= 0 && cross(b, c, p) >= 0 && cross(c, a, p) >= 0;
}

bool segmentsCross(const Vec2& a, const Vec2& b, const Vec2& c, const Vec2& d) {
    const double d1 = cross(a, b, c), d2 = cross(a, b, d), d3 = cross(c, d, a), d4 = cross(c, d, b);
    return ((d1 > 0 && d2 < 0) || (d1 < 0 && d2 > 0)) && ((d3 > 0 && d4 < 0) || (d3 < 0 && d4 > 0));
}

// Ring of vertex indices with the holes spliced in.
std::vector<std::uint32_t> joinHoles(const std::vector<Vec2>& v, std::vector<std::uint32_t> ring,
                                     const std::vector<std::vector<std::uint32_t>>& holes) {
    // Rightmost holes first, so later bridges can use earlier ones.
    std::vector<std::size_t> order(holes.size());
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    auto maxX = [&](const std::vector<std::uint32_t>& h) {
        std::size_t best = 0;
        for (std::size_t i = 1; i < h.size(); ++i)
            if (v[h[i]].x > v[h[best]].x) best = i;
        return best;
    };
    std::sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
        return v[holes[a][maxX(holes[a])]].x > v[holes[b][maxX(holes[b])]].x;
    });
    for (std::size_t hi : order) {
        const auto& hole = holes[hi];
        if (hole.size() < 3) continue;
        const std::size_t m = maxX(hole);
        const Vec2& pm = v[hole[m]];
        // The nearest ring vertex whose bridge crosses no edge.
        std::size_t bestPos = ring.size();
        double bestDist = 1e300;
        for (std::size_t i = 0; i < ring.size(); ++i) {
            const Vec2& pr = v[ring[i]];
            const double dist = (pr.x - pm.x) * (pr.x - pm.x) + (pr.y - pm.y) * (pr.y - pm.y);
            if (dist >= bestDist) continue;
            bool blocked = false;
            for (std::size_t j = 0; j < ring.size() && !blocked; ++j)
                blocked = segmentsCross(pm, pr, v[ring[j]], v[ring[(j + 1) % ring.size()]]);
            for (std::size_t j = 0; j < hole.size() && !blocked; ++j)
                blocked = segmentsCross(pm, pr, v[hole[j]], v[hole[(j + 1) % hole.size()]]);
            if (!blocked) {
                bestDist = dist;
                bestPos = i;
            }
        }
        if (bestPos == ring.size()) continue;  // no clear bridge: leave the hole out
        std::vector<std::uint32_t> joined;
        joined.reserve(ring.size() + hole.size() + 2);
        joined.insert(joined.end(), ring.begin(), ring.begin() + bestPos + 1);
        for (std::size_t k = 0; k <= hole.size(); ++k) joined.push_back(hole[(m + k) % hole.size()]);
        joined.push_back(ring[bestPos]);
        joined.insert(joined.end(), ring.begin() + bestPos + 1, ring.end());
        ring.swap(joined);
    }
    return ring;
}

}  // namespace

double signedArea(const std::vector<Vec2>& r) {
    double a = 0.0;
    for (std::size_t i = 0, n = r.size(); i < n; ++i) {
        const Vec2& p = r[i];
        const Vec2& q = r[(i + 1) % n];
        a += p.x * q.y - q.x * p.y;
    }
    return a / 2.0;
}

void triangulate(const std::vector<Vec2>& outer, const std::vector<std::vector<Vec2>>& holes,
                 std::vector<Vec2>& vertices, std::vector<std::uint32_t>& indices) {
    if (outer.size() < 3) return;
    const std::uint32_t base = std::uint32_t(vertices.size());
    std::vector<Vec2> v;
    v.reserve(outer.size());
    v.insert(v.end(), outer.begin(), outer.end());
    std::vector<std::uint32_t> ring(outer.size());
    for (std::size_t i = 0; i < outer.size(); ++i) ring[i] = std::uint32_t(i);
    if (signedArea(outer) < 0) std::reverse(ring.begin(), ring.end());  // counter-clockwise
    std::vector<std::vector<std::uint32_t>> holeRings;
    for (const auto& h : holes) {
        if (h.size() < 3) continue;
        std::vector<std::uint32_t> hr(h.size());
        for (std::size_t i = 0; i < h.size(); ++i) {
            hr[i] = std::uint32_t(v.size());
            v.push_back(h[i]);
        }
        if (signedArea(h) > 0) std::reverse(hr.begin(), hr.end());  // holes clockwise
        holeRings.push_back(std::move(hr));
    }
    vertices.insert(vertices.end(), v.begin(), v.end());
    if (!holeRings.empty()) ring = joinHoles(v, std::move(ring), holeRings);

    const std::size_t n = ring.size();
    std::vector<std::uint32_t> prev(n), next(n);
    for (std::size_t i = 0; i < n; ++i) {
        prev[i] = std::uint32_t((i + n - 1) % n);
        next[i] = std::uint32_t((i + 1) % n);
    }
    auto pt = [&](std::uint32_t i) -> const Vec2& { return v[ring[i]]; };
    std::vector<char> removed(n, 0);
    std::vector<std::uint32_t> reflex;
    // Corners that could spoil an ear. Dents of less than kDentTolerance from
    // the chord of their neighbours are the rounding of world coordinates
    // along an arc (about 4 cm a unit); such a corner can reach into an ear by
    // no more than that, so it is not worth a test.
    for (std::uint32_t i = 0; i < n; ++i) {
        const Vec2 &a = pt(prev[i]), &b = pt(i), &c = pt(next[i]);
        const double cr = cross(a, b, c);
        if (cr > 0) continue;
        const double chord = std::hypot(c.x - a.x, c.y - a.y);
        if (chord > 0 && -cr / chord < kDentTolerance) continue;
        reflex.push_back(i);
    }

    // Reflex corners in a uniform grid, so an ear looks only at those near it.
    // Rounded world coordinates make many tiny dents along an arc; without the
    // grid each ear would test all of them.
    double minX = 1e300, minY = 1e300, maxX = -1e300, maxY = -1e300;
    for (std::uint32_t r : reflex) {
        const Vec2& p = pt(r);
        minX = std::min(minX, p.x);
        minY = std::min(minY, p.y);
        maxX = std::max(maxX, p.x);
        maxY = std::max(maxY, p.y);
    }
    const int g = std::clamp(int(std::sqrt(double(reflex.size()) / 2.0)), 1, 256);
    const double cellW = std::max((maxX - minX) / g, 1e-300), cellH = std::max((maxY - minY) / g, 1e-300);
    auto cellX = [&](double x) { return std::clamp(int((x - minX) / cellW), 0, g - 1); };
    auto cellY = [&](double y) { return std::clamp(int((y - minY) / cellH), 0, g - 1); };
    std::vector<std::vector<std::uint32_t>> grid(std::size_t(g) * g);
    for (std::uint32_t r : reflex) grid[std::size_t(cellY(pt(r).y)) * g + cellX(pt(r).x)].push_back(r);

    auto isEar = [&](std::uint32_t i) {
        const std::uint32_t a = prev[i], c = next[i];
        const Vec2 &pa = pt(a), &pi = pt(i), &pc = pt(c);
        if (cross(pa, pi, pc) <= 0) return false;
        const double bx0 = std::min({pa.x, pi.x, pc.x}), bx1 = std::max({pa.x, pi.x, pc.x});
        const double by0 = std::min({pa.y, pi.y, pc.y}), by1 = std::max({pa.y, pi.y, pc.y});
        if (bx1 < minX || bx0 > maxX || by1 < minY || by0 > maxY) return true;
        const int cx0 = cellX(bx0), cx1 = cellX(bx1), cy0 = cellY(by0), cy1 = cellY(by1);
        for (int cy = cy0; cy <= cy1; ++cy) {
            for (int cx = cx0; cx <= cx1; ++cx) {
                for (std::uint32_t r : grid[std::size_t(cy) * g + cx]) {
                    if (removed[r] || r == a || r == i || r == c) continue;
                    const Vec2& p = pt(r);
                    if (p.x < bx0 || p.x > bx1 || p.y < by0 || p.y > by1) continue;
                    // Bridge duplicates share a position with a corner of the ear.
                    if ((p.x == pa.x && p.y == pa.y) || (p.x == pi.x && p.y == pi.y) || (p.x == pc.x && p.y == pc.y))
                        continue;
                    if (inTriangle(pa, pi, pc, p)) return false;
                }
            }
        }
        return true;
    };

    std::size_t remaining = n;
    std::uint32_t i = 0;
    std::size_t sinceLastEar = 0;
    indices.reserve(indices.size() + 3 * (n - 2));
    while (remaining > 3) {
        const bool ear = isEar(i);
        if (ear || sinceLastEar > remaining) {
            const std::uint32_t a = prev[i], c = next[i];
            if (cross(pt(a), pt(i), pt(c)) != 0.0) {
                indices.push_back(base + ring[a]);
                indices.push_back(base + ring[i]);
                indices.push_back(base + ring[c]);
            }
            removed[i] = 1;
            next[a] = c;
            prev[c] = a;
            --remaining;
            sinceLastEar = 0;
            i = a;  // the neighbour may have become an ear
        } else {
            i = next[i];
            ++sinceLastEar;
        }
    }
    const std::uint32_t a = prev[i], c = next[i];
    if (cross(pt(a), pt(i), pt(c)) != 0.0) {
        indices.push_back(base + ring[a]);
        indices.push_back(base + ring[i]);
        indices.push_back(base + ring[c]);
    }
}

}  // namespace gms_triangulate
