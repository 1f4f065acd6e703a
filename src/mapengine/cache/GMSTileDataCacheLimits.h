#pragma once

#include <QString>
#include <QtGlobal>

#include <optional>

// The facts of a tile type that decide its disk cache's limits.
struct GMSCacheTileTypeTraits {
    QString name;              // for notes
    bool isStorable = false;
    int dataType = 0;
    bool isAuxiliary = false;  // the type of small auxiliary data
    bool isMainVector = false; // the main vector tile type
};

struct GMSTileDataCacheLimits {
    qint64 maxCount = 0;  // 0: no limit
    qint64 maxSize = 0;   // bytes; 0: no limit
};

// The limits of a type's disk cache, or none when the type has no disk
// cache. passesDeviceTest: whether the engine's device test passes (the
// main vector type then gets its large cache); freeBytes: free space of the
// caches' file system, used once for the size limit.
std::optional<GMSTileDataCacheLimits> cacheSizeForTileType(const GMSCacheTileTypeTraits& type, bool passesDeviceTest,
                                                           qint64 freeBytes);

// 10 % of the free space, at least 40 MiB and at most 1 GiB.
qint64 vectorCacheMaxSizeForFreeBytes(qint64 freeBytes);
// The same for the file system of `path`, computed at the first call and
// kept from then on.
qint64 vectorCacheMaxSize(const QString& path);

inline constexpr qint64 kGMSMainVectorCacheMaxEntries = 81800;
