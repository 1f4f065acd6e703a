#include "../../cache/CacheTestHelpers.h"
#include "TileServiceHarness.h"

using namespace zenloft::wire;
using cachetest::startCache;
using cachetest::tilesDescriptor;
using zltest::TileServiceHarness;

TEST(TileServiceDisk, FetchedTilesComeBackFromDiskInANewService)
{
    QTemporaryDir dir;
    zl::ManualClock clock;
    {
        GMSTileDataCache cache(tilesDescriptor(dir.path()), 1, 0, 0, &clock);
        ASSERT_TRUE(startCache(cache));
        TileServiceHarness h(TileServiceHarness::satellite(), &cache);
        h.request(6, 10, 11);
        h.request(6, 10, 12);
        // Both missed on disk (its answers come from its own thread) and share a batch.
        ASSERT_TRUE(zltest::waitFor([&] { return h.service->hasRequestsInFlight() && h.sent.size() == 1 &&
                                                 h.sent[0]->tileRequests().size() == 2; }));
        h.respond(h.sent[0], {{{6, 10, 11}, {TileServiceHarness::png('d'), "v-d"}}, {{6, 10, 12}, {"", ""}}});
        ASSERT_EQ(h.answers.size(), 2u);
        h.service->verifyDiskCacheServerSchemaVersion(3);
        ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 1; }));
    }
    GMSTileDataCache cache(tilesDescriptor(dir.path()), 1, 0, 0, &clock);
    ASSERT_TRUE(startCache(cache));
    EXPECT_EQ(QVariantList({cache.propertyForKey("TileDataVersion"), cache.propertyForKey("ServerSchemaVersion")}),
              QVariantList({qint64(1), qint64(3)}));

    TileServiceHarness h(TileServiceHarness::satellite(), &cache);
    h.request(6, 10, 11);
    ASSERT_TRUE(zltest::waitFor([&] { return !h.answers.empty(); }));
    EXPECT_EQ(h.rows(), QStringList({"6/10/11 net tile-d v-d m0"}));
    EXPECT_TRUE(h.sent.empty());

    // A tile not on disk goes to the service.
    h.request(6, 10, 12);
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 1; }));

    // Another schema version from the service empties the disk cache.
    h.service->verifyDiskCacheServerSchemaVersion(4);
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 0; }));
    EXPECT_EQ(cache.propertyForKey("ServerSchemaVersion").toInt(), 4);
}

TEST(TileServiceDisk, LocaleAndLegalCountryChangesEmptyTheCacheOnlyWhenKnownBefore)
{
    QTemporaryDir dir;
    GMSTileDataCache cache(tilesDescriptor(dir.path()), 1, 0, 0);
    ASSERT_TRUE(startCache(cache));
    cache.storeTileCoords({3, 1, 1}, 1, "v", QByteArray(TileServiceHarness::png().c_str()));
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 1; }));

    TileServiceHarness h(TileServiceHarness::satellite(), &cache);
    h.service->updateLocale("en");  // nothing known yet: kept
    h.service->updateLegalCountry("PL");
    h.service->updateLocale("en");
    EXPECT_EQ(cache.stats().count, 1);
    EXPECT_EQ(QVariantList({cache.propertyForKey("KrotraLocale"), cache.propertyForKey("KrotraLegalCountry")}),
              QVariantList({"en", "PL"}));
    h.service->updateLocale("pl");
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 0; }));
    EXPECT_EQ(cache.propertyForKey("KrotraLocale").toString(), "pl");

    // A tile in memory from another legal country is asked for again.
    h.request(2, 1, 1);
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 1; }));
    h.respond(h.sent[0], {{{2, 1, 1}, {TileServiceHarness::png(), "v"}}});
    h.service->updateLegalCountry("DE");
    h.answers.clear();
    h.request(2, 1, 1);
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 2; }));
    EXPECT_TRUE(h.answers.empty());  // the memory cache was dropped first
}
