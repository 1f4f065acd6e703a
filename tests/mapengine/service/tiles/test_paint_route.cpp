// Batches of the paint route: the gathering delay, the signed request, the
// answer's tiles with mode 3, the ways the route stays off, and failures.
// Its body signature, byte for byte against published HMAC and SHA-256 test
// vectors and against Qt's own HMAC.
#include "GMSPaintService.h"
#include "GMSPaintTransport.h"
#include "PaintSignature.h"
#include "TileServiceHarness.h"
#include "testsupport.h"

#include <gtest/gtest.h>

#include <QMessageAuthenticationCode>
#include <QMutex>
#include <QRandomGenerator>

using namespace zenloft::wire;
using zltest::TileServiceHarness;

namespace {

// Catches the paint route's POSTs, headers by name; the test answers them.
struct FakePaintTransport : GMSPaintTransport {
    struct Post {
        QUrl url;
        QByteArray body;
        QHash<QByteArray, QByteArray> headers;
        int timeoutMs = 0;
        Done done;
    };
    void post(const QUrl& url, const QByteArray& body, const Headers& headers, int timeoutMs, Done done) override
    {
        QMutexLocker l(&mutex);
        posts.push_back({url, body, QHash<QByteArray, QByteArray>(headers.begin(), headers.end()), timeoutMs, done});
    }
    QMutex mutex;
    std::vector<Post> posts;
};

const QUrl kPaintURL(QStringLiteral("http://paint.test:9000/glm/paint"));
const QByteArray kKey("paint-signing-key");

GMSDASHTileServiceOptions paintable(int paintTileType = TILE_TYPE_SATELLITE)
{
    GMSDASHTileServiceOptions o;
    o.tileType.mapTileType = TILE_TYPE_SATELLITE;
    o.tileType.paintTileType = paintTileType;
    return o;
}

struct PaintHarness : TileServiceHarness {
    explicit PaintHarness(GMSDASHTileServiceOptions o = paintable()) : TileServiceHarness(o)
    {
        service->setPaintTransport(transport);
        service->setPaintServer(kPaintURL, kKey);
        service->setDirectToPaint(true);
    }
    GMSx_GMMMapTileRequestProto sentProto(std::size_t i) const
    {
        GMSx_GMMMapTileRequestProto p;
        EXPECT_TRUE(p.ParseFromString(transport->posts.at(i).body.toStdString()));
        return p;
    }
    // Answers POST i with the given tiles (zoom as on the wire), or with `r`.
    void answer(std::size_t i, const std::map<Key, Reply>& tiles, std::optional<GMSPaintReply> r = {})
    {
        transport->posts.at(i).done(r.value_or(GMSPaintReply{
            200, QByteArray::fromStdString(tileResponse(tiles, TILE_RESPONSE_OK).SerializeAsString()), {}}));
        pump();
    }
    // Lets the gathering delays run out.
    void gather()
    {
        clock.advance(GMSDASHTileService::kPaintGatheringDelayMs);
        pump();
    }
    std::shared_ptr<FakePaintTransport> transport = std::make_shared<FakePaintTransport>();
};

}  // namespace

