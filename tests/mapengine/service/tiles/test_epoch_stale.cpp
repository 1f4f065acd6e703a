// Reason 5 of the update table: with an offline cache, a tile whose epoch the
// style tables call stale is fetched again; it comes after all other reasons.
#include "GMSTileDataCache.h"
#include "TileServiceHarness.h"
#include "testsupport.h"

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using zltest::TileServiceHarness;

namespace {

struct EpochHarness : TileServiceHarness {
    EpochHarness() : TileServiceHarness(vector())
    {
        auto e = GMSTileTypeExpirations::expirationsWithNoExpiry();
        e._perTileExpirationMS = 1'000;
        service->setTileTypeExpirations(e);
        service->setTileEpochStalenessCheck([this](const GMSTile& t) {
            ++checks;
            return t.majorEpoch != activeEpoch;
        });
    }
    static GMSDASHTileServiceOptions vector()
    {
        GMSDASHTileServiceOptions o;
        o.tileType.mapTileType = TILE_TYPE_BASEMAP;
        o.tileType.dataType = 3;
        o.tileType.isStorable = false;  // the memory cache alone
        return o;
    }
    GMSTile tile(int majorEpoch, qint64 age = 0) const
    {
        GMSTile t;
        t.majorEpoch = majorEpoch;
        t.expirationState = std::make_shared<GMSPerTileExpirationState>(now - age, vector().tileType);
        return t;
    }
    QTemporaryDir dir;
    GMSTileDataCache offline{GMSCacheStorageDescriptor::cacheStorageDescriptorForName(
                                 kGMSTilesCacheName, kGMSTilesCacheBoundaryVersion, dir.path(),
                                 kGMSTilesCacheBoundaryVersion),
                             TILE_TYPE_BASEMAP, 0, 0};
    int activeEpoch = 4;
    int checks = 0;
};

}  // namespace

TEST(TileEpochStale, OnlyWithAnOfflineCacheAndATileEpoch)
{
    EpochHarness h;
    // Without an offline cache the check is not even asked.
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3), 2), kGMSTileUpdateNone);
    EXPECT_EQ(h.checks, 0);

    h.service->setOfflineTileDataCache(&h.offline);
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3), 2), kGMSTileUpdateEpochStale);
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(4), 2), kGMSTileUpdateNone);
    const int asked = h.checks;
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(-1), 2), kGMSTileUpdateNone) << "a tile without an epoch";
    EXPECT_EQ(h.checks, asked);

    // Every earlier reason wins over it.
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3, 2'000), 1), kGMSTileUpdatePerTileExpired);
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3, 2'000), 2), kGMSTileUpdateEpochStale);
    GMSTile country = h.tile(3);
    country.legalCountry = "PL";
    EXPECT_EQ(h.service->shouldRequestUpdate(country, 2), kGMSTileUpdateLegalCountry);
    GMSTile store = h.tile(3);
    store.isTileStoreTile = true;
    EXPECT_EQ(h.service->shouldRequestUpdate(store, 2), kGMSTileUpdateTileStore);

    // No check plugged in: nothing is stale.
    h.service->setTileEpochStalenessCheck(nullptr);
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3), 2), kGMSTileUpdateNone);
    h.service->setOfflineTileDataCache(nullptr);
    h.service->setTileEpochStalenessCheck([](const GMSTile&) { return true; });
    EXPECT_EQ(h.service->shouldRequestUpdate(h.tile(3), 2), kGMSTileUpdateNone);
}

TEST(TileEpochStale, AStaleTileInMemoryIsShownAndFetchedAgain)
{
    EpochHarness h;
    h.service->setOfflineTileDataCache(&h.offline);
    h.service->updateMajorEpoch(4);
    h.request(5, 1, 2);
    ASSERT_EQ(h.sent.size(), 1u);
    h.respond(h.sent[0], {{{5, 1, 2}, {"vector-tile", "v1"}}});
    ASSERT_EQ(h.answers.size(), 1u);
    EXPECT_EQ(h.answers[0].tile->majorEpoch, 4);

    // Fits the styles: straight from memory.
    h.answers.clear();
    h.request(5, 1, 2);
    ASSERT_EQ(h.answers.size(), 1u);
    EXPECT_EQ(h.answers[0].status, kGMSTileStatusFromNetwork);
    EXPECT_EQ(h.sent.size(), 1u);

    // The styles moved on: the tile is shown, and a new one follows.
    h.activeEpoch = 5;
    h.answers.clear();
    h.request(5, 1, 2);
    ASSERT_EQ(h.answers.size(), 1u);
    EXPECT_EQ(h.answers[0].status, kGMSTileStatusCachedUpdateFollows);
    ASSERT_EQ(h.sent.size(), 2u);
    EXPECT_EQ(h.sent[1]->buildRequestProto().map_tile_array(0).version_id().version_id(), "v1");
}
