// The tile source's decoded pictures: decoding of tile bytes, the bounded
// cache of pictures, and the source answering from it without ever showing
// a picture of bytes the tile service no longer has.
#include <gtest/gtest.h>

#include <QBuffer>
#include <QImage>
#include <QRandomGenerator>
#include <QSignalSpy>

#include <atomic>
#include <optional>
#include <thread>
#include <tuple>
#include <vector>

#include "Clock.h"
#include "GMSDASHTileService.h"
#include "GMSServiceTileSource.h"
#include "GMSTileRequestCoordinator.h"
#include "testsupport.h"

namespace {

QByteArray encoded(const QImage& img, const char* format = "PNG") {
    QByteArray bytes;
    QBuffer buf(&bytes);
    img.save(&buf, format);
    return bytes;
}

QImage picture(QRgb colour, int side = 4, QImage::Format format = QImage::Format_RGB32) {
    QImage img(side, side, format);
    img.fill(colour);
    return img;
}

// A tile of one colour but for one pixel at (3, 4).
QByteArray opaquePng(QRgb colour) {
    QImage img = picture(colour, 256);
    img.setPixel(3, 4, qRgb(1, 2, 3));
    return encoded(img);
}

GMSTileKey key(int x, int y = 0) { return {GMSTileLayerType::Satellite, 5, x, y}; }

}  // namespace

TEST(TileDecode, OpaqueStaysOpaqueTranslucentIsPremultipliedAndDamagedTilesGiveNoPictureOrAGoodOne) {
    const QImage opaque = GMSDecodeTileImage(opaquePng(qRgb(20, 40, 60)));
    EXPECT_EQ(std::tuple(opaque.format(), opaque.size(), opaque.pixel(0, 0), opaque.pixel(3, 4)),
              std::tuple(QImage::Format_RGB32, QSize(256, 256), qRgb(20, 40, 60), qRgb(1, 2, 3)));

    QImage clear = picture(qRgba(0, 0, 0, 0), 256, QImage::Format_ARGB32);
    clear.setPixel(10, 10, qRgba(200, 100, 50, 128));
    const QImage translucent = GMSDecodeTileImage(encoded(clear));
    EXPECT_EQ(std::tuple(translucent.format(), qAlpha(translucent.pixel(0, 0)), qAlpha(translucent.pixel(10, 10))),
              std::tuple(QImage::Format_ARGB32_Premultiplied, 0, 128));

    const QImage jpeg = GMSDecodeTileImage(encoded(picture(qRgb(120, 130, 140), 256), "JPG"));
    EXPECT_EQ(jpeg.format(), QImage::Format_RGB32);
    EXPECT_NEAR(qGreen(jpeg.pixel(100, 100)), 130, 3);

    // No picture gives a null image; damaged tiles never crash.
    zltest::LogCapture log;  // the image readers complain about what they can't read
    for (const QByteArray& bad : {QByteArray(), QByteArray("not a picture"), QByteArray("\x89PNG\r\n\x1a\n", 8),
                                  QByteArray("\xFF\xD8\xFF", 3)})
        EXPECT_TRUE(GMSDecodeTileImage(bad).isNull()) << bad.toHex().toStdString();
    // A picture of a kind other than PNG or JPEG is still read.
    EXPECT_FALSE(GMSDecodeTileImage(encoded(picture(qRgb(255, 0, 0)), "BMP")).isNull());
    const QByteArray png = opaquePng(qRgb(90, 90, 90));
    const QByteArray smallJpeg = encoded(picture(qRgb(10, 200, 30), 64), "JPG");
    QRandomGenerator rng(20261122);
    for (const QByteArray& good : {png, smallJpeg}) {
        for (int i = 0; i < 120; ++i) {
            // Cut short, or with 8 bytes changed.
            QByteArray bad = i % 2 ? good.left(int(rng.bounded(good.size()))) : good;
            for (int flips = 0; flips < 8 && i % 2 == 0; ++flips)
                bad[int(rng.bounded(bad.size()))] = char(rng.bounded(256));
            const QImage img = GMSDecodeTileImage(bad);
            EXPECT_TRUE(img.isNull() || img.format() == QImage::Format_RGB32 ||
                        img.format() == QImage::Format_ARGB32_Premultiplied);
        }
    }
}