TEST(PaintRoute, BatchWaitsTenMillisecondsThenGoesSignedToThePaintServer)
{
    PaintHarness h(paintable(TILE_TYPE_HYBRID_OVERLAY));
    EXPECT_TRUE(h.service->usesPaintRoute());
    h.request(3, 1, 1);
    EXPECT_TRUE(h.sent.empty()) << "the paint route does not use the connection";
    EXPECT_EQ(h.clock.pendingCount(), 1);
    h.clock.advance(9);
    EXPECT_TRUE(h.transport->posts.empty()) << "nothing goes before the delay";

    h.request(3, 2, 1);  // joins the waiting batch
    h.request(3, 1, 1);  // a duplicate folds into the first
    EXPECT_EQ(h.clock.pendingCount(), 1);
    h.clock.advance(1);
    ASSERT_EQ(h.transport->posts.size(), 1u);
    const auto& post = h.transport->posts[0];
    EXPECT_EQ(std::tuple(post.url, post.headers["Content-Type"], post.headers["X-Paint-Signature"].toStdString()),
              std::tuple(kPaintURL, QByteArray("application/x-protobuf"),
                         paintSignature(kKey.toStdString(), post.body.toStdString())));
    EXPECT_GT(post.timeoutMs, 0) << "a stalled paint server must not hold tiles forever";

    // No epoch known yet; the paint type is described once.
    const auto proto = h.sentProto(0);
    ASSERT_EQ(std::pair(proto.map_tile_array_size(), proto.paint_description_array_size()), std::pair(2, 1));
    EXPECT_EQ(std::tuple(int(proto.header().fetch_type()), proto.header().has_paint_epoch(),
                         int(proto.paint_description_array(0).tile_type())),
              std::tuple(1, false, int(TILE_TYPE_HYBRID_OVERLAY)));
    for (const auto& t : proto.map_tile_array())
        EXPECT_EQ(std::tuple(int(t.tile_type()), t.paint_description_index(), t.version_id().supports_tile_hash()),
                  std::tuple(int(TILE_TYPE_SATELLITE), 0, true));

    // Sent means closed: a new tile opens a new batch with its own delay.
    // The epoch, once known, goes with the batch and every tile.
    h.request(3, 3, 1);
    h.request(3, 4, 1);
    EXPECT_EQ(h.clock.pendingCount(), 1);
    h.service->updateMajorEpoch(7);
    h.gather();
    ASSERT_EQ(h.transport->posts.size(), 2u);
    const auto p = h.sentProto(1);
    EXPECT_EQ(p.header().paint_epoch(), 7);
    ASSERT_EQ(p.map_tile_array_size(), 2);
    for (const auto& t : p.map_tile_array())
        EXPECT_EQ(std::pair(t.paint_epoch(), int(t.tile_type())), std::pair(7, int(TILE_TYPE_SATELLITE)));

    h.answer(0, {{{3, 1, 1}, {TileServiceHarness::png('p'), "v1"}}, {{3, 2, 1}, {TileServiceHarness::png('q'), "v2"}}});
    // The on-screen tile went to the memory cache with its mode.
    h.request(3, 1, 1);
    EXPECT_EQ(h.rows(), QStringList({"3/1/1 net tile-p v1 m3", "3/1/1 net tile-p v1 m3", "3/2/1 net tile-q v2 m3",
                                     "3/1/1 net tile-p v1 m3"}));
    EXPECT_EQ(h.transport->posts.size(), 2u);
}

