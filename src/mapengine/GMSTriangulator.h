#pragma once

#include <cstdint>
#include <vector>

// Fills a simple polygon with triangles by ear clipping. Holes are joined to
// the outer ring by bridges first. Only reflex corners can spoil an ear, and
// clipping never makes a corner reflex, so the test walks the reflex corners
// alone: a convex or nearly convex ring (a radio sector) costs linear time.
// Self-crossing input still ends: a pass that finds no ear clips a corner
// anyway, so every call terminates with at most n - 2 triangles.
namespace gms_triangulate {

struct Vec2 {
    double x = 0.0, y = 0.0;
};

// Appends the rings' vertices to `vertices` (outer first, then each hole)
// and the triangles' indices into `vertices` to `indices`.
void triangulate(const std::vector<Vec2>& outer, const std::vector<std::vector<Vec2>>& holes,
                 std::vector<Vec2>& vertices, std::vector<std::uint32_t>& indices);

double signedArea(const std::vector<Vec2>& ring);

}  // namespace gms_triangulate
