#include "GMSCacheTileKey.h"
#include "GMSTileMemCache.h"
#include "testsupport.h"

#include <QRandomGenerator>

#include <gtest/gtest.h>

#include <thread>
#include <vector>

using MemCache = GMSTileMemCache<GMSCacheTileKey, int>;
constexpr int kNotFound = -1;

TEST(GMSTileMemCache, NotFoundSetAnswersWithTheMarkerWithoutTouchingAndTheLruStaysWholeUnderManyThreads) {
    zltest::LogCapture log;
    EXPECT_EQ(MemCache::create(0, kNotFound), nullptr);
    EXPECT_TRUE(log.contains("refused"));

    auto mem = MemCache::create(2, kNotFound);
    mem->setObject(7, {1, 0, 0});
    mem->setObject(8, {1, 1, 0});
    mem->markKeyAsNotFound({1, 0, 0});
    EXPECT_TRUE(mem->isNotFoundMarker(*mem->objectForKey({1, 0, 0})));
    // The not-found answer didn't make (1,0,0) young: it is still the oldest.
    mem->setObject(9, {1, 2, 0});
    mem->removeObjectForKey({1, 0, 0});
    EXPECT_FALSE(mem->objectForKey({1, 0, 0}).has_value()) << "removing forgets the not-found mark too";
    EXPECT_EQ(mem->objectForKey({1, 1, 0}), 8);  // a hit makes it the youngest
    mem->setObject(10, {1, 3, 0});
    EXPECT_EQ(mem->objectForKey({1, 1, 0}), 8);
    EXPECT_FALSE(mem->objectForKey({1, 2, 0}).has_value());

    mem->markKeyAsNotFound({5, 5, 5});
    mem->didReceiveMemoryWarning();
    EXPECT_EQ(mem->count(), 0u);
    EXPECT_EQ(mem->objectForKey({5, 5, 5}), kNotFound) << "a memory warning sheds tiles, not what is missing";
    mem->removeAllObjects();
    EXPECT_FALSE(mem->objectForKey({5, 5, 5}).has_value());

    // An update predicate may keep the old tile.
    mem = MemCache::create(4, kNotFound, [](int existing, int incoming) { return incoming > existing; });
    QList<int> kept;
    for (int v : {5, 3, 6}) {
        mem->setObject(v, {0, 0, 0});
        kept << mem->objectForKey({0, 0, 0}).value_or(0);
    }
    EXPECT_EQ(kept, QList<int>({5, 5, 6}));

    mem = MemCache::create(64, kNotFound);
    std::vector<std::thread> threads;
    std::atomic<int> bad{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&, t] {
            QRandomGenerator rng(t);
            for (int i = 0; i < 5000; ++i) {
                const GMSCacheTileKey k{t, int(rng.bounded(100)), 0};
                switch (rng.bounded(4)) {
                case 0: mem->setObject(k.x * 10 + t, k); break;
                case 1:
                    if (auto v = mem->objectForKey(k); v && *v != k.x * 10 + t && *v != kNotFound) ++bad;
                    break;
                case 2: mem->removeObjectForKey(k); break;
                default: if (i % 500 == 0) mem->markKeyAsNotFound(k); break;
                }
            }
        });
    }
    for (auto& th : threads) th.join();
    EXPECT_EQ(bad.load(), 0);
    EXPECT_LE(mem->count(), 64u);
}
