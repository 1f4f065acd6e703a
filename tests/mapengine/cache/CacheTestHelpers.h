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
#include <vector>

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

// The engine's two stores below a test's folder.
inline GMSCacheStorageDescriptor tilesDescriptor(const QString& root) {
    return GMSCacheStorageDescriptor::cacheStorageDescriptorForName(kGMSTilesCacheName, kGMSTilesCacheBoundaryVersion,
                                                                    root, kGMSTilesCacheBoundaryVersion);
}
inline GMSCacheStorageDescriptor objectsDescriptor(const QString& root) {
    return GMSCacheStorageDescriptor::cacheStorageDescriptorForName(
        kGMSObjectsCacheName, kGMSObjectsCacheBoundaryVersion, root, kGMSObjectsCacheBoundaryVersion);
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

// Loads, one line each: "miss", or data, validation time, version and the
// two epochs.
inline QStringList loads(GMSTileDataCache& cache, const QList<GMSCacheTileKey>& keys) {
    QStringList out;
    for (const auto& k : keys) {
        const GMSCachedTileData d = load(cache, k);
        out << (!d.found ? QStringLiteral("miss")
                         : QStringLiteral("%1 t%2 v%3 e%4/%5")
                               .arg(QString::fromLatin1(d.data))
                               .arg(d.validationTime)
                               .arg(d.versionID)
                               .arg(d.perTileEpoch)
                               .arg(d.serverPerTileEpoch));
    }
    return out;
}

// Count, size, next validation time and expiry scans of a cache's index.
inline QList<qint64> counts(GMSTileDataCache& cache) {
    const auto s = cache.stats();
    return {s.count, s.cacheSize, s.nextValidationTimeMS, s.expirationScans};
}

// A test with a caches folder of its own, and tile caches over it.
class CacheTest : public ::testing::Test {
protected:
    // A started cache; it lives until close() or the end of the test.
    GMSTileDataCache& open(int tileType = 1, qint64 maxCount = 0, qint64 maxSize = 0,
                           const zl::Clock* clock = nullptr) {
        m_caches.push_back(
            std::make_unique<GMSTileDataCache>(tilesDescriptor(root.path()), tileType, maxCount, maxSize, clock));
        EXPECT_TRUE(startCache(*m_caches.back()));
        return *m_caches.back();
    }
    // Closes every cache opened so far, as at the end of a run.
    void close() { m_caches.clear(); }

    QTemporaryDir root;

private:
    std::vector<std::unique_ptr<GMSTileDataCache>> m_caches;
};

inline GMSCachedObjectData loadObject(GMSObjectDataCache& cache, const QString& name) {
    return await<GMSCachedObjectData>([&](QObject* c, auto fn) { cache.loadObjectDataWithName(name, c, fn); });
}

inline bool storeObject(GMSObjectDataCache& cache, const QString& name, const QByteArray& data,
                        const QString& version = QStringLiteral("0")) {
    return await<bool>([&](QObject* c, auto fn) { cache.storeObjectDataWithName(name, version, data, c, fn); });
}

}  // namespace cachetest
