#include "GMSMapView.h"

#include <QDebug>
#include <QMouseEvent>
#include <QQuickWindow>
#include <QTouchEvent>
#include <QWheelEvent>

#include <algorithm>
#include <cmath>

#include "Clock.h"
#include "GMSCoordinateTileSource.h"
#include "GMSMapRenderer.h"
#include "GMSMapViewDelegate.h"
#include "GMSMarker.h"
#include "GMSPolygon.h"
#include "GMSPolyline.h"
#include "GMSServices.h"
#include "GMSTileManager.h"
#include "GMSUISettings.h"
#include "geometry/GMSGeometryUtils.h"

namespace {
constexpr double kPi = 3.141592653589793;
constexpr double kDegrees = 57.29577951308232;
constexpr double kTiltDegreesPerPoint = 0.3;
constexpr double kButtonSize = 40.0;
constexpr double kButtonMargin = 12.0;
constexpr double kWheelZoomPerNotch = 0.5;

double easeOutCubic(double t) { return 1.0 - std::pow(1.0 - t, 3.0); }
}  // namespace

GMSMapView::GMSMapView(QQuickItem* parent) : GMSMapView(std::nullopt, parent) {}

GMSMapView::GMSMapView(const std::optional<GMSCameraPosition>& camera, QQuickItem* parent)
    : QQuickItem(parent), gestures_(this) {
    sharedInit(camera);
}

GMSMapView::~GMSMapView() {
    if (displayLink_) displayLink_->removeClient(this);
    for (const GMSOverlayPtr& o : overlays_) o->overlayID_ = 0;
}

void GMSMapView::sharedInit(const std::optional<GMSCameraPosition>& camera) {
    qRegisterMetaType<GMSCameraPosition>();
    services_ = GMSServices::sharedServicesSync();
    clock_ = &zl::Clock::system();
    if (services_) {
        displayLink_ = services_->displayLink();
    } else {
        // Without services the map still moves: a heartbeat of its own kind.
        static GMSDisplayLink* fallback = new GMSDisplayLink();
        displayLink_ = fallback;
    }
    setFlag(ItemHasContents, true);
    setClip(true);
    setAcceptedMouseButtons(Qt::LeftButton);
    setAcceptTouchEvents(true);
    mapType_ = kGMSTypeNormal;
    settings_ = new GMSUISettings(this);
    connect(settings_, &GMSUISettings::changed, this, [this] {
        gestures_.setGestures(settings_->gestures());
        gestures_.setAllowPanDuringRotateOrZoom(settings_->allowScrollGesturesDuringRotateOrZoom());
        update();
    });
    tiles_ = new GMSTileManager(this);
    connect(tiles_, &GMSTileManager::tilesChanged, this, &GMSMapView::tilesChanged);
    connect(tiles_, &GMSTileManager::loadingStarted, this, [this] {
        if (delegate_) delegate_->mapViewDidStartTileRendering(this);
        emit tileRenderingStarted();
    });
    connect(tiles_, &GMSTileManager::loadingFinished, this, [this] {
        // A paced frame still waiting (the last tile failed) is due now.
        if (tileFrameTimer_.isActive()) {
            tileFrameTimer_.stop();
            if (rendering_) requestTileFrame();
        }
        if (delegate_) delegate_->mapViewDidFinishTileRendering(this);
        emit tileRenderingFinished();
        checkIdle();
    });
    if (services_) tiles_->setSource(services_->tileSource());
    setMapType(kGMSTypeNormal);
    camera_ = camera.value_or(GMSCameraPosition(51.1789, -1.8264, 4.0f));
    settings_->didMoveToCameraPosition(camera_);
    tileFrameTimer_.setSingleShot(true);
    tileFrameTimer_.setTimerType(Qt::PreciseTimer);
    connect(&tileFrameTimer_, &QTimer::timeout, this, [this] {
        if (rendering_) requestTileFrame();
    });
    gestureTimer_.setSingleShot(true);
    connect(&gestureTimer_, &QTimer::timeout, this, [this] {
        gestures_.timeout(clock_->monotonicSeconds());
        scheduleGestureTimer();
    });
    frameRateSetting_ = kGMSFrameRateMaximum;
}

// ---------------------------------------------------------------- camera

GMSProjection GMSMapView::projection() const { return GMSProjection(camera_, size(), padding_); }

