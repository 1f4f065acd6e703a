#include "GMSTileDataCache.h"
#include "TileServiceHarness.h"
#include "testsupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using zltest::TileServiceHarness;

namespace {
GMSCacheStorageDescriptor tiles(const QString& dir)
{
    return GMSCacheStorageDescriptor::cacheStorageDescriptorForName(kGMSTilesCacheName, kGMSTilesCacheBoundaryVersion,
                                                                    dir, kGMSTilesCacheBoundaryVersion);
}
GMSDASHTileServiceOptions satellite()
{
    GMSDASHTileServiceOptions o;
    o.tileType.mapTileType = TILE_TYPE_SATELLITE;
    return o;
}
}  // namespace

TEST(TileServiceDisk, FetchedTilesComeBackFromDiskInANewService)
{
    QTemporaryDir dir;
    qint64 now = 1'000'000;
    {
        GMSTileDataCache cache(tiles(dir.path()), 1, 0, 0, [&] { return now; });
        bool started = false;
        cache.startWithCompletionHandler(nullptr, [&](bool ok) { started = ok; });
        ASSERT_TRUE(zltest::waitFor([&] { return started; }));
        TileServiceHarness h(satellite(), &cache);
        h.request(6, 10, 11);
        h.request(6, 10, 12);
        // Both missed on disk (its answers come from its own thread) and share a batch.
        ASSERT_TRUE(zltest::waitFor([&] { return h.service->hasRequestsInFlight() && h.sent.size() == 1 &&
                                                 h.sent[0]->tileRequests()->size() == 2; }));
        h.respond(h.sent[0], {{{6, 10, 11}, {TileServiceHarness::png('d'), "v-d"}}, {{6, 10, 12}, {"", ""}}});
        ASSERT_EQ(h.answers.size(), 2u);
        h.service->verifyDiskCacheServerSchemaVersion(3);
        ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 1; }));
    }
    GMSTileDataCache cache(tiles(dir.path()), 1, 0, 0, [&] { return now; });
    bool started = false;
    cache.startWithCompletionHandler(nullptr, [&](bool ok) { started = ok; });
    ASSERT_TRUE(zltest::waitFor([&] { return started; }));
    EXPECT_EQ(cache.propertyForKey("TileDataVersion").toInt(), 1);
    EXPECT_EQ(cache.propertyForKey("ServerSchemaVersion").toInt(), 3);

    TileServiceHarness h(satellite(), &cache);
    h.service->requestTile(GMSTileCoords(6, 10, 11), &h, h.callback());
    ASSERT_TRUE(zltest::waitFor([&] { return !h.answers.empty(); }));
    EXPECT_EQ(h.answers[0].status, kGMSTileStatusFromNetwork);
    EXPECT_EQ(h.answers[0].tile->data.toStdString(), TileServiceHarness::png('d'));
    EXPECT_EQ(h.answers[0].tile->versionID, "v-d");
    EXPECT_TRUE(h.sent.empty());

    // A tile not on disk goes to the service; a cached-only request misses.
    h.service->requestTile(GMSTileCoords(6, 10, 12), &h, h.callback());
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 1; }));
    h.service->requestCachedTile(GMSTileCoords(6, 1, 1), &h, h.callback());
    ASSERT_TRUE(zltest::waitFor([&] { return h.answers.size() == 2; }));
    EXPECT_EQ(h.answers[1].status, kGMSTileStatusFailed);

    // Another schema version from the service empties the disk cache.
    h.service->verifyDiskCacheServerSchemaVersion(4);
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 0; }));
    EXPECT_EQ(cache.propertyForKey("ServerSchemaVersion").toInt(), 4);
}
