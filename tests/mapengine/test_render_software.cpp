// The software scene graph (offscreen, or a machine without OpenGL) has no
// shaders: hybrid layers are drawn one by one there, to the same picture.
#include <gtest/gtest.h>

#include <QQuickWindow>

#include "GMSMapRenderer.h"
#include "GMSMapView.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "render_fixture.h"
#include "testsupport.h"

namespace {

TEST(SoftwareRender, HybridLayersAreDrawnOneByOneToTheSamePicture) {
    GMSServices::resetForTests();
    GMSServices::provideAPIKey(QString(39, QChar('R')));
    QQuickWindow window;
    zltest::HybridSource source(5);
    GMSMapView map(GMSCameraPosition(zltest::tileMiddle(6, 32, 20), 6.0f), window.contentItem());
    ASSERT_TRUE(zltest::showHybrid(window, map, source));
    ASSERT_EQ(window.rendererInterface()->graphicsApi(), QSGRendererInterface::Software);
    ASSERT_TRUE(zltest::waitFor([&] { return !map.tileManager()->isLoading(); }));
    const auto before = GMSMapRenderer::totals().stackedTiles;
    const QImage shot = window.grabWindow();
    ASSERT_FALSE(shot.isNull());
    EXPECT_EQ(GMSMapRenderer::totals().stackedTiles, before);
    // Labels end at zoom 5: its west half covers all of tile 32 and none of 33.
    const QPoint mid(shot.width() / 2, shot.height() / 2);
    EXPECT_TRUE(zltest::near(shot.pixel(mid.x() - 64, mid.y()), zltest::kLabelledPixel))
        << std::hex << shot.pixel(mid.x() - 64, mid.y());
    EXPECT_TRUE(zltest::near(shot.pixel(mid.x() + 64, mid.y()), zltest::kLabelledPixel));
    EXPECT_TRUE(zltest::near(shot.pixel(mid.x() + 256, mid.y()), zltest::kImageryPixel))
        << std::hex << shot.pixel(mid.x() + 256, mid.y());
    GMSServices::resetForTests();
}

}  // namespace