void GMSMapView::setCamera(const GMSCameraPosition& camera) {
    animation_.reset();
    refreshTicking();
    storeCamera(camera, false);
    checkIdle();
}

void GMSMapView::moveCameraTo(double latitude, double longitude, double zoom) {
    setCamera(GMSCameraPosition(latitude, longitude, float(zoom)));
}

void GMSMapView::storeCamera(const GMSCameraPosition& camera, bool fromGesture) {
    if (camera == camera_) return;
    if (!reportedMove_) {
        reportedMove_ = true;
        if (delegate_) delegate_->willMove(this, fromGesture);
        emit willMove(fromGesture);
    }
    camera_ = camera;
    settings_->didMoveToCameraPosition(camera_);
    cameraDidChange();
    if (delegate_) delegate_->didChangeCameraPosition(this, camera_);
    emit didChangeCameraPosition(camera_);
    emit cameraChanged();
}

void GMSMapView::cameraDidChange() {
    if (width() > 0 && height() > 0) tiles_->update(projection());
    if (rendering_) {
        tileFrameTimer_.stop();
        requestTileFrame();
    }
}

void GMSMapView::animateToCameraPosition(const GMSCameraPosition& camera) { startAnimation(camera); }

void GMSMapView::animateToLocation(CLLocationCoordinate2D location) {
    const GMSCameraPosition base = animation_ ? animation_->to : camera_;
    startAnimation(GMSCameraPosition(location, base.zoom(), base.bearing(), base.viewingAngle()));
}

void GMSMapView::animateToZoom(float zoom) {
    const GMSCameraPosition base = animation_ ? animation_->to : camera_;
    startAnimation(GMSCameraPosition(base.target(), zoom, base.bearing(), base.viewingAngle()));
}

void GMSMapView::animateToBearing(double bearing) {
    const GMSCameraPosition base = animation_ ? animation_->to : camera_;
    startAnimation(GMSCameraPosition(base.target(), base.zoom(), bearing, base.viewingAngle()));
}

void GMSMapView::animateToViewingAngle(double viewingAngle) {
    const GMSCameraPosition base = animation_ ? animation_->to : camera_;
    startAnimation(GMSCameraPosition(base.target(), base.zoom(), base.bearing(), viewingAngle));
}

void GMSMapView::moveCamera(const CameraUpdate& update) {
    if (update) setCamera(update(camera_, projection()));
}

void GMSMapView::animateWithCameraUpdate(const CameraUpdate& update) {
    if (update) startAnimation(update(camera_, projection()));
}

void GMSMapView::startAnimation(const GMSCameraPosition& to, std::optional<QPointF> fixedPoint) {
    Animation a;
    a.from = camera_;
    a.to = to;
    a.start = clock_->monotonicSeconds();
    a.fixedPoint = fixedPoint;
    animation_ = a;
    refreshTicking();
}

void GMSMapView::stepAnimation(double now) {
    if (!animation_) return;
    const Animation a = *animation_;
    const double t = a.duration > 0 ? std::clamp((now - a.start) / a.duration, 0.0, 1.0) : 1.0;
    if (t >= 1.0) {
        animation_.reset();
        storeCamera(a.to, false);
        refreshTicking();
        checkIdle();
        return;
    }
    const double e = easeOutCubic(t);
    const float zoom = float(a.from.zoom() + (a.to.zoom() - a.from.zoom()) * e);
    double db = a.to.bearing() - a.from.bearing();
    if (db > 180.0) db -= 360.0;
    if (db < -180.0) db += 360.0;
    const double bearing = a.from.bearing() + db * e;
    const double tilt = a.from.viewingAngle() + (a.to.viewingAngle() - a.from.viewingAngle()) * e;
    if (a.fixedPoint) {
        // Zoom about a point: the ground under it stays under it.
        const GMSProjection p0(a.from, size(), padding_);
        const QPointF w = p0.worldPointForPoint(*a.fixedPoint) / p0.worldSize();
        storeCamera(cameraPlacing(w, *a.fixedPoint, zoom, bearing, tilt), false);
        return;
    }
    // Straight in the world square, the shorter way round.
    const double x0 = gms_mercator::xForLongitude(a.from.target().longitude);
    double x1 = gms_mercator::xForLongitude(a.to.target().longitude);
    if (x1 - x0 > 0.5) x1 -= 1.0;
    if (x0 - x1 > 0.5) x1 += 1.0;
    const double y0 = gms_mercator::yForLatitude(a.from.target().latitude);
    const double y1 = gms_mercator::yForLatitude(a.to.target().latitude);
    const CLLocationCoordinate2D target{gms_mercator::latitudeForY(y0 + (y1 - y0) * e),
                                        gms_mercator::longitudeForX(x0 + (x1 - x0) * e)};
    storeCamera(GMSCameraPosition(target, zoom, bearing, tilt), false);
}

