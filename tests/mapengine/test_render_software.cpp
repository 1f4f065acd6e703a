// The software scene graph (offscreen, or a machine without OpenGL) has no
// shaders: hybrid layers are drawn one by one there, to the same picture.

#include "render_fixture.h"

namespace {

TEST(SoftwareRender, HybridLayersAreDrawnOneByOneToTheSamePicture) {
    zltest::ServicesWithKey services;
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
    zltest::expectHybridRow(shot, {{-64, true}, {64, true}, {256, false}});
}

}  // namespace
