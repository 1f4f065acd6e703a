#include "GMSTileDataCacheLimits.h"

#include "GMSCacheLog.h"

#include <QStorageInfo>

#include <algorithm>
#include <mutex>

qint64 vectorCacheMaxSizeForFreeBytes(qint64 freeBytes) {
    constexpr qint64 kMin = 41943040;     // 40 MiB
    constexpr qint64 kMax = 1073741824;   // 1 GiB
    return std::clamp(std::max<qint64>(freeBytes, 0) / 10, kMin, kMax);
}

qint64 vectorCacheMaxSize(const QString& path) {
    static std::once_flag once;
    static qint64 size = 0;
    std::call_once(once, [&] { size = vectorCacheMaxSizeForFreeBytes(QStorageInfo(path).bytesAvailable()); });
    return size;
}

std::optional<GMSTileDataCacheLimits> cacheSizeForTileType(const GMSCacheTileTypeTraits& type, bool passesDeviceTest,
                                                           qint64 freeBytes) {
    if (!type.isStorable) return std::nullopt;
    if (type.isAuxiliary) return GMSTileDataCacheLimits{256, 0};
    if (type.isMainVector && passesDeviceTest)
        return GMSTileDataCacheLimits{kGMSMainVectorCacheMaxEntries, vectorCacheMaxSizeForFreeBytes(freeBytes)};
    switch (type.dataType) {
    case 0: return GMSTileDataCacheLimits{2048, 0};
    case 3:
    case 5: return GMSTileDataCacheLimits{4096, 0};
    default:
        qCWarning(lcMapCache, "Shouldn't be using %s in the SDK", qUtf8Printable(type.name));
        return std::nullopt;
    }
}