GMSCameraPosition GMSMapView::cameraPlacing(QPointF w, QPointF viewPoint, float zoom, double bearing,
                                            double tilt) const {
    // The camera with these zoom and bearing whose projection maps w to viewPoint.
    const GMSCameraPosition probe(camera_.target(), zoom, bearing, tilt);
    const GMSProjection p(probe, size(), padding_);
    const double scale = p.worldSize();
    const QPointF c = p.viewCenter();
    const double b = probe.bearing() / kDegrees;
    const double sx = viewPoint.x() - c.x(), sy = viewPoint.y() - c.y();
    const double ox = (sx * std::cos(b) - sy * std::sin(b)) / scale;
    const double oy = (sx * std::sin(b) + sy * std::cos(b)) / scale;
    const double tx = w.x() - ox;
    const double ty = std::clamp(w.y() - oy, 0.0, 1.0);
    const CLLocationCoordinate2D target{gms_mercator::latitudeForY(ty), gms_mercator::longitudeForX(tx)};
    return GMSCameraPosition(target, probe.zoom(), probe.bearing(), probe.viewingAngle());
}

// ---------------------------------------------------------------- ticking

unsigned GMSMapView::preferredFrameRate() const {
    static const unsigned rates[] = {15, 30, 60};
    return std::min(rates[std::min<unsigned long>(frameRateSetting_, 2)], 60u);
}

bool GMSMapView::setPreferredFrameRate(unsigned long rate) {
    if (rate > 2) {
        qWarning().noquote() << QStringLiteral("Invalid frame rate of %1. Use GMSFrameRate enum.").arg(rate);
        return false;
    }
    frameRateSetting_ = rate;
    preferredFrameRateDidChange();
    return true;
}

void GMSMapView::setClock(zl::Clock* clock) { clock_ = clock ? clock : &zl::Clock::system(); }

void GMSMapView::setDisplayLink(GMSDisplayLink* link) {
    if (displayLink_ == link) return;
    if (displayLink_ && ticking_) displayLink_->removeClient(this);
    ticking_ = false;
    displayLink_ = link;
    refreshTicking();
}

void GMSMapView::refreshTicking() {
    // Join the heartbeat only while something moves: an idle map costs nothing.
    const bool want = animation_.has_value() || gestures_.isDecelerating();
    if (want == ticking_ || !displayLink_) return;
    ticking_ = want;
    if (want)
        displayLink_->addClient(this);
    else
        displayLink_->removeClient(this);
}

void GMSMapView::displayLinkFired(GMSDisplayLink*) {
    const double now = clock_->monotonicSeconds();
    if (gestures_.isDecelerating()) gestures_.tick(now);
    if (animation_) stepAnimation(now);
    refreshTicking();
}

bool GMSMapView::isIdle() const {
    return !duringGesture_ && !animation_ && !gestures_.isDecelerating() && !tiles_->isLoading();
}

void GMSMapView::checkIdle() {
    if (!reportedMove_ || duringGesture_ || animation_ || gestures_.isDecelerating()) return;
    reportedMove_ = false;
    hasPendingOverlayChanges_ = false;
    if (delegate_) delegate_->idleAtCameraPosition(this, camera_);
    emit idleAtCameraPosition(camera_);
}

void GMSMapView::startRendering() {
    rendering_ = true;
    update();
}

void GMSMapView::stopRendering() { rendering_ = false; }

// ---------------------------------------------------------------- map type, tiles

