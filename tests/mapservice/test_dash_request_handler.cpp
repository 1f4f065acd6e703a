// The service's answers as bytes: the framed route, the client parameters
// groups, the paint route's signature gate, and the tile cache under them;
// then both body readers against cut, mutated and random bodies.
#include "DashErrors.h"
#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
#include "Mbtiles.h"
#include "PaintRequestHandler.h"
#include "PaintSignature.h"
#include "TileCache.h"
#include "clientparams.pb.h"
#include "testsupport.h"

#include <QDir>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;
using namespace zenloft::mapservice;
using zltest::tileRequest;
using namespace std::string_literals;

namespace {

constexpr const char* kKey = "ZenloftLocalServiceKey-0000000000000000";

class HandlerTest : public ::testing::Test {
protected:
    HandlerTest()
    {
        config.apiKeys = {kKey};
        config.cohort = "c7";
        config.legalCountry = "PL";
    }
    DashAnswer handle(const std::string& body) const { return tiles.handler(config)->handle(body); }
    std::string ask(const std::vector<std::pair<int, std::uint64_t>>& groups) const;

    zltest::MbtilesFixture tiles;
    ServiceConfig config;
};

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
    GMSx_GMMClientPropertiesResponseProto props;
    EXPECT_TRUE(props.ParseFromString(std::string(in.readLengthPrefixed())));
    return props;
}

// The tile answer that follows the prologue, which must end the body.
GMSx_GMMMapTileResponseProto tileAnswer(const DashAnswer& a, bool cookie = false)
{
    DashInput in(a.body, true);
    readPrologue(in, cookie);
    EXPECT_EQ(in.readUInt16(), kDashMapTileRequest);
    GMSx_GMMMapTileResponseProto resp;
    EXPECT_TRUE(resp.ParseFromString(std::string(in.readLengthPrefixed())));
    EXPECT_TRUE(in.atEnd());
    return resp;
}

// Status, content type and the log line's counts (requests/tiles/found).
std::string summary(const DashAnswer& a)
{
    return std::to_string(a.httpStatus) + " " + a.contentType + " " + std::to_string(a.requestCount) + "/"
        + std::to_string(a.tileCount) + "/" + std::to_string(a.tilesFound);
}

// Each tile's data, "-" where the answer has none.
std::vector<std::string> dataOf(const GMSx_GMMMapTileResponseProto& resp)
{
    std::vector<std::string> out;
    for (const auto& t : resp.map_tile_array())
        out.push_back(t.has_tile_data() ? t.tile_data() : "-");
    return out;
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

// One group of the answer as the service sends it (field 1, length, then
// type, hash of the rest, rest); `content` empty and `hash` given: type and
// hash only.
std::string group(int type, const std::string& content, std::uint64_t hash = 0)
{
    const std::string head{'\x08', static_cast<char>(type)};
    std::string g = head + "\x11";
    hash = hash ? hash : fnv(head + content);
    for (int i = 0; i < 8; ++i)
        g.push_back(static_cast<char>(hash >> (8 * i)));  // fixed64: little-endian
    g += content;
    return std::string{'\x0A', static_cast<char>(g.size())} + g;
}

// Steps over a framed body the way a receiver does while more may still come.
void readOpen(std::string_view body)
{
    DashInput in(body, false);
    readRequestHeader(in);
    for (int guard = 0; guard < 1000 && !in.atEnd(); ++guard)
        if (requestBodyKind(in.readUInt16()) == DashBodyKind::LengthPrefixed)
            in.readLengthPrefixed();
}
}  // namespace

// The raw bytes of the one answer message of a client parameters body.
std::string HandlerTest::ask(const std::vector<std::pair<int, std::uint64_t>>& groups) const
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
    const DashAnswer a = handle(out.bytes());
    DashInput in(a.body, true);
    in.readUInt16();
    EXPECT_EQ(in.readUInt16(), kDashClientParametersRequest);
    const auto block = in.readLengthPrefixed();
    return std::string(block.data(), block.size());
}

