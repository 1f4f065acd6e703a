#pragma once

#include <QHashFunctions>
#include <QImage>
#include <QMetaType>
#include <QObject>

// The raster layers the view can stack. A map type is one or two of these.
enum class GMSTileLayerType : int {
    Roadmap = 0,    // base map for the normal type
    Satellite = 1,  // imagery
    Terrain = 2,    // relief
    Labels = 3,     // roads and names over imagery or relief, transparent elsewhere
};

// One tile: its layer and its place in the tile pyramid (x from the west,
// y from the north, 0 to 2^zoom - 1).
struct GMSTileKey {
    GMSTileLayerType type = GMSTileLayerType::Roadmap;
    int zoom = 0;
    int x = 0;
    int y = 0;

    friend bool operator==(const GMSTileKey&, const GMSTileKey&) = default;
    // The tile that covers this one at a lower zoom.
    GMSTileKey parent(int levels = 1) const { return {type, zoom - levels, x >> levels, y >> levels}; }
};

inline size_t qHash(const GMSTileKey& k, size_t seed = 0) {
    return qHashMulti(seed, int(k.type), k.zoom, k.x, k.y);
}

Q_DECLARE_METATYPE(GMSTileKey)

// Where the map view gets its raster tiles. Requests are asynchronous: the
// answer comes as tileReady, on the source's thread, possibly much later or
// never for a cancelled tile. A null image means the tile could not be had.
// Implementations must not block the caller.
class GMSTileSource : public QObject {
    Q_OBJECT
public:
    using QObject::QObject;
    ~GMSTileSource() override = default;

    virtual void requestTile(const GMSTileKey& key) = 0;
    // The view no longer shows the tile; an answer may still come.
    virtual void cancelTile(const GMSTileKey& key) = 0;

signals:
    void tileReady(const GMSTileKey& key, const QImage& image);
};
