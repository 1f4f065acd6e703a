#include "GMSDASHConnection.h"
#include "GMSDASHProtobufferRequest.h"
#include "GMSDASHQuotaEventRequest.h"
#include "MapServiceServer.h"
#include "MbtilesFixture.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <atomic>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {

struct Result {
    std::shared_ptr<google::protobuf::Message> response;
    std::optional<GMSDASHError> error;
    std::atomic<bool> done{false};
};

class EndToEnd : public ::testing::Test {
protected:
    void SetUp() override
    {
        ServiceConfig config;
        config.port = 0;
        config.threads = 2;
        config.quiet = true;
        config.apiKeys = {"good-key"};
        config.tilesByType[TILE_TYPE_SATELLITE] = tiles.path();
        server = std::make_unique<MapServiceServer>(config);
        std::string error;
        ASSERT_TRUE(server->start(error)) << error;
    }

    std::unique_ptr<GMSDASHConnection> connect(const QString& key)
    {
        GMSDASHClientDescription d;
        d.apiKey = key;
        auto c = std::make_unique<GMSDASHConnection>(QUrl(QString::fromStdString(server->endpointUrl())), d,
                                                     std::make_shared<GMSDASHClientState>(nullptr),
                                                     std::make_shared<zl::ManualClock>());
        c->resumeSending();
        return c;
    }

    static void watch(GMSDASHProtobufferRequest& r, Result& out)
    {
        r.setHandler(nullptr, [&out](GMSDASHProtobufferRequest::Response resp, std::optional<GMSDASHError> e) {
            out.response = resp;
            out.error = e;
            out.done = true;
        });
    }

    // Sends a quota event and a batch of three tiles with the key, and waits for both.
    void sendQuotaAndTiles(const QString& key, Result& quotaResult, Result& tilesResult)
    {
        auto conn = connect(key);
        auto quota = std::make_shared<GMSDASHQuotaEventRequest>(key, "app.zenloft", "Zenloft");
        watch(*quota, quotaResult);
        auto msg = std::make_shared<GMSx_GMMMapTileRequestProto>(zltest::tileRequest({{0, 0, 0}, {2, 3, 1}, {2, 0, 0}}, 256));
        auto tiles = std::make_shared<GMSDASHProtobufferRequest>(kDashMapTileRequest, msg,
                                                                 &GMSx_GMMMapTileResponseProto::default_instance());
        watch(*tiles, tilesResult);
        conn->sendRequest(quota);
        conn->sendRequest(tiles);
        ASSERT_TRUE(zltest::waitFor([&] { return tilesResult.done && quotaResult.done; }));
        cookie = conn->clientState()->userCookie();
        cohort = conn->clientState()->snapshot().cohort;
    }

    quint64 cookie = 0;
    QString cohort;
    zltest::MbtilesFixture tiles;
    std::unique_ptr<MapServiceServer> server;
};

}  // namespace

TEST_F(EndToEnd, TilesIdentityAndQuotaThroughTheRealService)
{
    Result quotaResult, tilesResult;
    sendQuotaAndTiles("good-key", quotaResult, tilesResult);
    ASSERT_FALSE(tilesResult.error.has_value()) << tilesResult.error->message.toStdString();
    const auto& resp = static_cast<const GMSx_GMMMapTileResponseProto&>(*tilesResult.response);
    ASSERT_EQ(resp.map_tile_array_size(), 3);
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(0, 0, 0));
    EXPECT_TRUE(resp.map_tile_array(1).tile_data() == tiles.tile(2, 3, 1));
    EXPECT_FALSE(resp.map_tile_array(2).has_tile_data());
    EXPECT_FALSE(resp.map_tile_array(0).map_tile().version_id().version_id().empty());
    ASSERT_FALSE(quotaResult.error.has_value());
    EXPECT_EQ(static_cast<const GMSx_GMMApiQuotaEventResponseProto&>(*quotaResult.response).response(),
              QUOTA_RESPONSE_OK);
    EXPECT_NE(cookie, 0u);
    EXPECT_EQ(cohort, "zenloft");

    // A refused key fails the tiles and logs the quota refusal.
    zltest::LogCapture log;
    Result refusedQuota, refusedTiles;
    sendQuotaAndTiles("bad-key", refusedQuota, refusedTiles);
    ASSERT_TRUE(refusedTiles.error);
    EXPECT_EQ(refusedTiles.error->domain, kGenericServerErrorDomain);
    EXPECT_EQ(refusedTiles.error->code, 403);
    EXPECT_FALSE(refusedQuota.error.has_value());
    EXPECT_TRUE(log.contains("Zenloft cannot connect or validate APIKey: bad-key"));
    EXPECT_TRUE(log.contains("Your key may be invalid for your bundle ID: app.zenloft"));
}
