#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "GMSPath.h"
#include "near.h"

namespace {

// Independent reading of the framing: a value ends at every character whose
// code is at most 94 ('^'); the text is whole when it ends on such a
// character and holds an even number of values.
std::optional<std::size_t> expectedPairs(std::string_view s) {
    std::size_t values = 0;
    for (unsigned char c : s)
        values += c <= 94 ? 1 : 0;
    if (s.empty())
        return 0;
    if (static_cast<unsigned char>(s.back()) > 94 || values % 2 != 0)
        return std::nullopt;
    return values / 2;
}

} // namespace

TEST(EncodedPathTest, PublicSampleValuesRoundingAndOddNumbers) {
    const std::string sample = "_p~iF~ps|U_ulLnnqC_mqNvxq`@";
    EXPECT_EQ((GMSPath{{38.5, -120.2}, {40.7, -120.95}, {43.252, -126.453}}.encodedPath()), sample);
    // The running sums are scaled by 1e-5 (a product, not a division); the
    // receiver's class decides the result's.
    std::optional<GMSMutablePath> back = GMSMutablePath::pathFromEncodedPath(sample);
    ASSERT_TRUE(back);
    EXPECT_EQ(back->coordinateAtIndex(0).latitude, 3850000.0 * 1e-5);
    back->addLatitude(1, 1);
    EXPECT_EQ(back->count(), 4u);

    for (auto [value, text] : {std::pair{-17998321, "`~oia@"}, {0, "?"}, {-1, "@"}, {1, "A"}, {INT32_MIN, "~~~~~~B"},
                               {INT32_MAX, "}~~~~~B"}})
        EXPECT_EQ(GMSPath::polylineEncodedSigned(value), text) << value;
    for (auto [value, text] : {std::pair{0u, "?"}, {31u, "^"}, {32u, "_@"}, {UINT32_MAX, "~~~~~~B"}})
        EXPECT_EQ(GMSPath::polylineEncodedUnsigned(value), text) << value;

    // Halves go away from zero.
    EXPECT_EQ((GMSPath{{0.000005, -0.000005}}.encodedPath()), "A@");
    EXPECT_EQ((GMSPath{{0.000015, -0.000015}}.encodedPath()),
              GMSPath::polylineEncodedSigned(2) + GMSPath::polylineEncodedSigned(-2));
    // Out of range saturates, NaN reads 0; the text stays readable.
    const auto odd = GMSPath::pathFromEncodedPath(GMSPath{{std::nan(""), 1e10}, {-1e10, 0}}.encodedPath());
    ASSERT_TRUE(odd);
    ASSERT_EQ(odd->count(), 2u);
    EXPECT_TRUE(near(odd->coordinateAtIndex(0), {0, 21474.83647}, 1e-9));
    EXPECT_TRUE(near(odd->coordinateAtIndex(1), {-21474.83648, 0}, 1e-9));
}

TEST(EncodedPathTest, RandomPathsRoundTripAndRandomBytesNeverBreakTheReader) {
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> lat(-90, 90), lng(-180, 180);
    for (int round = 0; round < 200; ++round) {
        GMSMutablePath p;
        const int n = int(rng() % 50);
        for (int i = 0; i < n; ++i)
            p.addLatitude(lat(rng), lng(rng));
        const std::string text = p.encodedPath();
        auto back = GMSPath::pathFromEncodedPath(text);
        ASSERT_TRUE(back);
        ASSERT_EQ(back->count(), p.count());
        for (std::size_t i = 0; i < p.count(); ++i)
            EXPECT_TRUE(near(back->coordinateAtIndex(i), p.coordinateAtIndex(i), 0.5e-5 + 1e-9));
        EXPECT_EQ(back->encodedPath(), text);
    }

    // Random text against an independent reading of the framing: a text that
    // ends inside a value or holds a latitude without its longitude is absent.
    for (int round = 0; round < 20000; ++round) {
        std::string s(rng() % 40, '\0');
        const bool printable = round % 2 == 0;
        for (char& c : s)
            c = printable ? char(63 + rng() % 64) : char(rng() % 256);
        auto p = GMSPath::pathFromEncodedPath(s);
        const auto pairs = expectedPairs(s);
        ASSERT_EQ(bool(p), bool(pairs)) << s;
        if (p) {
            ASSERT_EQ(p->count(), *pairs);
            for (const auto& c : p->coordinates())
                ASSERT_TRUE(std::isfinite(c.latitude) && std::isfinite(c.longitude));
        }
    }
}