TEST_F(HandlerTest, AnswersCookiePropertiesAndTilesInOrderAndShiftsTheZoomOfLargeTiles)
{
    auto req = tileRequest({{1, 1, 0}, {2, 3, 1}, {2, 0, 0}}, 256);  // the last is absent
    *req.add_map_tile_array() = tileRequest({{0, 0, 0}}, 0, TILE_TYPE_TERRAIN).map_tile_array(0);  // no store
    const DashAnswer a = handle(zltest::framedTileBody(kKey, req));
    ASSERT_EQ(summary(a), "200 application/binary 3/4/2") << a.error;
    DashInput in(a.body, true);
    const auto props = readPrologue(in);
    const auto resp = tileAnswer(a, true);
    EXPECT_EQ(std::tuple(props.new_cohort() + " " + props.new_legal_country(), props.datarequest_status_array_size(),
                         resp.header().response_code()),
              std::tuple("c7 PL", 0, TILE_RESPONSE_OK));
    EXPECT_EQ(dataOf(resp), (std::vector<std::string>{tiles.tile(1, 1, 0), tiles.tile(2, 3, 1), "-", "-"}));
    EXPECT_EQ(resp.map_tile_array(0).map_tile().version_id().version_id(),
              DashRequestHandler::versionOf(tiles.tile(1, 1, 0)));
    EXPECT_EQ(resp.map_tile_array(2).map_tile().tile_index_x(), 0);

    // The client's current version gets no data.
    auto current = tileRequest({{0, 0, 0}});
    const std::string version = DashRequestHandler::versionOf(tiles.tile(0, 0, 0));
    current.mutable_map_tile_array(0)->mutable_version_id()->set_version_id(version);
    const auto same = tileAnswer(handle(zltest::framedTileBody(kKey, current, false)));
    EXPECT_EQ(std::tuple(dataOf(same), same.map_tile_array(0).map_tile().version_id().version_id()),
              std::tuple(std::vector<std::string>{"-"}, version));

    // A 512 edge sends zoomLevel one above the tile's zoom.
    EXPECT_EQ(dataOf(tileAnswer(handle(zltest::framedTileBody(kKey, tileRequest({{2, 1, 0}}, 512), false)))),
              std::vector<std::string>{tiles.tile(1, 1, 0)});
}

// The client parameters groups: the style tables name each file of the style
// folder; the paint route is offered only with a signing key.
TEST_F(HandlerTest, ParameterGroupsByteForByte)
{
    config.apiKeys.clear();
    QTemporaryDir styles;
    for (const char* name : {"b.tbl", "a.tbl", ".hidden"})
        ASSERT_FALSE(zltest::writeFile(styles.filePath(name), "table").isEmpty());
    ASSERT_TRUE(QDir(styles.path()).mkdir("sub"));
    config.styleDir = styles.path().toStdString();
    config.styleEpoch = 7;

    // paint_epoch 7; a.tbl map style 0, b.tbl map style 1 (name order); no
    // format field; relative URLs under /styles/.
    const std::string tables = "\x6A\x28\x08\x07\x12\x11\x0A\x0D/styles/a.tbl\x18\x00"s
        + "\x12\x11\x0A\x0D/styles/b.tbl\x18\x01";
    EXPECT_EQ(ask({{37, 0}}), group(37, tables));

    // The client's copy is current: type and hash only.
    const std::uint64_t hash = fnv("\x08\x25" + tables);
    EXPECT_EQ(ask({{37, hash}}), group(37, "", hash));

    // An empty or missing folder offers no tables.
    for (const char* folder : {"sub", "none"}) {
        config.styleDir = styles.filePath(folder).toStdString();
        EXPECT_EQ(ask({{37, 0}}), group(37, "")) << folder;
    }

    // Without a key: neither the paint group nor the direct-to-paint types.
    config.directToPaintTileTypes = {TILE_TYPE_TERRAIN, TILE_TYPE_SATELLITE};
    EXPECT_EQ(ask({{1, 0}, {38, 0}}), group(1, "\x52\x02\x38\x01") + group(38, ""));

    config.paintSigningKey = "k3y";
    config.pertileDurationMinutes = 30;
    // Vector maps: the per-tile duration, schema version 1, then field 38
    // once per type, in order.
    const auto paint = [](const char* key) { return "\x62\x11\x0A\x0A/glm/paint\x12\x03"s + key; };
    EXPECT_EQ(ask({{1, 0}, {38, 0}}),
              group(1, "\x52\x0A\x20\x1E\x38\x01\xB0\x02\x01\xB0\x02\x02") + group(38, paint("k3y")));

    // A changed key changes the hash: a client with the old copy gets the new one.
    const std::uint64_t oldHash = fnv("\x08\x26" + paint("k3y"));
    EXPECT_EQ(ask({{38, oldHash}}), group(38, "", oldHash));
    config.paintSigningKey = "k4y";
    EXPECT_EQ(ask({{38, oldHash}}), group(38, paint("k4y")));
}

