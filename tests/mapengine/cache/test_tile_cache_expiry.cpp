#include "CacheTestHelpers.h"

using namespace cachetest;

class GMSTileDataCacheExpiry : public CacheTest {
protected:
    FakeClock clock;
};

TEST_F(GMSTileDataCacheExpiry, ScanIsSkippedUntilTheOldestTileCanHaveExpired) {
    GMSTileDataCache& cache = open(1, 0, 0, clock.clock());
    clock.set(900);
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "a", 1000), tile(1, 1, 0, "b", 2000)}));
    EXPECT_EQ(cache.stats().expirationScans, 0) << "no period known yet";

    cache.setExpirationPeriodMS(500);
    clock.set(1400);  // t = 900: nothing older, the bound becomes 1000
    EXPECT_TRUE(load(cache, {1, 0, 0}).found);
    auto s = cache.stats();
    EXPECT_EQ(s.expirationScans, 1);
    EXPECT_EQ(s.nextValidationTimeMS, 1000);

    clock.set(1499);  // t = 999 < 1000: skipped
    EXPECT_TRUE(load(cache, {1, 0, 0}).found);
    clock.set(1500);  // t = 1000, the bound is not above it: scan, but 1000 is not below t
    EXPECT_TRUE(load(cache, {1, 0, 0}).found);
    EXPECT_EQ(cache.stats().expirationScans, 2);

    clock.set(1501);  // t = 1001: the tile of 1000 goes, the bound moves to 2000
    EXPECT_FALSE(load(cache, {1, 0, 0}).found);
    s = cache.stats();
    EXPECT_EQ(s.expirationScans, 3);
    EXPECT_EQ(s.nextValidationTimeMS, 2000);
    EXPECT_EQ(s.count, 1);
    EXPECT_EQ(s.cacheSize, 1);

    clock.set(2400);
    EXPECT_TRUE(load(cache, {1, 1, 0}).found);
    EXPECT_EQ(cache.stats().expirationScans, 3);

    clock.set(10000);
    EXPECT_FALSE(load(cache, {1, 1, 0}).found);
    s = cache.stats();
    EXPECT_EQ(s.nextValidationTimeMS, -1) << "no tile left";
    EXPECT_EQ(s.count, 0);
}

// A negative period, or no clock at all: tiles never expire.
TEST_F(GMSTileDataCacheExpiry, NoPeriodOrNoClockMeansNoScan) {
    for (const bool withClock : {true, false}) {
        SCOPED_TRACE(withClock);
        GMSTileDataCache& cache = open(withClock ? 1 : 2, 0, 0, withClock ? clock.clock() : nullptr);
        cache.setExpirationPeriodMS(withClock ? -1 : 1);
        ASSERT_TRUE(store(cache, {tile(1, 0, 0, "a", 0)}));
        clock.set(1LL << 40);
        EXPECT_TRUE(load(cache, {1, 0, 0}).found);
        EXPECT_EQ(cache.stats().expirationScans, 0);
    }
}

TEST_F(GMSTileDataCacheExpiry, StoringAnOlderTileLowersTheBound) {
    GMSTileDataCache& cache = open(1, 0, 0, clock.clock());
    cache.setExpirationPeriodMS(100);
    clock.set(500);
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "new", 450)}));
    EXPECT_EQ(cache.stats().nextValidationTimeMS, 450);
    ASSERT_TRUE(store(cache, {tile(1, 1, 0, "old", 300)}));  // expired when it comes: removed in the same save
    EXPECT_FALSE(load(cache, {1, 1, 0}).found);
    ASSERT_TRUE(store(cache, {tile(1, 2, 0, "older", 420)}));
    EXPECT_EQ(cache.stats().nextValidationTimeMS, 420);
    clock.set(521);  // t = 421: the bound is below t, so the scan runs
    EXPECT_FALSE(load(cache, {1, 2, 0}).found);
    EXPECT_TRUE(load(cache, {1, 0, 0}).found);
}

TEST_F(GMSTileDataCacheExpiry, ExpiredTilesGoAtStart) {
    ASSERT_TRUE(store(open(), {tile(1, 0, 0, "a", 100), tile(1, 1, 0, "b", 900)}));
    close();
    GMSTileDataCache cache(tilesDescriptor(root.path()), 1, 0, 0, clock.clock());
    cache.setExpirationPeriodMS(500);
    clock.set(1000);
    ASSERT_TRUE(startCache(cache));
    EXPECT_EQ(cache.lruOrder(), (QList<GMSCacheTileKey>{{1, 1, 0}}));
}
