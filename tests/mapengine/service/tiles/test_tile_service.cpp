#include "../../cache/CacheTestHelpers.h"
#include "GMSTileRequestCoordinator.h"
#include "TileServiceHarness.h"

#include <QRandomGenerator>

#include <tuple>

using namespace zenloft::wire;
using cachetest::startCache;
using cachetest::tilesDescriptor;
using zltest::TileServiceHarness;

// Duplicates fold into one tile of one batch; 512-pixel tiles are asked one
// zoom up and read back at the zoom asked for.
TEST(TileService, DuplicatesFoldIntoOneTileAtTheEdgesZoomAndBatchesHoldFiftyTilesOfOneZoom)
{
    struct Case {
        int edge;
        double scale;
        int wireZoom;
        GMSx_GMMScreenPixelDensityHeader density;
    };
    for (const Case c : {Case{256, 1.0, 7, TILE_SCREEN_PIXEL_DENSITY_NORMAL},
                         Case{512, 2.0, 8, TILE_SCREEN_PIXEL_DENSITY_HIGH}}) {
        SCOPED_TRACE(c.edge);
        auto o = TileServiceHarness::satellite(c.edge);
        o.screenScale = c.scale;
        TileServiceHarness h(o);
        for (int i = 0; i < 3; ++i)
            h.request(7, 10, 20);
        ASSERT_EQ(h.sent.size(), 1u);
        const auto proto = h.sent[0]->buildRequestProto();
        ASSERT_EQ(proto.map_tile_array_size(), 1);
        const auto& t = proto.map_tile_array(0);
        EXPECT_EQ(std::tuple(t.tile_index_x(), t.tile_index_y(), t.zoom_level(), int(t.tile_type()),
                             t.version_id().supports_tile_hash()),
                  std::tuple(10, 20, c.wireZoom, int(TILE_TYPE_SATELLITE), true));
        const auto& head = proto.header();
        EXPECT_EQ(std::tuple(int(head.fetch_type()), head.tile_size(), int(head.screen_pixel_density())),
                  std::tuple(1, quint32(c.edge), int(c.density)));

        h.respond(h.sent[0], {{{c.wireZoom, 10, 20}, {TileServiceHarness::png(), "v1"}}});
        EXPECT_EQ(h.rows(), QStringList(3, "7/10/20 net tile-a v1 m0"));
        EXPECT_FALSE(h.service->hasRequestsInFlight());
    }

    TileServiceHarness h(TileServiceHarness::satellite());
    for (int i = 0; i < 51; ++i)
        h.request(6, i % 64, i / 64);
    ASSERT_EQ(h.sent.size(), 2u) << "the 51st tile opens a new batch";
    EXPECT_EQ(std::tuple(h.sent[0]->tileRequests().size(), h.sent[0]->buildRequestProto().map_tile_array_size(),
                         h.sent[1]->tileRequests().size()),
              std::tuple(50u, 50, 1u));
    h.request(7, 0, 0);  // another zoom closes the open batch
    ASSERT_EQ(h.sent.size(), 3u);
    h.request(7, 1, 0);
    EXPECT_EQ(h.sent.size(), 3u) << "joins the open batch of its zoom";
    // Built (sent by the transport): later tiles go in a new batch.
    EXPECT_EQ(h.sent[2]->buildRequestProto().map_tile_array_size(), 2);
    h.request(7, 2, 0);
    ASSERT_EQ(h.sent.size(), 4u);

    // An empty batch asks with fetch type 12.
    GMSDASHBatchedTileRequest empty(TileServiceHarness::satellite(), h.service);
    EXPECT_EQ(empty.buildRequestProto().header().fetch_type(), 12);
}

