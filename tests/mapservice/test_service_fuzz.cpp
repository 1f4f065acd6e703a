#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
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

// Counts the answers of each kind; anything but 200 or the framing's 400 fails.
struct Tally {
    int ok = 0, refused = 0;
    void count(const DashAnswer& a)
    {
        ASSERT_TRUE(a.httpStatus == 200 || a.httpStatus == 400) << a.httpStatus;
        (a.httpStatus == 200 ? ok : refused)++;
    }
    ~Tally()
    {
        EXPECT_GT(ok, 0);
        EXPECT_GT(refused, 0);
    }
};

}  // namespace

// The service's request reader against cut, mutated and random bodies: it
// must answer each with 200 or the framing's 400, never crash or hang.
TEST(ServiceFuzz, TruncatedMutatedAndRandomBodies)
{
    zltest::MbtilesFixture tiles;
    const auto handler = tiles.handler();
    const std::string body = zltest::framedTileBody("k", zltest::tileRequest({{2, 0, 1}, {2, 1, 1}, {2, 2, 1}, {2, 3, 1}}));

    Tally tally;
    const auto check = [&](const std::string& b) { tally.count(handler->handle(b)); };
    // A third of the random bodies start with the right protocol version.
    feedBodies(body, 1234, 3000, [](int round, std::string& r) {
        if (r.size() >= 2 && round % 3 == 0) {
            r[0] = 0;
            r[1] = 24;
        }
    }, check);
}

// Paint bodies, signed so that they reach the tile reader: 200 or 400, never
// anything else; unsigned ones never get past the signature.
TEST(ServiceFuzz, PaintBodies)
{
    zltest::MbtilesFixture tiles;
    const PaintRequestHandler handler("k", tiles.handler());
    auto req = zltest::tileRequest({{2, 0, 1}, {2, 1, 1}, {2, 2, 1}, {2, 3, 1}}, 512);
    req.add_paint_description_array()->set_tile_type(TILE_TYPE_SATELLITE);
    const std::string body = req.SerializeAsString();

    Tally tally;
    const auto check = [&](const std::string& b) {
        const std::string sig = paintSignature("k", b);
        tally.count(handler.handle(b, &sig));
        ASSERT_EQ(handler.handle(b, nullptr).httpStatus, 403);
    };
    feedBodies(body, 4321, 2000, {}, check);
}