void GMSMapView::setMapType(int type) {
    mapType_ = type;
    switch (type) {
    case kGMSTypeNormal: mapImageMode_ = 0; vectorMode_ = 1; break;
    case kGMSTypeSatellite: mapImageMode_ = 1; vectorMode_ = 0; break;
    case kGMSTypeTerrain: mapImageMode_ = 2; vectorMode_ = 1; break;
    case kGMSTypeHybrid: mapImageMode_ = 1; vectorMode_ = 1; break;
    case kGMSTypeNone: mapImageMode_ = 0; vectorMode_ = 0; break;
    default:
        emit mapTypeChanged();
        return;  // stored without effect on the layers
    }
    tiles_->setLayers(tileLayers());
    cameraDidChange();
    emit mapTypeChanged();
}

std::vector<GMSTileLayerType> GMSMapView::tileLayers() const {
    std::vector<GMSTileLayerType> layers;
    if (mapImageMode_ == 1) layers.push_back(GMSTileLayerType::Satellite);
    if (mapImageMode_ == 2) layers.push_back(GMSTileLayerType::Terrain);
    // Without imagery the vector layer is the base map; over imagery it is the labels.
    if (vectorMode_ == 1) layers.push_back(mapImageMode_ == 0 ? GMSTileLayerType::Roadmap : GMSTileLayerType::Labels);
    return layers;
}

void GMSMapView::setTileSource(GMSTileSource* source) {
    tiles_->setSource(source);
    cameraDidChange();
}

GMSTileSource* GMSMapView::tileSource() const { return tiles_->source(); }

void GMSMapView::tilesChanged() {
    if (!rendering_) return;
    // The tile that completes the screen is shown at once. Tiles that arrive
    // while others still load are shown at most once per frame of the map's
    // rate: more partial screens than the display can show would only take
    // the time that decoding the rest of the screen needs.
    if (!tiles_->isLoading()) {
        tileFrameTimer_.stop();
        requestTileFrame();
        return;
    }
    if (tileFrameTimer_.isActive()) return;
    const double interval = 1.0 / std::max(1u, preferredFrameRate());
    const double since = clock_->monotonicSeconds() - lastTileFrame_;
    if (since >= interval || since < 0.0)  // a clock set anew starts afresh
        requestTileFrame();
    else
        tileFrameTimer_.start(int(std::ceil((interval - since) * 1000.0)));
}

void GMSMapView::requestTileFrame() {
    lastTileFrame_ = clock_->monotonicSeconds();
    update();
}

// ---------------------------------------------------------------- padding, location

void GMSMapView::setPadding(const QMarginsF& padding) {
    padding_ = padding;
    cameraDidChange();
}

void GMSMapView::setMyLocationEnabled(bool enabled) {
    myLocationEnabled_ = enabled;
    refreshMyLocationState();
    emit myLocationChanged();
}

void GMSMapView::refreshMyLocationState() {
    if (myLocationEnabled_ && lastFix_) {
        userPosition_ = *lastFix_;
    } else {
        userPosition_ = {kUnknownUserPosition, kUnknownUserPosition};
    }
    update();
}

void GMSMapView::setLocationFix(CLLocationCoordinate2D location) {
    lastFix_ = location;
    refreshMyLocationState();
    emit myLocationChanged();
}

std::optional<CLLocationCoordinate2D> GMSMapView::myLocation() const {
    if (!myLocationEnabled_) return std::nullopt;
    return lastFix_;
}

// ---------------------------------------------------------------- overlays

void GMSMapView::updateOverlay(GMSOverlay* overlay) {
    if (!overlay) return;
    auto it = overlayIndex_.find(overlay);
    const bool known = it != overlayIndex_.end();
    const bool present = overlay->map() == this;
    if (!known && !present) return;
    hasPendingOverlayChanges_ = true;
    if (present) {
        if (!known) {
            const std::uint64_t id = nextOverlayID_++;
            overlayIndex_.emplace(overlay, id);
            overlays_.push_back(overlay->shared_from_this());
            overlay->overlayID_ = id;
        } else {
            overlay->overlayID_ = it->second;
        }
    } else {
        removeOverlayEntry(overlay);
    }
    polish();
    update();
}

void GMSMapView::removeOverlayEntry(GMSOverlay* overlay) {
    overlayIndex_.erase(overlay);
    if (selectedMarker_ == overlay) selectedMarker_ = nullptr;
    overlay->overlayID_ = 0;
    // The last strong reference may be ours: keep the object alive until we are done.
    GMSOverlayPtr keep;
    auto pos = std::find_if(overlays_.begin(), overlays_.end(), [&](const GMSOverlayPtr& p) { return p.get() == overlay; });
    if (pos != overlays_.end()) {
        keep = *pos;
        overlays_.erase(pos);
    }
}

