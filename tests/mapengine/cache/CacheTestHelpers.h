#pragma once

#include "Clock.h"

#include "GMSTileDataCache.h"
#include "testsupport.h"

#include <QDir>
#include <QObject>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <optional>

namespace cachetest {

// Calls an asynchronous cache operation with a context on this thread and
// spins the event loop until its handler ran.
template <class T, class Call>
T await(Call call) {
    std::optional<T> result;
    QObject context;
    call(&context, [&](T v) { result = std::move(v); });
    EXPECT_TRUE(zltest::waitFor([&] { return result.has_value(); })) << "handler never ran";
    return result.value_or(T{});
}

// A clock at the start of the epoch that tests move forward by hand to a
// wall time in milliseconds; read on the cache's thread.
struct FakeClock {
    zl::ManualClock manual{QDateTime::fromMSecsSinceEpoch(0, Qt::UTC)};
    const zl::Clock* clock() const { return &manual; }
    void set(qint64 ms) { manual.advance(ms - manual.wallMs()); }
};

inline GMSCacheStorageDescriptor tilesDescriptor(const QString& root) {
    GMSCacheStorageDescriptor d;
    d.name = kGMSTilesCacheName;
    d.boundaryVersion = kGMSTilesCacheBoundaryVersion;
    d.cachesDir = root;
    return d;
}

inline GMSCacheableTileData tile(int zoom, int x, int y, const QByteArray& data, qint64 validationTime = 0,
                                 const QString& versionID = {}) {
    GMSCacheableTileData t;
    t.coords = {zoom, x, y};
    t.data = data;
    t.validationTime = validationTime;
    t.versionID = versionID;
    return t;
}

inline bool startCache(GMSTileDataCache& cache) {
    return await<bool>([&](QObject* c, auto fn) { cache.startWithCompletionHandler(c, fn); });
}

inline bool store(GMSTileDataCache& cache, QList<GMSCacheableTileData> items) {
    return await<bool>([&](QObject* c, auto fn) { cache.storeCacheableTileDatas(items, c, fn); });
}

inline GMSCachedTileData load(GMSTileDataCache& cache, GMSCacheTileKey key) {
    return await<GMSCachedTileData>([&](QObject* c, auto fn) { cache.loadTileForTileCoords(key, c, fn); });
}

}  // namespace cachetest
