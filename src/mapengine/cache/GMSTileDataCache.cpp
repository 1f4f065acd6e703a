#include "GMSTileDataCache.h"

#include "GMSCacheLog.h"
#include "GMSCacheNotificationCenter.h"
#include "GMSCacheStorage.h"
#include "GMSTileDataCacheCore.h"

GMSTileDataCache::GMSTileDataCache(GMSCacheStorageDescriptor descriptor, int tileType, qint64 maxCount,
                                   qint64 maxSize, const zl::Clock* timingClock)
    : m_descriptor(std::move(descriptor)),
      m_tileType(tileType),
      m_core(std::make_unique<GMSTileDataCacheCore>(tileType, maxCount, maxSize, timingClock)),
      m_queue(std::make_unique<zl::SerialQueue>(QStringLiteral("GMSTileDataCache-%1").arg(tileType), zl::SerialQueue::kCacheSpinMicroseconds)) {}

GMSTileDataCache::~GMSTileDataCache() {
    // The connection closes on the thread that used it.
    m_queue->sync([this] { m_core.reset(); });
    m_queue.reset();
}

bool GMSTileDataCache::usable() {
    if (m_state == State::Started && m_core->hasStorage()) return true;
    if (m_state != State::Failed) qCInfo(lcMapCache, "GMSTileDataCache start not called or failed");
    return false;
}

void GMSTileDataCache::startWithCompletionHandler(QObject* context, std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    enqueue([this, done] {
        if (m_state == State::NotStarted) {
            auto storage = GMSCacheStorage::open(m_descriptor);
            const bool ok = m_core->start(std::move(storage));
            m_state = ok ? State::Started : State::Failed;
            if (ok) {
                QMutexLocker l(&m_propertiesLock);
                m_properties = m_core->properties();
            } else {
                qCWarning(lcMapCache, "Failed to initialize tile cache storage, can't use disk caching.");
                GMSCacheNotificationCenter::instance()->post(kGMSVectorTileServicesCacheIsNilNotification);
            }
            const auto waiting = std::exchange(m_whenStarted, {});
            for (const auto& block : waiting) block();
        }
        done(m_state == State::Started);
    });
}

void GMSTileDataCache::runWhenStarted(std::function<void()> block) {
    enqueue([this, block = std::move(block)] {
        if (m_state == State::NotStarted)
            m_whenStarted.append(block);
        else
            block();
    });
}

void GMSTileDataCache::loadTileForTileCoords(const GMSCacheTileKey& coords, QObject* context,
                                             std::function<void(GMSCachedTileData)> handler) {
    GMSCallback<GMSCachedTileData> done(context, std::move(handler));
    if (m_deleteTileDataCachePendings.load() > 0) {
        // The cache is being cleared: whatever it holds is already gone.
        m_core->missCounter++;
        done(GMSCachedTileData{});
        return;
    }
    // Loads asked one after another, with nothing else between them, are
    // served together in one read of the store.
    QMutexLocker l(&m_loadLock);
    if (!m_openLoadBatch) {
        m_openLoadBatch = std::make_shared<LoadBatch>();
        m_queue->async([this, batch = m_openLoadBatch] { drainLoads(batch); });
    }
    m_openLoadBatch->loads.append({coords, std::move(done)});
}

GMSCachedTileData GMSTileDataCache::loadTileForTileCoordsAndWait(const GMSCacheTileKey& coords) {
    if (m_queue->isCurrent()) {
        // Already on the cache's thread: the loads before this one have run.
        if (m_deleteTileDataCachePendings.load() > 0 || !usable()) return {};
        return m_core->loadTiles({coords}).value(0).value_or(GMSCachedTileData{});
    }
    zl::SpinWaiter waiter;
    GMSCachedTileData result;
    loadTileForTileCoords(coords, nullptr, [&](GMSCachedTileData d) {
        result = std::move(d);
        waiter.signal();
    });
    waiter.wait();
    return result;
}

void GMSTileDataCache::drainLoads(const std::shared_ptr<LoadBatch>& batch) {
    QList<PendingLoad> loads;
    {
        QMutexLocker l(&m_loadLock);
        loads = std::move(batch->loads);
        if (m_openLoadBatch == batch) m_openLoadBatch.reset();
    }
    if (!usable()) {
        for (const PendingLoad& p : loads) p.done(GMSCachedTileData{});
        return;
    }
    QList<GMSCacheTileKey> keys;
    keys.reserve(loads.size());
    for (const PendingLoad& p : loads) keys.append(p.key);
    const auto results = m_core->loadTiles(keys);
    for (qsizetype i = 0; i < loads.size(); ++i) loads[i].done(results[i].value_or(GMSCachedTileData{}));
}

void GMSTileDataCache::enqueue(std::function<void()> block) {
    // Whatever comes next must not overtake this: later loads start a new
    // batch behind it. The block is queued under the lock, or another
    // thread's load could open a batch ahead of it that this thread's next
    // load would join.
    QMutexLocker l(&m_loadLock);
    m_openLoadBatch.reset();
    m_queue->async(std::move(block));
}

