#include "DashErrors.h"
#include "DashOutput.h"
#include "ModifiedUtf8.h"

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;

namespace {
std::string hex(const std::string& s)
{
    static const char* d = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : s) {
        out += d[c >> 4];
        out += d[c & 15];
        out += ' ';
    }
    if (!out.empty())
        out.pop_back();
    return out;
}
std::string encoded(const std::u16string& s)
{
    std::string out;
    appendModifiedUtf8(out, s);
    EXPECT_EQ(out.size(), modifiedUtf8Length(s));
    return hex(out);
}
}  // namespace

TEST(ModifiedUtf8, EncodesEachWidthNulAndSurrogateHalves)
{
    EXPECT_EQ(encoded(u"A"), "41");
    EXPECT_EQ(encoded(std::u16string(1, u'\0')), "C0 80");
    EXPECT_EQ(encoded(u"\u007F\u0080\u07FF\u0800\uFFFF"), "7F C2 80 DF BF E0 A0 80 EF BF BF");
    EXPECT_EQ(encoded(u"\U0001F600"), "ED A0 BD ED B8 80");  // D83D DE00: three bytes each
}

TEST(ModifiedUtf8, RoundTripsRandomUnits)
{
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        std::u16string s;
        const int n = rng() % 40;
        for (int i = 0; i < n; ++i)
            s.push_back(static_cast<char16_t>(rng() % 0x10000));
        std::string enc;
        appendModifiedUtf8(enc, s);
        EXPECT_EQ(enc.size(), modifiedUtf8Length(s));
        std::u16string back;
        ASSERT_TRUE(decodeModifiedUtf8(enc, back));
        EXPECT_EQ(back, s);
    }
}

TEST(ModifiedUtf8, RejectsMalformedSequences)
{
    std::u16string out;
    for (const char* bad : {"\xC2", "\xE0\x80", "\xF0\x9F\x98\x80", "\x80"})
        EXPECT_FALSE(decodeModifiedUtf8(bad, out)) << hex(bad);
}

TEST(ModifiedUtf8, Utf8ConversionsKeepSupplementaryCharacters)
{
    const std::string utf8 = "Zażółć \xF0\x9F\x98\x80";
    EXPECT_EQ(utf16ToUtf8(utf8ToUtf16(utf8)), utf8);
}

TEST(DashOutputString, LengthPrefixAndLimit)
{
    DashOutput out;
    out.writeString(u"ab");
    EXPECT_EQ(hex(out.bytes()), "00 02 61 62");

    // 65535 bytes exactly still fit.
    DashOutput fits;
    fits.writeString(std::u16string(65535, u'x'));
    EXPECT_EQ(fits.size(), 65537u);

    // 21846 characters at or above U+0800 take 65538 bytes: refused, and the
    // output is left as it was.
    const std::u16string big(21846, u'\u0800');
    EXPECT_EQ(modifiedUtf8Length(big), 65538u);
    DashOutput refused;
    refused.writeUInt16(7);
    EXPECT_THROW(refused.writeString(big), DashStringTooLongError);
    EXPECT_EQ(hex(refused.bytes()), "00 07");
    // One character fewer fits (65535 bytes).
    EXPECT_NO_THROW(refused.writeString(std::u16string(21845, u'\u0800')));
}
