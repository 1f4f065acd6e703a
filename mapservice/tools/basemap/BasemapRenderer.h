#pragma once

#include "TopoJson.h"

#include <QByteArray>
#include <QColor>

#include <functional>
#include <optional>
#include <vector>

namespace zenloft::basemap {

// Draws 256-pixel tiles of the plain base map: water, land, thin country
// borders. Safe to call from several threads at once (it only reads).
class BasemapRenderer {
public:
    struct Style {
        QColor water{0xA9, 0xCF, 0xE3};
        QColor land{0xEF, 0xE8, 0xD8};
        QColor coast{0x9F, 0xBF, 0xD2};
        QColor border{0x9A, 0x9A, 0x9A};
    };

    // `coarse` is used up to `coarseMaxZoom`, `detailed` above it; borders
    // come from `countries`.
    BasemapRenderer(TopoLayer coarse, TopoLayer detailed, TopoLayer countries, int coarseMaxZoom = 2);

    // The PNG of one tile (XYZ numbering), or nothing when the tile shows
    // open water only; the caller then stores the shared water tile.
    std::optional<QByteArray> renderTile(int z, int x, int y) const;
    QByteArray waterTile() const;

    // Renders the tile (z, x, y) and every tile below it down to maxZoom,
    // clipping the shapes level by level so that deep tiles only see their
    // own few points. `sink` gets each tile (nothing: open water).
    using TileSink = std::function<void(int z, int x, int y, const std::optional<QByteArray>& png)>;
    void renderSubtree(int z, int x, int y, int maxZoom, const TileSink& sink) const;

private:
    // Shapes already clipped to one tile (with a small margin).
    struct Clipped {
        std::vector<std::vector<std::vector<QPointF>>> polygons;  // rings per polygon
        std::vector<const Line*> borders;
    };
    Clipped clip(const Clipped& parent, int z, int x, int y) const;
    Clipped clipFromLayer(int z, int x, int y) const;
    std::optional<QByteArray> paint(const Clipped& c, int z, int x, int y) const;
    void recurse(const Clipped& here, int z, int x, int y, int maxZoom, const TileSink& sink) const;

    TopoLayer m_coarse;
    TopoLayer m_detailed;
    TopoLayer m_countries;
    int m_coarseMaxZoom;
    Style m_style;
};

}  // namespace zenloft::basemap
