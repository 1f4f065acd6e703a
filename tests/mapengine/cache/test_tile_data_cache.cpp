#include "CacheTestHelpers.h"
#include "SqliteConnection.h"
#include "SqliteFaults.h"

#include <QFile>
#include <QThread>

using namespace cachetest;
using GMSTileDataCacheTest = CacheTest;

namespace {
QList<GMSCacheTileKey> keys(std::initializer_list<GMSCacheTileKey> k) { return QList<GMSCacheTileKey>(k); }
}  // namespace

// Tiles in both forms, and properties with their types (shared by the tile
// types of the store).
TEST_F(GMSTileDataCacheTest, TilesAndPropertiesSurviveReopening) {
    GMSCacheableTileData proto = tile(5, 1, 2, "proto-bytes", 111, "v7");
    proto.perTileEpoch = 3;
    proto.serverPerTileEpoch = 4;
    GMSTileDataCache& first = open();
    ASSERT_TRUE(store(first, {tile(5, 0, 0, "wire-bytes", 100), proto, tile(5, 2, 2, QByteArray(), 5)}));
    first.setProperty(42, "TileDataVersion");
    first.setProperty(QStringLiteral("pl_PL"), "KrotraLocale");
    first.setProperty(QByteArray("\x01\x02", 2), "Blob");
    first.setProperty(1.5, "Real");
    first.setProperty(7, "Gone");
    first.setProperty(QVariant(), "Gone");
    EXPECT_EQ(first.propertyForKey("TileDataVersion").toInt(), 42);  // at once, from memory
    close();
    GMSTileDataCache& cache = open();
    EXPECT_EQ(loads(cache, {{5, 0, 0}, {5, 1, 2}, {5, 2, 2}, {5, 9, 9}}),
              QStringList({"wire-bytes t100 v e0/0", "proto-bytes t111 vv7 e3/4", " t5 v e0/0", "miss"}));
    EXPECT_EQ(QList<qint64>({cache.hitCount(), cache.missCount()}), QList<qint64>({3, 1}));
    EXPECT_EQ(counts(cache).mid(0, 2), QList<qint64>({3, 10 + 11}));
    GMSTileDataCache& other = open(2);
    QVariantList read;
    for (const char* key : {"TileDataVersion", "KrotraLocale", "Blob", "Real", "Gone", "PaintMajorEpoch"})
        read << other.propertyForKey(key);
    EXPECT_EQ(read, QVariantList({qint64(42), QStringLiteral("pl_PL"), QByteArray("\x01\x02", 2), 1.5, {}, {}}));
}

TEST_F(GMSTileDataCacheTest, ChangingFormReplacesTheRowAndAnEmptyMarkerOnlyRevalidates) {
    GMSTileDataCache& cache = open();
    ASSERT_TRUE(store(cache, {tile(3, 1, 1, "old-wire", 1)}));
    ASSERT_TRUE(store(cache, {tile(3, 1, 1, "new-proto!", 2, "v2")}));
    EXPECT_EQ(loads(cache, {{3, 1, 1}}), QStringList({"new-proto! t2 vv2 e0/0"}));
    ASSERT_TRUE(store(cache, {tile(3, 1, 1, "v3-proto", 3, "v3")}));  // same form: updated in place
    ASSERT_TRUE(store(cache, {tile(3, 1, 1, "wire", 4)}));            // back to the older form
    EXPECT_EQ(loads(cache, {{3, 1, 1}}), QStringList({"wire t4 v e0/0"}));
    EXPECT_EQ(cache.stats().cacheSize, 4);

    // An empty marker only moves the validation time of a stored tile, and
    // stores nothing for an unknown one.
    GMSCacheableTileData marker = tile(3, 1, 1, {}, 99);
    marker.isEmptyCacheMarker = true;
    GMSCacheableTileData stray = tile(3, 5, 5, {}, 99);
    stray.isEmptyCacheMarker = true;
    ASSERT_TRUE(store(cache, {marker, stray}));
    EXPECT_EQ(loads(cache, {{3, 1, 1}, {3, 5, 5}}), QStringList({"wire t99 v e0/0", "miss"}));
    EXPECT_EQ(cache.stats().count, 1);

    // Exactly one row and one blob are left in the store.
    cache.blockWorkQueueWhile([&] {
        zl::sqlite::Connection c;
        ASSERT_TRUE(c.open(tilesDescriptor(root.path()).storePath()));
        auto* q = c.statement("SELECT (SELECT count(*) FROM GMSCachedTile), (SELECT count(*) FROM GMSCachedTileBlob),"
                              " (SELECT count(*) FROM GMSCachedTileProtoBlob)");
        ASSERT_TRUE(q && q->step());
        EXPECT_EQ(QList<qint64>({q->int64(0), q->int64(1), q->int64(2)}), QList<qint64>({1, 1, 0}));
        q->reset();
    });
}

