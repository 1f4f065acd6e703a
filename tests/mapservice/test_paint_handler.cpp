// The paint route's handler: the signature gate, and the same tile answer as
// the framed route, without the framing.
#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
#include "Mbtiles.h"
#include "PaintRequestHandler.h"
#include "PaintSignature.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {

const std::string kKey = "paint-key";

struct PaintHandlerTest : ::testing::Test {
    PaintHandlerTest()
    {
        std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
        stores[TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(tiles.path());
        dash = std::make_shared<DashRequestHandler>(config, stores);
    }
    std::string request(std::initializer_list<std::tuple<int, int, int>> coords, const std::string& version = {})
    {
        GMSx_GMMMapTileRequestProto req;
        req.mutable_header()->set_tile_size(256);
        req.add_paint_description_array()->set_tile_type(TILE_TYPE_SATELLITE);
        for (const auto& [z, x, y] : coords) {
            auto* t = req.add_map_tile_array();
            *t = zltest::tileProto(TILE_TYPE_SATELLITE, z, x, y);
            t->set_paint_description_index(0);
            if (!version.empty())
                t->mutable_version_id()->set_version_id(version);
        }
        return req.SerializeAsString();
    }
    zltest::MbtilesFixture tiles;
    ServiceConfig config;
    std::shared_ptr<DashRequestHandler> dash;
};

}  // namespace

TEST_F(PaintHandlerTest, SignedRequestGetsTheBareTileAnswer)
{
    const PaintRequestHandler handler(kKey, dash);
    const std::string body = request({{0, 0, 0}, {1, 1, 0}, {9, 0, 0}});
    const std::string sig = paintSignature(kKey, body);
    const DashAnswer a = handler.handle(body, &sig);
    ASSERT_EQ(a.httpStatus, 200) << a.body;
    EXPECT_EQ(a.contentType, "application/x-protobuf");
    EXPECT_EQ(a.requestCount, 1u);
    EXPECT_EQ(a.tileCount, 3u);
    EXPECT_EQ(a.tilesFound, 2u);
    GMSx_GMMMapTileResponseProto resp;
    ASSERT_TRUE(resp.ParseFromString(a.body));
    EXPECT_EQ(resp.header().response_code(), TILE_RESPONSE_OK);
    ASSERT_EQ(resp.map_tile_array_size(), 3);
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(0, 0, 0));
    EXPECT_TRUE(resp.map_tile_array(1).tile_data() == tiles.tile(1, 1, 0));
    EXPECT_FALSE(resp.map_tile_array(2).has_tile_data()) << "no such tile in the store";
    EXPECT_EQ(resp.map_tile_array(0).map_tile().version_id().version_id(), DashRequestHandler::versionOf(tiles.tile(0, 0, 0)));

    // Byte for byte the block that the framed route sends for the same request.
    DashOutput framed;
    DashAnswer stats;
    ASSERT_TRUE(dash->writeTileResponse(body, framed, stats, true));
    EXPECT_EQ(framed.bytes().substr(4), a.body);

    // A copy that is still current comes back without its bytes.
    const std::string again = request({{0, 0, 0}}, DashRequestHandler::versionOf(tiles.tile(0, 0, 0)));
    const std::string sig2 = paintSignature(kKey, again);
    GMSx_GMMMapTileResponseProto same;
    ASSERT_TRUE(same.ParseFromString(handler.handle(again, &sig2).body));
    ASSERT_EQ(same.map_tile_array_size(), 1);
    EXPECT_FALSE(same.map_tile_array(0).has_tile_data());
}

TEST_F(PaintHandlerTest, SignatureGateAndTheRouteWithoutAKey)
{
    const PaintRequestHandler handler(kKey, dash);
    const std::string body = request({{0, 0, 0}});
    const std::string changed = request({{1, 0, 0}});
    // No signature, an empty one, another key's, and one signed for another body.
    using Sig = std::optional<std::string>;
    for (const Sig& sig : {Sig(), Sig(""), Sig(paintSignature("another key", body)), Sig(paintSignature(kKey, changed))}) {
        const DashAnswer a = handler.handle(body, sig ? &*sig : nullptr);
        EXPECT_EQ(a.httpStatus, 403);
        EXPECT_EQ(a.body, sig ? "bad signature\n" : "missing signature\n");
        EXPECT_EQ(a.tileCount, 0u) << "refused unread";
    }

    const PaintRequestHandler off("", dash);
    EXPECT_FALSE(off.offered());
    const std::string unsignedSig = paintSignature("", body);
    EXPECT_EQ(off.handle(body, &unsignedSig).httpStatus, 404);
    EXPECT_EQ(off.handle(body, nullptr).httpStatus, 404);
}

TEST_F(PaintHandlerTest, GarbageThatIsSignedIsRefusedWith400)
{
    const PaintRequestHandler handler(kKey, dash);
    for (const std::string& body : {std::string("\xff\xff\xff\xff", 4), std::string("\x4a\x05\x08", 3),
                                   std::string("\x0a\x80\x80\x80\x80\x80\x80\x80\x80\x80\x01", 11)}) {
        const std::string sig = paintSignature(kKey, body);
        const DashAnswer a = handler.handle(body, &sig);
        EXPECT_EQ(a.httpStatus, 400);
        EXPECT_EQ(a.body, "malformed paint request\n");
    }
    // An empty request is a request for no tiles.
    const std::string sig = paintSignature(kKey, "");
    const DashAnswer a = handler.handle("", &sig);
    EXPECT_EQ(a.httpStatus, 200);
    GMSx_GMMMapTileResponseProto resp;
    ASSERT_TRUE(resp.ParseFromString(a.body));
    EXPECT_EQ(resp.map_tile_array_size(), 0);
}
