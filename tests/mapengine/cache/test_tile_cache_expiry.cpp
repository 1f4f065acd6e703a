#include "CacheTestHelpers.h"

using namespace cachetest;

// The clock starts at the epoch; set() moves it to a wall time in ms.
class GMSTileDataCacheExpiry : public CacheTest {
protected:
    void set(qint64 ms) { clock.advance(ms - clock.wallMs()); }
    zl::ManualClock clock{QDateTime::fromMSecsSinceEpoch(0, Qt::UTC)};
};

// counts(): count, size, next validation time, scans.
TEST_F(GMSTileDataCacheExpiry, ScanIsSkippedUntilTheOldestTileCanHaveExpired) {
    GMSTileDataCache& cache = open(1, 0, 0, &clock);
    set(900);
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "a", 1000), tile(1, 1, 0, "b", 2000)}));
    EXPECT_EQ(cache.stats().expirationScans, 0) << "no period known yet";

    cache.setExpirationPeriodMS(500);
    struct Step {
        qint64 now;
        GMSCacheTileKey key;
        bool found;
        QList<qint64> counts;
    };
    const Step steps[] = {
        {1400, {1, 0, 0}, true, {2, 2, 1000, 1}},   // t = 900: nothing older, the bound becomes 1000
        {1499, {1, 0, 0}, true, {2, 2, 1000, 1}},   // t = 999 < 1000: skipped
        {1500, {1, 0, 0}, true, {2, 2, 1000, 2}},   // t = 1000: scan, but 1000 is not below t
        {1501, {1, 0, 0}, false, {1, 1, 2000, 3}},  // t = 1001: the tile of 1000 goes
        {2400, {1, 1, 0}, true, {1, 1, 2000, 3}},
        {10000, {1, 1, 0}, false, {0, 0, -1, 4}},  // no tile left
    };
    for (const Step& s : steps) {
        SCOPED_TRACE(s.now);
        set(s.now);
        EXPECT_EQ(load(cache, s.key).found, s.found);
        EXPECT_EQ(counts(cache), s.counts);
    }
}

TEST_F(GMSTileDataCacheExpiry, StoringAnOlderTileLowersTheBoundExpiredTilesGoAtStartAndNoPeriodMeansNoScan) {
    GMSTileDataCache& cache = open(1, 0, 0, &clock);
    cache.setExpirationPeriodMS(100);
    set(500);
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "new", 450)}));
    EXPECT_EQ(cache.stats().nextValidationTimeMS, 450);
    ASSERT_TRUE(store(cache, {tile(1, 1, 0, "old", 300)}));  // expired when it comes: removed in the same save
    EXPECT_FALSE(load(cache, {1, 1, 0}).found);
    ASSERT_TRUE(store(cache, {tile(1, 2, 0, "older", 420)}));
    EXPECT_EQ(cache.stats().nextValidationTimeMS, 420);
    set(521);  // t = 421: the bound is below t, so the scan runs
    EXPECT_EQ(loads(cache, {{1, 2, 0}, {1, 0, 0}}), QStringList({"miss", "new t450 v e0/0"}));

    ASSERT_TRUE(store(cache, {tile(1, 3, 0, "b", 520)}));
    close();
    GMSTileDataCache reopened(tilesDescriptor(root.path()), 1, 0, 0, &clock);
    reopened.setExpirationPeriodMS(100);
    set(600);
    ASSERT_TRUE(startCache(reopened));
    EXPECT_EQ(reopened.lruOrder(), (QList<GMSCacheTileKey>{{1, 3, 0}}));

    // A negative period, or no clock at all: tiles never expire.
    for (const bool withClock : {true, false}) {
        SCOPED_TRACE(withClock);
        GMSTileDataCache& other = open(withClock ? 4 : 2, 0, 0, withClock ? &clock : nullptr);
        other.setExpirationPeriodMS(withClock ? -1 : 1);
        ASSERT_TRUE(store(other, {tile(1, 0, 0, "a", 0)}));
        set(1LL << 40);
        EXPECT_TRUE(load(other, {1, 0, 0}).found);
        EXPECT_EQ(other.stats().expirationScans, 0);
    }
}
