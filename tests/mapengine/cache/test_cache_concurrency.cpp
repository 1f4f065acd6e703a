#include "CacheTestHelpers.h"

#include <QCoreApplication>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
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
}  // namespace

// Several threads store and load at once, on two caches (two tile types)
// over one store file. Each thread owns its keys, and its calls reach the
// cache in order, so a load must see the last version stored before it,
// whether it waits for the answer or has it delivered to a context on the
// main thread (and there only).
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
    QObject context;
    QThread* main = QThread::currentThread();
    std::atomic<int> pending{0}, wrong{0}, wrongThread{0}, failedStores{0};
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
                const int expected = last[t][keyIndex];
                auto check = [&, k, expected](const GMSCachedTileData& d) {
                    if ((d.found ? d.data : "miss") != (expected < 0 ? "miss" : payload(k, expected))) ++wrong;
                };
                switch (rng.bounded(3)) {
                case 0:
                    last[t][keyIndex] = op;
                    ++pending;
                    cache.storeCacheableTileDatas({tile(k.zoom, k.x, k.y, payload(k, op), op)}, nullptr, [&](bool ok) {
                        if (!ok) ++failedStores;
                        --pending;
                    });
                    break;
                case 1:
                    ++pending;
                    cache.loadTileForTileCoords(k, &context, [&, check](GMSCachedTileData d) {
                        check(d);
                        if (QThread::currentThread() != main) ++wrongThread;
                        --pending;
                    });
                    break;
                default: check(cache.loadTileForTileCoordsAndWait(k));
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    ASSERT_TRUE(zltest::waitFor([&] { return pending.load() == 0; }, 60000));
    EXPECT_EQ(std::tuple(wrong.load(), wrongThread.load(), failedStores.load()), std::tuple(0, 0, 0));

    // The index agrees with what was stored, and with the store itself.
    for (GMSTileDataCache* cache : {&a, &b}) {
        QList<qint64> expected{0, 0};
        for (int t = cache == &a ? 0 : 1; t < kThreads; t += 2)
            for (int k = 0; k < kKeysPerThread; ++k)
                if (last[t][k] >= 0) {
                    expected = {expected[0] + 1, expected[1] + payload({t, k, 0}, last[t][k]).size()};
                    EXPECT_EQ(load(*cache, {t, k, 0}).data, payload({t, k, 0}, last[t][k]));
                }
        EXPECT_EQ(counts(*cache).mid(0, 2), expected);
    }
    // On the cache's own thread a waiting load runs in place.
    const int k = int(std::find_if(last[1].begin(), last[1].end(), [](int v) { return v >= 0; }) - last[1].begin());
    ASSERT_LT(k, kKeysPerThread);
    QByteArray inPlace = "not run";
    b.blockWorkQueueWhile([&] { inPlace = b.loadTileForTileCoordsAndWait({1, k, 0}).data; });
    EXPECT_EQ(inPlace, payload({1, k, 0}, last[1][k]));

    // Closing finishes the work asked for; a handler whose context is gone
    // by delivery time is dropped.
    const auto before = counts(a).mid(0, 2);
    std::atomic<int> delivered{0}, stored{0};
    auto gone = std::make_unique<QObject>();
    for (int i = 0; i < 100; ++i) {
        a.storeTileCoords({20, i, 0}, 0, {}, QByteArray(100, 'q'), nullptr, [&](bool ok) { stored += ok; });
        a.loadTileForTileCoords({20, i, 0}, gone.get(), [&](GMSCachedTileData) { ++delivered; });
    }
    a.blockWorkQueueWhile([] {});
    gone.reset();  // before the queued handlers reach this thread
    pa.reset();
    QCoreApplication::processEvents();
    EXPECT_EQ(std::pair(delivered.load(), stored.load()), std::pair(0, 100));
    GMSTileDataCache reopened(tilesDescriptor(root.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(reopened));
    EXPECT_EQ(counts(reopened).mid(0, 2), QList<qint64>({before[0] + 100, before[1] + 100 * 100}));
}
