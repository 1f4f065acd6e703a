#pragma once

#include <QHash>
#include <QImage>
#include <QObject>
#include <QPointer>
#include <QRectF>
#include <QSet>

#include <unordered_map>
#include <vector>

#include "GMSTileSource.h"
#include "LruCache.h"

class GMSProjection;

// Which tiles the view needs, which it has, and which it asks for. Lives on
// the GUI thread; tile pictures arrive from the source's workers through
// queued signals and are kept (a bounded number) until drawn as textures.
class GMSTileManager : public QObject {
    Q_OBJECT
public:
    // A tile to draw this frame: where (world points at the tile zoom,
    // unwrapped x) and what (the tile itself or the part of a loaded parent).
    struct DrawTile {
        GMSTileKey key;          // the tile wanted
        GMSTileKey drawnKey;     // the tile whose picture is drawn
        QRectF sourceRect;       // part of drawnKey's picture, in its pixels
        int column = 0;          // unwrapped x
        int row = 0;
    };

    static constexpr int kMaxLoadedTiles = 384;
    // A tile's ancestors stand in for it up to zoom 0: while it loads, and
    // for good where the source has nothing so deep (imagery that ends at
    // some zoom is drawn enlarged beyond it rather than not at all).
    static constexpr int kMaxParentLevels = 22;

    explicit GMSTileManager(QObject* parent = nullptr);
    ~GMSTileManager() override;

    void setSource(GMSTileSource* source);
    GMSTileSource* source() const { return source_; }
    void setLayers(const std::vector<GMSTileLayerType>& layers);
    const std::vector<GMSTileLayerType>& layers() const { return layers_; }

    // Recomputes the visible tiles for this view; asks for new ones and lets
    // go of the requests for those that left the view.
    void update(const GMSProjection& projection);

    int tileZoom() const { return tileZoom_; }
    const std::vector<std::vector<DrawTile>>& drawList() const { return drawList_; }
    const QHash<GMSTileKey, QImage>& loaded() const { return loaded_; }
    bool isLoading() const { return !pending_.isEmpty(); }
    const QSet<GMSTileKey>& pending() const { return pending_; }
    // Tiles the source could not give (asked again when the view moves on).
    const QSet<GMSTileKey>& missing() const { return missing_; }
    // Grows whenever a picture came or went.
    quint64 generation() const { return generation_; }
    // Grows whenever the draw list changed.
    quint64 drawListVersion() const { return drawListVersion_; }
    int firstColumn() const { return range_.x0; }
    int firstRow() const { return range_.y0; }

    // The zoom of tiles drawn for a camera zoom.
    static int tileZoomForZoom(double zoom);

signals:
    void tilesChanged();
    void loadingStarted();
    void loadingFinished();

private:
    void onTileReady(const GMSTileKey& key, const QImage& image, bool final);
    void ask(const GMSTileKey& key);
    void dropRequests();
    void rebuildDrawList();
    void evict();
    // For each visible tile the source lacks, asks for its nearest ancestor
    // that is neither loaded, nor asked for, nor known to be missing.
    void requestStandIns();
    bool isAncestorOfVisible(const GMSTileKey& key) const;

    QPointer<GMSTileSource> source_;
    std::vector<GMSTileLayerType> layers_;
    int tileZoom_ = 0;
    struct Range {
        int x0 = 0, x1 = -1, y0 = 0, y1 = -1;
    } range_;
    QSet<GMSTileKey> visible_;
    QSet<GMSTileKey> pending_;
    struct KeyHash {
        size_t operator()(const GMSTileKey& k) const { return qHash(k); }
    };
    // The requests of the pending tiles; dropping one cancels it.
    std::unordered_map<GMSTileKey, zl::RequestHandle, KeyHash> requests_;
    QSet<GMSTileKey> missing_;
    QHash<GMSTileKey, QImage> loaded_;
    // Pictures stay in a plain hash, which frames share without copying;
    // the order of their use is kept beside it.
    zl::LruCache<GMSTileKey, char> useOrder_;
    quint64 generation_ = 0;
    quint64 drawListVersion_ = 0;
    bool layersDirty_ = true;
    std::vector<std::vector<DrawTile>> drawList_;
};