TEST(DecodedTileCache, ServesOnlyTheBytesItWasMadeFromAndIsBounded) {
    GMSDecodedTileCache cache(4);
    const QByteArray a = "bytes of a", b = "bytes of b";
    cache.insert(key(1), a, picture(qRgb(1, 1, 1)));
    EXPECT_EQ(cache.imageForData(key(1), a).pixel(0, 0), qRgb(1, 1, 1));
    // The tile changed: no old picture, and the entry is gone.
    EXPECT_TRUE(cache.imageForData(key(1), b).isNull() && cache.count() == 0 && cache.imageForData(key(1), a).isNull());
    // A newer picture of the same tile replaces the older one.
    cache.insert(key(1), a, picture(qRgb(1, 1, 1)));
    cache.insert(key(1), b, picture(qRgb(2, 2, 2)));
    EXPECT_EQ(std::tuple(cache.count(), cache.imageForData(key(1), b).pixel(0, 0)), std::tuple(1, qRgb(2, 2, 2)));
    cache.remove(key(1));
    EXPECT_TRUE(cache.imageForData(key(1), b).isNull());
    // Null pictures are not kept; the same place on another layer is another tile.
    cache.insert(key(2), a, QImage());
    cache.insert(key(3), a, picture(qRgb(3, 3, 3)));
    EXPECT_EQ(std::tuple(cache.count(), cache.imageForData({GMSTileLayerType::Labels, 5, 3, 0}, a).isNull()),
              std::tuple(1, true));
    cache.clear();
    EXPECT_EQ(cache.count(), 0);

    // Bounded: the least recently used goes first.
    GMSDecodedTileCache three(3);
    for (int x = 0; x < 3; ++x) three.insert(key(x), QByteArray::number(x), picture(qRgb(x, x, x)));
    EXPECT_FALSE(three.imageForData(key(0), "0").isNull());  // 0 is now the most recent
    three.insert(key(3), "3", picture(qRgb(3, 3, 3)));
    QList<bool> kept;
    for (int x = 0; x < 4; ++x) kept << !three.imageForData(key(x), QByteArray::number(x)).isNull();
    EXPECT_EQ(kept, QList<bool>({true, false, true, true}));  // the least recent went

    GMSDecodedTileCache none(0);
    none.insert(key(0), "0", picture(qRgb(0, 0, 0)));
    EXPECT_EQ(none.count(), 0);
}

TEST(DecodedTileCache, WorkersAndTheQueueAtOnce) {
    GMSDecodedTileCache cache(16);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t)
        threads.emplace_back([&cache, &wrong, t] {
            for (int i = 0; i < 2000; ++i) {
                const int x = (i * 7 + t) % 40;
                const QByteArray data = QByteArray::number(x * 3);
                if (i % 3 == 0) {
                    cache.insert(key(x), data, picture(qRgb(x, 0, 0)));
                } else if (i % 17 == 0) {
                    cache.remove(key(x));
                } else {
                    const QImage img = cache.imageForData(key(x), data);
                    if (!img.isNull() && qRed(img.pixel(0, 0)) != x) ++wrong;
                }
            }
        });
    for (auto& th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_LE(cache.count(), 16);
}

// The source over a real tile service whose memory cache the test fills;
// the service's connection never answers.
TEST(SourceOverService, DecodesOnceAndNeverShowsAStalePicture) {
    zl::ManualClock clock;
    QObject queue;
    int sent = 0;
    GMSDASHTileServiceOptions options;
    options.tileType.mapTileType = 1;
    const auto service = GMSDASHTileService::create(
        options, &queue, [&sent](const std::shared_ptr<GMSDASHRequest>&) { ++sent; }, &clock);
    service->startRequestQueue();
    GMSServiceTileSource source(GMSServiceTileSource::Services{{GMSTileLayerType::Satellite, service}},
                                std::make_shared<GMSTileRequestCoordinator>(16));
    const auto putInService = [&](const GMSTileKey& k, const QByteArray& data) {
        auto tile = std::make_shared<GMSTile>();
        tile->coords = GMSTileCoords(k.zoom, k.x, k.y);
        tile->data = data;
        service->memCache()->setObject(tile, tile->coords);
    };
    const auto ask = [&](const GMSTileKey& k, std::optional<QImage>& got) {
        return source.requestTile(k, GMSTileSource::Answer(&queue, [&got](const QImage& img, bool) { got = img; }));
    };
    const auto fetch = [&](const GMSTileKey& k) {  // asks and waits for the answer
        std::optional<QImage> got;
        const zl::RequestHandle held = ask(k, got);
        EXPECT_TRUE(zltest::waitFor([&] { return got.has_value(); }, 5000)) << "no answer for the tile";
        return got.value_or(QImage());
    };

    putInService(key(1), opaquePng(qRgb(10, 20, 30)));
    const QImage first = fetch(key(1));
    ASSERT_EQ(first.pixel(0, 0), qRgb(10, 20, 30));
    EXPECT_EQ(fetch(key(1)).cacheKey(), first.cacheKey());  // the very same picture
    // The service now has other bytes for the tile: they are what is shown.
    putInService(key(1), opaquePng(qRgb(200, 0, 0)));
    EXPECT_EQ(fetch(key(1)).pixel(0, 0), qRgb(200, 0, 0));
    // Bytes that are no picture: a null picture, and nothing kept.
    putInService(key(3), "garbage, not a tile");
    EXPECT_TRUE(fetch(key(3)).isNull());
    EXPECT_EQ(std::tuple(source.decodedCache().count(), sent), std::tuple(1, 0));

    // Removed from the service: the request goes to the network, which
    // doesn't answer; the old picture is never offered meanwhile.
    service->memCache()->removeObjectForKey(GMSTileCoords(5, 1, 0));
    std::optional<QImage> got;
    const zl::RequestHandle held = ask(key(1), got);
    ASSERT_TRUE(zltest::waitFor([&] { return sent > 0; }, 5000));
    EXPECT_FALSE(got.has_value());
}
