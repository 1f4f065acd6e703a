#include "MapServiceServer.h"
#include "MbtilesFixture.h"
#include "PaintSignature.h"

#include <httplib.h>

#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {

class ServiceHttpTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(styles.isValid());
        QFile f(styles.filePath("table-1.bin"));
        ASSERT_TRUE(f.open(QIODevice::WriteOnly));
        f.write("style bytes");
        f.close();
        config.port = 0;
        config.threads = 2;
        config.quiet = true;
        config.maxBodyBytes = 4096;
        config.apiKeys = {"key"};
        config.tilesByType[TILE_TYPE_SATELLITE] = tiles.path();
        config.styleDir = styles.path().toStdString();
    }
    void start(const std::string& paintKey = {})
    {
        config.paintSigningKey = paintKey;
        server = std::make_unique<MapServiceServer>(config);
        std::string error;
        ASSERT_TRUE(server->start(error)) << error;
        ASSERT_GT(server->port(), 0);
    }
    httplib::Client client() const
    {
        httplib::Client c("127.0.0.1", server->port());
        c.set_read_timeout(10, 0);
        return c;
    }
    int postTiles(int z, int x, int y)
    {
        GMSx_GMMMapTileRequestProto req;
        *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, z, x, y);
        const auto res = client().Post("/glm/mmap", zltest::framedTileBody("key", req), "application/binary");
        return res ? res->status : -1;
    }

    zltest::MbtilesFixture tiles;
    QTemporaryDir styles;
    ServiceConfig config;
    std::unique_ptr<MapServiceServer> server;
};

}  // namespace

TEST_F(ServiceHttpTest, PostReturnsTheFramedTiles)
{
    start();
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 0, 0, 0);
    const auto res = client().Post("/glm/mmap", zltest::framedTileBody("key", req, false), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/binary");
    DashInput in(res->body, true);
    EXPECT_EQ(in.readUInt16(), 24);
    EXPECT_EQ(in.readUInt16(), 62);
    in.readLengthPrefixed();
    EXPECT_EQ(in.readUInt16(), 108);
    const auto block = in.readLengthPrefixed();
    EXPECT_TRUE(in.atEnd());
    GMSx_GMMMapTileResponseProto resp;
    ASSERT_TRUE(resp.ParseFromArray(block.data(), static_cast<int>(block.size())));
    ASSERT_EQ(resp.map_tile_array_size(), 1);
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(0, 0, 0));
    EXPECT_EQ(server->endpointUrl(), "http://127.0.0.1:" + std::to_string(server->port()) + "/glm/mmap");
}

TEST_F(ServiceHttpTest, MalformedAndOversizeBodiesAreRefused)
{
    start();
    auto c = client();
    auto res = c.Post("/glm/mmap", std::string("\x00\x17garbage", 9), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
    EXPECT_NE(res->body.find("malformed body"), std::string::npos);
    res = c.Post("/glm/mmap", std::string(5000, 'x'), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 413);
    EXPECT_EQ(postTiles(1, 1, 0), 200) << "the server keeps serving after both";
}

TEST_F(ServiceHttpTest, StyleTablesArePlainFiles)
{
    start();
    auto c = client();
    const auto res = c.Get("/styles/table-1.bin");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, "style bytes");
    for (const char* path : {"/styles/missing.bin", "/styles/../test.mbtiles", "/glm/mmap"}) {
        const auto miss = c.Get(path);
        ASSERT_TRUE(miss) << path;
        EXPECT_EQ(miss->status, 404) << path;
    }
}

TEST_F(ServiceHttpTest, ConcurrentClientsAllGetTheirTiles)
{
    start();
    GMSx_GMMMapTileRequestProto req;
    for (int i = 0; i < 50; ++i)
        *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, 3, 1);
    const std::string body = zltest::framedTileBody("key", req, false);
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            auto c = client();
            for (int i = 0; i < 10; ++i) {
                const auto res = c.Post("/glm/mmap", body, "application/binary");
                if (res && res->status == 200 && res->body.size() > 50 * tiles.tile(2, 3, 1).size())
                    ++good;
            }
        });
    }
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(good.load(), 40);
}

TEST(ServiceHttpStart, MissingMbtilesIsAClearError)
{
    ServiceConfig config;
    config.port = 0;
    config.tilesByType[TILE_TYPE_SATELLITE] = "/nonexistent/x.mbtiles";
    MapServiceServer server(config);
    std::string error;
    EXPECT_FALSE(server.prepare(error));
    EXPECT_NE(error.find("/nonexistent/x.mbtiles"), std::string::npos);
}

// The signature gate and body reader are the paint handler's; here only what
// HTTP adds: the route, the signature header, the content type, the size limit.
TEST_F(ServiceHttpTest, PaintRouteOverHttp)
{
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, 3, 1);
    const std::string body = req.SerializeAsString();
    const std::string big(5000, 'x');
    struct Case {
        std::string serverKey, body, signingKey;
        bool sign;
        int status;
    } cases[] = {
        {"", body, "", true, 404},  {"", body, "", false, 404},          {"paint-key", body, "paint-key", true, 200},
        {"paint-key", body, "", false, 403}, {"paint-key", big, "paint-key", true, 413},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.serverKey + " " + std::to_string(c.status));
        start(c.serverKey);
        httplib::Headers headers;
        if (c.sign)
            headers.emplace("X-Paint-Signature", paintSignature(c.signingKey, c.body));
        const auto res = client().Post("/glm/paint", headers, c.body, "application/x-protobuf");
        ASSERT_TRUE(res);
        EXPECT_EQ(res->status, c.status);
        if (c.status == 200) {
            EXPECT_EQ(res->get_header_value("Content-Type"), "application/x-protobuf");
            GMSx_GMMMapTileResponseProto resp;
            ASSERT_TRUE(resp.ParseFromString(res->body));
            ASSERT_EQ(resp.map_tile_array_size(), 1);
            EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(2, 3, 1));
        }
        EXPECT_EQ(postTiles(1, 0, 0), 200) << "the framed route is untouched by the key";
        server.reset();
    }
}
