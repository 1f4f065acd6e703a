#include <QPainter>

#include <limits>

#include "GMSGroundOverlay.h"
#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "render_fixture.h"

namespace {

const QColor kGrey(128, 128, 128);

// A map of plain grey tiles at zoom 4 over (0, 0), filling a window of the size.
struct GreyMap {
    explicit GreyMap(QSize size) { zltest::placeMap(window, map, source, size); }
    QQuickWindow window;
    zltest::GeneratedTileSource source{[] { return zltest::filledTile(kGrey); }};
    GMSMapView map{GMSCameraPosition(0.0, 0.0, 4.0f), window.contentItem()};
};

// A shot of the window in points; at a coordinate it shows `want`, give or take.
QImage shotOf(QQuickWindow& window) { return window.grabWindow().scaled(window.size()); }
void expectColourAt(const QImage& shot, const GMSMapView& map, CLLocationCoordinate2D c, QColor want,
                    int tolerance = 40) {
    const QPoint at = map.projection().pointForCoordinate(c).toPoint();
    ASSERT_TRUE(shot.rect().contains(at));
    EXPECT_TRUE(zltest::near(shot.pixel(at), want.rgb(), tolerance))
        << c.latitude << "," << c.longitude << ": " << std::hex << shot.pixel(at);
}

using zltest::RenderTest;

TEST_F(RenderTest, ShapesPicturesAndTintedMarkersAppearWhereExpected) {
    GreyMap grey(QSize(400, 300));
    auto& [window, source, map] = grey;

    auto polygon = zltest::onMap(map, GMSPolygon::polygonWithPath(GMSPath({{-5, -15}, {-5, -5}, {5, -5}, {5, -15}})));
    polygon->setFillColor(QColor(255, 0, 0));
    polygon->setStrokeColor(QColor(0, 0, 0));
    polygon->setStrokeWidth(2);
    auto line = zltest::onMap(map, GMSPolyline::polylineWithPath(GMSPath({{-6, 5}, {6, 5}})));
    line->setStrokeColor(QColor(0, 200, 0));
    line->setStrokeWidth(8);
    auto marker = zltest::onMap(map, GMSMarker::markerWithPosition({0, 12}));
    marker->setIcon(GMSMarker::markerImageWithColor(QColor(0, 0, 255)));

    ASSERT_TRUE(zltest::showWindow(window));
    ASSERT_TRUE(zltest::waitFor([&] { return !map.tileManager()->isLoading(); }));
    ASSERT_EQ(window.rendererInterface()->graphicsApi(), QSGRendererInterface::OpenGL);
    QImage shot = shotOf(window);
    expectColourAt(shot, map, {0, -10}, QColor(255, 0, 0));
    expectColourAt(shot, map, {0, 5}, QColor(0, 200, 0));
    // The stroke is 8 points wide whatever the zoom: 6 points off the line is map.
    expectColourAt(shot, map, {0, 5 + 6 * 360.0 / 4096}, kGrey);
    const QRectF pin = map.markerFrame(marker.get(), map.projection());
    const QRgb pinColour = shot.pixel(QPointF(pin.center().x(), pin.top() + pin.width() / 2 - 6).toPoint());
    EXPECT_GT(qBlue(pinColour), qRed(pinColour) + 40) << std::hex << pinColour;
    expectColourAt(shot, map, {-8, 8}, kGrey, 6);

    // Panned and zoomed, the shapes move with the map.
    map.setCamera(GMSCameraPosition(1.0, -2.0, 4.5f));
    expectColourAt(shotOf(window), map, {2, -6}, QColor(255, 0, 0));

    // Draw order follows zIndex: the line drawn under the polygon where they cross.
    auto cross = zltest::onMap(map, GMSPolyline::polylineWithPath(GMSPath({{0, -20}, {0, 0}})));
    cross->setStrokeColor(QColor(0, 0, 255));
    cross->setStrokeWidth(6);
    cross->setZIndex(-1);
    expectColourAt(shotOf(window), map, {0, -6}, QColor(255, 0, 0));
    cross->setZIndex(10);
    expectColourAt(shotOf(window), map, {0, -6}, QColor(0, 0, 255));

    // Spans colour their segments, holes stay open, a picture lies north up.
    map.clear();
    map.setCamera(GMSCameraPosition(0.0, 0.0, 4.0f));
    line = zltest::onMap(map, GMSPolyline::polylineWithPath(GMSPath({{5, -10}, {5, 0}, {5, 10}})));
    line->setStrokeWidth(8);
    line->setSpans(std::vector<GMSStyleSpan>{GMSStyleSpan::spanWithColor({1, 0, 0, 1}),
                                             GMSStyleSpan::spanWithColor({0, 1, 0, 1})});
    auto square =
        zltest::onMap(map, GMSPolygon::polygonWithPath(GMSPath({{-10, -10}, {-10, 10}, {-2, 10}, {-2, -10}})));
    square->setFillColor(QColor(0, 0, 255));
    square->setHoles({GMSPath({{-7, -3}, {-7, 3}, {-5, 3}, {-5, -3}})});
    QImage picture = zltest::filledTile(QColor(255, 255, 0));  // red on its top half, yellow below
    QPainter(&picture).fillRect(0, 0, 256, 128, Qt::red);
    zltest::onMap(map, GMSGroundOverlay::groundOverlayWithBounds(GMSCoordinateBounds({-10, 12}, {0, 22}), picture));
    ASSERT_TRUE(zltest::waitFor([&] { return !map.tileManager()->isLoading(); }));
    shot = shotOf(window);
    expectColourAt(shot, map, {5, -5}, QColor(255, 0, 0));
    expectColourAt(shot, map, {5, 5}, QColor(0, 255, 0));
    expectColourAt(shot, map, {-8.5, 0}, QColor(0, 0, 255));
    expectColourAt(shot, map, {-6, 0}, kGrey, 6);  // the hole
    expectColourAt(shot, map, {-2, 17}, QColor(255, 0, 0));
    expectColourAt(shot, map, {-8, 17}, QColor(255, 255, 0));
}

// Nothing a screen can hand the map breaks it: numbers that are not numbers,
// out of range or infinite draw nothing or something, and taps still work.
TEST_F(RenderTest, BadNumbersRenderWithoutHarm) {
    GreyMap grey(QSize(200, 150));
    auto& [window, source, map] = grey;
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double inf = std::numeric_limits<double>::infinity();
    auto poly = zltest::onMap(map, GMSPolygon::polygonWithPath(GMSPath({{nan, 1}, {2, inf}, {3, 3}, {-1e308, 1e308}})));
    poly->setStrokeColor(Qt::black);
    auto line = zltest::onMap(
        map, GMSPolyline::polylineWithPath(GMSPath({{0, 0}, {nan, nan}, {89.9999, 179.9999}, {-90, -180}})));
    line->setGeodesic(true);
    auto thin = zltest::onMap(map, GMSPolyline::polylineWithPath(line->path()));
    thin->setStrokeWidth(-3);
    zltest::onMap(map, GMSMarker::markerWithPosition({nan, nan}));
    auto marker = zltest::onMap(map, GMSMarker::markerWithPosition({1, 1}));
    marker->setOpacity(nan);
    marker->setRotation(inf);
    zltest::onMap(map, GMSGroundOverlay::groundOverlayWithBounds(GMSCoordinateBounds({nan, 0}, {1, 1}), QImage()));
    const auto before = GMSMapRenderer::totals().geometryBuilds;
    ASSERT_TRUE(zltest::showWindow(window));
    EXPECT_FALSE(window.grabWindow().isNull());
    EXPECT_GT(GMSMapRenderer::totals().geometryBuilds, before);
    for (const GMSCameraPosition& c : {GMSCameraPosition(nan, nan, std::numeric_limits<float>::quiet_NaN()),
                                       GMSCameraPosition({90, 180}, 21.0f, inf, nan),
                                       GMSCameraPosition(-90, -180, 2.0f), GMSCameraPosition(nan, nan, 30.0f)}) {
        map.setCamera(c);
        map.handleTap(QPointF(100, 75));
        EXPECT_FALSE(window.grabWindow().isNull());
    }
    map.clear();
    EXPECT_TRUE(map.overlays().empty());
}

}  // namespace
