#include <gtest/gtest.h>

#include <QQuickWindow>
#include <QSignalSpy>

#include <cmath>
#include <tuple>

#include "Clock.h"
#include "GMSGroundOverlay.h"
#include "GMSMapFrame.h"
#include "GMSMapRenderer.h"
#include "GMSMapView.h"
#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "render_fixture.h"
#include "GMSTileManager.h"
#include "GMSUISettings.h"
#include "fakes.h"
#include "geometry/near.h"
#include "testsupport.h"

namespace {

// Logs each call as "name argument": overlays by title, coordinates to 1e-4 degrees.
struct RecordingDelegate : GMSMapViewDelegate {
    bool consumeMarkerTaps = false;
    QStringList log;
    static QString at(CLLocationCoordinate2D c) {
        return QString("%1,%2").arg(c.latitude, 0, 'f', 4).arg(c.longitude, 0, 'f', 4);
    }
    bool didTapMarker(GMSMapView*, GMSMarker* m) override {
        log << "marker " + m->title();
        return consumeMarkerTaps;
    }
    void didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D c) override { log << "longPress " + at(c); }
    void didTapAtCoordinate(GMSMapView*, CLLocationCoordinate2D c) override { log << "tap " + at(c); }
    void didTapOverlay(GMSMapView*, GMSOverlay* o) override { log << "overlay " + o->title(); }
    void idleAtCameraPosition(GMSMapView*, const GMSCameraPosition&) override { log << "idle"; }
};

class MapViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        view = std::make_unique<GMSMapView>(GMSCameraPosition(10.0, 20.0, 10.0f));
        view->setSize(QSizeF(400, 300));
        view->setTileSource(&source);
        view->setClock(&clock);
        view->setDisplayLink(&link);
        view->setDelegate(&delegate);
    }
    void runAnimation(double seconds = 1.0) { runFrames(clock, seconds); }
    QPointF centreOf(const GMSMarkerPtr& m) const { return view->markerFrame(m.get(), view->projection()).center(); }
    // An overlay shown on the map under a title.
    template <typename O>
    std::shared_ptr<O> put(std::shared_ptr<O> o, const QString& title = {}) {
        o->setTitle(title);
        return zltest::onMap(*view, o);
    }
    GMSMarkerPtr placeMarker(const QString& title = {}, CLLocationCoordinate2D at = {10.0, 20.0}) {
        return put(GMSMarker::markerWithPosition(at), title);
    }

    zltest::ServicesWithKey services;
    ManualSource source;
    zl::ManualClock clock{100.0};
    GMSDisplayLink link{ManualFrameTimer::factory()};
    RecordingDelegate delegate;
    std::unique_ptr<GMSMapView> view;
};

TEST_F(MapViewTest, DefaultsLimitsAndFrameRates) {
    GMSMapView v;
    EXPECT_EQ(std::tuple(v.camera(), v.mapType(), v.preferredFrameRate()),
              std::tuple(GMSCameraPosition(51.1789, -1.8264, 4.0f), 1, 60u));
    view->setCamera(GMSCameraPosition(95.0, 190.0, 25.0f));
    EXPECT_EQ(view->camera(), GMSCameraPosition(90.0, -170.0, 21.0f));
    view->setCamera(GMSCameraPosition(0.0, 0.0, 0.0f));
    EXPECT_EQ(view->camera().zoom(), 2.0f);

    zltest::LogCapture log;
    EXPECT_TRUE(view->setPreferredFrameRate(0) && view->preferredFrameRate() == 15u);
    EXPECT_TRUE(view->setPreferredFrameRate(1) && !view->setPreferredFrameRate(3) && view->preferredFrameRate() == 30u);
    EXPECT_TRUE(log.contains("Invalid frame rate of 3. Use GMSFrameRate enum."));

    // What a new overlay of each kind starts with.
    GMSMarker m;
    GMSPolyline l;
    GMSPolygon p;
    EXPECT_EQ(std::tuple(m.position(), m.groundAnchor(), m.infoWindowAnchor(), m.isTappable(), m.tapPadding(),
                         m.tapOrdering(), l.strokeWidth(), l.strokeColor(), l.isTappable(), p.strokeColor().isValid(),
                         p.fillColor(), GMSGroundOverlay().anchor()),
              std::tuple(kCLLocationCoordinate2DInvalid, QPointF(0.5, 1.0), QPointF(0.5, 0.0), true, QSizeF(4, 4),
                         (2u << 16) | 32000u, 1.0f, QColor(0, 0, 255), false, false, QColor::fromRgbF(0, 0, 1, 0.3f),
                         QPointF(0.5, 0.5)));
}

