#include <gtest/gtest.h>

#include <QSignalSpy>

#include <cmath>

#include "Clock.h"
#include "GMSGroundOverlay.h"
#include "GMSMapView.h"
#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "GMSUISettings.h"
#include "fakes.h"
#include "testsupport.h"

namespace {

// A tile source that answers nothing: the map tests need no pictures.
struct SilentSource : GMSTileSource {
    zl::RequestHandle requestTile(const GMSTileKey& k, Answer) override {
        asked.append(k);
        return zl::RequestHandle([self = QPointer<SilentSource>(this), k] {
            if (self) self->cancelled.append(k);
        });
    }
    QList<GMSTileKey> asked, cancelled;
};

struct RecordingDelegate : GMSMapViewDelegate {
    bool consumeMarkerTaps = false;
    std::vector<GMSMarker*> markerTaps;
    std::vector<CLLocationCoordinate2D> longPresses, taps;
    std::vector<GMSOverlay*> overlayTaps;
    int idle = 0;
    bool didTapMarker(GMSMapView*, GMSMarker* m) override {
        markerTaps.push_back(m);
        return consumeMarkerTaps;
    }
    void didLongPressAtCoordinate(GMSMapView*, CLLocationCoordinate2D c) override { longPresses.push_back(c); }
    void didTapAtCoordinate(GMSMapView*, CLLocationCoordinate2D c) override { taps.push_back(c); }
    void didTapOverlay(GMSMapView*, GMSOverlay* o) override { overlayTaps.push_back(o); }
    void idleAtCameraPosition(GMSMapView*, const GMSCameraPosition&) override { ++idle; }
};

class MapViewTest : public ::testing::Test {
protected:
    void SetUp() override {
        GMSServices::resetForTests();
        GMSServices::provideAPIKey(QString(39, QChar('A')));
        view = std::make_unique<GMSMapView>(GMSCameraPosition(10.0, 20.0, 10.0f));
        view->setSize(QSizeF(400, 300));
        view->setTileSource(&source);
        view->setClock(&clock);
        view->setDisplayLink(&link);
        view->setDelegate(&delegate);
    }
    void TearDown() override {
        view.reset();
        GMSServices::resetForTests();
    }
    void runAnimation(double seconds = 1.0) {
        for (int i = 0; i < int(seconds * 60) && ManualFrameTimer::last; ++i) {
            clock.advanceSeconds(1.0 / 60);
            ManualFrameTimer::last->fire();
        }
    }

