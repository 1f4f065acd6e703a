#include "CacheTestHelpers.h"

#include <QCoreApplication>

#include <QRandomGenerator>
#include <QThread>

#include <optional>

#include <thread>
#include <vector>

using namespace cachetest;

namespace {
// Tile bytes that say which key and which version they are.
QByteArray payload(const GMSCacheTileKey& k, int version) {
    QByteArray b = QStringLiteral("%1/%2/%3#%4|").arg(k.zoom).arg(k.x).arg(k.y).arg(version).toLatin1();
    return b + QByteArray(int(64 + (k.x * 37 + version * 11) % 900), char('a' + version % 26));
}

int versionOf(const QByteArray& data, const GMSCacheTileKey& k) {
    const QByteArray head = data.left(data.indexOf('|'));
    const QByteArray prefix = QStringLiteral("%1/%2/%3#").arg(k.zoom).arg(k.x).arg(k.y).toLatin1();
    if (!head.startsWith(prefix)) return -2;  // someone else's bytes
    return head.mid(prefix.size()).toInt();
}
}  // namespace

// Several threads store and load at once, on two caches (two tile types)
// over one store file. Each thread owns its keys, and its calls reach the
// cache in order, so a load must see the last version stored before it.
TEST(GMSTileDataCacheConcurrency, ManyThreadsGetConsistentResults) {
    QTemporaryDir root;
    auto pa = std::make_unique<GMSTileDataCache>(tilesDescriptor(root.path()), 1, 0, 0);
    GMSTileDataCache b(tilesDescriptor(root.path()), 2, 0, 0);
    GMSTileDataCache& a = *pa;
    ASSERT_TRUE(startCache(a));
    ASSERT_TRUE(startCache(b));

    constexpr int kThreads = 6;
    constexpr int kOps = 300;
    constexpr int kKeysPerThread = 12;
    std::atomic<int> pending{0};
    std::atomic<int> wrong{0};
    std::atomic<int> failedStores{0};
    // Last version stored, per thread and key; written only by its thread.
    std::vector<std::vector<int>> last(kThreads, std::vector<int>(kKeysPerThread, -1));

    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([&, t] {
            GMSTileDataCache& cache = (t % 2) ? b : a;
            QRandomGenerator rng(1000 + t);
            for (int op = 0; op < kOps; ++op) {
                const int keyIndex = int(rng.bounded(kKeysPerThread));
                const GMSCacheTileKey k{t, keyIndex, 0};
                if (rng.bounded(2) == 0) {
                    const int version = op;
                    QList<GMSCacheableTileData> batch{tile(k.zoom, k.x, k.y, payload(k, version), op)};
                    last[t][keyIndex] = version;
                    ++pending;
                    cache.storeCacheableTileDatas(batch, nullptr, [&](bool ok) {
                        if (!ok) ++failedStores;
                        --pending;
                    });
                } else {
                    const int expected = last[t][keyIndex];
                    ++pending;
                    cache.loadTileForTileCoords(k, nullptr, [&, k, expected](GMSCachedTileData d) {
                        const int got = d.found ? versionOf(d.data, k) : -1;
                        if (got != expected) ++wrong;
                        --pending;
                    });
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    ASSERT_TRUE(zltest::waitFor([&] { return pending.load() == 0; }, 60000));
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(failedStores.load(), 0);

    // The index agrees with what was stored, and with the store itself.
    for (GMSTileDataCache* cache : {&a, &b}) {
        qint64 expectedCount = 0;
        qint64 expectedSize = 0;
        for (int t = cache == &a ? 0 : 1; t < kThreads; t += 2)
            for (int k = 0; k < kKeysPerThread; ++k)
                if (last[t][k] >= 0) {
                    ++expectedCount;
                    expectedSize += payload({t, k, 0}, last[t][k]).size();
                    EXPECT_EQ(load(*cache, {t, k, 0}).data, payload({t, k, 0}, last[t][k]));
                }
        const auto s = cache->stats();
        EXPECT_EQ(s.count, expectedCount);
        EXPECT_EQ(s.cacheSize, expectedSize);
    }
    const auto before = a.stats();
    pa.reset();
    GMSTileDataCache reopened(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(reopened));
    EXPECT_EQ(reopened.stats().count, before.count);
    EXPECT_EQ(reopened.stats().cacheSize, before.cacheSize);
}

// Handlers with a context arrive on the context's thread, whatever thread
// asked.
TEST(GMSTileDataCacheConcurrency, HandlersArriveOnTheContextThread) {
    QTemporaryDir root;
    GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(cache));
    QObject context;  // lives on this (the main) thread
    std::atomic<int> onMain{0};
    std::atomic<int> elsewhere{0};
    QThread* main = QThread::currentThread();
    std::vector<std::thread> threads;
    for (int t = 0; t < 3; ++t) {
        threads.emplace_back([&, t] {
            for (int i = 0; i < 20; ++i) {
                cache.storeTileCoords({t, i, 0}, 0, {}, "x", &context, [&](bool) {
                    (QThread::currentThread() == main ? onMain : elsewhere)++;
                });
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_TRUE(zltest::waitFor([&] { return onMain.load() + elsewhere.load() == 60; }));
    EXPECT_EQ(elsewhere.load(), 0);
}

// A handler whose context is gone by delivery time is dropped; closing a
// cache finishes the work already asked for.
TEST(GMSTileDataCacheConcurrency, GoneContextsAndClosingWithWorkPending) {
    QTemporaryDir root;
    std::atomic<int> delivered{0};
    std::atomic<int> stored{0};
    {
        GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0);
        ASSERT_TRUE(startCache(cache));
        auto context = std::make_unique<QObject>();
        for (int i = 0; i < 100; ++i) {
            cache.storeTileCoords({3, i, 0}, 0, {}, QByteArray(100, 'q'), nullptr, [&](bool ok) { stored += ok; });
            cache.loadTileForTileCoords({3, i, 0}, context.get(), [&](GMSCachedTileData) { ++delivered; });
        }
        cache.blockWorkQueueWhile([] {});
        context.reset();  // before the queued handlers reach this thread
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(delivered.load(), 0);
    EXPECT_EQ(stored.load(), 100);
    GMSTileDataCache reopened(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(reopened));
    EXPECT_EQ(reopened.stats().count, 100);
}

TEST(GMSTileDataCache, AwaitedLoadsFromManyThreadsBetweenStores) {
    QTemporaryDir root;
    GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(cache));
    QList<GMSCacheableTileData> items;
    for (int i = 0; i < 64; ++i) items.append(tile(12, i, 0, QByteArray(1024 + i, char('a' + i % 26))));
    ASSERT_TRUE(store(cache, items));

    std::atomic<int> wrong{0};
    std::atomic<bool> storing{true};
    std::thread writer([&] {
        // Stores of other tiles go on meanwhile; the loads stay correct.
        for (int i = 0; i < 200; ++i) cache.storeTileCoords({13, i, 1}, 1, {}, QByteArray(512, 'z'));
        storing = false;
    });
    std::vector<std::thread> readers;
    for (int r = 0; r < 3; ++r) {
        readers.emplace_back([&, r] {
            QRandomGenerator rng(quint32(r + 5));
            for (int n = 0; n < 400; ++n) {
                const int i = int(rng.bounded(64));
                const GMSCachedTileData d = cache.loadTileForTileCoordsAndWait({12, i, 0});
                if (!d.found || d.data != QByteArray(1024 + i, char('a' + i % 26))) ++wrong;
            }
        });
    }
    for (auto& t : readers) t.join();
    writer.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_FALSE(storing.load());

    // On the cache's own thread the load runs in place.
    std::optional<GMSCachedTileData> inPlace;
    cache.blockWorkQueueWhile([&] { inPlace = cache.loadTileForTileCoordsAndWait({12, 3, 0}); });
    ASSERT_TRUE(inPlace && inPlace->found);
    EXPECT_EQ(inPlace->data, QByteArray(1027, 'd'));
    EXPECT_FALSE(cache.loadTileForTileCoordsAndWait({12, 99, 0}).found);
}