TEST_F(MapViewTest, OverlayLifeCycle) {
    auto m = GMSMarker::markerWithPosition({10, 20});
    m->setRotation(45.0);  // off the map: only stored
    EXPECT_TRUE(!view->hasPendingOverlayChanges() && m->overlayID() == 0u);
    m->setMap(view.get());
    m->setMap(view.get());
    EXPECT_TRUE(view->hasPendingOverlayChanges() && m->overlayID() != 0u);
    ASSERT_EQ(view->overlays().size(), 1u);
    EXPECT_EQ(static_cast<GMSMarker*>(view->overlays().front().get())->rotation(), 45.0);
    m->setMap(nullptr);
    EXPECT_TRUE(view->overlays().empty() && m->overlayID() == 0u);
    GMSMapView other;
    m->setMap(view.get());
    m->setMap(&other);
    EXPECT_EQ(std::pair(view->overlays().size(), other.overlays().size()), std::pair(std::size_t(0), std::size_t(1)));
    m->setMap(view.get());

    // The map holds what it shows; clear lets go and leaves the objects usable.
    const std::weak_ptr<GMSPolygon> weak = put(GMSPolygon::polygonWithPath(GMSPath({{0, 0}, {0, 1}, {1, 1}})));
    ASSERT_FALSE(weak.expired());
    view->setSelectedMarker(m.get());
    view->clear();
    EXPECT_TRUE(weak.expired() && !m->map() && !view->selectedMarker() && view->overlays().empty());
    m->setMap(view.get());

    zltest::LogCapture log;
    GMSMarker onStack;
    onStack.setMap(view.get());
    EXPECT_EQ(std::tuple(onStack.map(), view->overlays().size(), log.warnings().size()), std::tuple(nullptr, 1u, 1));
}

TEST_F(MapViewTest, ShapesKeepTheirOwnStateAndPrepareLazily) {
    GMSMutablePath path;
    path.addLatitude(0, 0);
    auto l = GMSPolyline::polylineWithPath(path);
    EXPECT_TRUE(l->preparedVertices().empty());  // one point draws nothing
    path.addLatitude(1, 1);
    EXPECT_EQ(l->path().count(), 1u);
    l->setPath(path);
    EXPECT_TRUE(!l->hasPreparedVertices() && l->preparedVertices().points.size() == 2u);
    l->setStrokeWidth(3);
    EXPECT_FALSE(l->hasPreparedVertices());
    l->setSpans(std::vector<GMSStyleSpan>{GMSStyleSpan::spanWithStyle({{1, 0, 0, 1}, {1, 0, 0, 1}, true})});
    EXPECT_FALSE(l->useOldRenderer());

    // A ground overlay's position follows its anchor; its bearing wraps.
    const QImage icon = zltest::filledTile(Qt::red).scaled(64, 32);
    auto g = GMSGroundOverlay::groundOverlayWithBounds(GMSCoordinateBounds({-10, -20}, {10, 20}), icon);
    for (auto [anchor, lat, lng] : {std::tuple{QPointF(0.5, 0.5), 0.0, 0.0}, {QPointF(0, 1), -10.0, -20.0},
                                    {QPointF(1, 0), 10.0, 20.0}}) {
        g->setAnchor(anchor);
        EXPECT_TRUE(near(g->position(), {lat, lng})) << anchor.x();
    }
    for (auto [set, lowest, highest] : {std::tuple{-30.0, 330.0, 330.0}, {725.0, 5.0, 5.0}, {1e300, 0.0, 359.99}}) {
        g->setBearing(set);  // even far away it still ends
        EXPECT_TRUE(g->bearing() >= lowest && g->bearing() <= highest) << set << ": " << g->bearing();
    }
    auto byZoom = GMSGroundOverlay::groundOverlayWithPosition({0, 0}, icon, 2.0);
    ASSERT_TRUE(byZoom->bounds().has_value());
    // 64 points at zoom 2 is a sixteenth of the world: 22.5 degrees.
    EXPECT_NEAR(byZoom->bounds()->northEast().longitude - byZoom->bounds()->southWest().longitude, 22.5, 1e-6);
    EXPECT_NEAR(byZoom->position().longitude, 0.0, 1e-6);
}

