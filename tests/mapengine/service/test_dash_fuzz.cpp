#include "DashErrors.h"
#include "DashFraming.h"

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;

namespace {
std::string validBody()
{
    DashRequestHeader h;
    h.userCookie = 42;
    h.language = u"en";
    h.platform = u"ios:zenloft";
    h.softwareVersion = u"1.0";
    DashOutput out;
    writeRequestHeader(out, h);
    out.writeUInt16(kDashUserCookieRequest);
    out.writeUInt16(kDashMapTileRequest);
    out.writeLengthPrefixed("abc");
    return out.take();
}

// Reads what a body holds the way a receiver does; any outcome but a crash
// or an exception other than the framing's is acceptable.
void readAll(std::string_view body, bool complete)
{
    DashInput in(body, complete);
    readRequestHeader(in);
    for (int guard = 0; guard < 1000 && !in.atEnd(); ++guard) {
        const auto id = in.readUInt16();
        if (requestBodyKind(id) == DashBodyKind::LengthPrefixed)
            in.readLengthPrefixed();
        else if (requestBodyKind(id) == DashBodyKind::Unknown)
            throw DashFramingError("unknown id");
    }
}
}  // namespace

TEST(DashFuzz, EveryTruncationIsAFramingErrorOrNeedsMore)
{
    const std::string body = validBody();
    ASSERT_NO_THROW(readAll(body, true));
    // Cuts that fall between requests still make a valid (shorter) body.
    const std::size_t header = body.size() - 2 - 2 - 4 - 3;
    for (std::size_t n = 0; n < body.size(); ++n) {
        const std::string_view cut(body.data(), n);
        if (n == header || n == header + 2)
            EXPECT_NO_THROW(readAll(cut, true)) << n;
        else
            EXPECT_THROW(readAll(cut, true), DashFramingError) << n;
        EXPECT_THROW(readAll(cut, false), DashNeedMoreData) << n;
    }
}

TEST(DashFuzz, RandomAndMutatedBodiesNeverEscapeTheFramingErrors)
{
    std::mt19937 rng(20261122);
    const std::string body = validBody();
    for (int round = 0; round < 5000; ++round) {
        std::string b;
        if (round % 2) {
            b = body;
            const int flips = 1 + rng() % 4;
            for (int i = 0; i < flips; ++i)
                b[rng() % b.size()] = static_cast<char>(rng());
            b.resize(rng() % (b.size() + 1));
        } else {
            b.resize(rng() % 64);
            for (char& c : b)
                c = static_cast<char>(rng());
        }
        try {
            readAll(b, true);
        } catch (const DashFramingError&) {
        }
    }
}