TEST(TileService, MemoryHitsNotFoundAndFailures)
{
    zltest::LogCapture log;
    TileServiceHarness h(TileServiceHarness::satellite());
    h.request(3, 1, 1);
    h.request(3, 2, 2);
    h.request(3, 4, 4);
    ASSERT_EQ(h.sent.size(), 1u);
    // 1,1 comes with data; 2,2 with a version and no data and nothing cached
    // (failed); 4,4 is missing; 7,7 nobody asked for.
    h.respond(h.sent[0], {{{3, 1, 1}, {TileServiceHarness::png(), "v"}},
                          {{3, 2, 2}, {"", "v"}},
                          {{3, 7, 7}, {TileServiceHarness::png(), "v"}}});
    EXPECT_TRUE(log.contains("Unexpected tile in response: <GMSTileCoords z=3 x=7 y=7>"));
    EXPECT_EQ(h.rows(), QStringList({"3/1/1 net tile-a v m0", "3/2/2 failed", "3/4/4 failed"}));

    h.answers.clear();
    h.request(3, 1, 1);  // memory: no disk, no network
    h.request(3, 2, 2);  // known not found
    h.request(3, 4, 4);
    // Bytes that are no image fail without entering any cache.
    h.request(3, 5, 5);
    ASSERT_EQ(h.sent.size(), 2u);
    h.respond(h.sent.back(), {{{3, 5, 5}, {"garbage", "v"}}});
    EXPECT_EQ(h.rows(), QStringList({"3/1/1 net tile-a v m0", "3/2/2 notfound", "3/4/4 notfound", "3/5/5 failed"}));

    // Transport errors and refused batches leave the caches alone.
    h.answers.clear();
    h.sent.clear();
    h.request(2, 0, 0);
    h.request(2, 0, 0);
    h.service->handleServerResponse(h.sent[0], nullptr,
                                    GMSDASHError{kGMSDASHURLErrorDomain, kGMSDASHURLErrorTimedOut, "t", {}, {}});
    h.pump();
    EXPECT_EQ(h.rows(), QStringList(2, "2/0/0 failed"));
    h.request(2, 0, 0);  // not remembered as not found: asked again
    ASSERT_EQ(h.sent.size(), 2u);
    h.respond(h.sent[1], {}, TILE_RESPONSE_ERROR);
    EXPECT_TRUE(log.contains("Request failed: 1"));
    h.request(2, 0, 0);
    ASSERT_EQ(h.sent.size(), 3u);
    h.respond(h.sent[2], {{{2, 0, 0}, {TileServiceHarness::png(), "v"}}});
    EXPECT_EQ(h.rows().last(), "2/0/0 net tile-a v m0");
}

TEST(TileService, ExpiredOrOlderDataVersionTilesAreAskedForAgain)
{
    TileServiceHarness h(TileServiceHarness::satellite());
    auto e = GMSTileTypeExpirations::expirationsWithNoExpiry();
    e._defaultExpirationMS = 1000;
    h.service->setTileTypeExpirations(e);
    h.request(1, 0, 1);
    h.respond(h.sent[0], {{{1, 0, 1}, {TileServiceHarness::png('x'), "ver-7"}}});
    h.answers.clear();

    h.clock.advance(1000);  // equal: still good
    h.request(1, 0, 1);
    EXPECT_EQ(std::pair(h.answers.size(), h.sent.size()), std::pair(std::size_t(1), std::size_t(1)));

    h.answers.clear();
    h.clock.advance(1);  // expired: not shown, asked again with the version in hand
    h.request(1, 0, 1);
    ASSERT_EQ(std::pair(h.answers.size(), h.sent.size()), std::pair(std::size_t(0), std::size_t(2)));
    const auto proto = h.sent[1]->buildRequestProto();
    EXPECT_EQ(proto.map_tile_array(0).version_id().version_id(), "ver-7");
    h.respond(h.sent[1], {{{1, 0, 1}, {"", "ver-7"}}});
    EXPECT_EQ(h.rows(), QStringList({"1/0/1 net tile-x ver-7 m0"}));
    EXPECT_EQ(h.answers[0].tile->validationTime(), h.clock.wallMs());

    // A newer data version shows the old tile while the new one comes.
    h.request(1, 0, 0);
    h.respond(h.sent[2], {{{1, 0, 0}, {TileServiceHarness::png('b'), "b"}}}, 0, 2);
    EXPECT_EQ(h.service->dataVersion(), 2);
    h.answers.clear();
    h.request(1, 0, 1);
    ASSERT_EQ(h.sent.size(), 4u);
    h.respond(h.sent[3], {{{1, 0, 1}, {TileServiceHarness::png('c'), "c"}}}, 0, 2);
    EXPECT_EQ(h.rows(), QStringList({"1/0/1 cached tile-x ver-7 m0", "1/0/1 net tile-c c m0"}));
}

