#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
#include "Mbtiles.h"
#include "TileCache.h"
#include "clientparams.pb.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {

constexpr const char* kKey = "ZenloftLocalServiceKey-0000000000000000";

class HandlerTest : public ::testing::Test {
protected:
    HandlerTest()
    {
        config.apiKeys = {kKey};
        config.cohort = "c7";
        config.legalCountry = "PL";
        stores[TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(tiles.path());
    }
    DashRequestHandler handler() const { return DashRequestHandler(config, stores); }

    zltest::MbtilesFixture tiles;
    ServiceConfig config;
    std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
};

template <typename M>
M readMessage(DashInput& in)
{
    M m;
    const auto block = in.readLengthPrefixed();
    EXPECT_TRUE(m.ParseFromArray(block.data(), static_cast<int>(block.size())));
    return m;
}

// Reads what opens every answer: the version, the cookie (if the body asked
// for one) and the client properties.
GMSx_GMMClientPropertiesResponseProto readPrologue(DashInput& in, bool cookie = true)
{
    EXPECT_EQ(in.readUInt16(), 24);
    if (cookie) {
        EXPECT_EQ(in.readUInt16(), kDashUserCookieRequest);
        EXPECT_NE(in.readUInt64(), 0u);
    }
    EXPECT_EQ(in.readUInt16(), kDashClientPropertiesRequest);
    return readMessage<GMSx_GMMClientPropertiesResponseProto>(in);
}

// The tile answer of a body framed without the cookie request.
GMSx_GMMMapTileResponseProto tileAnswer(const DashAnswer& a)
{
    DashInput in(a.body, true);
    readPrologue(in, false);
    EXPECT_EQ(in.readUInt16(), kDashMapTileRequest);
    return readMessage<GMSx_GMMMapTileResponseProto>(in);
}

}  // namespace

TEST_F(HandlerTest, AnswersCookiePropertiesAndTilesInOrder)
{
    GMSx_GMMMapTileRequestProto req;
    req.mutable_header()->set_tile_size(256);
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 1, 1, 0);
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, 3, 1);
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, 0, 0);  // absent
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_TERRAIN, 0, 0, 0);    // no store
    const DashAnswer a = handler().handle(zltest::framedTileBody(kKey, req));
    ASSERT_EQ(a.httpStatus, 200) << a.error;
    EXPECT_EQ(a.contentType, "application/binary");
    EXPECT_EQ(a.requestCount, 3u);
    EXPECT_EQ(a.tileCount, 4u);
    EXPECT_EQ(a.tilesFound, 2u);

    DashInput in(a.body, true);
    const auto props = readPrologue(in);
    EXPECT_EQ(props.new_cohort(), "c7");
    EXPECT_EQ(props.new_legal_country(), "PL");
    EXPECT_EQ(props.datarequest_status_array_size(), 0);
    EXPECT_EQ(in.readUInt16(), kDashMapTileRequest);
    const auto resp = readMessage<GMSx_GMMMapTileResponseProto>(in);
    EXPECT_TRUE(in.atEnd());

    EXPECT_EQ(resp.header().response_code(), TILE_RESPONSE_OK);
    ASSERT_EQ(resp.map_tile_array_size(), 4);
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(1, 1, 0));
    EXPECT_EQ(resp.map_tile_array(0).map_tile().tile_index_x(), 1);
    EXPECT_EQ(resp.map_tile_array(0).map_tile().version_id().version_id(),
              DashRequestHandler::versionOf(tiles.tile(1, 1, 0)));
    EXPECT_TRUE(resp.map_tile_array(1).tile_data() == tiles.tile(2, 3, 1));
    EXPECT_FALSE(resp.map_tile_array(2).has_tile_data());
    EXPECT_EQ(resp.map_tile_array(2).map_tile().tile_index_x(), 0);
    EXPECT_FALSE(resp.map_tile_array(3).has_tile_data());
}

