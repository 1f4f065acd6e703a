// The caches' hand-off: the serial queue with its short spin before sleeping,
// the waiter that hands a result back, and awaited loads from many threads.
#include "CacheTestHelpers.h"
#include "GMSCacheQueue.h"

#include <QRandomGenerator>
#include <QThread>

#include <chrono>
#include <thread>
#include <vector>

using namespace cachetest;

namespace {

// Keeps the thread busy for a while without sleeping, so that the other
// side of a hand-off may have gone to sleep (or not) by then.
void busyFor(int microseconds) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
    while (std::chrono::steady_clock::now() < until) {
    }
}

}  // namespace

TEST(GMSCacheQueue, ManyProducersKeepTheirOrderAndEveryBlockRuns) {
    constexpr int kProducers = 4;
    constexpr int kPerProducer = 4000;
    GMSCacheQueue queue(QStringLiteral("order"));
    std::vector<std::vector<int>> seen(kProducers);  // touched on the queue only
    std::atomic<int> wrongThread{0};
    std::vector<std::thread> producers;
    for (int p = 0; p < kProducers; ++p) {
        producers.emplace_back([&, p] {
            QRandomGenerator rng(quint32(p + 1));
            for (int i = 0; i < kPerProducer; ++i) {
                queue.async([&, p, i] {
                    if (!queue.isCurrent()) ++wrongThread;
                    seen[p].push_back(i);
                });
                // Now and then the queue runs dry, spins and sleeps.
                if (rng.bounded(200) == 0) busyFor(int(rng.bounded(300)));
                if (rng.bounded(1000) == 0) queue.sync([] {});
            }
        });
    }
    for (auto& t : producers) t.join();
    queue.sync([] {});
    EXPECT_EQ(wrongThread.load(), 0);
    for (int p = 0; p < kProducers; ++p) {
        ASSERT_EQ(int(seen[p].size()), kPerProducer) << "producer " << p;
        for (int i = 0; i < kPerProducer; ++i) ASSERT_EQ(seen[p][i], i) << "producer " << p;
    }
}

TEST(GMSCacheQueue, StoppingRunsWhatIsPostedAndWhatThatPosts) {
    std::atomic<int> ran{0};
    {
        std::function<void(int)> chain;  // outlives the queue
        GMSCacheQueue queue(QStringLiteral("drain"));
        chain = [&](int left) {
            ++ran;
            if (left > 0) queue.async([&chain, left] { chain(left - 1); });
        };
        queue.async([&] { busyFor(2000); });  // the rest is still waiting when stopping starts
        for (int i = 0; i < 100; ++i) queue.async([&] { ++ran; });
        queue.async([&] { chain(50); });
    }
    EXPECT_EQ(ran.load(), 100 + 51);
}

TEST(GMSCacheQueue, SyncOnTheQueueRunsAtOnceAndSyncFromOutsideWaits) {
    GMSCacheQueue queue(QStringLiteral("sync"));
    EXPECT_FALSE(queue.isCurrent());
    int value = 0;
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        queue.sync([&] { value = 1; });  // inline: no deadlock
        value += 1;
    });
    EXPECT_EQ(value, 2);
    // A sleeping queue is woken by a post.
    for (int round = 0; round < 20; ++round) {
        busyFor(GMSCacheQueue::kSpinMicroseconds * 3);
        queue.sync([&] { ++value; });
    }
    EXPECT_EQ(value, 22);
}

TEST(GMSCacheWaiter, HandsBackWhetherTheWaiterSpinsSleepsOrComesLate) {
    GMSCacheQueue queue(QStringLiteral("waiter"));
    QRandomGenerator rng(11);
    for (int round = 0; round < 300; ++round) {
        // Lives on this stack only: the signalling side must be done with
        // it when wait() returns.
        GMSCacheWaiter waiter;
        int result = 0;
        const int delay = round % 3 == 0 ? 0 : int(rng.bounded(GMSCacheQueue::kSpinMicroseconds * 4));
        queue.async([&, delay, round] {
            busyFor(delay);
            result = round + 1;
            waiter.signal();
        });
        if (round % 5 == 0) busyFor(int(rng.bounded(200)));  // signalled before the wait
        waiter.wait();
        ASSERT_EQ(result, round + 1);
    }
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
