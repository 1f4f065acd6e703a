#pragma once

#include "Clock.h"

#include "GMSObjectDataCache.h"
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

// The engine's two stores below a test's folder.
inline GMSCacheStorageDescriptor descriptor(const QString& name, const QString& boundaryVersion, const QString& root) {
    GMSCacheStorageDescriptor d;
    d.name = name;
    d.boundaryVersion = boundaryVersion;
    d.cachesDir = root;
    return d;
}
inline GMSCacheStorageDescriptor tilesDescriptor(const QString& root) {
    return descriptor(kGMSTilesCacheName, kGMSTilesCacheBoundaryVersion, root);
}
inline GMSCacheStorageDescriptor objectsDescriptor(const QString& root) {
    return descriptor(kGMSObjectsCacheName, kGMSObjectsCacheBoundaryVersion, root);
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

inline GMSCachedObjectData loadObject(GMSObjectDataCache& cache, const QString& name) {
    return await<GMSCachedObjectData>([&](QObject* c, auto fn) { cache.loadObjectDataWithName(name, c, fn); });
}

inline bool storeObject(GMSObjectDataCache& cache, const QString& name, const QByteArray& data,
                        const QString& version = QStringLiteral("0")) {
    return await<bool>([&](QObject* c, auto fn) { cache.storeObjectDataWithName(name, version, data, c, fn); });
}

}  // namespace cachetest