TEST_F(HandlerTest, CurrentVersionGetsNoDataAndLargeTilesShiftTheZoom)
{
    GMSx_GMMMapTileRequestProto req;
    auto t = zltest::tileProto(TILE_TYPE_SATELLITE, 0, 0, 0);
    t.mutable_version_id()->set_version_id(DashRequestHandler::versionOf(tiles.tile(0, 0, 0)));
    *req.add_map_tile_array() = t;
    auto resp = tileAnswer(handler().handle(zltest::framedTileBody(kKey, req, false)));
    ASSERT_EQ(resp.map_tile_array_size(), 1);
    EXPECT_FALSE(resp.map_tile_array(0).has_tile_data());
    EXPECT_EQ(resp.map_tile_array(0).map_tile().version_id().version_id(), t.version_id().version_id());

    // A 512 edge sends zoomLevel one above the tile's zoom.
    req.Clear();
    req.mutable_header()->set_tile_size(512);
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, 1, 0);
    resp = tileAnswer(handler().handle(zltest::framedTileBody(kKey, req, false)));
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(1, 1, 0));
}

TEST_F(HandlerTest, RejectedKeyMarksTheRequestsAndLeavesThemUnanswered)
{
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 0, 0, 0);
    std::string body = zltest::framedTileBody("wrong", req);
    DashOutput more(body);
    GMSx_GMMApiQuotaEventRequestProto quota;
    quota.add_event_array()->set_type(QUOTA_EVENT_MAP_LOAD);
    more.writeUInt16(kDashApiQuotaEventRequest);
    more.writeMessage(quota);
    const DashAnswer a = handler().handle(more.bytes());
    ASSERT_EQ(a.httpStatus, 200);
    DashInput in(a.body, true);
    const auto props = readPrologue(in);
    ASSERT_EQ(props.datarequest_status_array_size(), 1);
    EXPECT_EQ(props.datarequest_status_array(0).request_index(), 2);
    EXPECT_EQ(props.datarequest_status_array(0).code(), 403);
    // The tile request is skipped; the quota event says why.
    EXPECT_EQ(in.readUInt16(), kDashApiQuotaEventRequest);
    const auto q = readMessage<GMSx_GMMApiQuotaEventResponseProto>(in);
    EXPECT_EQ(q.response(), QUOTA_RESPONSE_INVALID_KEY);
    EXPECT_FALSE(q.developer_console_error_string().empty());
    EXPECT_TRUE(in.atEnd());
}

namespace {

std::string bytes(std::initializer_list<int> b)
{
    std::string s;
    for (int c : b)
        s.push_back(static_cast<char>(c));
    return s;
}

std::string fixed64(std::uint64_t v)
{
    std::string s;
    for (int i = 0; i < 8; ++i)
        s.push_back(static_cast<char>((v >> (8 * i)) & 0xFF));
    return s;
}

std::uint64_t fnv(const std::string& s)
{
    std::uint64_t h = 1469598103934665603ULL;
    for (unsigned char c : s) {
        h ^= c;
        h *= 1099511628211ULL;
    }
    return h;
}

// The serialised group as the service sends it: type, hash of the rest, rest.
std::string withHash(int type, const std::string& content)
{
    const std::string head = bytes({0x08, type});
    return head + bytes({0x11}) + fixed64(fnv(head + content)) + content;
}

// The raw bytes of the one answer message of a client parameters body.
std::string askForGroups(const DashRequestHandler& h, const std::vector<std::pair<int, std::uint64_t>>& groups)
{
    GMSx_GMMClientParametersRequestProto req;
    for (auto [type, hash] : groups) {
        auto* g = req.add_parameter_group_array();
        g->set_type(static_cast<GMSx_GMMParameterGroupType>(type));
        if (hash)
            g->set_hash_p(hash);
    }
    DashOutput out;
    writeRequestHeader(out, DashRequestHeader{});
    out.writeUInt16(kDashClientParametersRequest);
    out.writeMessage(req);
    const DashAnswer a = h.handle(out.bytes());
    DashInput in(a.body, true);
    in.readUInt16();
    EXPECT_EQ(in.readUInt16(), kDashClientParametersRequest);
    const auto block = in.readLengthPrefixed();
    return std::string(block.data(), block.size());
}

}  // namespace

