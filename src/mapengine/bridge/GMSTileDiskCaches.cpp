#include "GMSTileDiskCaches.h"

#include "GMSTileDataCache.h"
#include "GMSTileDataCacheLimits.h"

#include <QStorageInfo>

GMSTileDiskCaches::GMSTileDiskCaches(const QString& cachesDir, const QString& lastRunVersion,
                                     const std::vector<int>& tileTypes, const zl::Clock* clock)
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

namespace {
struct StartChain {
    std::vector<GMSTileDataCache*> order;
    QObject* context;
    std::function<void()> done;
};

void startFrom(const std::shared_ptr<StartChain>& chain, std::size_t i)
{
    if (i == chain->order.size()) {
        QMetaObject::invokeMethod(chain->context, chain->done, Qt::QueuedConnection);
        return;
    }
    // A cache that cannot open goes on without a disk: the start still counts.
    chain->order[i]->startWithCompletionHandler(chain->context, [chain, i](bool) { startFrom(chain, i + 1); });
}
}  // namespace

void GMSTileDiskCaches::start(QObject* context, std::function<void()> done)
{
    // The caches share one store file: they open one after the other, so
    // that no two set it up at the same time and wait on its lock.
    auto chain = std::make_shared<StartChain>(StartChain{{}, context, std::move(done)});
    for (auto& [type, cache] : m_caches)
        chain->order.push_back(cache.get());
    startFrom(chain, 0);
}