    SilentSource source;
    zl::ManualClock clock{100.0};
    GMSDisplayLink link{ManualFrameTimer::factory()};
    RecordingDelegate delegate;
    std::unique_ptr<GMSMapView> view;
};

TEST_F(MapViewTest, DefaultCameraWithoutOne) {
    GMSMapView v;
    EXPECT_EQ(v.camera(), GMSCameraPosition(51.1789, -1.8264, 4.0f));
    EXPECT_EQ(v.mapType(), 1);
    EXPECT_EQ(v.preferredFrameRate(), 60u);
}

TEST_F(MapViewTest, SetCameraAppliesLimits) {
    view->setCamera(GMSCameraPosition(95.0, 190.0, 25.0f));
    EXPECT_EQ(view->camera().zoom(), 21.0f);
    EXPECT_EQ(view->camera().target().latitude, 90.0);
    EXPECT_EQ(view->camera().target().longitude, -170.0);
    view->setCamera(GMSCameraPosition(0.0, 0.0, 0.0f));
    EXPECT_EQ(view->camera().zoom(), 2.0f);
}

TEST_F(MapViewTest, OverlayLifeCycle) {
    auto m = GMSMarker::markerWithPosition({10, 20});
    EXPECT_EQ(m->overlayID(), 0u);
    m->setMap(view.get());
    m->setMap(view.get());
    EXPECT_EQ(view->overlays().size(), 1u);
    EXPECT_EQ(m->map(), view.get());
    EXPECT_NE(m->overlayID(), 0u);
    m->setMap(nullptr);
    EXPECT_TRUE(view->overlays().empty());
    EXPECT_EQ(m->map(), nullptr);
    EXPECT_EQ(m->overlayID(), 0u);
    // Moving between maps.
    GMSMapView other;
    m->setMap(view.get());
    m->setMap(&other);
    EXPECT_TRUE(view->overlays().empty());
    EXPECT_EQ(other.overlays().size(), 1u);
    m->setMap(nullptr);
}

TEST_F(MapViewTest, MapKeepsOverlaysAliveUntilRemoved) {
    std::weak_ptr<GMSPolyline> weak;
    {
        auto line = GMSPolyline::polylineWithPath(GMSPath({{0, 0}, {1, 1}}));
        weak = line;
        line->setMap(view.get());
    }
    ASSERT_FALSE(weak.expired());
    EXPECT_EQ(view->overlays().size(), 1u);
    view->clear();
    EXPECT_TRUE(weak.expired());
}

TEST_F(MapViewTest, ClearLeavesObjectsUsable) {
    auto m = GMSMarker::markerWithPosition({10, 20});
    auto p = GMSPolygon::polygonWithPath(GMSPath({{0, 0}, {0, 1}, {1, 1}}));
    m->setMap(view.get());
    p->setMap(view.get());
    view->setSelectedMarker(m.get());
    view->clear();
    EXPECT_EQ(m->map(), nullptr);
    EXPECT_EQ(p->map(), nullptr);
    EXPECT_EQ(view->selectedMarker(), nullptr);
    EXPECT_TRUE(view->overlays().empty());
    m->setMap(view.get());
    p->setMap(view.get());
    EXPECT_EQ(view->overlays().size(), 2u);
}

TEST_F(MapViewTest, SettersBeforePlacingCostOnlyAStore) {
    auto m = GMSMarker::markerWithPosition({10, 20});
    m->setRotation(45.0);
    m->setFlat(true);
    m->setOpacity(0.5f);
    EXPECT_FALSE(view->hasPendingOverlayChanges());
    m->setMap(view.get());
    EXPECT_TRUE(view->hasPendingOverlayChanges());
    auto* placed = static_cast<GMSMarker*>(view->overlays().front().get());
    EXPECT_EQ(placed->rotation(), 45.0);
    EXPECT_TRUE(placed->isFlat());
    EXPECT_EQ(placed->opacity(), 0.5f);
}

TEST_F(MapViewTest, OverlayMadeWithoutFactoryIsRefused) {
    zltest::LogCapture log;
    GMSMarker onStack;
    onStack.setMap(view.get());
    EXPECT_EQ(onStack.map(), nullptr);
    EXPECT_TRUE(view->overlays().empty());
    EXPECT_FALSE(log.warnings().isEmpty());
}

TEST_F(MapViewTest, OverlayDefaults) {
    GMSMarker m;
    EXPECT_EQ(m.type(), 1);
    EXPECT_EQ(m.position(), kCLLocationCoordinate2DInvalid);
    EXPECT_EQ(m.groundAnchor(), QPointF(0.5, 1.0));
    EXPECT_EQ(m.infoWindowAnchor(), QPointF(0.5, 0.0));
    EXPECT_TRUE(m.isTappable());
    EXPECT_EQ(m.opacity(), 1.0f);
    EXPECT_EQ(m.rotation(), 0.0);
    EXPECT_FALSE(m.isFlat());
    EXPECT_FALSE(m.isDraggable());
    EXPECT_TRUE(m.tracksViewChanges());
    EXPECT_EQ(m.tapPadding(), QSizeF(4, 4));
    EXPECT_EQ(m.collisionBehavior(), 0);
    EXPECT_EQ(m.tapOrdering(), 163072u);
    EXPECT_EQ(m.tapOrdering() & 0xFFFF, 32000u);
    EXPECT_EQ(m.tapOrdering() >> 16, 2u);
    EXPECT_EQ(m.zIndex(), 0);

    GMSPolyline l;
    EXPECT_EQ(l.type(), 3);
    EXPECT_EQ(l.strokeWidth(), 1.0f);
    EXPECT_EQ(l.strokeColor(), QColor(0, 0, 255));
    EXPECT_FALSE(l.geodesic());
    EXPECT_FALSE(l.spans().has_value());
    EXPECT_FALSE(l.isTappable());
    EXPECT_EQ(l.disappearingZoom(), -1.0);
    EXPECT_EQ(l.minimumVisibleZoom(), -1.0);
    EXPECT_TRUE(l.useOldRenderer());

    GMSPolygon p;
    EXPECT_EQ(p.type(), 4);
    EXPECT_EQ(p.strokeWidth(), 1.0f);
    EXPECT_FALSE(p.strokeColor().isValid());
    EXPECT_EQ(p.fillColor(), QColor::fromRgbF(0, 0, 1, 0.3f));
    EXPECT_FALSE(p.geodesic());
    EXPECT_TRUE(p.holes().empty());

    GMSGroundOverlay g;
    EXPECT_EQ(g.type(), 2);
    EXPECT_EQ(g.anchor(), QPointF(0.5, 0.5));
    EXPECT_EQ(g.position(), kCLLocationCoordinate2DInvalid);
    EXPECT_EQ(g.opacity(), 1.0f);
    EXPECT_EQ(g.bearing(), 0.0);
    EXPECT_TRUE(g.icon().isNull());
    EXPECT_FALSE(g.bounds().has_value());
}

TEST_F(MapViewTest, PolylineKeepsItsOwnPathAndPreparesLazily) {
    GMSMutablePath path;
    path.addLatitude(0, 0);
    auto l = GMSPolyline::polylineWithPath(path);
    EXPECT_TRUE(l->preparedVertices().empty());  // one point draws nothing
    path.addLatitude(1, 1);
    EXPECT_EQ(l->path().count(), 1u);
    l->setPath(path);
    EXPECT_FALSE(l->hasPreparedVertices());
    EXPECT_EQ(l->preparedVertices().points.size(), 2u);
    l->setStrokeWidth(3);
    EXPECT_FALSE(l->hasPreparedVertices());
    l->setSpans(std::vector<GMSStyleSpan>{GMSStyleSpan::spanWithStyle({{1, 0, 0, 1}, {1, 0, 0, 1}, true})});
    EXPECT_FALSE(l->useOldRenderer());
}

TEST_F(MapViewTest, GroundOverlayPositionBearingAndAnchor) {
    QImage icon(64, 32, QImage::Format_ARGB32);
    icon.fill(Qt::red);
    auto g = GMSGroundOverlay::groundOverlayWithBounds(GMSCoordinateBounds({-10, -20}, {10, 20}), icon);
    EXPECT_NEAR(g->position().latitude, 0.0, 1e-6);
    EXPECT_NEAR(g->position().longitude, 0.0, 1e-6);
    g->setAnchor({0.0, 1.0});  // south-west corner
    EXPECT_NEAR(g->position().latitude, -10.0, 1e-6);
    EXPECT_NEAR(g->position().longitude, -20.0, 1e-6);
    g->setAnchor({1.0, 0.0});
    EXPECT_NEAR(g->position().latitude, 10.0, 1e-6);
    EXPECT_NEAR(g->position().longitude, 20.0, 1e-6);
    g->setBearing(-30);
    EXPECT_EQ(g->bearing(), 330.0);
    g->setBearing(725);
    EXPECT_EQ(g->bearing(), 5.0);
    g->setBearing(1e300);  // far away, but still ends
    EXPECT_GE(g->bearing(), 0.0);
    EXPECT_LT(g->bearing(), 360.0);
    auto byZoom = GMSGroundOverlay::groundOverlayWithPosition({0, 0}, icon, 2.0);
    ASSERT_TRUE(byZoom->bounds().has_value());
    // 64 points at zoom 2 is a sixteenth of the world: 22.5 degrees.
    EXPECT_NEAR(byZoom->bounds()->northEast().longitude - byZoom->bounds()->southWest().longitude, 22.5, 1e-6);
    EXPECT_NEAR(byZoom->position().longitude, 0.0, 1e-6);
}

TEST_F(MapViewTest, MapTypesChooseLayers) {
    struct Case {
        int type, image, vector;
        std::vector<GMSTileLayerType> layers;
    } cases[] = {
        {1, 0, 1, {GMSTileLayerType::Roadmap}},
        {2, 1, 0, {GMSTileLayerType::Satellite}},
        {3, 2, 1, {GMSTileLayerType::Terrain, GMSTileLayerType::Labels}},
        {4, 1, 1, {GMSTileLayerType::Satellite, GMSTileLayerType::Labels}},
        {5, 0, 0, {}},
    };
    for (const Case& c : cases) {
        view->setMapType(c.type);
        EXPECT_EQ(view->mapImageMode(), c.image) << c.type;
        EXPECT_EQ(view->vectorMode(), c.vector) << c.type;
        EXPECT_EQ(view->tileLayers(), c.layers) << c.type;
        EXPECT_EQ(view->tileManager()->layers(), c.layers) << c.type;
    }
    view->setMapType(4);
    view->setMapType(17);
    EXPECT_EQ(view->mapType(), 17);
    EXPECT_EQ(view->mapImageMode(), 1);
    EXPECT_EQ(view->vectorMode(), 1);
}

TEST_F(MapViewTest, HybridMapAsksForSatelliteAndLabelTiles) {
    source.asked.clear();
    view->setMapType(4);
    bool satellite = false, labels = false;
    for (const GMSTileKey& k : source.asked) {
        satellite |= k.type == GMSTileLayerType::Satellite;
        labels |= k.type == GMSTileLayerType::Labels;
        EXPECT_EQ(k.zoom, 10);
    }
    EXPECT_TRUE(satellite && labels);
    // Far away: the old tiles are cancelled.
    source.cancelled.clear();
    view->setCamera(GMSCameraPosition(-40.0, -100.0, 10.0f));
    EXPECT_FALSE(source.cancelled.isEmpty());
}

TEST_F(MapViewTest, MyLocation) {
    EXPECT_FALSE(view->myLocation().has_value());
    EXPECT_EQ(view->rendererUserPosition().latitude, 1.7976931348623157e308);
    view->setLocationFix({1, 2});
    EXPECT_FALSE(view->myLocation().has_value());
    view->setMyLocationEnabled(true);
    ASSERT_TRUE(view->myLocation().has_value());
    EXPECT_EQ(view->myLocation()->latitude, 1.0);
    EXPECT_EQ(view->rendererUserPosition().longitude, 2.0);
    view->setMyLocationEnabled(false);
    EXPECT_FALSE(view->myLocation().has_value());
    EXPECT_EQ(view->rendererUserPosition().longitude, 1.7976931348623157e308);
}

TEST_F(MapViewTest, MyLocationButtonGoesToTheFix) {
    view->settings()->setMyLocationButton(true);
    EXPECT_TRUE(view->myLocationButtonRect().isEmpty());  // needs my location on
    view->setMyLocationEnabled(true);
    view->setLocationFix({11, 21});
    const QRectF b = view->myLocationButtonRect();
    ASSERT_FALSE(b.isEmpty());
    view->handleTap(b.center());
    runAnimation();
    EXPECT_NEAR(view->camera().target().latitude, 11.0, 1e-9);
    EXPECT_NEAR(view->camera().target().longitude, 21.0, 1e-9);
}

TEST_F(MapViewTest, PaddingMovesTheVisibleCentre) {
    view->setPadding(QMarginsF(0, 100, 0, 0));
    const QPointF c = view->projection().pointForCoordinate(view->camera().target());
    EXPECT_NEAR(c.x(), 200, 1e-9);
    EXPECT_NEAR(c.y(), 200, 1e-9);
}

TEST_F(MapViewTest, FrameRates) {
    zltest::LogCapture log;
    EXPECT_TRUE(view->setPreferredFrameRate(0));
    EXPECT_EQ(view->preferredFrameRate(), 15u);
    EXPECT_TRUE(view->setPreferredFrameRate(1));
    EXPECT_EQ(view->preferredFrameRate(), 30u);
    EXPECT_FALSE(view->setPreferredFrameRate(3));
    EXPECT_TRUE(log.contains("Invalid frame rate of 3. Use GMSFrameRate enum."));
    EXPECT_EQ(view->preferredFrameRate(), 30u);
}

TEST_F(MapViewTest, AnimationRunsOnTheDisplayLinkOnlyWhileMoving) {
    EXPECT_EQ(link.clientCount(), 0);
    QSignalSpy idle(view.get(), &GMSMapView::idleAtCameraPosition);
    view->animateToLocation({12.0, 22.0});
    EXPECT_EQ(link.clientCount(), 1);
    clock.advanceSeconds(0.25);
    ManualFrameTimer::last->fire();
    const CLLocationCoordinate2D mid = view->camera().target();
    EXPECT_GT(mid.latitude, 10.0);
    EXPECT_LT(mid.latitude, 12.0);
    runAnimation();
    EXPECT_EQ(view->camera().target().latitude, 12.0);
    EXPECT_EQ(view->camera().target().longitude, 22.0);
    EXPECT_EQ(link.clientCount(), 0);
    EXPECT_FALSE(link.hasTimer());
    EXPECT_EQ(idle.count(), 1);
    EXPECT_EQ(delegate.idle, 1);
    // An immediate move stops an animation.
    view->animateToZoom(15);
    view->setCamera(GMSCameraPosition(1.0, 1.0, 5.0f));
    EXPECT_FALSE(view->isAnimating());
    EXPECT_EQ(link.clientCount(), 0);
}

TEST_F(MapViewTest, AnimationTakesTheShortWayRound) {
    view->setCamera(GMSCameraPosition(0.0, 170.0, 5.0f));
    view->animateToLocation({0.0, -170.0});
    clock.advanceSeconds(0.25);
    ManualFrameTimer::last->fire();
    const double lng = view->camera().target().longitude;
    EXPECT_TRUE(lng > 170.0 || lng < -170.0) << lng;
    runAnimation();
}

TEST_F(MapViewTest, MarkerTapSelectsThenDeselects) {
    auto m = GMSMarker::markerWithPosition({10.0, 20.0});
    m->setTitle("Mast");
    m->setSnippet("12 m");
    m->setMap(view.get());
    view->setCamera(GMSCameraPosition(10.001, 20.001, 15.0f));
    const QRectF frame = view->markerFrame(m.get(), view->projection());
    ASSERT_FALSE(frame.isEmpty());
    view->handleTap(frame.center());
    EXPECT_EQ(view->selectedMarker(), m.get());
    ASSERT_EQ(delegate.markerTaps.size(), 1u);
    EXPECT_TRUE(view->isAnimating());
    EXPECT_FALSE(view->infoWindowRect().isEmpty());
    runAnimation();
    EXPECT_EQ(view->camera().target().latitude, 10.0);
    // Second tap: deselected, and no animation, since no marker is selected.
    const QRectF again = view->markerFrame(m.get(), view->projection());
    view->handleTap(again.center());
    EXPECT_EQ(view->selectedMarker(), nullptr);
    EXPECT_FALSE(view->isAnimating());
    EXPECT_TRUE(view->infoWindowRect().isEmpty());
}

TEST_F(MapViewTest, TapPaddingWidensTheMarkerTarget) {
    auto m = GMSMarker::markerWithPosition({10.0, 20.0});
    m->setMap(view.get());
    const QRectF frame = view->markerFrame(m.get(), view->projection());
    view->handleTap(QPointF(frame.right() + 3, frame.center().y()));
    EXPECT_EQ(view->selectedMarker(), m.get());
    view->setSelectedMarker(nullptr);
    view->handleTap(QPointF(frame.right() + 6, frame.center().y()));
    EXPECT_EQ(view->selectedMarker(), nullptr);
    EXPECT_EQ(delegate.taps.size(), 1u);
}

TEST_F(MapViewTest, DelegatesThatHandleTheTapStopTheEngine) {
    auto m = GMSMarker::markerWithPosition({10.0, 20.0});
    m->setMap(view.get());
    const QPointF at = view->markerFrame(m.get(), view->projection()).center();
    std::vector<int> order;
    view->addMarkerTapDelegate([&](GMSMapView*, GMSMarker*) {
        order.push_back(1);
        return false;
    });
    view->addMarkerTapDelegate([&](GMSMapView*, GMSMarker*) {
        order.push_back(2);
        return true;
    });
    view->handleTap(at);
    EXPECT_EQ(order, (std::vector<int>{1, 2}));
    EXPECT_TRUE(delegate.markerTaps.empty());
    EXPECT_EQ(view->selectedMarker(), nullptr);
    EXPECT_FALSE(view->isAnimating());
}

TEST_F(MapViewTest, DelegateReturningTrueKeepsSelection) {
    delegate.consumeMarkerTaps = true;
    auto m = GMSMarker::markerWithPosition({10.0, 20.0});
    m->setMap(view.get());
    view->handleTap(view->markerFrame(m.get(), view->projection()).center());
    EXPECT_EQ(delegate.markerTaps.size(), 1u);
    EXPECT_EQ(view->selectedMarker(), nullptr);
}

TEST_F(MapViewTest, TopmostMarkerWinsTheTap) {
    auto low = GMSMarker::markerWithPosition({10.0, 20.0});
    auto high = GMSMarker::markerWithPosition({10.0, 20.0});
    high->setZIndex(5);
    high->setMap(view.get());
    low->setMap(view.get());
    view->handleTap(view->markerFrame(low.get(), view->projection()).center());
    ASSERT_EQ(delegate.markerTaps.size(), 1u);
    EXPECT_EQ(delegate.markerTaps[0], high.get());
}

TEST_F(MapViewTest, TapsOnShapesAndOnTheMap) {
    auto poly = GMSPolygon::polygonWithPath(GMSPath({{9.9, 19.9}, {9.9, 20.1}, {10.1, 20.1}, {10.1, 19.9}}));
    poly->setMap(view.get());
    const QPointF centre = view->projection().pointForCoordinate({10.0, 20.0});
    view->handleTap(centre);
    EXPECT_TRUE(delegate.overlayTaps.empty());  // not tappable
    ASSERT_EQ(delegate.taps.size(), 1u);
    EXPECT_NEAR(delegate.taps[0].latitude, 10.0, 1e-6);
    EXPECT_NEAR(delegate.taps[0].longitude, 20.0, 1e-6);
    poly->setTappable(true);
    view->handleTap(centre);
    ASSERT_EQ(delegate.overlayTaps.size(), 1u);
    EXPECT_EQ(delegate.overlayTaps[0], poly.get());

    auto line = GMSPolyline::polylineWithPath(GMSPath({{10.3, 19.5}, {10.3, 20.5}}));
    line->setTappable(true);
    line->setMap(view.get());
    const QPointF onLine = view->projection().pointForCoordinate({10.3, 20.0}) + QPointF(0, 3);
    view->handleTap(onLine);
    ASSERT_EQ(delegate.overlayTaps.size(), 2u);
    EXPECT_EQ(delegate.overlayTaps[1], line.get());
}

TEST_F(MapViewTest, LongPressReportsTheCoordinateUnderTheFinger) {
    QSignalSpy spy(view.get(), &GMSMapView::didLongPressAtCoordinate);
    GMSGestureHandler& g = view->gestureHandler();
    g.feed(clock.monotonicSeconds(), {{1, {150, 100}}});
    g.timeout(clock.monotonicSeconds() + 0.4);
    ASSERT_EQ(delegate.longPresses.size(), 1u);
    const CLLocationCoordinate2D want = view->projection().coordinateForPoint({150, 100});
    EXPECT_DOUBLE_EQ(delegate.longPresses[0].latitude, want.latitude);
    EXPECT_DOUBLE_EQ(delegate.longPresses[0].longitude, want.longitude);
    EXPECT_EQ(spy.count(), 1);
    g.feed(clock.monotonicSeconds() + 0.5, {});
    // Not on a draggable marker.
    auto m = GMSMarker::markerWithPosition(view->projection().coordinateForPoint({150, 100}));
    m->setDraggable(true);
    m->setMap(view.get());
    view->handleLongPress(view->markerFrame(m.get(), view->projection()).center());
    EXPECT_EQ(delegate.longPresses.size(), 1u);
}

TEST_F(MapViewTest, PanKeepsTheGroundUnderTheFinger) {
    GMSGestureHandler& g = view->gestureHandler();
    // The pan takes hold once the finger has moved 10 points: at (110, 104).
    const CLLocationCoordinate2D under = view->projection().coordinateForPoint({110, 104});
    double t = clock.monotonicSeconds();
    g.feed(t, {{1, {100, 100}}});
    for (int i = 1; i <= 20; ++i) g.feed(t + i * 0.02, {{1, {100.0 + 5 * i, 100.0 + 2 * i}}});
    const QPointF now = view->projection().pointForCoordinate(under);
    EXPECT_NEAR(now.x(), 200, 1e-6);
    EXPECT_NEAR(now.y(), 140, 1e-6);
    g.feed(t + 0.5, {});
}

TEST_F(MapViewTest, WheelAndPinchZoomAboutThePointer) {
    GMSGestureHandler& g = view->gestureHandler();
    const CLLocationCoordinate2D under = view->projection().coordinateForPoint({150, 150});
    double t = clock.monotonicSeconds();
    g.feed(t, {{1, {100, 150}}});
    g.feed(t + 0.01, {{1, {100, 150}}, {2, {200, 150}}});
    g.feed(t + 0.05, {{1, {50, 150}}, {2, {250, 150}}});  // ratio 2 begins the zoom
    g.feed(t + 0.3, {{1, {0, 150}}, {2, {300, 150}}});     // 1.5 more
    EXPECT_NEAR(view->camera().zoom(), 10.0 + std::log2(1.5), 1e-5);
    const QPointF p = view->projection().pointForCoordinate(under);
    EXPECT_NEAR(p.x(), 150, 1e-3);
    EXPECT_NEAR(p.y(), 150, 1e-3);
    g.feed(t + 0.7, {});
}

TEST_F(MapViewTest, PanInertiaRunsOnTheDisplayLinkAndStops) {
    GMSGestureHandler& g = view->gestureHandler();
    double t = clock.monotonicSeconds();
    g.feed(t, {{1, {100, 100}}});
    for (int i = 1; i <= 20; ++i) g.feed(t + i * 0.01, {{1, {100.0 + 10 * i, 100}}});
    clock.advanceSeconds(t + 0.21 - clock.monotonicSeconds());
    g.feed(clock.monotonicSeconds(), {});
    EXPECT_TRUE(g.isDecelerating());
    EXPECT_EQ(link.clientCount(), 1);
    const double before = view->camera().target().longitude;
    runAnimation(1.0);
    EXPECT_FALSE(g.isDecelerating());
    EXPECT_EQ(link.clientCount(), 0);
    EXPECT_LT(view->camera().target().longitude, before);  // dragged right: the map goes west
}

TEST_F(MapViewTest, CompassShowsWhileTurnedAndResetsBearing) {
    view->settings()->setCompassButton(true);
    EXPECT_TRUE(view->compassRect().isEmpty());
    view->setCamera(GMSCameraPosition({10.0, 20.0}, 10.0f, 30.0, 0.0));
    const QRectF r = view->compassRect();
    ASSERT_FALSE(r.isEmpty());
    view->handleTap(r.center());
    runAnimation();
    EXPECT_EQ(view->camera().bearing(), 0.0);
    EXPECT_TRUE(view->compassRect().isEmpty());
}

TEST_F(MapViewTest, SettingsBitsAndChangeOnlyNotifications) {
    GMSUISettings* s = view->settings();
    QSignalSpy spy(s, &GMSUISettings::changed);
    EXPECT_EQ(s->gestures(), 1 | 2 | 4 | 8);
    s->setRotateGestures(false);
    EXPECT_EQ(s->gestures() & 4, 0);
    EXPECT_EQ(view->gestureHandler().gestures() & 4, 0);
    s->setMyLocationButton(true);
    s->setMyLocationButton(true);
    EXPECT_EQ(spy.count(), 2);
}

}  // namespace