void GMSMapView::clear() {
    selectedMarker_ = nullptr;
    const std::vector<GMSOverlayPtr> all = overlays_;
    for (const GMSOverlayPtr& o : all) o->setMap(nullptr);
    overlays_.clear();
    overlayIndex_.clear();
    polish();
    update();
}

void GMSMapView::setSelectedMarker(GMSMarker* marker) {
    if (marker && overlayIndex_.find(marker) == overlayIndex_.end()) marker = nullptr;
    selectedMarker_ = marker;
    polish();
    update();
}

// ---------------------------------------------------------------- hit testing

QRectF GMSMapView::markerFrame(const GMSMarker* marker, const GMSProjection& projection) const {
    const QImage icon = marker->effectiveIcon();
    const QSizeF s = icon.isNull() ? QSizeF(0, 0) : icon.deviceIndependentSize();
    const QPointF p = projection.pointForCoordinate(marker->position());
    const QPointF a = marker->groundAnchor();
    return QRectF(p.x() - a.x() * s.width(), p.y() - a.y() * s.height(), s.width(), s.height());
}

QRectF GMSMapView::myLocationButtonRect() const {
    if (!settings_->myLocationButton() || !myLocationEnabled_) return {};
    return QRectF(width() - padding_.right() - kButtonMargin - kButtonSize,
                  height() - padding_.bottom() - kButtonMargin - kButtonSize, kButtonSize, kButtonSize);
}

QRectF GMSMapView::compassRect() const {
    if (!settings_->isCompassVisible()) return {};
    return QRectF(padding_.left() + kButtonMargin, padding_.top() + kButtonMargin, kButtonSize, kButtonSize);
}

QRectF GMSMapView::infoWindowRect() const {
    if (!selectedMarker_ || (selectedMarker_->title().isEmpty() && selectedMarker_->snippet().isEmpty())) return {};
    const QSizeF size = infoWindowSize(selectedMarker_->title(), selectedMarker_->snippet());
    const QRectF frame = markerFrame(selectedMarker_, projection());
    const QPointF a = selectedMarker_->infoWindowAnchor();
    const QPointF tip(frame.left() + a.x() * frame.width(), frame.top() + a.y() * frame.height());
    return QRectF(tip.x() - size.width() / 2.0, tip.y() - size.height(), size.width(), size.height());
}