TEST(TileService, UpdateReasonsInTheOrderOfTheTable)
{
    GMSDASHTileServiceOptions o;
    o.tileType.dataType = 3;  // a vector kind, so per-tile expiry applies
    TileServiceHarness h(o);
    auto e = GMSTileTypeExpirations::expirationsWithNoExpiry();
    e._defaultExpirationMS = 10'000;
    e._perTileExpirationMS = 1'000;
    h.service->setTileTypeExpirations(e);
    const qint64 now = h.clock.wallMs();

    auto tile = [&](qint64 validation) {
        GMSTile t;
        t.expirationState = std::make_shared<GMSPerTileExpirationState>(validation, o.tileType);
        return t;
    };
    const auto reason = [&](const GMSTile& t) { return h.service->shouldRequestUpdate(t); };
    GMSTile store = tile(now - 20'000);
    store.isTileStoreTile = true;
    EXPECT_EQ(QList<int>({reason(tile(now)), reason(store), reason(tile(now - 20'000)), reason(tile(now - 2'000))}),
              QList<int>({kGMSTileUpdateNone, kGMSTileUpdateTileStore, kGMSTileUpdateExpired,
                          kGMSTileUpdatePerTileExpired}));

    // Last of all, and only with an offline cache: a tile whose epoch the
    // style tables call stale.
    QTemporaryDir dir;
    GMSTileDataCache offline(tilesDescriptor(dir.path()), TILE_TYPE_BASEMAP, 0, 0);
    h.service->setTileEpochStalenessCheck([](const GMSTile& t) { return t.majorEpoch != 4; });
    GMSTile stale = tile(now);
    stale.majorEpoch = 3;
    GMSTile staleOld = tile(now - 2'000);
    staleOld.majorEpoch = 3;
    const int offlineOff = reason(stale);
    h.service->setOfflineTileDataCache(&offline);
    // The last: a tile with no epoch is never stale.
    EXPECT_EQ(QList<int>({offlineOff, reason(stale), reason(staleOld), reason(tile(now))}),
              QList<int>({kGMSTileUpdateNone, kGMSTileUpdateEpochStale, kGMSTileUpdatePerTileExpired,
                          kGMSTileUpdateNone}));
    h.service->setOfflineTileDataCache(nullptr);

    GMSTile country = tile(now - 2'000);
    country.legalCountry = "PL";
    GMSTile paint = country;
    paint.paintExperiments = "x";
    EXPECT_EQ(QList<int>({reason(country), reason(paint)}),
              QList<int>({kGMSTileUpdateLegalCountry, kGMSTileUpdatePaintExperiments}));

    // Data version counts while the direct-to-paint mode is off, the major
    // epoch while it is on; unknown values never count.
    h.request(1, 0, 0);
    h.respond(h.sent[0], {{{1, 0, 0}, {"vector-bytes", "v"}}}, 0, 5);
    const auto versioned = [&](int dataVersion, int majorEpoch) {
        GMSTile t = paint;
        t.dataVersion = dataVersion;
        t.majorEpoch = majorEpoch;
        return reason(t);
    };
    const QList<int> off = {versioned(4, 8), versioned(-1, 8)};
    h.service->setDirectToPaint(true);
    h.service->updateMajorEpoch(9);
    EXPECT_EQ(off + QList<int>({versioned(4, 8), versioned(4, -1)}),
              QList<int>({kGMSTileUpdateDataVersion, kGMSTileUpdatePaintExperiments, kGMSTileUpdateMajorEpoch,
                          kGMSTileUpdatePaintExperiments}));
}

// A request let go is not told; the others of its chain are. One let go
// before its turn is not fetched at all.
TEST(TileService, ARequestLetGoIsNotCalledBackAndTheCoordinatorRunsAtMostSixteen)
{
    TileServiceHarness h(TileServiceHarness::satellite(), nullptr, false);
    h.request(3, 3, 3);
    EXPECT_TRUE(h.sent.empty()) << "requests wait for the start";
    h.service->startRequestQueue();
    h.pump();
    ASSERT_EQ(h.sent.size(), 1u);
    zl::RequestHandle other = h.service->requestTile(GMSTileCoords(3, 3, 3), h.callback());
    h.pump();
    other.reset();
    h.respond(h.sent[0], {{{3, 3, 3}, {TileServiceHarness::png(), "v"}}});
    EXPECT_EQ(h.answers.size(), 1u) << "only the one still held";

    h.service->requestTile(GMSTileCoords(3, 4, 4), h.callback());  // the handle is dropped at once
    h.pump();
    EXPECT_EQ(std::pair(h.sent.size(), h.service->hasRequestsInFlight()), std::pair(std::size_t(1), false));

    // The coordinator runs at most sixteen at once: one waiting and let go is
    // dropped, one running finishes without calling back.
    h.sent.clear();
    h.answers.clear();
    auto coordinator = std::make_shared<GMSTileRequestCoordinator>();
    EXPECT_EQ(coordinator->requestMax(), 16);
    std::vector<zl::RequestHandle> handles;
    for (int i = 0; i < 20; ++i)
        handles.push_back(coordinator->requestTile(GMSTileCoords(5, i, 0), h.service, h.callback()));
    h.pump();
    const auto load = [&] { return std::pair(coordinator->inFlightCount(), coordinator->pendingCount()); };
    EXPECT_EQ(load(), std::pair(16, 4));
    handles[19].reset();  // waiting: dropped
    handles[0].reset();   // running: finishes without calling back
    EXPECT_EQ(load(), std::pair(16, 3));
    ASSERT_EQ(h.sent.size(), 1u);
    std::map<TileServiceHarness::Key, TileServiceHarness::Reply> all;
    for (int i = 0; i < 20; ++i)
        all[{5, i, 0}] = {TileServiceHarness::png(), "v"};
    h.respond(h.sent[0], all);
    EXPECT_EQ(load(), std::pair(3, 0));
    ASSERT_EQ(h.sent.size(), 2u);
    h.respond(h.sent[1], all);
    EXPECT_EQ(std::tuple(load(), h.answers.size()), std::tuple(std::pair(0, 0), std::size_t(18)));
}

TEST(TileService, RandomAnswersCompleteEveryRequestOnce)
{
    zltest::LogCapture quiet;
    QRandomGenerator rng(20261122);
    for (int round = 0; round < 200; ++round) {
        TileServiceHarness h(TileServiceHarness::satellite());
        const int n = 1 + int(rng.bounded(8));
        for (int i = 0; i < n; ++i)
            h.request(4, int(rng.bounded(4)), int(rng.bounded(4)));
        std::map<TileServiceHarness::Key, TileServiceHarness::Reply> replies;
        const int m = int(rng.bounded(10));
        for (int i = 0; i < m; ++i) {
            // An image, garbage or nothing; with or without a version.
            const int kind = int(rng.bounded(3));
            const std::string data = kind == 0 ? TileServiceHarness::png()
                                               : std::string(kind == 1 ? rng.bounded(20) : 0, char(rng.bounded(256)));
            const TileServiceHarness::Key key{int(rng.bounded(6)), int(rng.bounded(5)), int(rng.bounded(5))};
            replies[key] = {data, rng.bounded(2) ? "v" : ""};
        }
        const int code = rng.bounded(5) == 0 ? 1 : 0;
        for (const auto& batch : h.sent)
            h.respond(batch, replies, code);
        ASSERT_EQ(int(h.answers.size()), n) << "round " << round;
        EXPECT_FALSE(h.service->hasRequestsInFlight());
    }
}


TEST(TileServiceDisk, FetchedTilesComeBackFromDiskAndSettingsThatChangeEmptyTheCache)
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
    EXPECT_EQ(std::pair(h.rows(), h.sent.size()),
              std::pair(QStringList({"6/10/11 net tile-d v-d m0"}), std::size_t(0)));

    // A tile not on disk goes to the service.
    h.request(6, 10, 12);
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 1; }));

    // Another schema version from the service empties the disk cache.
    h.service->verifyDiskCacheServerSchemaVersion(4);
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 0; }));
    EXPECT_EQ(cache.propertyForKey("ServerSchemaVersion").toInt(), 4);

    // Locale and legal country changes empty the cache only when known before.
    cache.storeTileCoords({3, 1, 1}, 1, "v", QByteArray(TileServiceHarness::png().c_str()));
    ASSERT_TRUE(zltest::waitFor([&] { return cache.stats().count == 1; }));
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
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 2; }));
    h.respond(h.sent[1], {{{2, 1, 1}, {TileServiceHarness::png(), "v"}}});
    h.service->updateLegalCountry("DE");
    h.answers.clear();
    h.request(2, 1, 1);
    ASSERT_TRUE(zltest::waitFor([&] { return h.sent.size() == 3; }));
    EXPECT_TRUE(h.answers.empty());  // the memory cache was dropped first
}