TEST_F(MapViewTest, MapTypesChooseLayers) {
    const auto state = [&] {
        return std::tuple(view->mapImageMode(), view->vectorMode(), view->tileLayers(), view->tileManager()->layers());
    };
    using Layers = std::vector<GMSTileLayerType>;
    for (auto [type, image, vector, layers] : std::vector<std::tuple<int, int, int, Layers>>{
             {1, 0, 1, {GMSTileLayerType::Roadmap}},
             {2, 1, 0, {GMSTileLayerType::Satellite}},
             {3, 2, 1, {GMSTileLayerType::Terrain, GMSTileLayerType::Labels}},
             {4, 1, 1, {GMSTileLayerType::Satellite, GMSTileLayerType::Labels}},
             {5, 0, 0, {}}}) {
        view->setMapType(type);
        EXPECT_EQ(state(), std::tuple(image, vector, layers, layers)) << type;
    }
    // An unknown type keeps the layers of the one before.
    view->setMapType(4);
    view->setMapType(17);
    EXPECT_EQ(std::tuple(view->mapType(), view->mapImageMode(), view->vectorMode()), std::tuple(17, 1, 1));
}

TEST_F(MapViewTest, MyLocationCompassPaddingAndSettings) {
    view->settings()->setMyLocationButton(true);
    view->setLocationFix({11, 21});
    const auto state = [&] {
        return std::tuple(view->myLocation().has_value(), view->rendererUserPosition().longitude,
                          view->myLocationButtonRect().isEmpty());
    };
    EXPECT_EQ(state(), std::tuple(false, GMSMapView::kUnknownUserPosition, true));  // the button needs my location on
    view->setMyLocationEnabled(true);
    ASSERT_EQ(state(), std::tuple(true, 21.0, false));
    view->handleTap(view->myLocationButtonRect().center());
    runAnimation();
    EXPECT_TRUE(near(view->camera().target(), {11, 21}, 1e-9));
    view->setMyLocationEnabled(false);
    EXPECT_EQ(state(), std::tuple(false, GMSMapView::kUnknownUserPosition, true));

    view->settings()->setCompassButton(true);
    EXPECT_TRUE(view->compassRect().isEmpty());
    view->setCamera(GMSCameraPosition({10.0, 20.0}, 10.0f, 30.0, 0.0));
    view->handleTap(view->compassRect().center());  // turned, it shows; a tap on it turns north and hides it
    runAnimation();
    EXPECT_TRUE(view->camera().bearing() == 0.0 && view->compassRect().isEmpty()) << view->camera().bearing();

    // Padding moves the visible centre.
    view->setPadding(QMarginsF(0, 100, 0, 0));
    EXPECT_EQ(view->projection().pointForCoordinate(view->camera().target()), QPointF(200, 200));

    // Gesture bits, and settings notify only on a change.
    GMSUISettings* s = view->settings();
    QSignalSpy spy(s, &GMSUISettings::changed);
    EXPECT_EQ(s->gestures(), 1 | 2 | 4 | 8);
    s->setRotateGestures(false);
    EXPECT_EQ(std::pair(s->gestures(), view->gestureHandler().gestures()), std::pair(1 | 2 | 8, 1 | 2 | 8));
    s->setMyLocationButton(false);
    s->setMyLocationButton(false);
    EXPECT_EQ(spy.count(), 2);
}

