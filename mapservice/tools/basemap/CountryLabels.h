#pragma once

#include "TopoJson.h"

#include <QByteArray>
#include <QColor>
#include <QFont>
#include <QImage>
#include <QRectF>
#include <QString>

#include <optional>
#include <vector>

namespace zenloft::basemap {

// Where a country's name goes: a point inside its largest polygon, and the
// size of that polygon (normalised Mercator) that decides from which zoom
// the name fits.
struct LabelCandidate {
    QString text;
    QPointF anchor;  // x in [0, 1)
    double width = 0;
    double height = 0;
    double area = 0;
};

// A name placed at one zoom, in world pixels of that zoom (the world is
// 256 * 2^zoom pixels wide).
struct PlacedLabel {
    QString text;
    QRectF rect;      // the text's box, halo included
    QPointF baseline;  // where the text is drawn from
};

// The label layer of the base map: country names on transparent 256-pixel
// tiles, drawn over the base map or over imagery. Names are placed once per
// zoom for the whole world (largest countries first, none overlapping), so a
// name that crosses a tile edge is drawn the same on both tiles.
class CountryLabels {
public:
    struct Style {
        QColor text{0x33, 0x33, 0x33};
        QColor halo{0xFF, 0xFF, 0xFF, 0xD8};
        double haloWidth = 3.0;
        double padding = 6.0;  // free space kept between two names
        // A name shows once its country is at least this much wider than it.
        double minWidthRatio = 0.7;
    };

    CountryLabels(const TopoLayer& countries, int maxZoom);

    static std::vector<LabelCandidate> candidates(const TopoLayer& countries);
    static QFont fontForZoom(int z);

    const std::vector<PlacedLabel>& placed(int z) const;
    int maxZoom() const { return m_maxZoom; }

    // The PNG of a tile (XYZ numbering), or nothing when no name touches it;
    // the caller then stores the shared empty tile.
    std::optional<QByteArray> renderTile(int z, int x, int y) const;
    QByteArray emptyTile() const;
    // Whether a name touches the tile, and drawing the names onto a tile
    // picture (the base map's, for a map with names); false: nothing drawn.
    // Both are safe from several threads at once.
    bool touches(int z, int x, int y) const;
    bool drawOnto(QImage& image, int z, int x, int y) const;

private:
    struct Draw {
        const PlacedLabel* label;
        double shift;  // a whole world left or right, across the antimeridian
    };
    std::vector<Draw> drawsFor(int z, int x, int y) const;
    std::vector<PlacedLabel> place(int z) const;

    std::vector<LabelCandidate> m_candidates;
    std::vector<std::vector<PlacedLabel>> m_placed;
    int m_maxZoom;
    Style m_style;
};

}  // namespace zenloft::basemap
