// The paint route's body signature, byte for byte against published HMAC and
// SHA-256 test vectors and against Qt's own HMAC.
#include "PaintSignature.h"

#include <QMessageAuthenticationCode>
#include <QRandomGenerator>

#include <gtest/gtest.h>

using namespace zenloft::wire;

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