void GMSMapView::handleTap(QPointF point) {
    if (myLocationButtonRect().contains(point)) {
        const bool handled = delegate_ && delegate_->didTapMyLocationButton(this);
        emit didTapMyLocationButton();
        if (!handled && myLocation()) animateToLocation(*myLocation());
        return;
    }
    if (compassRect().contains(point)) {
        animateToBearing(0.0);
        return;
    }
    if (GMSMarker* m = selectedMarker_; m && infoWindowRect().contains(point)) {
        if (delegate_) delegate_->didTapInfoWindowOfMarker(this, m);
        emit didTapInfoWindowOfMarker(m);
        return;
    }
    const GMSProjection proj = projection();
    // Markers first (their tap order wins), the topmost first.
    std::vector<GMSOverlayPtr> candidates;
    for (auto it = overlays_.rbegin(); it != overlays_.rend(); ++it)
        if ((*it)->isTappable()) candidates.push_back(*it);
    std::stable_sort(candidates.begin(), candidates.end(), [](const GMSOverlayPtr& a, const GMSOverlayPtr& b) {
        const bool am = a->type() == GMSOverlay::Marker, bm = b->type() == GMSOverlay::Marker;
        if (am != bm) return am;
        return a->zIndex() > b->zIndex();
    });
    for (const GMSOverlayPtr& o : candidates) {
        if (o->type() == GMSOverlay::Marker) {
            auto* m = static_cast<GMSMarker*>(o.get());
            if (!CLLocationCoordinate2DIsValid(m->position())) continue;
            const QSizeF pad = m->tapPadding();
            if (!markerFrame(m, proj).adjusted(-pad.width(), -pad.height(), pad.width(), pad.height()).contains(point))
                continue;
            emit didTapMarker(m);
            for (const MarkerTapDelegate& d : markerTapDelegates_)
                if (d && d(this, m)) return;
            if (delegate_ && delegate_->didTapMarker(this, m)) return;
            setSelectedMarker(selectedMarker_ == m ? nullptr : m);
            if (selectedMarker_) animateToLocation(selectedMarker_->position());
            return;
        }
        bool hit = false;
        const CLLocationCoordinate2D c = proj.coordinateForPoint(point);
        if (o->type() == GMSOverlay::Polygon) {
            auto* pg = static_cast<GMSPolygon*>(o.get());
            hit = GMSGeometryContainsLocation(c, pg->path(), pg->geodesic());
        } else if (o->type() == GMSOverlay::Polyline) {
            auto* pl = static_cast<GMSPolyline*>(o.get());
            const auto& pts = pl->preparedVertices().coordinates;
            const double slop = std::max(8.0, pl->strokeWidth() / 2.0 + 4.0);
            for (std::size_t i = 1; i < pts.size() && !hit; ++i) {
                const QPointF a = proj.pointForCoordinate(pts[i - 1]), b = proj.pointForCoordinate(pts[i]);
                const QPointF ab = b - a, ap = point - a;
                const double len2 = QPointF::dotProduct(ab, ab);
                const double t = len2 > 0 ? std::clamp(QPointF::dotProduct(ap, ab) / len2, 0.0, 1.0) : 0.0;
                const QPointF d = point - (a + ab * t);
                hit = std::hypot(d.x(), d.y()) <= slop;
            }
        }
        if (hit) {
            if (delegate_) delegate_->didTapOverlay(this, o.get());
            emit didTapOverlay(o.get());
            return;
        }
    }
    // A tap on the bare map closes the info window.
    if (selectedMarker_) setSelectedMarker(nullptr);
    const CLLocationCoordinate2D c = proj.coordinateForPoint(point);
    if (delegate_) delegate_->didTapAtCoordinate(this, c);
    emit didTapAtCoordinate(c.latitude, c.longitude);
}

void GMSMapView::handleLongPress(QPointF point) {
    if (infoWindowRect().contains(point)) return;
    const GMSProjection proj = projection();
    for (const GMSOverlayPtr& o : overlays_) {
        if (o->type() != GMSOverlay::Marker) continue;
        auto* m = static_cast<GMSMarker*>(o.get());
        if (m->isDraggable() && markerFrame(m, proj).contains(point)) return;
    }
    const CLLocationCoordinate2D c = proj.coordinateForPoint(point);
    if (delegate_) delegate_->didLongPressAtCoordinate(this, c);
    emit didLongPressAtCoordinate(c.latitude, c.longitude);
}

// ---------------------------------------------------------------- gestures

void GMSMapView::willStartGestures() {
    duringGesture_ = true;
    animation_.reset();
    refreshTicking();
}

void GMSMapView::didEndGestures() {
    duringGesture_ = false;
    checkIdle();
}

void GMSMapView::willStartPanFrom(QPointF point) {
    const GMSProjection p = projection();
    panAnchorWorld_ = p.worldPointForPoint(point) / p.worldSize();
    panAnchorPoint_ = point;
}

void GMSMapView::didPanTo(QPointF point) {
    if (!settings_->scrollGestures() && gestures_.gestureState() <= GMSGestureHandler::PanOrUndecided) return;
    panAnchorPoint_ = point;
    storeCamera(cameraPlacing(panAnchorWorld_, point, camera_.zoom(), camera_.bearing(), camera_.viewingAngle()), true);
}

void GMSMapView::willStartZoom() { zoomStart_ = camera_.zoom(); }

void GMSMapView::didZoomRelative(double scale) {
    if (!(scale > 0.0)) return;
    const float zoom = float(zoomStart_ + std::log2(scale));
    storeCamera(cameraPlacing(panAnchorWorld_, panAnchorPoint_, zoom, camera_.bearing(), camera_.viewingAngle()), true);
}

void GMSMapView::willStartRotation() { bearingStart_ = camera_.bearing(); }

void GMSMapView::didRotateRelative(double radians) {
    const double bearing = bearingStart_ - radians * kDegrees;
    storeCamera(cameraPlacing(panAnchorWorld_, panAnchorPoint_, camera_.zoom(), bearing, camera_.viewingAngle()), true);
}