TEST_F(MapViewTest, AnimationRunsOnTheDisplayLinkOnlyWhileMovingTheShortWayRound) {
    QSignalSpy idle(view.get(), &GMSMapView::idleAtCameraPosition);
    view->animateToLocation({12.0, 22.0});
    EXPECT_EQ(link.clientCount(), 1);
    runAnimation(0.25);
    const double midway = view->camera().target().latitude;
    EXPECT_TRUE(midway > 10.0 && midway < 12.0) << midway;
    runAnimation();
    EXPECT_EQ(view->camera().target(), (CLLocationCoordinate2D{12, 22}));
    EXPECT_EQ(std::tuple(link.clientCount(), link.hasTimer(), idle.count(), delegate.log),
              std::tuple(0, false, 1, QStringList{"idle"}));
    // An immediate move stops an animation.
    view->animateToZoom(15);
    view->setCamera(GMSCameraPosition(0.0, 170.0, 5.0f));
    EXPECT_TRUE(!view->isAnimating() && link.clientCount() == 0);
    // Over the antimeridian, not round the world.
    view->animateToLocation({0.0, -170.0});
    runAnimation(0.25);
    const double lng = view->camera().target().longitude;
    EXPECT_TRUE(lng > 170.0 || lng < -170.0) << lng;
    runAnimation();
}

TEST_F(MapViewTest, MarkerTapWithinPaddingSelectsThenDeselectsAndTheInfoWindowTakesTaps) {
    auto m = placeMarker("Mast");
    m->setSnippet("12 m");
    view->setCamera(GMSCameraPosition(10.001, 20.001, 15.0f));
    view->handleTap(centreOf(m));
    EXPECT_EQ(std::tuple(view->selectedMarker(), delegate.log, view->isAnimating()),
              std::tuple(m.get(), QStringList({"idle", "marker Mast"}), true));
    runAnimation();
    EXPECT_EQ(view->camera().target().latitude, 10.0);
    QSignalSpy infoTaps(view.get(), &GMSMapView::didTapInfoWindowOfMarker);
    view->handleTap(view->infoWindowRect().center());  // without a window: a map tap, which deselects
    EXPECT_EQ(std::tuple(infoTaps.count(), view->selectedMarker()), std::tuple(1, m.get()));
    // Second tap: deselected, and no animation, since no marker is selected.
    view->handleTap(centreOf(m));
    EXPECT_TRUE(!view->selectedMarker() && !view->isAnimating() && view->infoWindowRect().isEmpty());

    // The tap padding widens the target by 4 points.
    const QRectF frame = view->markerFrame(m.get(), view->projection());
    view->handleTap(QPointF(frame.right() + 6, frame.center().y()));
    EXPECT_EQ(std::tuple(view->selectedMarker(), delegate.log.filter("tap ").size()), std::tuple(nullptr, 1));
    view->handleTap(QPointF(frame.right() + 3, frame.center().y()));
    EXPECT_EQ(view->selectedMarker(), m.get());
}

