#include "ConnectionTestSupport.h"
#include "GMSDASHClientIdentity.h"
#include "GMSDASHQuotaEventRequest.h"
#include "GMSUserDefaults.h"
#include "GMSXGeoHeaderEncoder.h"

#include "testsupport.h"

#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>

#include <gtest/gtest.h>

using namespace zenloft::wire;

TEST(CookieRecord, LayoutAndHmac)
{
    const QByteArray r = GMSDASHCookieRecord::encode(0x1122334455667788ULL, 12.5);
    ASSERT_EQ(r.size(), 48);
    // Eight unused bytes, the time as a little-endian double, the cookie.
    EXPECT_EQ(r.left(24).toHex(' '), "00 00 00 00 00 00 00 00 00 00 00 00 00 00 29 40 88 77 66 55 44 33 22 11");
    EXPECT_EQ(r.mid(44, 4), QByteArray(4, '\0'));
    EXPECT_EQ(GMSDASHCookieRecord::decode(r), 0x1122334455667788ULL);
    EXPECT_EQ(GMSDASHCookieRecord::hmacKey().size(), 64);

    // The unused bytes are outside the HMAC; everything else is inside.
    for (auto [at, decodes] : {std::pair{5, true}, {46, true}, {8, false}, {16, false}, {23, false}, {24, false},
                               {43, false}}) {
        QByteArray flipped = r;
        flipped[at] = static_cast<char>(flipped[at] ^ 1);
        EXPECT_EQ(GMSDASHCookieRecord::decode(flipped).has_value(), decodes) << at;
    }
    EXPECT_FALSE(GMSDASHCookieRecord::decode(r.left(47)).has_value());
    EXPECT_FALSE(GMSDASHCookieRecord::decode(QByteArray()).has_value());
}

// The properties answer updates the identity, which lives under its keys in
// the settings file; a tampered cookie record counts as no cookie.
TEST(ClientState, PropertiesAnswerUpdatesTheIdentityKeysInTheSettingsFile)
{
    QTemporaryDir dir;
    const QString ini = dir.filePath("settings.ini");
    {
        GMSSettingsUserDefaults defaults(ini);
        auto state = std::make_shared<GMSDASHClientState>(&defaults);
        EXPECT_EQ(state->userCookie(), 0u);
        GMSDASHClientDescription d;
        d.wantsZwiebackCookie = true;
        const auto conn = zltest::connection("http://127.0.0.1:1/glm/mmap", d, state);
        EXPECT_TRUE(conn->isWaitingForCookies());
        QSignalSpy legal(conn.get(), &GMSDASHConnection::kLegalCountryChangedNotification);
        GMSx_GMMClientPropertiesResponseProto r;
        r.set_new_cohort("c1");
        r.set_new_legal_country("PL");
        r.set_new_zwieback_nid_cookie("zw");
        conn->updateFromGMMClientPropertiesResponseProto(r, false, false);
        conn->storeUserCookie(99);
        EXPECT_EQ(std::pair(conn->legalCountry(), conn->isWaitingForCookies()), std::pair(QString("PL"), false));
        conn->updateFromGMMClientPropertiesResponseProto(r, false, false);
        EXPECT_EQ(legal.count(), 1);  // unchanged country: no second notification
        state->setShortbreadToken("tok");
        // Skipping user state leaves cohort and cookie alone.
        GMSx_GMMClientPropertiesResponseProto other;
        other.set_new_cohort("ignored");
        conn->updateFromGMMClientPropertiesResponseProto(other, true, true);
    }
    QSettings raw(ini, QSettings::IniFormat);
    EXPECT_EQ((QStringList{QString::number(raw.value("GMSMapsUserCookie").toByteArray().size()),
                           raw.value("GMSMapsUserClientCohort").toString(),
                           raw.value("kGMSMapsUserClientLegalCountry").toString(),
                           raw.value("GMSMapsUserClientZwiebackCookie").toString(),
                           raw.value("GMSMapsUserClientShortbreadToken").toString()}),
              QStringList({"48", "c1", "PL", "zw", "tok"}));

    GMSSettingsUserDefaults again(ini);
    EXPECT_EQ(std::pair(GMSDASHClientState(&again).userCookie(), GMSDASHClientState(&again).snapshot().cohort),
              std::pair(quint64(99), QString("c1")));
    QByteArray rec = raw.value("GMSMapsUserCookie").toByteArray();
    rec[17] = static_cast<char>(rec[17] ^ 0x40);
    again.setObject(rec, "GMSMapsUserCookie");
    EXPECT_EQ(GMSDASHClientState(&again).userCookie(), 0u);
}

