#include "GMSDASHTileService.h"
#include "GMSTileCoords.h"
#include "GMSTileTypeExpirations.h"
#include "clientparams.pb.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {
constexpr qint64 kHalf = qint64(1) << 29;
}

TEST(TileCoords, CornersHashesAndIdentity)
{
    const GMSTileCoords c(2, 1, 3);
    const qint64 s = qint64(1) << 28;
    EXPECT_EQ(c.southwestX(), qint32(s * 1 - kHalf));
    EXPECT_EQ(c.southwestY(), qint32(kHalf - s * 4));
    EXPECT_EQ(c.scaleShift(), 16);
    EXPECT_EQ(c.hashWithoutParams(), quint64((2 * 31 + 1) * 31 + 3));
    EXPECT_EQ(c, GMSTileCoords(2, 1, 3));
    const GMSTileCoords withParams(2, 1, 3, QVariantMap{{"lang", "pl"}});
    EXPECT_FALSE(c == withParams);
    EXPECT_TRUE(c.isEqualWithoutParams(withParams));
    EXPECT_EQ(withParams, GMSTileCoords(2, 1, 3, QVariantMap{{"lang", "pl"}}));
    EXPECT_FALSE(withParams == GMSTileCoords(2, 1, 3, QVariantMap{{"lang", "de"}}));
}

TEST(TileCoords, ClosestToZoomWrapsXAndClampsY)
{
    // The point just east of the world's east edge is column 2^z wrapped to 0.
    const auto east = GMSTileCoords::coordsClosestToZoom(3, kHalf, 0);
    EXPECT_EQ(east.x(), 0);
    const auto west = GMSTileCoords::coordsClosestToZoom(3, -kHalf - 1, 0);
    EXPECT_EQ(west.x(), 7);
    const auto north = GMSTileCoords::coordsClosestToZoom(3, 0, kHalf + 12345);
    EXPECT_EQ(north.y(), 0);
    const auto south = GMSTileCoords::coordsClosestToZoom(3, 0, -kHalf * 2);
    EXPECT_EQ(south.y(), 7);
    const auto low = GMSTileCoords::coordsClosestToZoom(0, 123, 456);
    EXPECT_EQ(low, GMSTileCoords(0, 0, 0));
    EXPECT_EQ(GMSTileCoords::coordsClosestToZoom(40, 0, 0).zoom(), 30);

    EXPECT_FALSE(GMSTileCoords::coordsContainingZoom(31, 0, 0));
    EXPECT_FALSE(GMSTileCoords::coordsContainingZoom(3, 0, kHalf));
    EXPECT_TRUE(GMSTileCoords::coordsContainingZoom(3, 0, kHalf - 1));
    const auto unbounded = GMSTileCoords::unboundedCoordsClosestToZoom(3, kHalf, kHalf * 2);
    EXPECT_EQ(unbounded.x(), 8);
    EXPECT_EQ(unbounded.y(), -4);
    EXPECT_EQ(GMSTileCoords(5, 13, 22).coordsForParentZoom(3), GMSTileCoords(3, 3, 5));
}

TEST(TileCoords, ZoomShiftAndMemoryCacheSizes)
{
    for (auto [edge, shift] : {std::pair{256, 0}, {512, 1}, {1024, 2}, {128, 0}, {64, -1}})
        EXPECT_EQ(GMSDASHTileService::zoomShiftForTileEdgeLength(edge), shift) << edge;

    GMSTileType image;
    EXPECT_EQ(GMSDASHTileService::memCacheSizeForTileType(image, false), 32);
    image.isStorable = false;
    EXPECT_EQ(GMSDASHTileService::memCacheSizeForTileType(image, false), 96);
    GMSTileType indoor;
    indoor.dataType = 3;
    indoor.hasIndoorFeatures = true;
    EXPECT_EQ(GMSDASHTileService::memCacheSizeForTileType(indoor, true), 128);
    EXPECT_EQ(GMSDASHTileService::memCacheSizeForTileType(indoor, false), 32);
    GMSTileType other;
    other.dataType = 2;
    EXPECT_EQ(GMSDASHTileService::memCacheSizeForTileType(other, false), 0);
}

