#include "MapServiceServer.h"
#include "MbtilesFixture.h"
#include "PaintSignature.h"
#include "testsupport.h"

#include <httplib.h>

#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

// What HTTP adds to the handlers: routes, content types, the size limit, the
// paint signature header, and style tables as plain files; the server keeps
// serving after each refusal, and to several clients at once.
TEST(ServiceHttp, RoutesStatusesBodiesAndConcurrentClients)
{
    zltest::MbtilesFixture tiles;
    QTemporaryDir styles;
    ASSERT_FALSE(zltest::writeFile(styles.filePath("table-1.bin"), "style bytes").isEmpty());
    ServiceConfig config;
    config.port = 0;
    config.threads = 2;
    config.quiet = true;
    config.maxBodyBytes = 4096;
    config.apiKeys = {"key"};
    config.tilesByType[TILE_TYPE_SATELLITE] = tiles.path();
    config.styleDir = styles.path().toStdString();
    config.paintSigningKey = "paint-key";
    MapServiceServer server(config);
    std::string error;
    ASSERT_TRUE(server.start(error)) << error;
    ASSERT_GT(server.port(), 0);
    const auto client = [&server] {
        httplib::Client c("127.0.0.1", server.port());
        c.set_read_timeout(10, 0);
        return c;
    };

    EXPECT_EQ(server.endpointUrl(), "http://127.0.0.1:" + std::to_string(server.port()) + "/glm/mmap");
    const std::string tiles000 = zltest::framedTileBody("key", zltest::tileRequest({{0, 0, 0}}), false);
    const std::string paint = zltest::tileRequest({{2, 3, 1}}).SerializeAsString();
    const struct {
        const char *path, *contentType;
        std::string body;  // empty: GET
        int status;
        std::string answerPart, signature = {};
    } cases[] = {
        {"/glm/mmap", "application/binary", tiles000, 200, tiles.tile(0, 0, 0)},
        {"/glm/mmap", "text/plain", std::string("\x00\x17garbage", 9), 400, "malformed body"},
        {"/glm/mmap", nullptr, std::string(5000, 'x'), 413, ""},
        {"/glm/paint", "application/x-protobuf", paint, 200, tiles.tile(2, 3, 1), paintSignature("paint-key", paint)},
        {"/glm/paint", nullptr, paint, 403, "missing signature"},
        {"/glm/paint", nullptr, std::string(5000, 'x'), 413, ""},
        {"/styles/table-1.bin", nullptr, "", 200, "style bytes"},
        {"/styles/missing.bin", nullptr, "", 404, ""},
        {"/styles/../test.mbtiles", nullptr, "", 404, ""},
        {"/glm/mmap", nullptr, "", 404, ""},
        {"/glm/mmap", nullptr, tiles000, 200, tiles.tile(0, 0, 0)},
    };
    auto c = client();
    for (const auto& k : cases) {
        SCOPED_TRACE(std::string(k.path) + " " + std::to_string(k.status));
        httplib::Headers headers;
        if (!k.signature.empty())
            headers.emplace("X-Paint-Signature", k.signature);
        const auto res = k.body.empty() ? c.Get(k.path) : c.Post(k.path, headers, k.body, "application/binary");
        ASSERT_TRUE(res);
        EXPECT_EQ(res->status, k.status);
        EXPECT_NE(res->body.find(k.answerPart), std::string::npos);
        if (k.contentType) {
            EXPECT_EQ(res->get_header_value("Content-Type"), k.contentType);
        }
    }

    // Four clients at once, ten bodies of fifty tiles each.
    GMSx_GMMMapTileRequestProto req;
    for (int i = 0; i < 50; ++i)
        *req.add_map_tile_array() = zltest::tileRequest({{2, 3, 1}}).map_tile_array(0);
    const std::string body = zltest::framedTileBody("key", req, false);
    std::vector<std::thread> threads;
    std::atomic<int> good{0};
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&] {
            auto c = client();
            for (int i = 0; i < 10; ++i) {
                const auto res = c.Post("/glm/mmap", body, "application/binary");
                good += res && res->status == 200 && res->body.size() > 50 * tiles.tile(2, 3, 1).size();
            }
        });
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(good.load(), 40);

    // A store that can't be opened is named before anything is served.
    config.tilesByType[TILE_TYPE_SATELLITE] = "/nonexistent/x.mbtiles";
    EXPECT_FALSE(MapServiceServer(config).prepare(error));
    EXPECT_NE(error.find("/nonexistent/x.mbtiles"), std::string::npos) << error;
}
