#include "GMSTileDiskCaches.h"

#include "GMSTileDataCache.h"
#include "GMSTileDataCacheLimits.h"

#include <QStorageInfo>

GMSTileDiskCaches::GMSTileDiskCaches(const QString& cachesDir, const QString& lastRunVersion,
                                     const std::vector<int>& tileTypes, std::function<qint64()> clock)
{
    const auto descriptor = GMSCacheStorageDescriptor::cacheStorageDescriptorForName(
        kGMSTilesCacheName, kGMSTilesCacheBoundaryVersion, cachesDir, lastRunVersion);
    const qint64 freeBytes = QStorageInfo(cachesDir).bytesAvailable();
    for (int type : tileTypes) {
        GMSCacheTileTypeTraits traits;
        traits.name = QStringLiteral("type %1").arg(type);
        traits.isStorable = true;
        traits.dataType = 0;
        const auto limits = cacheSizeForTileType(traits, true, freeBytes);
        if (!limits)
            continue;
        m_caches[type] = std::make_unique<GMSTileDataCache>(descriptor, type, limits->maxCount, limits->maxSize, clock);
    }
}

GMSTileDiskCaches::~GMSTileDiskCaches() = default;

GMSTileDataCache* GMSTileDiskCaches::cacheForType(int tileType) const
{
    auto it = m_caches.find(tileType);
    return it == m_caches.end() ? nullptr : it->second.get();
}

void GMSTileDiskCaches::start(QObject* context, std::function<void()> done)
{
    auto remaining = std::make_shared<int>(int(m_caches.size()));
    if (*remaining == 0) {
        QMetaObject::invokeMethod(context, done, Qt::QueuedConnection);
        return;
    }
    for (auto& [type, cache] : m_caches) {
        // A cache that cannot open goes on without a disk: the start still counts.
        cache->startWithCompletionHandler(context, [remaining, done](bool) {
            if (--*remaining == 0)
                done();
        });
    }
}