TEST(TileExpirations, PeriodsFromTheParametersAndTheBoundary)
{
    GMSx_GMMTileExpirationsProto e;
    e.add_non_expiring_tile_type_array(TILE_TYPE_TERRAIN);
    auto* zero = e.add_custom_expire_array();
    zero->set_tile_type(TILE_TYPE_ROADMAP);
    zero->set_expiration_seconds(0);  // not positive: the type keeps the default
    auto* sat = e.add_custom_expire_array();
    sat->set_tile_type(TILE_TYPE_SATELLITE);
    sat->set_expiration_seconds(60);
    auto* missing = e.add_custom_expire_array();
    missing->set_tile_type(TILE_TYPE_TRAFFIC);
    auto x = GMSTileTypeExpirations::expirationsWithNoExpiry();
    x._defaultExpirationMS = 5000;
    x = x.copyWithExpirationsProto(e);

    GMSTileType roadmap, satellite, terrain, traffic;
    satellite.mapTileType = 1;
    terrain.mapTileType = 2;
    traffic.mapTileType = 5;
    EXPECT_EQ(x.expirationPeriodMSForTileType(roadmap), 5000);
    EXPECT_EQ(x.expirationPeriodMSForTileType(satellite), 60000);
    EXPECT_EQ(x.expirationPeriodMSForTileType(terrain), -1);
    EXPECT_EQ(x.expirationPeriodMSForTileType(traffic), 5000);

    // Validation time plus the period equal to now is still good.
    GMSTileExpirationState state(1000, satellite);
    EXPECT_FALSE(state.hasExpiredForClock(61000, x));
    EXPECT_TRUE(state.hasExpiredForClock(61001, x));
    EXPECT_FALSE(state.hasPerTileExpiredForClock(qint64(1) << 40, x));
    EXPECT_FALSE(GMSTileExpirationState(0, terrain).hasExpiredForClock(qint64(1) << 50, x));

    GMSx_GMMVectorMapsParametersProto vm;
    vm.set_pertile_duration_in_minutes(2);
    auto v = x.copyWithVectorMapsParametersProto(vm);
    EXPECT_EQ(v._perTileExpirationMS, 120000);
    EXPECT_EQ(v._psmTileExpirationMS, -1);
    GMSTileType vector;
    vector.dataType = 3;
    EXPECT_EQ(v.perTileExpirationPeriodMSForTileType(vector), 120000);
    EXPECT_EQ(v.perTileExpirationPeriodMSForTileType(satellite), -1);
    GMSPerTileExpirationState per(0, vector);
    EXPECT_FALSE(per.hasPerTileExpiredForClock(120000, v));
    EXPECT_TRUE(per.hasPerTileExpiredForClock(120001, v));

    GMSx_GMMPaintRequestTemplateProto t;
    t.set_tile_type(TILE_TYPE_SATELLITE);
    t.set_expire_seconds(-1);
    t.set_refresh_seconds(10);
    std::vector<GMSx_GMMPaintRequestTemplateProto> templates{t};
    auto p = v.copyWithPaintRequestTemplates(templates);
    EXPECT_EQ(p.expirationPeriodMSForTileType(satellite), -1);  // -1 is kept, not multiplied
    EXPECT_EQ(p.perTileExpirationPeriodMSForTileType(satellite), 10000);

    auto a = GMSTileTypeExpirations::expirationsWithNoExpiry();
    a._defaultExpirationMS = 100;
    a._nonExpiringTileTypes = {1};
    auto b = GMSTileTypeExpirations::expirationsWithNoExpiry();
    b._defaultExpirationMS = 50;
    b._perTileExpirationMS = 7;
    b._nonExpiringTileTypes = {2};
    auto m = a.expirationsMergingExpirations(b);
    EXPECT_EQ(m._defaultExpirationMS, 50);
    EXPECT_EQ(m._perTileExpirationMS, 7);
    EXPECT_EQ(m._nonExpiringTileTypes, (QSet<int>{1, 2}));
}
