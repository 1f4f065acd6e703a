#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
#include "Mbtiles.h"
#include "PaintRequestHandler.h"
#include "PaintSignature.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {

// Every cut of the body, then rounds of the body with a few bytes flipped and
// of random bytes (`shape` may dress a random body up to get further in).
void feedBodies(const std::string& body, unsigned seed, int rounds,
                const std::function<void(int round, std::string&)>& shape,
                const std::function<void(const std::string&)>& check)
{
    for (std::size_t n = 0; n <= body.size(); ++n)
        check(body.substr(0, n));
    std::mt19937 rng(seed);
    for (int round = 0; round < rounds; ++round) {
        std::string b = body;
        const int flips = 1 + rng() % 6;
        for (int i = 0; i < flips; ++i)
            b[rng() % b.size()] = static_cast<char>(rng());
        check(b);
        std::string r(rng() % 200, '\0');
        for (char& c : r)
            c = static_cast<char>(rng());
        if (shape)
            shape(round, r);
        check(r);
    }
}

}  // namespace

// The service's request reader against cut, mutated and random bodies: it
// must answer each with 200 or the framing's 400, never crash or hang.
TEST(ServiceFuzz, TruncatedMutatedAndRandomBodies)
{
    zltest::MbtilesFixture tiles;
    ServiceConfig config;
    std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
    stores[TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(tiles.path());
    const DashRequestHandler handler(config, stores);

    GMSx_GMMMapTileRequestProto req;
    for (int i = 0; i < 4; ++i)
        *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, i, 1);
    const std::string body = zltest::framedTileBody("k", req);

    int ok = 0;
    int refused = 0;
    const auto check = [&](const std::string& b) {
        const DashAnswer a = handler.handle(b);
        ASSERT_TRUE(a.httpStatus == 200 || a.httpStatus == 400) << a.httpStatus;
        (a.httpStatus == 200 ? ok : refused)++;
    };
    // A third of the random bodies start with the right protocol version.
    feedBodies(body, 1234, 3000, [](int round, std::string& r) {
        if (r.size() >= 2 && round % 3 == 0) {
            r[0] = 0;
            r[1] = 24;
        }
    }, check);
    EXPECT_GT(ok, 0);
    EXPECT_GT(refused, 0);
}

// Paint bodies, signed so that they reach the tile reader: 200 or 400, never
// anything else; unsigned ones never get past the signature.
TEST(ServiceFuzz, PaintBodies)
{
    zltest::MbtilesFixture tiles;
    ServiceConfig config;
    std::map<int, std::shared_ptr<zl::MbtilesReader>> stores;
    stores[TILE_TYPE_SATELLITE] = std::make_shared<zl::MbtilesReader>(tiles.path());
    const PaintRequestHandler handler("k", std::make_shared<DashRequestHandler>(config, stores));

    GMSx_GMMMapTileRequestProto req;
    req.mutable_header()->set_tile_size(512);
    req.add_paint_description_array()->set_tile_type(TILE_TYPE_SATELLITE);
    for (int i = 0; i < 4; ++i)
        *req.add_map_tile_array() = zltest::tileProto(TILE_TYPE_SATELLITE, 2, i, 1);
    const std::string body = req.SerializeAsString();

    int ok = 0;
    int refused = 0;
    const auto check = [&](const std::string& b) {
        const std::string sig = paintSignature("k", b);
        const DashAnswer a = handler.handle(b, &sig);
        ASSERT_TRUE(a.httpStatus == 200 || a.httpStatus == 400) << a.httpStatus;
        (a.httpStatus == 200 ? ok : refused)++;
        const DashAnswer u = handler.handle(b, nullptr);
        ASSERT_EQ(u.httpStatus, 403);
    };
    feedBodies(body, 4321, 2000, {}, check);
    EXPECT_GT(ok, 0);
    EXPECT_GT(refused, 0);
}
