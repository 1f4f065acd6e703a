#include "MapServiceServer.h"
#include "MbtilesFixture.h"
#include "PaintSignature.h"

#include <httplib.h>

#include <QDir>
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
        server = std::make_unique<MapServiceServer>(config);
        std::string error;
        ASSERT_TRUE(server->start(error)) << error;
        ASSERT_GT(server->port(), 0);
    }
    void TearDown() override { server.reset(); }

    httplib::Client client() const
    {
        httplib::Client c("127.0.0.1", server->port());
        c.set_read_timeout(10, 0);
        return c;
    }

    zltest::MbtilesFixture tiles;
    QTemporaryDir styles;
    ServiceConfig config;
    std::unique_ptr<MapServiceServer> server;
};

}  // namespace

TEST_F(ServiceHttpTest, PostReturnsTheFramedTiles)
{
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 0, 0, 0);
    auto c = client();
    const auto res = c.Post("/glm/mmap", zltest::framedTileBody("key", req, false), "application/binary");
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
    auto c = client();
    auto res = c.Post("/glm/mmap", std::string("\x00\x17garbage", 9), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
    EXPECT_NE(res->body.find("malformed body"), std::string::npos);

    res = c.Post("/glm/mmap", std::string(5000, 'x'), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 413);

    // The server keeps serving after both.
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 1, 0, 0);
    res = client().Post("/glm/mmap", zltest::framedTileBody("key", req), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
}

TEST_F(ServiceHttpTest, StyleTablesArePlainFiles)
{
    auto c = client();
    auto res = c.Get("/styles/table-1.bin");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->body, "style bytes");
    res = c.Get("/styles/missing.bin");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
    res = c.Get("/styles/../test.mbtiles");
    ASSERT_TRUE(res);
    EXPECT_NE(res->status, 200);
    res = c.Get("/glm/mmap");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
}

TEST_F(ServiceHttpTest, ConcurrentClientsAllGetTheirTiles)
{
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

namespace {

// POSTs a paint request; signature null sends no signature header.
httplib::Result postPaint(httplib::Client& c, const std::string& body, const std::string* signature)
{
    httplib::Headers headers;
    if (signature)
        headers.emplace("X-Paint-Signature", *signature);
    return c.Post("/glm/paint", headers, body, "application/x-protobuf");
}

std::string paintBody(int z, int x, int y)
{
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, z, x, y);
    return req.SerializeAsString();
}

}  // namespace

TEST_F(ServiceHttpTest, PaintRouteIsNotOfferedWithoutAKey)
{
    auto c = client();
    const std::string body = paintBody(0, 0, 0);
    const std::string sig = paintSignature("", body);
    auto res = postPaint(c, body, &sig);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
    res = postPaint(c, body, nullptr);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 404);
}

TEST(ServiceHttpPaint, SignedTilesRefusalsAndLimits)
{
    zltest::MbtilesFixture tiles;
    ServiceConfig config;
    config.port = 0;
    config.threads = 2;
    config.quiet = true;
    config.maxBodyBytes = 4096;
    config.apiKeys = {"key"};
    config.paintSigningKey = "paint-key";
    config.tilesByType[TILE_TYPE_SATELLITE] = tiles.path();
    MapServiceServer server(config);
    std::string error;
    ASSERT_TRUE(server.start(error)) << error;
    httplib::Client c("127.0.0.1", server.port());
    c.set_read_timeout(10, 0);

    const std::string body = paintBody(2, 3, 1);
    const std::string sig = paintSignature("paint-key", body);
    auto res = postPaint(c, body, &sig);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    EXPECT_EQ(res->get_header_value("Content-Type"), "application/x-protobuf");
    GMSx_GMMMapTileResponseProto resp;
    ASSERT_TRUE(resp.ParseFromString(res->body));
    ASSERT_EQ(resp.map_tile_array_size(), 1);
    EXPECT_TRUE(resp.map_tile_array(0).tile_data() == tiles.tile(2, 3, 1));

    res = postPaint(c, body, nullptr);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 403);
    const std::string wrong = paintSignature("guess", body);
    res = postPaint(c, body, &wrong);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 403);
    const std::string garbage("\xff\xff\xff\xff garbage", 12);
    const std::string garbageSig = paintSignature("paint-key", garbage);
    res = postPaint(c, garbage, &garbageSig);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 400);
    const std::string big(5000, 'x');
    const std::string bigSig = paintSignature("paint-key", big);
    res = postPaint(c, big, &bigSig);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 413);

    // The framed route is untouched by the key, and the service still serves.
    GMSx_GMMMapTileRequestProto req;
    *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 1, 0, 0);
    res = c.Post("/glm/mmap", zltest::framedTileBody("key", req), "application/binary");
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
    res = postPaint(c, body, &sig);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 200);
}
