#include <gtest/gtest.h>

#include "GMSColorBlend.h"
#include "GMSMarker.h"

namespace {

using gms_blend::RGB;

void expectRGB(const RGB& got, const RGB& want) {
    for (int i = 0; i < 3; ++i) EXPECT_NEAR(got[i], want[i], 1e-6) << "component " << i;
}

TEST(ColorBlend, HandComputedValuesAndBackdropLuminosity) {
    // Backdrop, source, result.
    const RGB cases[][3] = {
        {{0.8, 0.2, 0.2}, {0, 0, 1}, {0.38 - 0.11 * 0.62 / 0.89, 0.38 - 0.11 * 0.62 / 0.89, 1.0}},  // clipped above 1
        {{0.5, 0.5, 0.5}, {1, 0, 0}, {1.0, 0.5 - 0.3 * 0.5 / 0.7, 0.5 - 0.3 * 0.5 / 0.7}},
        {{0.1, 0.1, 0.1}, {0, 1, 0}, {0.0, 0.1 + 0.41 * 0.1 / 0.59, 0.0}},  // clipped below 0
        {{0, 0, 0}, {1, 0, 0}, {0, 0, 0}},                                   // black stays black
        {{1, 1, 1}, {0.2, 0.7, 0.1}, {1, 1, 1}},                             // white stays white
        {{0.9, 0.1, 0.3}, {0.5, 0.5, 0.5}, {0.362, 0.362, 0.362}},           // a grey source: the luminosity as grey
    };
    for (const auto& c : cases) expectRGB(gms_blend::colorBlend(c[0], c[1]), c[2]);

    // Random colours: the result keeps the backdrop's luminosity, within range.
    std::uint32_t seed = 7;
    auto rnd = [&] {
        seed = seed * 1103515245u + 12345u;
        return double((seed >> 8) & 0xFFFF) / 65535.0;
    };
    for (int i = 0; i < 1000; ++i) {
        const RGB b{rnd(), rnd(), rnd()}, s{rnd(), rnd(), rnd()};
        const RGB r = gms_blend::colorBlend(b, s);
        EXPECT_NEAR(gms_blend::lum(r), gms_blend::lum(b), 1e-9);
        for (double v : r) EXPECT_TRUE(v >= -1e-12 && v <= 1 + 1e-12) << v;
    }
}

TEST(ColorBlend, PixelCompositingAndTintedPinKeepTheSilhouette) {
    // A half-covered pin pixel: half colour, half blend; alpha of the pin.
    const auto half = gms_blend::tintPixel({0.5, 0.5, 0.5, 0.5}, {1, 0, 0, 1});
    EXPECT_NEAR(half[0], 1.0, 1e-9);
    EXPECT_NEAR(half[1], 0.5 * (0.5 - 0.3 * 0.5 / 0.7), 1e-9);
    EXPECT_DOUBLE_EQ(half[3], 0.5);
    EXPECT_DOUBLE_EQ(gms_blend::tintPixel({0.5, 0.5, 0.5, 0.0}, {1, 0, 0, 1})[3], 0.0);

    // A whole tinted pin has the colour's hue and the pin's shape.
    const QImage pin = GMSMarker::defaultMarkerImage();
    ASSERT_FALSE(pin.isNull());
    const QImage blue = GMSMarker::markerImageWithColor(QColor(0, 0, 255));
    ASSERT_EQ(blue.size(), pin.size());
    const QImage src = pin.convertToFormat(QImage::Format_ARGB32);
    int opaque = 0;
    for (int y = 0; y < pin.height(); ++y) {
        for (int x = 0; x < pin.width(); ++x) {
            const QRgb a = src.pixel(x, y), b = blue.pixel(x, y);
            ASSERT_EQ(qAlpha(a), qAlpha(b)) << x << "," << y;
            if (qAlpha(a) < 255 || qBlue(b) <= qRed(b) + 20) continue;
            ++opaque;
            EXPECT_NEAR(QColor(b).hsvHue(), 240, 8);
        }
    }
    EXPECT_GT(opaque, 100);
    EXPECT_TRUE(GMSTintImageWithColor(QImage(), Qt::red).isNull());
}

}  // namespace