TEST_F(HandlerTest, ClientParametersAnswerEachGroupAndHashOnlyWhenUnchanged)
{
    config.pertileDurationMinutes = 30;
    config.apiKeys.clear();  // no client properties in these bodies
    const auto ask = [&](std::uint64_t vectorHash) {
        GMSx_GMMClientParametersResponseProto r;
        EXPECT_TRUE(r.ParseFromString(
            askForGroups(handler(), {{PARAMETER_GROUP_VECTOR_MAPS, vectorHash}, {PARAMETER_GROUP_LOGGING, 0}})));
        return r;
    };
    const auto first = ask(0);
    ASSERT_EQ(first.parameter_group_array_size(), 2);
    EXPECT_EQ(first.parameter_group_array(0).vector_maps().pertile_duration_in_minutes(), 30);
    EXPECT_TRUE(first.parameter_group_array(0).has_hash_p());
    EXPECT_TRUE(first.parameter_group_array(1).has_hash_p());

    const auto second = ask(first.parameter_group_array(0).hash_p());
    EXPECT_FALSE(second.parameter_group_array(0).has_vector_maps());
    EXPECT_EQ(second.parameter_group_array(0).hash_p(), first.parameter_group_array(0).hash_p());
    EXPECT_TRUE(second.parameter_group_array(1).has_hash_p());
}

TEST_F(HandlerTest, StyleTablesGroupNamesEachFileOfTheStyleFolderByteForByte)
{
    config.apiKeys.clear();
    QTemporaryDir styles;
    for (const char* name : {"b.tbl", "a.tbl", ".hidden"}) {
        QFile f(styles.filePath(name));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("table");
    }
    ASSERT_TRUE(QDir(styles.path()).mkdir("sub"));
    config.styleDir = styles.path().toStdString();
    config.styleEpoch = 7;

    // paint_epoch 7; a.tbl map style 0, b.tbl map style 1 (name order); no
    // format field; relative URLs under /styles/.
    const std::string mapA = bytes({0x0A, 13}) + "/styles/a.tbl" + bytes({0x18, 0});
    const std::string mapB = bytes({0x0A, 13}) + "/styles/b.tbl" + bytes({0x18, 1});
    const std::string tables = bytes({0x08, 7, 0x12, 17}) + mapA + bytes({0x12, 17}) + mapB;
    const std::string group = withHash(37, bytes({0x6A, 40}) + tables);
    const std::string answer = askForGroups(handler(), {{37, 0}});
    EXPECT_EQ(answer, bytes({0x0A, static_cast<int>(group.size())}) + group);

    // The client's copy is current: type and hash only.
    const std::uint64_t hash = fnv(bytes({0x08, 37, 0x6A, 40}) + tables);
    EXPECT_EQ(askForGroups(handler(), {{37, hash}}), bytes({0x0A, 11, 0x08, 37, 0x11}) + fixed64(hash));

    // An empty or missing folder offers no tables.
    config.styleDir = styles.filePath("sub").toStdString();
    const std::string empty = withHash(37, "");
    EXPECT_EQ(askForGroups(handler(), {{37, 0}}), bytes({0x0A, static_cast<int>(empty.size())}) + empty);
    config.styleDir = styles.filePath("none").toStdString();
    EXPECT_EQ(askForGroups(handler(), {{37, 0}}), bytes({0x0A, static_cast<int>(empty.size())}) + empty);
}

