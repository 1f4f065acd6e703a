#pragma once

#include <cstdint>

namespace zenloft::wire {

// How many zooms a tile edge length shifts the pyramid by, as both ends of
// the connection read it: 256 gives 0, 512 gives 1, 128 gives 0, 64 gives -1.
// Zero or less (unset) gives 0.
constexpr int zoomShiftForTileEdge(std::int64_t edge) {
    if (edge <= 0) return 0;
    int shift = 0;
    while (edge > 256) {
        edge /= 2;
        ++shift;
    }
    while (edge < 128) {
        edge *= 2;
        --shift;
    }
    return shift;
}

static_assert(zoomShiftForTileEdge(256) == 0 && zoomShiftForTileEdge(512) == 1 && zoomShiftForTileEdge(128) == 0 &&
              zoomShiftForTileEdge(64) == -1 && zoomShiftForTileEdge(0) == 0);

}  // namespace zenloft::wire