TEST_F(HandlerTest, MalformedBodiesGetTheFramingErrorAndARejectedKeyLeavesTheRequestsUnanswered)
{
    const std::string good = zltest::framedTileBody(kKey, tileRequest({{0, 0, 0}}));
    std::string v23 = good;
    v23[1] = 23;
    DashOutput unknown(good);
    unknown.writeUInt16(999);
    const std::pair<std::string, const char*> cases[] = {
        {v23, "version 23"}, {good.substr(0, good.size() - 1), ""}, {unknown.bytes(), "unknown request 999"}, {"", ""}};
    for (const auto& [body, why] : cases) {
        const DashAnswer a = handle(body);
        EXPECT_EQ(summary(a).substr(0, 14), "400 text/plain") << why;
        EXPECT_NE(a.error.find(why), std::string::npos) << a.error;
    }
    // A rejected key marks the requests and leaves them unanswered.
    DashOutput more(zltest::framedTileBody("wrong", tileRequest({{0, 0, 0}})));
    GMSx_GMMApiQuotaEventRequestProto quota;
    quota.add_event_array()->set_type(QUOTA_EVENT_MAP_LOAD);
    more.writeUInt16(kDashApiQuotaEventRequest);
    more.writeMessage(quota);
    const DashAnswer answer = handle(more.bytes());
    ASSERT_EQ(answer.httpStatus, 200);
    DashInput in(answer.body, true);
    const auto status = readPrologue(in).datarequest_status_array();
    ASSERT_EQ(status.size(), 1);
    EXPECT_EQ(std::pair(status[0].request_index(), status[0].code()), std::pair(2, 403));
    // The tile request is skipped; the quota event says why.
    EXPECT_EQ(in.readUInt16(), kDashApiQuotaEventRequest);
    GMSx_GMMApiQuotaEventResponseProto q;
    ASSERT_TRUE(q.ParseFromString(std::string(in.readLengthPrefixed())));
    EXPECT_EQ(std::tuple(q.response(), q.developer_console_error_string().empty(), in.atEnd()),
              std::tuple(QUOTA_RESPONSE_INVALID_KEY, false, true));

    config.maxRequestsPerBody = 2;
    const DashAnswer a = handle(good);
    EXPECT_EQ(std::pair(a.httpStatus, a.error.find("more than 2") != std::string::npos), std::pair(400, true));
}

// The paint route: the signature gate, then the framed route's tile block
// without the framing.
TEST_F(HandlerTest, PaintRouteSignatureGateAndBareTileAnswer)
{
    const std::string key = "paint-key";
    const auto dash = tiles.handler(config);
    const PaintRequestHandler handler(key, dash);
    auto req = tileRequest({{0, 0, 0}, {1, 1, 0}, {9, 0, 0}}, 256);
    req.add_paint_description_array()->set_tile_type(TILE_TYPE_SATELLITE);
    const std::string body = req.SerializeAsString();
    const std::string sig = paintSignature(key, body);
    const DashAnswer a = handler.handle(body, &sig);
    ASSERT_EQ(summary(a), "200 application/x-protobuf 1/3/2") << a.body;
    DashOutput framed;
    DashAnswer stats;
    ASSERT_TRUE(dash->writeTileResponse(body, framed, stats, true));
    EXPECT_EQ(framed.bytes().substr(4), a.body);
    EXPECT_NE(a.body.find(tiles.tile(1, 1, 0)), std::string::npos);

    // No signature, an empty one, another key's, and one signed for another body.
    const std::string other = tileRequest({{1, 0, 0}}).SerializeAsString();
    using Sig = std::optional<std::string>;
    for (const Sig& s : {Sig(), Sig(""), Sig(paintSignature("another key", body)), Sig(paintSignature(key, other))}) {
        const DashAnswer refused = handler.handle(body, s ? &*s : nullptr);
        EXPECT_EQ(std::tuple(refused.httpStatus, refused.body, refused.tileCount),  // refused unread
                  std::tuple(403, s ? "bad signature\n" : "missing signature\n", 0u));
    }
    // Without a key the route is not there at all.
    const PaintRequestHandler off("", dash);
    const std::string unsignedSig = paintSignature("", body);
    EXPECT_EQ(std::tuple(off.offered(), off.handle(body, &unsignedSig).httpStatus,
                         off.handle(body, nullptr).httpStatus),
              std::tuple(false, 404, 404));

    // Signed garbage is refused with 400 (the fuzz test feeds more); an
    // empty request asks for no tiles.
    const std::string garbage("\x0a\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01", 11);
    const std::string garbageSig = paintSignature(key, garbage), emptySig = paintSignature(key, "");
    EXPECT_EQ(handler.handle(garbage, &garbageSig).body, "malformed paint request\n");
    GMSx_GMMMapTileResponseProto none;
    EXPECT_TRUE(none.ParseFromString(handler.handle("", &emptySig).body));
    EXPECT_EQ(none.map_tile_array_size(), 0);
}