TEST_F(HandlerTest, PaintRouteIsOfferedOnlyWithASigningKey)
{
    config.apiKeys.clear();
    config.directToPaintTileTypes = {TILE_TYPE_TERRAIN, TILE_TYPE_SATELLITE};
    // Without a key: neither the paint group nor the direct-to-paint types.
    const std::string vmOff = withHash(1, bytes({0x52, 2, 0x38, 1}));
    const std::string paintOff = withHash(38, "");
    EXPECT_EQ(askForGroups(handler(), {{1, 0}, {38, 0}}),
              bytes({0x0A, static_cast<int>(vmOff.size())}) + vmOff +
                  bytes({0x0A, static_cast<int>(paintOff.size())}) + paintOff);

    config.paintSigningKey = "k3y";
    // Vector maps: schema version 1, then field 38 once per type, in order.
    const std::string vm = withHash(1, bytes({0x52, 8, 0x38, 1, 0xB0, 0x02, 1, 0xB0, 0x02, 2}));
    const std::string paint =
        withHash(38, bytes({0x62, 17, 0x0A, 10}) + "/glm/paint" + bytes({0x12, 3}) + "k3y");
    EXPECT_EQ(askForGroups(handler(), {{1, 0}, {38, 0}}),
              bytes({0x0A, static_cast<int>(vm.size())}) + vm + bytes({0x0A, static_cast<int>(paint.size())}) + paint);

    // A changed key changes the hash: a client with the old copy gets the new one.
    const std::uint64_t oldHash = fnv(bytes({0x08, 38, 0x62, 17, 0x0A, 10}) + "/glm/paint" + bytes({0x12, 3}) + "k3y");
    EXPECT_EQ(askForGroups(handler(), {{38, oldHash}}), bytes({0x0A, 11, 0x08, 38, 0x11}) + fixed64(oldHash));
    config.paintSigningKey = "k4y";
    GMSx_GMMClientParametersResponseProto changed;
    ASSERT_TRUE(changed.ParseFromString(askForGroups(handler(), {{38, oldHash}})));
    EXPECT_EQ(changed.parameter_group_array(0).paint().request_signing_key(), "k4y");
    EXPECT_NE(changed.parameter_group_array(0).hash_p(), oldHash);
}

TEST_F(HandlerTest, MalformedBodiesGetTheFramingError)
{
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 0, 0, 0);
    const std::string good = zltest::framedTileBody(kKey, req);
    std::string v23 = good;
    v23[1] = 23;
    DashOutput unknown(good);
    unknown.writeUInt16(999);
    const std::pair<std::string, const char*> cases[] = {
        {v23, "version 23"}, {good.substr(0, good.size() - 1), ""}, {unknown.bytes(), "unknown request 999"}, {"", ""}};
    for (const auto& [body, why] : cases) {
        const DashAnswer a = handler().handle(body);
        EXPECT_EQ(a.httpStatus, 400) << why;
        EXPECT_EQ(a.contentType, "text/plain") << why;
        EXPECT_NE(a.error.find(why), std::string::npos) << a.error;
    }
    config.maxRequestsPerBody = 2;
    const DashAnswer a = handler().handle(good);
    EXPECT_EQ(a.httpStatus, 400);
    EXPECT_NE(a.error.find("more than 2"), std::string::npos);
}

TEST(TileCacheTest, HitsMissesAndBudget)
{
    zltest::MbtilesFixture tiles;
    zl::MbtilesReader store(tiles.path());
    TileCache cache(64 * 1024);  // a few 256-pixel tiles at most per shard
    const auto a = cache.get(1, store, 1, 1, 0);
    EXPECT_TRUE(a->data == tiles.tile(1, 1, 0));
    EXPECT_EQ(a->version, DashRequestHandler::versionOf(a->data));
    EXPECT_EQ(cache.get(1, store, 1, 1, 0), a);  // same object from memory
    EXPECT_EQ(cache.hits(), 1u);
    EXPECT_EQ(cache.misses(), 1u);
    EXPECT_TRUE(cache.get(1, store, 5, 0, 0)->data.empty());  // absent tiles are remembered too
    EXPECT_TRUE(cache.get(1, store, 5, 0, 0)->data.empty());
    EXPECT_EQ(cache.hits(), 2u);

    TileCache none(0);  // nothing fits: every lookup reads the store, answers stay right
    EXPECT_TRUE(none.get(1, store, 2, 3, 1)->data == tiles.tile(2, 3, 1));
    EXPECT_TRUE(none.get(1, store, 2, 3, 1)->data == tiles.tile(2, 3, 1));
    EXPECT_EQ(none.hits(), 0u);
}
