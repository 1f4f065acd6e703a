// The wire's byte formats: integers, strings in modified UTF-8, the request
// header, length-prefixed messages, and reading input that is still open.
#include "DashErrors.h"
#include "DashFraming.h"
#include "DashOutput.h"
#include "ModifiedUtf8.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <random>

using namespace zenloft::wire;
using namespace std::literals;

namespace {
std::string hex(const std::string& s)
{
    return QByteArray::fromStdString(s).toHex(' ').toUpper().toStdString();
}

std::string encoded(const std::u16string& s)
{
    std::string out;
    appendModifiedUtf8(out, s);
    EXPECT_EQ(out.size(), modifiedUtf8Length(s));
    return hex(out);
}
}  // namespace

TEST(DashFraming, IntegersAreBigEndianAndBlocksCarryTheirLength)
{
    DashOutput out;
    out.writeUInt16(0x0102);
    out.writeUInt32(0x03040506);
    out.writeUInt64(0x0708090A0B0C0D0EULL);
    out.writeInt64(-2);
    GMSx_GMMClientPropertiesRequestProto p;
    p.set_cohort("c");
    out.writeMessage(p);
    EXPECT_EQ(hex(out.bytes()), "01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E FF FF FF FF FF FF FF FE 00 00 00 03 "
                                + hex(p.SerializeAsString()));
    DashInput in(out.bytes(), true);
    EXPECT_EQ(in.readUInt16(), 0x0102);
    EXPECT_EQ(in.readUInt32(), 0x03040506u);
    EXPECT_EQ(in.readUInt64(), 0x0708090A0B0C0D0EULL);
    EXPECT_EQ(in.readInt64(), -2);
    EXPECT_EQ(in.readLengthPrefixed(), p.SerializeAsString());
    EXPECT_TRUE(in.atEnd());
}

TEST(DashFraming, HeaderByteForByteOrNotAtAllAndFieldNumbersAreTheProtocols)
{
    DashRequestHeader h{kDashProtocolVersion, 0x1122334455667788ULL, u"pl", u"ios:linux", u"0.1"};
    DashOutput out;
    writeRequestHeader(out, h);
    EXPECT_EQ(out.bytes(), "\x00\x18\x11\x22\x33\x44\x55\x66\x77\x88\x00\x02pl\x00\x09ios:linux\x00\x03"
                           "0.1\x00\x0CiOS-AppStore"s);
    DashInput in(out.bytes(), true);
    EXPECT_EQ(readRequestHeader(in), h);
    EXPECT_TRUE(in.atEnd());

    // A string too long for its 16-bit count (21846 characters at or above
    // U+0800 take 65538 bytes; one fewer fits): nothing of the header, and
    // nothing of the string, is written.
    h.language = std::u16string(21846, u'\u0800');
    EXPECT_EQ(modifiedUtf8Length(h.language), 65538u);
    DashOutput refused;
    EXPECT_THROW(writeRequestHeader(refused, h), DashStringTooLongError);
    EXPECT_EQ(refused.size(), 0u);
    refused.writeUInt16(7);
    EXPECT_THROW(refused.writeString(h.language), DashStringTooLongError);
    EXPECT_EQ(hex(refused.bytes()), "00 07");
    EXPECT_NO_THROW(refused.writeString(std::u16string(21845, u'\u0800')));

    // Field 43 (fingerprint) is tag (43 << 3 | 2) = 346 = DA 02; field 23
    // repeated int32 unpacked is tag B8 01.
    GMSx_GMMClientPropertiesRequestProto p;
    p.add_experiment_id_array(5);
    EXPECT_EQ(p.SerializeAsString(), "\xB8\x01\x05");
    p.Clear();
    p.mutable_ios_api_app_fingerprint();
    EXPECT_EQ(p.SerializeAsString(), "\xDA\x02\x00"s);

    GMSx_GMMMapTileProto t;
    t.set_tile_type(TILE_TYPE_SATELLITE);
    t.set_tile_index_x(3);
    t.set_tile_index_y(4);
    t.set_zoom_level(5);
    t.mutable_version_id()->set_supports_tile_hash(true);
    EXPECT_EQ(t.SerializeAsString(), "\x08\x01\x10\x03\x18\x04\x20\x05\xA2\x02\x02\x08\x01");
}

TEST(DashFraming, OpenInputAsksForMoreAndCompleteInputFails)
{
    DashInput open("\x00"sv, false);
    EXPECT_THROW(open.readUInt16(), DashNeedMoreData);
    EXPECT_EQ(open.position(), 0u);
    DashInput closed("\x00"sv, true);
    EXPECT_THROW(closed.readUInt16(), DashFramingError);

    // A string whose count runs past the data rewinds to its start while open.
    DashInput part("\x00\x05\x61\x62"sv, false);  // count 5, then "ab"
    EXPECT_THROW(part.readString(), DashNeedMoreData);
    EXPECT_EQ(part.position(), 0u);
    DashInput lp("\x00\x00\x00\x09\x01"sv, false);
    EXPECT_THROW(lp.readLengthPrefixed(), DashNeedMoreData);
    EXPECT_EQ(lp.position(), 0u);
    // A whole string that isn't modified UTF-8 is a framing error.
    DashInput bad("\x00\x01\xC3"sv, true);
    EXPECT_THROW(bad.readString(), DashFramingError);

    // How a reader steps over each request's body.
    for (auto [id, kind] : {std::pair{15, DashBodyKind::Empty}, {62, DashBodyKind::LengthPrefixed},
                            {75, DashBodyKind::LengthPrefixed}, {108, DashBodyKind::LengthPrefixed},
                            {999, DashBodyKind::Unknown}})
        EXPECT_EQ(requestBodyKind(static_cast<std::uint16_t>(id)), kind) << id;
}

TEST(ModifiedUtf8, EncodesEachWidthNulAndSurrogateHalvesAndRejectsMalformedSequences)
{
    EXPECT_EQ(encoded(u"A"), "41");
    EXPECT_EQ(encoded(std::u16string(1, u'\0')), "C0 80");
    EXPECT_EQ(encoded(u"\u007F\u0080\u07FF\u0800\uFFFF"), "7F C2 80 DF BF E0 A0 80 EF BF BF");
    EXPECT_EQ(encoded(u"\U0001F600"), "ED A0 BD ED B8 80");  // D83D DE00: three bytes each
    std::u16string out;
    for (const char* bad : {"\xC2", "\xE0\x80", "\xF0\x9F\x98\x80", "\x80"})
        EXPECT_FALSE(decodeModifiedUtf8(bad, out)) << hex(bad);
    // Plain UTF-8 keeps supplementary characters whole.
    const std::string utf8 = "Zażółć \xF0\x9F\x98\x80";
    EXPECT_EQ(utf16ToUtf8(utf8ToUtf16(utf8)), utf8);
    // Any run of units, lone surrogate halves included, comes back as it went.
    std::mt19937 rng(7);
    for (int round = 0; round < 200; ++round) {
        std::u16string s(rng() % 40, u'\0');
        for (char16_t& c : s)
            c = static_cast<char16_t>(rng() % 0x10000);
        std::string enc;
        appendModifiedUtf8(enc, s);
        EXPECT_EQ(enc.size(), modifiedUtf8Length(s));
        ASSERT_TRUE(decodeModifiedUtf8(enc, out));
        EXPECT_EQ(out, s);
    }
}