void GMSTileDataCache::storeTileCoords(const GMSCacheTileKey& coords, qint64 validationTime,
                                       const QString& versionID, const QByteArray& data, QObject* context,
                                       std::function<void(bool)> handler) {
    GMSCacheableTileData item;
    item.coords = coords;
    item.validationTime = validationTime;
    item.versionID = versionID;
    item.data = data;
    storeCacheableTileDatas({item}, context, std::move(handler));
}

void GMSTileDataCache::storeCacheableTileDatas(QList<GMSCacheableTileData> items, QObject* context,
                                               std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    enqueue([this, items = std::move(items), done] {
        done(usable() && m_core->storeCacheableTileDatas(items));
    });
}

void GMSTileDataCache::touchTileForTileCoords(const GMSCacheTileKey& coords) {
    enqueue([this, coords] {
        if (usable()) m_core->touchTile(coords);
    });
}

void GMSTileDataCache::deleteTileWithCoords(const GMSCacheTileKey& coords, QObject* context,
                                            std::function<void(bool)> handler) {
    deleteTileCoordsSet({coords}, context, std::move(handler));
}

void GMSTileDataCache::deleteTileCoordsSet(const QSet<GMSCacheTileKey>& coords, QObject* context,
                                           std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    enqueue([this, keys = coords.values(), done] { done(usable() && m_core->deleteTiles(keys)); });
}

void GMSTileDataCache::checkTileCoordsSet(
    const QSet<GMSCacheTileKey>& coords,
    std::function<bool(const GMSCacheTileKey&, const GMSCachedTileInfo&)> predicate, QObject* context,
    std::function<void(QSet<GMSCacheTileKey>)> handler) {
    GMSCallback<QSet<GMSCacheTileKey>> done(context, std::move(handler));
    enqueue([this, coords, predicate = std::move(predicate), done] {
        done(usable() ? m_core->checkTileCoordsSet(coords, predicate) : QSet<GMSCacheTileKey>());
    });
}

QVariant GMSTileDataCache::propertyForKey(const QString& key) const {
    QMutexLocker l(&m_propertiesLock);
    return m_properties.value(key);
}

void GMSTileDataCache::setProperty(const QVariant& value, const QString& key) {
    {
        QMutexLocker l(&m_propertiesLock);
        if (value.isValid()) m_properties.insert(key, value); else m_properties.remove(key);
    }
    enqueue([this, value, key] {
        if (usable()) m_core->setProperty(key, value);
    });
}

void GMSTileDataCache::deleteTileDataCacheWithCompletionHandler(QObject* context, std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    ++m_deleteTileDataCachePendings;
    enqueue([this, done] {
        const bool ok = usable() && m_core->deleteAll();
        --m_deleteTileDataCachePendings;
        done(ok);
    });
}

void GMSTileDataCache::deleteTileDataCachesExceptTypes(const QSet<int>& keptTypes, QObject* context,
                                                       std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    const bool clearsOwn = !keptTypes.contains(m_tileType);
    if (clearsOwn) ++m_deleteTileDataCachePendings;
    enqueue([this, keptTypes, clearsOwn, done] {
        const bool ok = usable() && m_core->deleteAllExceptTypes(keptTypes);
        if (clearsOwn) --m_deleteTileDataCachePendings;
        done(ok);
    });
}

void GMSTileDataCache::invalidateTileEpochsInCachesWithCompletionHandler(QObject* context,
                                                                         std::function<void(bool)> handler) {
    GMSCallback<bool> done(context, std::move(handler));
    enqueue([this, done] { done(usable() && m_core->invalidateTileEpochs()); });
}

void GMSTileDataCache::setExpirationPeriodMS(qint64 periodMS) {
    enqueue([this, periodMS] { m_core->setExpirationPeriodMS(periodMS); });
}

void GMSTileDataCache::didReceiveMemoryWarning() {
    enqueue([this] {
        if (m_core->hasStorage()) m_core->flushTouched();
    });
}

void GMSTileDataCache::blockWorkQueueWhile(const std::function<void()>& block) { m_queue->sync(block); }

GMSTileDataCacheStats GMSTileDataCache::stats() {
    GMSTileDataCacheStats s;
    m_queue->sync([&] { s = m_core->stats(); });
    return s;
}

QList<GMSCacheTileKey> GMSTileDataCache::lruOrder() {
    QList<GMSCacheTileKey> out;
    m_queue->sync([&] { out = m_core->lruOrder(); });
    return out;
}

qint64 GMSTileDataCache::hitCount() const { return m_core->hitCounter.load(); }
qint64 GMSTileDataCache::missCount() const { return m_core->missCounter.load(); }
qint64 GMSTileDataCache::ejectCount() const { return m_core->ejectCounter.load(); }
