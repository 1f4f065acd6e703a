// Tile pixels on a real OpenGL surface: at a whole zoom with north up a tile
// pixel lands on one screen pixel unblurred, even half a pixel off the grid;
// between zooms tiles are smoothed.

#include "render_fixture.h"

namespace {

// Tiles of one-pixel black and white columns.
struct StripeSource : zltest::GeneratedTileSource {
    StripeSource()
        : GeneratedTileSource([] {
              QImage img(256, 256, QImage::Format_RGB32);
              for (int x = 0; x < 256; ++x)
                  for (int y = 0; y < 256; ++y) img.setPixel(x, y, x % 2 ? qRgb(255, 255, 255) : qRgb(0, 0, 0));
              return img;
          }) {}
};

// How many pixels of a row in the middle are neither near black nor near
// white; -1 without a shot.
int blurredPixels(const QImage& shot) {
    if (shot.isNull()) return -1;
    int blurred = 0;
    const int y = shot.height() / 2;
    for (int x = shot.width() / 4; x < shot.width() * 3 / 4; ++x) {
        const int g = qGreen(shot.pixel(x, y));
        if (g > 40 && g < 215) ++blurred;
    }
    return blurred;
}

class TileRenderTest : public zltest::RenderTest {
protected:
    QImage shotAt(QQuickWindow& window, GMSMapView& map, const GMSCameraPosition& camera) {
        map.setCamera(camera);
        if (!zltest::waitFor([&] { return !map.tileManager()->isLoading(); })) return {};
        return window.grabWindow();
    }
};

TEST_F(TileRenderTest, WholeZoomIsPixelExactOtherZoomsAreSmoothed) {
    QQuickWindow window;
    StripeSource source;
    GMSMapView map(GMSCameraPosition(0.0, 0.0, 6.0f), window.contentItem());
    zltest::placeMap(window, map, source, QSize(200, 120));
    ASSERT_TRUE(zltest::showWindow(window));
    ASSERT_EQ(window.rendererInterface()->graphicsApi(), QSGRendererInterface::OpenGL);
    if (window.effectiveDevicePixelRatio() != 1.0) GTEST_SKIP() << "the display scales points";

    // Half a pixel east of the grid at zoom 6 (2^14 pixels round the world).
    const double halfPixel = 0.5 * 360.0 / 16384.0;
    EXPECT_EQ(blurredPixels(shotAt(window, map, GMSCameraPosition(0.0, 0.2 + halfPixel, 6.0f))), 0);
    EXPECT_GT(blurredPixels(shotAt(window, map, GMSCameraPosition(0.0, 0.2 + halfPixel, 6.3f))), 10);
    // Turned, the same zoom is smoothed too.
    const GMSCameraPosition turned(CLLocationCoordinate2D{0.0, 0.2 + halfPixel}, 6.0f, 30.0, 0.0);
    EXPECT_GT(blurredPixels(shotAt(window, map, turned)), 10);
}

// Labels at half opacity over blue imagery are drawn in one pass with the
// imagery under them, from their own pixels; labels that end at a lower zoom
// stand in enlarged: zoom 5's west half covers all of tile 32 and none of 33.
TEST_F(TileRenderTest, HybridLabelsOverImageryInOnePass) {
    for (int labelsUpTo : {20, 5}) {
        QQuickWindow window;
        zltest::HybridSource source(labelsUpTo);
        GMSMapView map(GMSCameraPosition(0.0, 0.0, 6.0f), window.contentItem());
        ASSERT_TRUE(zltest::showHybrid(window, map, source));
        const auto before = GMSMapRenderer::totals().stackedTiles;
        const QImage shot = shotAt(window, map, GMSCameraPosition(zltest::tileMiddle(6, 32, 20), 6.0f));
        ASSERT_FALSE(shot.isNull());
        EXPECT_GT(GMSMapRenderer::totals().stackedTiles, before) << labelsUpTo;
        if (labelsUpTo == 20)
            zltest::expectHybridRow(shot, {{-64, true}, {64, false}, {-192, false}, {192, true}});
        else
            zltest::expectHybridRow(shot, {{-64, true}, {64, true}, {256, false}, {-256, false}});
    }
}

}  // namespace