void GMSMapView::willStartTilt() { tiltStart_ = camera_.viewingAngle(); }

void GMSMapView::didTiltRelative(double points) {
    storeCamera(GMSCameraPosition(camera_.target(), camera_.zoom(), camera_.bearing(),
                                  tiltStart_ - points * kTiltDegreesPerPoint),
                true);
}

void GMSMapView::didTap(QPointF point) { handleTap(point); }

void GMSMapView::didLongPress(QPointF point) { handleLongPress(point); }

void GMSMapView::didDoubleTap(QPointF point) {
    startAnimation(GMSCameraPosition(camera_.target(), camera_.zoom() + 1.0f, camera_.bearing(), camera_.viewingAngle()),
                   point);
}

void GMSMapView::didTwoFingerTap(QPointF point) {
    startAnimation(GMSCameraPosition(camera_.target(), camera_.zoom() - 1.0f, camera_.bearing(), camera_.viewingAngle()),
                   point);
}

void GMSMapView::decelerationTicksNeeded(bool) {
    refreshTicking();
    checkIdle();
}

void GMSMapView::feedGestures(const std::vector<GMSTouchPoint>& touches) {
    gestures_.feed(clock_->monotonicSeconds(), touches);
    scheduleGestureTimer();
}

void GMSMapView::scheduleGestureTimer() {
    const auto deadline = gestures_.nextDeadline();
    if (!deadline) {
        gestureTimer_.stop();
        return;
    }
    const double ms = std::max(0.0, (*deadline - clock_->monotonicSeconds()) * 1000.0);
    gestureTimer_.start(int(std::ceil(ms)));
}

void GMSMapView::touchEvent(QTouchEvent* event) {
    std::vector<GMSTouchPoint> touches;
    for (const QEventPoint& p : event->points())
        if (p.state() != QEventPoint::Released) touches.push_back({p.id(), p.position()});
    feedGestures(touches);
    event->accept();
}

void GMSMapView::touchUngrabEvent() { gestures_.cancel(clock_->monotonicSeconds()); }

void GMSMapView::mousePressEvent(QMouseEvent* event) {
    mouseDown_ = true;
    feedGestures({{0, event->position()}});
    event->accept();
}

void GMSMapView::mouseMoveEvent(QMouseEvent* event) {
    if (mouseDown_) feedGestures({{0, event->position()}});
    event->accept();
}

void GMSMapView::mouseReleaseEvent(QMouseEvent* event) {
    mouseDown_ = false;
    feedGestures({});
    event->accept();
}

void GMSMapView::mouseDoubleClickEvent(QMouseEvent* event) {
    // The second press of a double click: the tap logic sees it as such.
    mouseDown_ = true;
    feedGestures({{0, event->position()}});
    event->accept();
}

void GMSMapView::mouseUngrabEvent() {
    mouseDown_ = false;
    gestures_.cancel(clock_->monotonicSeconds());
}

void GMSMapView::wheelEvent(QWheelEvent* event) {
    if (!settings_->zoomGestures()) {
        event->ignore();
        return;
    }
    const double notches = event->angleDelta().y() / 120.0;
    if (notches == 0.0) return;
    const QPointF at = event->position();
    const GMSProjection p = projection();
    const QPointF w = p.worldPointForPoint(at) / p.worldSize();
    animation_.reset();
    refreshTicking();
    storeCamera(cameraPlacing(w, at, float(camera_.zoom() + notches * kWheelZoomPerNotch), camera_.bearing(),
                              camera_.viewingAngle()),
                true);
    checkIdle();
    event->accept();
}

void GMSMapView::geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) {
    QQuickItem::geometryChange(newGeometry, oldGeometry);
    if (newGeometry.size() != oldGeometry.size()) cameraDidChange();
}

// ---------------------------------------------------------------- rendering

void GMSMapView::updatePolish() { prepareFrame(); }

QSGNode* GMSMapView::updatePaintNode(QSGNode* old, UpdatePaintNodeData*) {
    // The root node owns every texture and node of the map; the scene graph
    // deletes it (on the render thread) with the item or the window.
    auto* root = static_cast<GMSMapRenderer*>(old);
    if (!root) root = new GMSMapRenderer();
    root->sync(frame(), window());
    return root;
}
