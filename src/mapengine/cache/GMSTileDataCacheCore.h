#pragma once

#include "GMSCacheStorage.h"
#include "GMSTileDataCacheTypes.h"
#include "LruCache.h"

#include <QHash>
#include <QList>
#include <QSet>
#include <QVariant>

#include <atomic>
#include <memory>
#include <optional>

// The synchronous heart of one tile type's disk cache: the store connection
// and the in-memory index of every tile's metadata. Lives on the cache's
// queue and is only called there (GMSTileDataCache does the hopping).
class GMSTileDataCacheCore {
public:
    GMSTileDataCacheCore(int tileType, qint64 maxCount, qint64 maxSize, const zl::Clock* clock);
    ~GMSTileDataCacheCore();

    // Takes the opened store and reads the index and the properties. False
    // (and the cache runs without a disk) when the index can't be read.
    bool start(std::unique_ptr<GMSCacheStorage> storage);
    bool hasStorage() const { return m_storage != nullptr; }

    std::optional<GMSCachedTileData> loadTile(const GMSCacheTileKey& key);
    // Several loads in one read transaction, answers in the same order.
    QList<std::optional<GMSCachedTileData>> loadTiles(const QList<GMSCacheTileKey>& keys);
    // One transaction for the whole batch. False when it was not saved; the
    // index then follows the store again.
    bool storeCacheableTileDatas(const QList<GMSCacheableTileData>& items);
    void touchTile(const GMSCacheTileKey& key);
    bool deleteTiles(const QList<GMSCacheTileKey>& keys);
    QSet<GMSCacheTileKey> checkTileCoordsSet(
        const QSet<GMSCacheTileKey>& keys,
        const std::function<bool(const GMSCacheTileKey&, const GMSCachedTileInfo&)>& predicate) const;

    // Every tile of this cache's type.
    bool deleteAll();
    // Every tile of other types than these, in the whole store.
    bool deleteAllExceptTypes(const QSet<int>& keptTypes);
    // Marks the epochs of every tile of this type as unknown (-1), so that
    // the tile service refreshes them.
    bool invalidateTileEpochs();

    QHash<QString, QVariant> properties() const { return m_properties; }
    bool setProperty(const QString& key, const QVariant& value);

    void setExpirationPeriodMS(qint64 periodMS);
    bool removeExpiredTilesIfNecessary();
    bool pruneCache();
    // Writes the touched values still held only in memory.
    bool flushTouched();

    GMSTileDataCacheStats stats() const;
    // Keys from the most to the least recently used.
    QList<GMSCacheTileKey> lruOrder() const;

    std::atomic<qint64> hitCounter{0};
    std::atomic<qint64> missCounter{0};
    std::atomic<qint64> ejectCounter{0};

private:
    struct Row {
        qint64 id = 0;
        qint64 touched = 0;
        qint64 validationTime = 0;
        qint32 perTileEpoch = 0;
        qint32 serverPerTileEpoch = 0;
        qint64 size = 0;
        QString versionID;
        bool touchDirty = false;
    };

    bool readIndex();
    std::optional<GMSCachedTileData> readTile(const GMSCacheTileKey& key);
    bool readProperties();
    void touch(const GMSCacheTileKey& key, Row& row);
    bool deleteRowFromStore(qint64 id);
    void dropFromIndex(const GMSCacheTileKey& key);
    bool storeOne(const GMSCacheableTileData& item);
    bool insertRow(const GMSCacheableTileData& item);
    bool writeBlob(qint64 id, bool proto, const QByteArray& data);
    bool writeDirtyTouches();
    void clearDirtyTouches();
    // After a failed save the store is the truth again.
    void recover(const char* what);
    zl::sqlite::Connection& db() { return m_storage->db(); }

    std::unique_ptr<GMSCacheStorage> m_storage;
    int m_tileType;
    qint64 m_maxCount;
    qint64 m_maxSize;
    const zl::Clock* m_clock;  // wall time; none: tiles never expire

    zl::LruCache<GMSCacheTileKey, Row> m_tiles;  // unbounded: pruneCache keeps the limits
    qint64 m_cacheSize = 0;
    qint64 m_expirationPeriodMS = -1;
    qint64 m_nextValidationTimeMS = -1;
    qint64 m_nextTouched = 1;
    qint64 m_dirtyTouches = 0;
    qint64 m_expirationScans = 0;
    QHash<QString, QVariant> m_properties;
};
