#include "GMSTileDiskStage.h"

#include "GMSTileDataCache.h"

GMSTileDiskStage::GMSTileDiskStage(GMSTileDataCache* cache, QObject* workQueue)
    : m_cache(cache), m_workQueue(workQueue)
{
}

void GMSTileDiskStage::load(const GMSTileCoords& coords, std::function<void(const GMSCachedTileData&)> loaded)
{
    if (!m_cache) {
        loaded(GMSCachedTileData{});
        return;
    }
    // Answers on the work queue, and not at all once it is gone.
    m_cache->loadTileForTileCoords(cacheKey(coords), m_workQueue.data(),
                                   [loaded = std::move(loaded)](GMSCachedTileData d) { loaded(d); });
}

void GMSTileDiskStage::store(const QList<GMSCacheableTileData>& items)
{
    if (m_cache && !items.isEmpty())
        m_cache->storeCacheableTileDatas(items);
}

void GMSTileDiskStage::setProperty(const QString& key, const QVariant& value)
{
    if (m_cache)
        m_cache->setProperty(value, key);
}

bool GMSTileDiskStage::holdsOther(const QString& key, const QVariant& value) const
{
    if (!m_cache)
        return false;
    const QVariant stored = m_cache->propertyForKey(key);
    return stored.isValid() && stored.toString() != value.toString();
}

void GMSTileDiskStage::setExpirationPeriodMS(qint64 period)
{
    if (m_cache)
        m_cache->setExpirationPeriodMS(period);
}

void GMSTileDiskStage::clear()
{
    if (m_cache)
        m_cache->deleteTileDataCacheWithCompletionHandler();
}
