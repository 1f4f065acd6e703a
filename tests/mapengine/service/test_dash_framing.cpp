#include "DashErrors.h"
#include "DashFraming.h"
#include "dash.pb.h"
#include "maptile.pb.h"

#include <gtest/gtest.h>

using namespace zenloft::wire;

namespace {
std::string bytes(std::initializer_list<int> b)
{
    std::string s;
    for (int v : b)
        s.push_back(static_cast<char>(v));
    return s;
}
}  // namespace

TEST(DashFraming, IntegersAreBigEndian)
{
    DashOutput out;
    out.writeUInt16(0x0102);
    out.writeUInt32(0x03040506);
    out.writeUInt64(0x0708090A0B0C0D0EULL);
    out.writeInt64(-2);
    EXPECT_EQ(out.bytes(), bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 0xFF, 0xFF, 0xFF,
                                  0xFF, 0xFF, 0xFF, 0xFF, 0xFE}));
    DashInput in(out.bytes(), true);
    EXPECT_EQ(in.readUInt16(), 0x0102);
    EXPECT_EQ(in.readUInt32(), 0x03040506u);
    EXPECT_EQ(in.readUInt64(), 0x0708090A0B0C0D0EULL);
    EXPECT_EQ(in.readInt64(), -2);
    EXPECT_TRUE(in.atEnd());
}

TEST(DashFraming, HeaderByteForByte)
{
    DashRequestHeader h;
    h.userCookie = 0x1122334455667788ULL;
    h.language = u"pl";
    h.platform = u"ios:linux";
    h.softwareVersion = u"0.1";
    DashOutput out;
    writeRequestHeader(out, h);
    const std::string expected = bytes({0x00, 0x18, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88})
        + bytes({0, 2}) + "pl" + bytes({0, 9}) + "ios:linux" + bytes({0, 3}) + "0.1"
        + bytes({0, 12}) + "iOS-AppStore";
    EXPECT_EQ(out.bytes(), expected);

    DashInput in(out.bytes(), true);
    EXPECT_EQ(readRequestHeader(in), h);
    EXPECT_TRUE(in.atEnd());
}

TEST(DashFraming, HeaderWithOverlongStringWritesNothing)
{
    DashRequestHeader h;
    h.language = std::u16string(21846, u'\u4E2D');
    DashOutput out;
    EXPECT_THROW(writeRequestHeader(out, h), DashStringTooLongError);
    EXPECT_EQ(out.size(), 0u);
}

TEST(DashFraming, LengthPrefixedMessage)
{
    GMSx_GMMClientPropertiesRequestProto p;
    p.set_cohort("c1");
    p.set_gzip_enabled(true);
    p.mutable_ios_api_app_fingerprint()->set_api_key("k");
    DashOutput out;
    out.writeUInt16(kDashClientPropertiesRequest);
    out.writeMessage(p);
    const std::string serialized = p.SerializeAsString();
    EXPECT_EQ(out.bytes().substr(0, 6),
              bytes({0, 62, 0, 0, 0, static_cast<int>(serialized.size())}));
    EXPECT_EQ(out.bytes().substr(6), serialized);
    DashInput in(out.bytes(), true);
    EXPECT_EQ(in.readUInt16(), 62);
    EXPECT_EQ(in.readLengthPrefixed(), serialized);
}

TEST(DashFraming, ProtoFieldNumbersAreTheProtocols)
{
    // Field 43 (fingerprint) is tag (43 << 3 | 2) = 346 = DA 02; field 23
    // repeated int32 unpacked is tag B8 01.
    GMSx_GMMClientPropertiesRequestProto p;
    p.add_experiment_id_array(5);
    EXPECT_EQ(p.SerializeAsString(), bytes({0xB8, 0x01, 0x05}));
    p.Clear();
    p.mutable_ios_api_app_fingerprint();
    EXPECT_EQ(p.SerializeAsString(), bytes({0xDA, 0x02, 0x00}));

    GMSx_GMMMapTileProto t;
    t.set_tile_type(TILE_TYPE_SATELLITE);
    t.set_tile_index_x(3);
    t.set_tile_index_y(4);
    t.set_zoom_level(5);
    t.mutable_version_id()->set_supports_tile_hash(true);
    EXPECT_EQ(t.SerializeAsString(),
              bytes({0x08, 1, 0x10, 3, 0x18, 4, 0x20, 5, 0xA2, 0x02, 0x02, 0x08, 0x01}));
}

TEST(DashFraming, OpenInputAsksForMoreAndCompleteInputFails)
{
    const std::string two = bytes({0, 24});
    DashInput open(std::string_view(two).substr(0, 1), false);
    EXPECT_THROW(open.readUInt16(), DashNeedMoreData);
    EXPECT_EQ(open.position(), 0u);

    DashInput closed(std::string_view(two).substr(0, 1), true);
    EXPECT_THROW(closed.readUInt16(), DashFramingError);

    // A string whose count runs past the data rewinds to its start while open.
    const std::string s = bytes({0, 5, 'a', 'b'});
    DashInput part(s, false);
    EXPECT_THROW(part.readString(), DashNeedMoreData);
    EXPECT_EQ(part.position(), 0u);
    DashInput lp(bytes({0, 0, 0, 9, 1}), false);
    EXPECT_THROW(lp.readLengthPrefixed(), DashNeedMoreData);
    EXPECT_EQ(lp.position(), 0u);
    // A whole string that isn't modified UTF-8 is a framing error.
    DashInput bad(bytes({0, 1, 0xC3}), true);
    EXPECT_THROW(bad.readString(), DashFramingError);
}

TEST(DashFraming, BodyKinds)
{
    for (auto [id, kind] : {std::pair{15, DashBodyKind::Empty}, {62, DashBodyKind::LengthPrefixed},
                            {75, DashBodyKind::LengthPrefixed}, {108, DashBodyKind::LengthPrefixed},
                            {999, DashBodyKind::Unknown}})
        EXPECT_EQ(requestBodyKind(static_cast<std::uint16_t>(id)), kind) << id;
}
