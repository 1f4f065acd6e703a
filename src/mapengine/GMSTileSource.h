#pragma once

#include <QHashFunctions>
#include <QImage>
#include <QMetaType>
#include <QObject>

#include "RequestHandle.h"

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

// Where the map view gets its raster tiles. A request answers on the thread
// of its context object, possibly much later, and only while its handle is
// held: letting the handle go cancels it, and no answer comes after that. A
// null image means the tile could not be had. An answer with final false is
// a stand-in (an older copy); the final one follows. Implementations must
// not block the caller.
class GMSTileSource : public QObject {
    Q_OBJECT
public:
    using Answer = zl::Answer<QImage, bool>;  // the picture, and whether it is final

    using QObject::QObject;
    ~GMSTileSource() override = default;

    virtual zl::RequestHandle requestTile(const GMSTileKey& key, Answer answer) = 0;
};