TEST_F(MapViewTest, TopmostMarkerGoesToTheDelegatesThenShapesAndTheMapTakeTaps) {
    auto high = placeMarker("high");
    high->setZIndex(5);
    auto low = placeMarker();
    delegate.consumeMarkerTaps = true;
    view->handleTap(centreOf(low));
    EXPECT_EQ(std::tuple(delegate.log, view->selectedMarker()), std::tuple(QStringList{"marker high"}, nullptr));

    for (bool handles : {false, true})
        view->addMarkerTapDelegate([&, handles](GMSMapView*, GMSMarker* m) {
            delegate.log << QString("hook %1 %2").arg(handles).arg(m->title());
            return handles;
        });
    view->handleTap(centreOf(low));
    EXPECT_EQ(std::tuple(delegate.log, view->selectedMarker(), view->isAnimating()),
              std::tuple(QStringList({"marker high", "hook 0 high", "hook 1 high"}), nullptr, false));
    high->setMap(nullptr);
    low->setMap(nullptr);
    delegate.log.clear();

    // Shapes take taps only when tappable; else the tap is the map's.
    auto poly =
        put(GMSPolygon::polygonWithPath(GMSPath({{9.9, 19.9}, {9.9, 20.1}, {10.1, 20.1}, {10.1, 19.9}})), "poly");
    const QPointF centre = view->projection().pointForCoordinate({10.0, 20.0});
    view->handleTap(centre);  // not tappable yet: a tap on the map
    poly->setTappable(true);
    view->handleTap(centre);
    put(GMSPolyline::polylineWithPath(GMSPath({{10.3, 19.5}, {10.3, 20.5}})), "line")->setTappable(true);
    view->handleTap(view->projection().pointForCoordinate({10.3, 20.0}) + QPointF(0, 3));
    EXPECT_EQ(delegate.log, QStringList({"tap 10.0000,20.0000", "overlay poly", "overlay line"}));
}

TEST_F(MapViewTest, LongPressPanPinchAndInertiaKeepTheGroundUnderTheFingers) {
    QSignalSpy spy(view.get(), &GMSMapView::didLongPressAtCoordinate);
    GMSGestureHandler& g = view->gestureHandler();
    g.feed(clock.monotonicSeconds(), {{1, {150, 100}}});
    g.timeout(clock.monotonicSeconds() + 0.4);
    const CLLocationCoordinate2D want = view->projection().coordinateForPoint({150, 100});
    const QStringList pressed{"longPress " + RecordingDelegate::at(want)};
    EXPECT_EQ(std::tuple(delegate.log, spy.count()), std::tuple(pressed, 1));
    g.feed(clock.monotonicSeconds() + 0.5, {});
    // Not on a draggable marker.
    auto m = placeMarker("", want);
    m->setDraggable(true);
    view->handleLongPress(centreOf(m));
    EXPECT_EQ(delegate.log, pressed);
    m->setMap(nullptr);

    // The pan takes hold once the finger has moved 10 points: at (110, 104).
    const CLLocationCoordinate2D under = view->projection().coordinateForPoint({110, 104});
    double t = clock.monotonicSeconds() + 1.0;
    g.feed(t, {{1, {100, 100}}});
    for (int i = 1; i <= 20; ++i) g.feed(t + i * 0.02, {{1, {100.0 + 5 * i, 100.0 + 2 * i}}});
    EXPECT_TRUE(near(view->projection().pointForCoordinate(under), {200, 140}));
    g.feed(t + 0.5, {});

    const CLLocationCoordinate2D mid = view->projection().coordinateForPoint({150, 150});
    t += 1.0;
    g.feed(t, {{1, {100, 150}}});
    g.feed(t + 0.01, {{1, {100, 150}}, {2, {200, 150}}});
    g.feed(t + 0.05, {{1, {50, 150}}, {2, {250, 150}}});  // ratio 2 begins the zoom
    g.feed(t + 0.3, {{1, {0, 150}}, {2, {300, 150}}});     // 1.5 more
    EXPECT_NEAR(view->camera().zoom(), 10.0 + std::log2(1.5), 1e-5);
    EXPECT_TRUE(near(view->projection().pointForCoordinate(mid), {150, 150}, 1e-3));
    g.feed(t + 0.7, {});
    clock.advanceSeconds(t + 0.7 - clock.monotonicSeconds());
    runAnimation();

    // Pan inertia runs on the display link and stops.
    t = clock.monotonicSeconds();
    g.feed(t, {{1, {100, 100}}});
    for (int i = 1; i <= 20; ++i) g.feed(t + i * 0.01, {{1, {100.0 + 10 * i, 100}}});
    clock.advanceSeconds(t + 0.21 - clock.monotonicSeconds());
    g.feed(clock.monotonicSeconds(), {});
    EXPECT_EQ(std::pair(g.isDecelerating(), link.clientCount()), std::pair(true, 1));
    const double before = view->camera().target().longitude;
    runAnimation(1.0);
    EXPECT_EQ(std::pair(g.isDecelerating(), link.clientCount()), std::pair(false, 0));
    EXPECT_LT(view->camera().target().longitude, before);  // dragged right: the map goes west
}