TEST(PaintRoute, OffWithoutServerKeyPaintTypeDirectToPaintOrEndpoint)
{
    struct Case {
        const char* name;
        QUrl url;
        QByteArray key;
        int paintTileType;
        bool direct;
    };
    const Case cases[] = {
        {"no URL", QUrl(), kKey, TILE_TYPE_SATELLITE, true},
        {"no key", kPaintURL, QByteArray(), TILE_TYPE_SATELLITE, true},
        {"no paint tile type", kPaintURL, kKey, -1, true},
        {"direct to paint off", kPaintURL, kKey, TILE_TYPE_SATELLITE, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PaintHarness h(paintable(c.paintTileType));
        h.service->setPaintServer(c.url, c.key);
        h.service->setDirectToPaint(c.direct);
        EXPECT_FALSE(h.service->usesPaintRoute());
        h.request(2, 1, 1);
        EXPECT_EQ(h.sent.size(), 1u) << "the framed connection takes the batch at once";
        EXPECT_EQ(h.clock.pendingCount(), 0);
        h.respond(h.sent[0], {{{2, 1, 1}, {TileServiceHarness::png(), "v"}}});
        EXPECT_EQ(h.rows(), QStringList({"2/1/1 net tile-a v m0"}));
        EXPECT_TRUE(h.transport->posts.empty());
    }
    // Turned off after being on: the next batch goes the normal way.
    PaintHarness h;
    h.service->setPaintServer(QUrl(), QByteArray());
    EXPECT_FALSE(h.service->paintService());
    h.request(2, 0, 0);
    EXPECT_EQ(h.sent.size(), 1u);

    // A relative server URL with no endpoint to resolve it against (the end
    // to end test resolves one).
    zltest::LogCapture log;
    h.service->setPaintServer(QUrl(QStringLiteral("/glm/paint")), kKey);
    EXPECT_FALSE(h.service->usesPaintRoute());
    EXPECT_TRUE(log.contains("paint route off"));
}

TEST(PaintRoute, FailuresFailTheBatchAndLeaveTheCachesAloneAndAGoneServiceDoesNothing)
{
    struct Case {
        const char* name;
        GMSPaintReply reply;
    };
    const Case cases[] = {
        {"transport error",
         GMSPaintReply{0, {}, GMSDASHError{kGMSDASHURLErrorDomain, kGMSDASHURLErrorTimedOut, "timed out", {}, {}}}},
        {"HTTP 403", GMSPaintReply{403, "bad signature\n", std::nullopt}},
        {"garbage body", GMSPaintReply{200, QByteArray("\xff\xff\xff\xff garbage", 13), std::nullopt}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        PaintHarness h;
        h.request(3, 1, 1);
        h.request(3, 1, 1);
        h.gather();
        ASSERT_EQ(h.transport->posts.size(), 1u);
        h.answer(0, {}, c.reply);
        EXPECT_EQ(h.rows(), QStringList(2, "3/1/1 failed"));
        EXPECT_FALSE(h.service->hasRequestsInFlight());
        // Not marked as missing: asking again goes to the server again.
        h.answers.clear();
        h.request(3, 1, 1);
        EXPECT_EQ(std::pair(h.answers.size(), h.clock.pendingCount()), std::pair(std::size_t(0), 1));
    }

    PaintHarness h;
    h.request(1, 0, 0);
    h.gather();
    ASSERT_EQ(h.transport->posts.size(), 1u);
    h.request(2, 0, 0);  // waits for its delay
    h.service.reset();
    // The delayed send and a late answer find no service and do nothing.
    h.gather();
    EXPECT_EQ(h.transport->posts.size(), 1u);
    h.answer(0, {{{1, 0, 0}, {TileServiceHarness::png(), "v"}}});
    EXPECT_TRUE(h.answers.empty());
}

TEST(PaintSignature, KnownDigestsAndSignatures)
{
    EXPECT_EQ(toHex(sha256("")), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
    EXPECT_EQ(toHex(sha256("abc")), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(toHex(sha256("abcdbcdecdefdefgefghfghighijhijkijkljklmklmnlmnomnopnopq")),
              "248d6a61d20638b8e5c026930c3e6039a33ce45964ff2167f6ecedd419db06c1");
    EXPECT_EQ(toHex(sha256(std::string(1000000, 'a'))),
              "cdc76e5c9914fb9281a1c7e284d73e67f1809a48a497200e046d39ccc7112cd0");

    EXPECT_EQ(paintSignature("Jefe", "what do ya want for nothing?"),
              "5bdcc146bf60754e6a042426089575c75a003f089d2739839dec58b964ec3843");
    EXPECT_EQ(paintSignature(std::string(20, '\x0b'), "Hi There"),
              "b0344c61d8db38535ca8afceaf0bf12b881dc200c9833da726e9376c2e32cff7");
    // A key longer than the block is hashed first.
    EXPECT_EQ(paintSignature(std::string(131, '\xaa'), "Test Using Larger Than Block-Size Key - Hash Key First"),
              "60e431591ee0b67f0d8a26aacbf5b77f8e0bc6213728c5140546040f0ee37f54");
}

// Empty keys and bodies included; near misses never match.
TEST(PaintSignature, AgreesWithQtForRandomKeysAndBodiesNearMissesDoNot)
{
    QRandomGenerator rng(20261122);
    for (int round = 0; round < 300; ++round) {
        QByteArray key(int(rng.bounded(0, 150)), '\0');
        QByteArray body(int(rng.bounded(0, 300)), '\0');
        for (char& c : key)
            c = char(rng.bounded(256));
        for (char& c : body)
            c = char(rng.bounded(256));
        const std::string sig = paintSignature(key.toStdString(), body.toStdString());
        ASSERT_EQ(sig, QMessageAuthenticationCode::hash(body, key, QCryptographicHash::Sha256).toHex().toStdString())
            << "round " << round;
        EXPECT_TRUE(paintSignatureMatches(key.toStdString(), body.toStdString(), sig));
    }

    const std::string body = "tile request bytes";
    const std::string sig = paintSignature("k", body);
    EXPECT_TRUE(paintSignatureMatches("k", body, sig));
    std::string upper = sig;
    for (char& c : upper)
        c = char(std::toupper(static_cast<unsigned char>(c)));
    ASSERT_NE(upper, sig);
    // Empty, short, long, another key, another body, and upper-case hex.
    for (auto [key, signedBody, signature] :
         {std::tuple{"k", body, std::string()}, {"k", body, sig.substr(0, 63)}, {"k", body, sig + "0"},
          {"K", body, sig}, {"k", body + " ", sig}, {"k", body, upper}})
        EXPECT_FALSE(paintSignatureMatches(key, signedBody, signature)) << key << signedBody << signature;
}
