#include "DashErrors.h"
#include "DashFraming.h"
#include "DashRequestHandler.h"
#include "MbtilesFixture.h"
#include "PaintRequestHandler.h"
#include "PaintSignature.h"

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;
using namespace zenloft::mapservice;

namespace {
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

// The service's two body readers against every cut of a good body (a framed
// one read as still open must ask for more at every cut), then
// bodies with a few bytes flipped and random bodies (a third of the framed
// ones opening with the right protocol version): each gets 200 or 400, never
// a crash, a hang or another status. Paint bodies are signed so that they
// reach the tile reader; unsigned ones never get past the signature.
TEST(ServiceFuzz, CutMutatedAndRandomBodies)
{
    zltest::MbtilesFixture tiles;
    const auto dash = tiles.handler();
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