TEST_F(GMSTileDataCacheTest, LruOrderFollowsUseIsKeptAcrossRunsAndPrunesByCountAndSize) {
    GMSTileDataCache& first = open();
    ASSERT_TRUE(store(first, {tile(1, 0, 0, "a"), tile(1, 1, 0, "b"), tile(1, 2, 0, "c")}));
    EXPECT_EQ(first.lruOrder(), keys({{1, 2, 0}, {1, 1, 0}, {1, 0, 0}}));
    load(first, {1, 0, 0});
    first.touchTileForTileCoords({1, 1, 0});
    EXPECT_EQ(first.lruOrder(), keys({{1, 1, 0}, {1, 0, 0}, {1, 2, 0}}));
    close();  // touches are written when the cache closes

    GMSTileDataCache& cache = open(1, 2);
    EXPECT_EQ(cache.lruOrder(), keys({{1, 1, 0}, {1, 0, 0}, {1, 2, 0}}));
    // The next store prunes the oldest beyond the limit of 2.
    ASSERT_TRUE(store(cache, {tile(1, 3, 0, "d")}));
    EXPECT_EQ(cache.lruOrder(), keys({{1, 3, 0}, {1, 1, 0}}));
    EXPECT_EQ(cache.ejectCount(), 2);

    GMSTileDataCache& sized = open(3, 0, 2500);
    for (int i = 0; i < 4; ++i) ASSERT_TRUE(store(sized, {tile(9, i, 0, QByteArray(1000, 'x'))}));
    EXPECT_EQ(sized.lruOrder(), keys({{9, 3, 0}, {9, 2, 0}}));
    EXPECT_EQ(counts(sized).mid(0, 2), QList<qint64>({2, 2000}));
    // A used tile outlives a younger one.
    load(sized, {9, 2, 0});
    ASSERT_TRUE(store(sized, {tile(9, 4, 0, QByteArray(600, 'y'))}));
    EXPECT_EQ(sized.lruOrder(), keys({{9, 4, 0}, {9, 2, 0}}));
    EXPECT_EQ(counts(sized).mid(0, 2), QList<qint64>({2, 1600}));
}

TEST_F(GMSTileDataCacheTest, TileTypesShareTheStoreButNotTheirTilesDeleteCheckAndInvalidate) {
    GMSTileDataCache& a = open(1);
    GMSTileDataCache& b = open(2);
    ASSERT_TRUE(store(a, {tile(1, 1, 1, "A")}));
    ASSERT_TRUE(store(b, {tile(1, 1, 1, "B")}));
    EXPECT_EQ(loads(a, {{1, 1, 1}}) + loads(b, {{1, 1, 1}}), QStringList({"A t0 v e0/0", "B t0 v e0/0"}));
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { a.deleteTileDataCacheWithCompletionHandler(c, fn); }));
    EXPECT_EQ(loads(a, {{1, 1, 1}}) + loads(b, {{1, 1, 1}}), QStringList({"miss", "B t0 v e0/0"}));

    ASSERT_TRUE(store(a, {tile(1, 2, 2, "A2")}));
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { a.deleteTileDataCachesExceptTypes({1}, c, fn); }));
    EXPECT_EQ(load(a, {1, 2, 2}).data, "A2");
    // b's rows went under it: its index notices at the next load.
    EXPECT_FALSE(load(b, {1, 1, 1}).found);
    EXPECT_EQ(b.stats().count, 0);

    GMSTileDataCache& cache = open(3);
    GMSCacheableTileData t = tile(6, 0, 0, "zero", 10);
    t.perTileEpoch = 8;
    ASSERT_TRUE(store(cache, {t, tile(6, 1, 0, "one", 20), tile(6, 2, 0, "two", 30)}));

    const auto fresh = await<QSet<GMSCacheTileKey>>([&](QObject* c, auto fn) {
        cache.checkTileCoordsSet({{6, 0, 0}, {6, 1, 0}, {6, 9, 9}},
                                 [](const GMSCacheTileKey&, const GMSCachedTileInfo& i) { return i.validationTime >= 20; },
                                 c, fn);
    });
    EXPECT_EQ(fresh, (QSet<GMSCacheTileKey>{{6, 1, 0}}));

    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { cache.deleteTileWithCoords({6, 1, 0}, c, fn); }));
    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { cache.deleteTileCoordsSet({{6, 2, 0}, {6, 7, 7}}, c, fn); }));
    EXPECT_EQ(cache.lruOrder(), keys({{6, 0, 0}}));
    EXPECT_EQ(cache.stats().cacheSize, 4);

    ASSERT_TRUE(await<bool>([&](QObject* c, auto fn) { cache.invalidateTileEpochsInCachesWithCompletionHandler(c, fn); }));
    EXPECT_EQ(load(cache, {6, 0, 0}).perTileEpoch, -1);
}

