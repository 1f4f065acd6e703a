#pragma once

#include "GMSCallback.h"
#include "SerialQueue.h"
#include "GMSCacheStorageDescriptor.h"
#include "GMSTileDataCacheTypes.h"

#include <QHash>
#include <QList>
#include <QMutex>
#include <QObject>
#include <QSet>
#include <QVariant>

#include <atomic>
#include <functional>
#include <memory>

class GMSTileDataCacheCore;

// The disk cache of one tile type. Every call returns at once; the work runs
// on the cache's own thread, which alone holds the store connection, and
// each completion handler is delivered to the thread of the `context`
// object given with it (or, without a context, run on the cache's thread).
class GMSTileDataCache {
public:
    GMSTileDataCache(GMSCacheStorageDescriptor descriptor, int tileType, qint64 maxCount, qint64 maxSize,
                     const zl::Clock* timingClock = nullptr);
    // Finishes the work already asked for, then closes the store.
    ~GMSTileDataCache();
    GMSTileDataCache(const GMSTileDataCache&) = delete;
    GMSTileDataCache& operator=(const GMSTileDataCache&) = delete;

    int tileType() const { return m_tileType; }
    const GMSCacheStorageDescriptor& cacheStorageDescriptor() const { return m_descriptor; }

    // Opens the store (rebuilding it if need be) and reads the index. The
    // handler gets false when the cache has to go on without a disk.
    void startWithCompletionHandler(QObject* context, std::function<void(bool ok)> handler);
    // Runs the block on the cache's thread once start has finished.
    void runWhenStarted(std::function<void()> block);

    // While the cache is being deleted the miss comes at once (without a
    // context: on the calling thread).
    void loadTileForTileCoords(const GMSCacheTileKey& coords, QObject* context,
                               std::function<void(GMSCachedTileData)> handler);
    // The same load for a worker that waits for each tile before it asks for
    // the next: the store is read on the cache's thread and the result handed
    // back without a Qt event. Never call it on the GUI thread.
    GMSCachedTileData loadTileForTileCoordsAndWait(const GMSCacheTileKey& coords);
    void storeTileCoords(const GMSCacheTileKey& coords, qint64 validationTime, const QString& versionID,
                         const QByteArray& data, QObject* context = nullptr,
                         std::function<void(bool saved)> handler = {});
    void storeCacheableTileDatas(QList<GMSCacheableTileData> items, QObject* context = nullptr,
                                 std::function<void(bool saved)> handler = {});
    void touchTileForTileCoords(const GMSCacheTileKey& coords);
    void deleteTileWithCoords(const GMSCacheTileKey& coords, QObject* context = nullptr,
                              std::function<void(bool)> handler = {});
    void deleteTileCoordsSet(const QSet<GMSCacheTileKey>& coords, QObject* context = nullptr,
                             std::function<void(bool)> handler = {});
    // The handler gets the stored coordinates among `coords` that pass the
    // predicate (run on the cache's thread).
    void checkTileCoordsSet(const QSet<GMSCacheTileKey>& coords,
                            std::function<bool(const GMSCacheTileKey&, const GMSCachedTileInfo&)> predicate,
                            QObject* context, std::function<void(QSet<GMSCacheTileKey>)> handler);


    // Properties are read from memory at once; writes reach the store in order.
    QVariant propertyForKey(const QString& key) const;
    void setProperty(const QVariant& value, const QString& key);

    void deleteTileDataCacheWithCompletionHandler(QObject* context = nullptr, std::function<void(bool)> handler = {});
    void deleteTileDataCachesExceptTypes(const QSet<int>& keptTypes, QObject* context = nullptr,
                                         std::function<void(bool)> handler = {});
    void invalidateTileEpochsInCachesWithCompletionHandler(QObject* context = nullptr,
                                                           std::function<void(bool)> handler = {});

    // From the client parameters; -1 turns expiry off.
    void setExpirationPeriodMS(qint64 periodMS);
    // Writes pending touches (the LRU order) to the store.
    void didReceiveMemoryWarning();

    // Runs the block with the cache's thread held: not for the GUI thread.
    void blockWorkQueueWhile(const std::function<void()>& block);
    // A snapshot taken on the cache's thread: for tests and tools.
    GMSTileDataCacheStats stats();
    QList<GMSCacheTileKey> lruOrder();

    qint64 hitCount() const;
    qint64 missCount() const;
    qint64 ejectCount() const;

private:
    enum class State { NotStarted, Started, Failed };
    struct PendingLoad {
        GMSCacheTileKey key;
        GMSCallback<GMSCachedTileData> done;
    };
    struct LoadBatch {
        QList<PendingLoad> loads;  // under m_loadLock
    };
    bool usable();  // on the queue
    void enqueue(std::function<void()> block);
    void drainLoads(const std::shared_ptr<LoadBatch>& batch);

    GMSCacheStorageDescriptor m_descriptor;
    const int m_tileType;
    std::unique_ptr<GMSTileDataCacheCore> m_core;  // touched on the queue only
    State m_state = State::NotStarted;             // on the queue only
    QList<std::function<void()>> m_whenStarted;    // on the queue only
    std::atomic<int> m_deleteTileDataCachePendings{0};
    QMutex m_loadLock;
    std::shared_ptr<LoadBatch> m_openLoadBatch;  // under m_loadLock
    mutable QMutex m_propertiesLock;
    QHash<QString, QVariant> m_properties;
    // Last member: its destructor drains the queue while the rest still lives.
    std::unique_ptr<zl::SerialQueue> m_queue;
};