// The properties answer names refused requests by their place in the body;
// the body's end then fails the rest with that refusal too.
TEST(ClientState, ServerVerdictsReachTheNamedRequests)
{
    const auto conn = zltest::connection("http://127.0.0.1:1/glm/mmap");
    conn->setSuppressUserState(true);
    std::vector<std::shared_ptr<zltest::RecordingRequest>> reqs;
    for (int i = 0; i < 3; ++i)
        reqs.push_back(std::make_shared<zltest::RecordingRequest>(108));
    std::vector<GMSDASHRequestPtr> body(reqs.begin(), reqs.end());
    conn->buildServerPayloadForRequests(body);  // the client properties request goes first
    GMSx_GMMClientPropertiesResponseProto p;
    p.add_datarequest_status_array()->set_request_index(2);
    p.mutable_datarequest_status_array(0)->set_code(403);
    zltest::reply(body, zltest::answerBody(24, {{62, p.SerializeAsString()}, {108, "fine"}}), conn.get());
    const std::vector<std::string> refused{"fail:kGenericServerErrorDomain:403"};
    EXPECT_EQ(std::tuple(reqs[0]->outcomes, reqs[1]->outcomes, reqs[2]->outcomes),
              std::tuple(std::vector<std::string>{"ok:fine"}, refused, refused));
}

TEST(XGeo, EncodingAndOverrides)
{
    const auto descriptor = [](int producer, int role = 0, int latE7 = 0) {
        GMSx_GMMLocationDescriptorProto d;
        d.set_producer(producer);
        if (role)
            d.set_role(role);
        if (latE7)
            d.mutable_latlng()->set_lat_e7(latE7);
        return d;
    };
    const auto a = descriptor(1, 0, 1), b = descriptor(2);
    // Each descriptor: "w", then its bytes in unpadded URL-safe base64.
    const auto base64 = [](const GMSx_GMMLocationDescriptorProto& d) {
        return QByteArray::fromStdString(d.SerializeAsString())
            .toBase64(QByteArray::Base64UrlEncoding | QByteArray::OmitTrailingEquals);
    };
    EXPECT_EQ(GMSXGeoHeaderEncoder::encodeWithLocationDescriptors({a, b}), "w " + base64(a) + " w " + base64(b));

    // The first request to name a producer wins; producers new to the list join it.
    auto r1 = std::make_shared<zltest::RecordingRequest>(108);
    auto r2 = std::make_shared<zltest::RecordingRequest>(108);
    r1->setLocationDescriptorOverrides({descriptor(1, 7)});
    r2->setLocationDescriptorOverrides({descriptor(1, 9), descriptor(3)});
    const auto merged = GMSXGeoHeaderEncoder::mergeOverrides({a, b}, {r1, r2});
    ASSERT_EQ(merged.size(), 3u);
    EXPECT_EQ(std::tuple(merged[0].role(), merged[0].latlng().lat_e7(), merged[2].producer()), std::tuple(7, 1, 3));
}

// A map-load quota event: its body, and the two lines logged when the
// service refuses the key (none when it accepts it).
TEST(QuotaEvent, ARefusedKeyIsLoggedWithTheBundle)
{
    zltest::LogCapture log;
    GMSDASHQuotaEventRequest r("bad-key", "app.zenloft", "Zenloft");
    DashOutput sent;
    r.asyncSerializeRequestData(sent, nullptr);
    DashInput body(sent.bytes(), true);
    GMSx_GMMApiQuotaEventRequestProto event;
    ASSERT_TRUE(event.ParseFromString(std::string(body.readLengthPrefixed())));
    EXPECT_EQ(std::tuple(event.event_array(0).type(), event.event_array(0).quota_units(), body.atEnd()),
              std::tuple(QUOTA_EVENT_MAP_LOAD, 1, true));
    const QStringList refusal{"Zenloft cannot connect or validate APIKey: bad-key",
                              "Your key may be invalid for your bundle ID: app.zenloft"};
    for (const auto verdict : {QUOTA_RESPONSE_OK, QUOTA_RESPONSE_INVALID_KEY}) {
        GMSx_GMMApiQuotaEventResponseProto answer;
        answer.set_response(verdict);
        DashOutput out;
        out.writeMessage(answer);
        DashInput in(out.bytes(), true);
        ASSERT_TRUE(r.asyncReadResponse(in, nullptr));
        EXPECT_EQ(log.warnings(), verdict == QUOTA_RESPONSE_OK ? QStringList() : refusal);
    }
}