TEST_F(GMSTileDataCacheTest, CallsBeforeStartOrDuringADeleteAreMissesAndOthersKeepTheirPlace) {
    GMSTileDataCache unstarted(tilesDescriptor(root.path()), 2, 0, 0);
    zltest::LogCapture log;
    EXPECT_FALSE(load(unstarted, {1, 0, 0}).found);
    EXPECT_TRUE(log.contains("GMSTileDataCache start not called or failed"));

    std::atomic<bool> ran{false};
    unstarted.runWhenStarted([&] { ran = true; });
    unstarted.blockWorkQueueWhile([] {});
    EXPECT_FALSE(ran.load());
    ASSERT_TRUE(startCache(unstarted));
    EXPECT_TRUE(ran.load());
    std::atomic<bool> ranAfter{false};
    unstarted.runWhenStarted([&] { ranAfter = true; });
    EXPECT_TRUE(zltest::waitFor([&] { return ranAfter.load(); }));

    GMSTileDataCache& cache = open();
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "x")}));
    std::atomic<bool> release{false};
    // Hold the queue so that the delete stays pending.
    cache.runWhenStarted([&] {
        while (!release.load()) QThread::yieldCurrentThread();
    });
    bool deleted = false;
    QObject ctx;
    cache.deleteTileDataCacheWithCompletionHandler(&ctx, [&](bool ok) { deleted = ok; });
    std::optional<GMSCachedTileData> r;
    cache.loadTileForTileCoords({1, 0, 0}, nullptr, [&](GMSCachedTileData d) { r = d; });
    ASSERT_TRUE(r.has_value()) << "answered on the calling thread, without waiting for the queue";
    EXPECT_FALSE(r->found);
    release = true;
    EXPECT_TRUE(zltest::waitFor([&] { return deleted; }));
    EXPECT_FALSE(load(cache, {1, 0, 0}).found);

    // Loads served together keep their place among other calls.
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "old")}));
    QList<QByteArray> seen;
    auto record = [&](GMSCachedTileData d) { seen.append(d.found ? d.data : QByteArray("miss")); };
    cache.loadTileForTileCoords({1, 0, 0}, &ctx, record);
    cache.loadTileForTileCoords({1, 0, 0}, &ctx, record);
    cache.storeTileCoords({1, 0, 0}, 1, {}, "new");
    cache.loadTileForTileCoords({1, 0, 0}, &ctx, record);
    cache.deleteTileWithCoords({1, 0, 0});
    cache.loadTileForTileCoords({1, 0, 0}, &ctx, record);
    ASSERT_TRUE(zltest::waitFor([&] { return seen.size() == 4; }));
    EXPECT_EQ(seen, (QList<QByteArray>{"old", "old", "new", "miss"}));
}

TEST_F(GMSTileDataCacheTest, AStoreThatFailsOnAFullDiskLeavesTheCacheUsable) {
    using namespace zl::sqlite::faults;
    install();
    GMSTileDataCache& cache = open();
    ASSERT_TRUE(store(cache, {tile(1, 0, 0, "x")}));
    {
        zltest::LogCapture log;
        FailingWrites full(Fault::DiskFull);
        EXPECT_FALSE(store(cache, {tile(1, 1, 0, QByteArray(100000, 'y')), tile(1, 0, 0, "x2")}));
        EXPECT_TRUE(log.contains("full")) << log.messages().join('\n').toStdString();
        EXPECT_EQ(loads(cache, {{1, 0, 0}, {1, 1, 0}}), QStringList({"x t0 v e0/0", "miss"})) << "what was stored stays";
    }
    ASSERT_TRUE(store(cache, {tile(1, 1, 0, "y")}));
    EXPECT_EQ(loads(cache, {{1, 1, 0}}), QStringList({"y t0 v e0/0"}));
    EXPECT_EQ(cache.stats().count, 2);
}

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
