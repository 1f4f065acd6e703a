#include "GMSDASHTileService.h"
#include "GMSTileCoords.h"
#include "GMSTileTypeExpirations.h"
#include "clientparams.pb.h"

#include <QStringList>

#include <gtest/gtest.h>

#include <tuple>

using namespace zenloft::wire;

namespace {
constexpr qint64 kHalf = qint64(1) << 29;
}

TEST(TileCoords, CornersIdentityClosestToZoomZoomShiftAndMemoryCacheSizes)
{
    const GMSTileCoords c(2, 1, 3);
    const qint64 s = qint64(1) << 28;
    EXPECT_EQ(std::tuple(c.southwestX(), c.southwestY(), c.scaleShift(), c.hashWithoutParams()),
              std::tuple(qint32(s * 1 - kHalf), qint32(kHalf - s * 4), 16, quint64((2 * 31 + 1) * 31 + 3)));
    EXPECT_EQ(c, GMSTileCoords(2, 1, 3));
    const GMSTileCoords withParams(2, 1, 3, QVariantMap{{"lang", "pl"}});
    EXPECT_EQ(QList<bool>({c == withParams, c.isEqualWithoutParams(withParams),
                           withParams == GMSTileCoords(2, 1, 3, QVariantMap{{"lang", "pl"}}),
                           withParams == GMSTileCoords(2, 1, 3, QVariantMap{{"lang", "de"}})}),
              QList<bool>({false, true, true, false}));

    // The point just east of the world's east edge is column 2^z wrapped to 0.
    // East, west, north, south, zoom 0, and a zoom above the deepest.
    QStringList closest;
    for (auto [z, x, y] : {std::tuple{3, kHalf, qint64(0)}, {3, -kHalf - 1, 0}, {3, 0, kHalf + 12345},
                           {3, 0, -kHalf * 2}, {0, 123, 456}, {40, 0, 0}}) {
        const auto t = GMSTileCoords::coordsClosestToZoom(z, qint32(x), qint32(y));
        closest << QStringLiteral("%1/%2/%3").arg(t.zoom()).arg(t.x()).arg(t.y());
    }
    EXPECT_EQ(closest, QStringList({"3/0/4", "3/7/4", "3/4/0", "3/4/7", "0/0/0", "30/536870912/536870912"}));

    EXPECT_FALSE(GMSTileCoords::coordsContainingZoom(31, 0, 0));
    EXPECT_FALSE(GMSTileCoords::coordsContainingZoom(3, 0, kHalf));
    EXPECT_TRUE(GMSTileCoords::coordsContainingZoom(3, 0, kHalf - 1));
    const auto unbounded = GMSTileCoords::unboundedCoordsClosestToZoom(3, kHalf, kHalf * 2);
    EXPECT_EQ(std::pair(unbounded.x(), unbounded.y()), std::pair(8, -4));
    EXPECT_EQ(GMSTileCoords(5, 13, 22).coordsForParentZoom(3), GMSTileCoords(3, 3, 5));

    for (auto [edge, shift] : {std::pair{256, 0}, {512, 1}, {1024, 2}, {128, 0}, {64, -1}})
        EXPECT_EQ(GMSDASHTileService::zoomShiftForTileEdgeLength(edge), shift) << edge;

    const auto size = [](bool storable, int dataType, bool indoor, bool large) {
        GMSTileType t;
        t.isStorable = storable;
        t.dataType = dataType;
        t.hasIndoorFeatures = indoor;
        return GMSDASHTileService::memCacheSizeForTileType(t, large);
    };
    EXPECT_EQ(QList<int>({size(true, 0, false, false), size(false, 0, false, false), size(true, 3, true, true),
                          size(true, 3, true, false), size(true, 2, false, false)}),
              QList<int>({32, 96, 128, 32, 0}));
}

TEST(TileExpirations, PeriodsFromTheParametersAndTheBoundary)
{
    GMSx_GMMTileExpirationsProto e;
    e.add_non_expiring_tile_type_array(TILE_TYPE_TERRAIN);
    // Roadmap's 0 is not positive and traffic has none: both keep the default.
    for (auto [type, seconds] : {std::pair{TILE_TYPE_ROADMAP, 0}, {TILE_TYPE_SATELLITE, 60}, {TILE_TYPE_TRAFFIC, -2}}) {
        auto* c = e.add_custom_expire_array();
        c->set_tile_type(type);
        if (seconds > -2)
            c->set_expiration_seconds(seconds);
    }
    auto x = GMSTileTypeExpirations::expirationsWithNoExpiry();
    x._defaultExpirationMS = 5000;
    x = x.copyWithExpirationsProto(e);

    GMSTileType roadmap, satellite, terrain, traffic;
    satellite.mapTileType = 1;
    terrain.mapTileType = 2;
    traffic.mapTileType = 5;
    QList<qint64> periods;
    for (const GMSTileType& t : {roadmap, satellite, terrain, traffic})
        periods << x.expirationPeriodMSForTileType(t);
    EXPECT_EQ(periods, QList<qint64>({5000, 60000, -1, 5000}));

    // Validation time plus the period equal to now is still good.
    GMSTileExpirationState state(1000, satellite);
    EXPECT_EQ(QList<bool>({state.hasExpiredForClock(61000, x), state.hasExpiredForClock(61001, x),
                           state.hasPerTileExpiredForClock(qint64(1) << 40, x),
                           GMSTileExpirationState(0, terrain).hasExpiredForClock(qint64(1) << 50, x)}),
              QList<bool>({false, true, false, false}));

    GMSx_GMMVectorMapsParametersProto vm;
    vm.set_pertile_duration_in_minutes(2);
    auto v = x.copyWithVectorMapsParametersProto(vm);
    GMSTileType vector;
    vector.dataType = 3;
    EXPECT_EQ(QList<qint64>({v._perTileExpirationMS, v._psmTileExpirationMS, v.perTileExpirationPeriodMSForTileType(vector),
                             v.perTileExpirationPeriodMSForTileType(satellite)}),
              QList<qint64>({120000, -1, 120000, -1}));
    GMSPerTileExpirationState per(0, vector);
    EXPECT_EQ(std::pair(per.hasPerTileExpiredForClock(120000, v), per.hasPerTileExpiredForClock(120001, v)),
              std::pair(false, true));

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
    EXPECT_EQ(std::tuple(m._defaultExpirationMS, m._perTileExpirationMS, m._nonExpiringTileTypes),
              std::tuple(50, 7, QSet<int>{1, 2}));
}
