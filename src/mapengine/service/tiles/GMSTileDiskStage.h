#pragma once

#include "GMSTileCoords.h"
#include "GMSTileDataCacheTypes.h"

#include <QList>
#include <QPointer>
#include <QString>
#include <QVariant>

#include <functional>

class GMSTileDataCache;

// The disk side of a tile service: its cache of tile bytes (absent for tile
// types that are not stored) and the properties kept with it. Used on the
// work queue only; the cache does its work on its own thread.
class GMSTileDiskStage {
public:
    GMSTileDiskStage(GMSTileDataCache* cache, QObject* workQueue);

    // The answer comes on the work queue; without a cache, at once as a miss.
    void load(const GMSTileCoords& coords, std::function<void(const GMSCachedTileData&)> loaded);
    void store(const QList<GMSCacheableTileData>& items);
    static GMSCacheTileKey cacheKey(const GMSTileCoords& coords) { return {coords.zoom(), coords.x(), coords.y()}; }

    void setProperty(const QString& key, const QVariant& value);
    // True when another value is stored under the key: what the cache holds
    // was made for other settings.
    bool holdsOther(const QString& key, const QVariant& value) const;
    void setExpirationPeriodMS(qint64 period);
    void clear();

private:
    GMSTileDataCache* const m_cache;
    const QPointer<QObject> m_workQueue;
};
