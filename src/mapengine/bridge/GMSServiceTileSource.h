#pragma once

#include "GMSTileSource.h"
#include "LruCache.h"

#include <QByteArray>
#include <QHash>
#include <QImage>
#include <QMutex>

#include <map>
#include <memory>

class GMSDASHTileService;
class GMSTileRequestCoordinator;

// Pictures already decoded from tile bytes, so that a tile that comes back
// (another view, a picture the view let go) is not decoded again. An entry
// serves only the very bytes it was decoded from: the tile services stay
// the authority on what a tile is, and a replaced or removed tile can never
// show its old picture. Bounded, least recently used first out; used from
// the services' queue and the decoding workers at once.
class GMSDecodedTileCache {
public:
    explicit GMSDecodedTileCache(int maxEntries);

    // The picture of these bytes, or a null image.
    QImage imageForData(const GMSTileKey& key, const QByteArray& data);
    void insert(const GMSTileKey& key, const QByteArray& data, const QImage& image);
    void remove(const GMSTileKey& key);
    void clear();

    int count() const;
    int maxEntries() const { return m_maxEntries; }

private:
    struct Entry {
        QByteArray data;
        QImage image;
    };
    const int m_maxEntries;
    mutable QMutex m_lock;
    zl::LruCache<GMSTileKey, Entry> m_entries;
};

// Tile bytes into a picture ready for a texture: opaque tiles stay opaque
// (RGB32), tiles with transparency are premultiplied. A null image when the
// bytes are no picture.
QImage GMSDecodeTileImage(const QByteArray& data);

// The map view's raster tiles from the tile services: one service for each
// layer it can draw. Tile bytes are decoded into images on a worker thread;
// a layer without a service, or a tile the service cannot have, answers with
// a null image (the view then simply shows nothing there).
class GMSServiceTileSource : public GMSTileSource {
    Q_OBJECT
public:
    using Services = std::map<GMSTileLayerType, std::shared_ptr<GMSDASHTileService>>;
    static constexpr int kDecodedCacheEntries = 96;

    GMSServiceTileSource(Services services, std::shared_ptr<GMSTileRequestCoordinator> coordinator,
                         QObject* parent = nullptr);
    ~GMSServiceTileSource() override;

    // A request let go before its turn is dropped; one already running
    // finishes and fills the caches.
    zl::RequestHandle requestTile(const GMSTileKey& key, Answer answer) override;

    std::shared_ptr<GMSDASHTileService> serviceForLayer(GMSTileLayerType type) const;
    const GMSDecodedTileCache& decodedCache() const { return *m_decoded; }

private:
    Services m_services;
    std::shared_ptr<GMSTileRequestCoordinator> m_coordinator;
    std::shared_ptr<GMSDecodedTileCache> m_decoded;
};