TEST_F(HandlerTest, TileCacheHitsMissesAndBudget)
{
    zl::MbtilesReader store(tiles.path());
    TileCache cache(64 * 1024), none(0);  // in `none` nothing fits: every lookup reads the store
    const auto a = cache.get(1, store, 1, 1, 0);
    EXPECT_EQ(std::tuple(a->data, a->version),
              std::tuple(tiles.tile(1, 1, 0), DashRequestHandler::versionOf(tiles.tile(1, 1, 0))));
    EXPECT_EQ(cache.get(1, store, 1, 1, 0), a);  // same object from memory
    // Absent tiles are remembered too; without room the answers stay right.
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(cache.get(1, store, 5, 0, 0)->data, "");
        EXPECT_EQ(none.get(1, store, 2, 3, 1)->data, tiles.tile(2, 3, 1));
    }
    EXPECT_EQ(std::tuple(cache.hits(), cache.misses(), none.hits()), std::tuple(2u, 2u, 0u));
}

// The service's two body readers against every cut of a good body (a framed
// one read as still open must ask for more at every cut), then
// bodies with a few bytes flipped and random bodies (a third of the framed
// ones opening with the right protocol version): each gets 200 or 400, never
// a crash, a hang or another status. Paint bodies are signed so that they
// reach the tile reader; unsigned ones never get past the signature.
TEST_F(HandlerTest, FuzzCutMutatedAndRandomBodies)
{
    const auto dash = tiles.handler();  // any key
    const PaintRequestHandler paint("k", dash);
    auto paintRequest = zltest::tileRequest({{2, 0, 1}, {2, 1, 1}, {2, 2, 1}, {2, 3, 1}}, 512);
    paintRequest.add_paint_description_array()->set_tile_type(TILE_TYPE_SATELLITE);
    for (const bool framed : {true, false}) {
        SCOPED_TRACE(framed ? "framed" : "paint");
        const std::string body = framed ? zltest::framedTileBody("k", zltest::tileRequest({{2, 0, 1}, {2, 3, 1}}))
                                        : paintRequest.SerializeAsString();
        int ok = 0, refused = 0;
        const auto check = [&](const std::string& b) {
            const std::string sig = paintSignature("k", b);
            const DashAnswer a = framed ? dash->handle(b) : paint.handle(b, &sig);
            ASSERT_TRUE(a.httpStatus == 200 || a.httpStatus == 400) << a.httpStatus;
            (a.httpStatus == 200 ? ok : refused)++;
            ASSERT_TRUE(framed || paint.handle(b, nullptr).httpStatus == 403);
        };
        for (std::size_t n = 0; n <= body.size(); ++n) {
            check(body.substr(0, n));
            if (framed) {
                EXPECT_THROW(readOpen(body.substr(0, n)), DashNeedMoreData) << n;
            }
        }
        std::mt19937 rng(framed ? 1234 : 4321);
        for (int round = 0; round < 2500; ++round) {
            std::string b = body;
            for (int i = 0, flips = 1 + rng() % 6; i < flips; ++i)
                b[rng() % b.size()] = static_cast<char>(rng());
            check(b);
            std::string r(rng() % 200, '\0');
            for (char& c : r)
                c = static_cast<char>(rng());
            if (framed && r.size() >= 2 && round % 3 == 0)
                r.replace(0, 2, std::string("\0\x18", 2));
            check(r);
        }
        EXPECT_GT(ok, 0);
        EXPECT_GT(refused, 0);
    }
}
