#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "GMSPath.h"

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

TEST(EncodedPathTest, PublicSample) {
    GMSPath p{{38.5, -120.2}, {40.7, -120.95}, {43.252, -126.453}};
    EXPECT_EQ(p.encodedPath(), "_p~iF~ps|U_ulLnnqC_mqNvxq`@");

    auto back = GMSPath::pathFromEncodedPath("_p~iF~ps|U_ulLnnqC_mqNvxq`@");
    ASSERT_TRUE(back);
    ASSERT_EQ(back->count(), 3u);
    for (std::size_t i = 0; i < 3; ++i) {
        EXPECT_NEAR(back->coordinateAtIndex(i).latitude, p.coordinateAtIndex(i).latitude, 1e-12);
        EXPECT_NEAR(back->coordinateAtIndex(i).longitude, p.coordinateAtIndex(i).longitude, 1e-12);
    }
    // The running sums are scaled by 1e-5 (a product, not a division).
    EXPECT_EQ(back->coordinateAtIndex(0).latitude, 3850000.0 * 1e-5);
}

TEST(EncodedPathTest, SignedAndUnsignedValues) {
    EXPECT_EQ(GMSPath::polylineEncodedSigned(-17998321), "`~oia@");
    EXPECT_EQ(GMSPath::polylineEncodedSigned(0), "?");
    EXPECT_EQ(GMSPath::polylineEncodedSigned(-1), "@");
    EXPECT_EQ(GMSPath::polylineEncodedSigned(1), "A");
    EXPECT_EQ(GMSPath::polylineEncodedUnsigned(0), "?");
    EXPECT_EQ(GMSPath::polylineEncodedUnsigned(31), "^");
    EXPECT_EQ(GMSPath::polylineEncodedUnsigned(32), "_@");
    EXPECT_EQ(GMSPath::polylineEncodedUnsigned(UINT32_MAX), "~~~~~~B");
    EXPECT_EQ(GMSPath::polylineEncodedSigned(INT32_MIN), "~~~~~~B");
    EXPECT_EQ(GMSPath::polylineEncodedSigned(INT32_MAX), "}~~~~~B");
}

TEST(EncodedPathTest, RoundingAndOddNumbers) {
    // Halves go away from zero.
    EXPECT_EQ((GMSPath{{0.000005, -0.000005}}.encodedPath()), "A@");
    EXPECT_EQ((GMSPath{{0.000015, -0.000015}}.encodedPath()),
              GMSPath::polylineEncodedSigned(2) + GMSPath::polylineEncodedSigned(-2));
    // Out of range saturates, NaN reads 0; the text stays readable.
    const std::string odd = GMSPath{{std::nan(""), 1e10}, {-1e10, 0}}.encodedPath();
    auto back = GMSPath::pathFromEncodedPath(odd);
    ASSERT_TRUE(back);
    ASSERT_EQ(back->count(), 2u);
    EXPECT_EQ(back->coordinateAtIndex(0).latitude, 0.0);
    EXPECT_NEAR(back->coordinateAtIndex(0).longitude, 21474.83647, 1e-9);
    EXPECT_NEAR(back->coordinateAtIndex(1).latitude, -21474.83648, 1e-9);
}

TEST(EncodedPathTest, IncompleteTextIsAbsent) {
    auto empty = GMSPath::pathFromEncodedPath("");
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->count(), 0u);
    // Every prefix of a valid text is either whole pairs or absent: a
    // latitude without its longitude, or a text that ends inside a value.
    const std::string full = "_p~iF~ps|U_ulLnnqC_mqNvxq`@";
    for (std::size_t n = 0; n <= full.size(); ++n) {
        const std::string_view prefix(full.data(), n);
        auto p = GMSPath::pathFromEncodedPath(prefix);
        const bool whole = n == 0 || n == 10 || n == 18 || n == full.size();
        EXPECT_EQ(bool(p), whole) << n;
    }
}

TEST(EncodedPathTest, ReceiverClassDecidesTheResult) {
    std::optional<GMSMutablePath> m = GMSMutablePath::pathFromEncodedPath("??");
    ASSERT_TRUE(m);
    m->addLatitude(1, 1);
    EXPECT_EQ(m->count(), 2u);
}

TEST(EncodedPathTest, RandomPathsRoundTrip) {
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
        for (std::size_t i = 0; i < p.count(); ++i) {
            EXPECT_NEAR(back->coordinateAtIndex(i).latitude, p.coordinateAtIndex(i).latitude, 0.5e-5 + 1e-9);
            EXPECT_NEAR(back->coordinateAtIndex(i).longitude, p.coordinateAtIndex(i).longitude, 0.5e-5 + 1e-9);
        }
        EXPECT_EQ(back->encodedPath(), text);
    }
}

TEST(EncodedPathTest, RandomBytesNeverBreakTheReader) {
    std::mt19937 rng(7);
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