// Shape meshes and the info window's picture are made when they change,
// before synchronisation; a frame hands them over and the markers' places.
TEST_F(MapViewTest, FramesHandOverWhatChangesMade) {
    QQuickWindow window;
    window.resize(400, 300);
    view->setParentItem(window.contentItem());
    std::uint64_t atSync = 0;
    int syncs = 0, madeInSync = 0;
    QObject::connect(&window, &QQuickWindow::beforeSynchronizing, &window,
                     [&] { atSync = GMSMapRenderer::totals().geometryBuilds; }, Qt::DirectConnection);
    QObject::connect(&window, &QQuickWindow::afterSynchronizing, &window, [&] {
        ++syncs;
        madeInSync += int(GMSMapRenderer::totals().geometryBuilds - atSync);
    }, Qt::DirectConnection);
    auto line = put(GMSPolyline::polylineWithPath(GMSPath({{10, 20}, {10.01, 20.01}})));
    auto m = placeMarker("Mast");
    auto flat = placeMarker("", {10.001, 20.001});
    flat->setFlat(true);
    flat->setRotation(40);
    placeMarker("", kCLLocationCoordinate2DInvalid);  // nowhere: not drawn
    view->setSelectedMarker(m.get());
    view->setCamera(GMSCameraPosition({10.0, 20.0}, 10.0f, 30.0, 0.0));
    const auto built = GMSMapRenderer::totals().geometryBuilds;
    ASSERT_TRUE(zltest::showWindow(window));
    (void)window.grabWindow();
    const GMSMapFrame first = view->frame();
    ASSERT_EQ(std::tuple(first.shapes.size(), first.markers.size()), std::tuple(1u, 2u));
    EXPECT_EQ(GMSMapRenderer::totals().geometryBuilds, built + 1);
    // The flat marker turns with the map.
    EXPECT_EQ(std::tuple(first.markers[0].point, first.markers[0].rotation, first.markers[1].rotation),
              std::tuple(view->projection().pointForCoordinate({10.0, 20.0}), 0.0, 40.0 - 30.0));
    EXPECT_TRUE(first.infoWindow.rect == view->infoWindowRect() && !first.infoWindow.picture.isNull());

    view->setCamera(GMSCameraPosition({10.1, 20.1}, 12.0f, 0.0, 0.0));
    flat->setOpacity(0.5f);  // another overlay's change leaves the line's mesh
    (void)window.grabWindow();
    const GMSMapFrame panned = view->frame();
    EXPECT_EQ(std::pair(panned.shapes[0].mesh, panned.infoWindow.picture.cacheKey()),
              std::pair(first.shapes[0].mesh, first.infoWindow.picture.cacheKey()));

    line->setStrokeWidth(5);
    m->setTitle("Mast 2");
    (void)window.grabWindow();
    const GMSMapFrame changed = view->frame();
    EXPECT_TRUE(changed.shapes[0].mesh != first.shapes[0].mesh && changed.shapes[0].mesh->strokeWidth == 5.0f &&
                changed.infoWindow.picture.cacheKey() != first.infoWindow.picture.cacheKey());
    EXPECT_EQ(std::tuple(GMSMapRenderer::totals().geometryBuilds, syncs >= 3, madeInSync),
              std::tuple(built + 2, true, 0));
    view->setParentItem(nullptr);
}

}  // namespace
