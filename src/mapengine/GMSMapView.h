#pragma once

#include <QImage>
#include <QMarginsF>
#include <QPointer>
#include <QQuickItem>
#include <QTimer>
#include <QtQml/qqmlregistration.h>

#include <functional>
#include <memory>
#include <optional>
#include <unordered_map>
#include <vector>

#include "GMSCameraPosition.h"
#include "GMSDisplayLink.h"
#include "GMSGestureHandler.h"
#include "GMSMarker.h"
#include "GMSOverlay.h"
#include "GMSProjection.h"
#include "GMSTileSource.h"
#include "geometry/CLLocationCoordinate2D.h"

namespace zl {
class Clock;
}
namespace gms_shape {
struct Mesh;
}
struct GMSMapFrame;
class GMSMapViewDelegate;
class GMSServices;
class GMSTileManager;
class GMSUISettings;

// The map: raster tiles of its map type, the overlays placed on it, the
// my-location dot, the info window of the selected marker, and the compass
// and my-location buttons. Camera changes come from the screen (immediate or
// animated) and from gestures; animations and inertia run on the display
// link, which the view joins only while something moves.
class GMSMapView : public QQuickItem, public GMSDisplayLinkClient, private GMSGestureTarget {
    Q_OBJECT
    QML_NAMED_ELEMENT(GMSMapView)
    Q_PROPERTY(int mapType READ mapType WRITE setMapType NOTIFY mapTypeChanged)
    Q_PROPERTY(bool myLocationEnabled READ isMyLocationEnabled WRITE setMyLocationEnabled NOTIFY myLocationChanged)
    Q_PROPERTY(double cameraLatitude READ cameraLatitude NOTIFY cameraChanged)
    Q_PROPERTY(double cameraLongitude READ cameraLongitude NOTIFY cameraChanged)
    Q_PROPERTY(double cameraZoom READ cameraZoom NOTIFY cameraChanged)
    Q_PROPERTY(double cameraBearing READ cameraBearing NOTIFY cameraChanged)
public:
    enum MapType { kGMSTypeNormal = 1, kGMSTypeSatellite = 2, kGMSTypeTerrain = 3, kGMSTypeHybrid = 4, kGMSTypeNone = 5 };
    enum FrameRate { kGMSFrameRatePowerSave = 0, kGMSFrameRateConservative = 1, kGMSFrameRateMaximum = 2 };
    // What the renderer uses for "no user position".
    static constexpr double kUnknownUserPosition = 1.7976931348623157e308;
    static constexpr double kAnimationDuration = 0.5;  // seconds
    // The info window's bubble around a marker's title and snippet.
    static QSizeF infoWindowSize(const QString& title, const QString& snippet);
    static QImage infoWindowPicture(const QString& title, const QString& snippet);

    explicit GMSMapView(QQuickItem* parent = nullptr);
    // With no camera the map shows latitude 51.1789, longitude -1.8264 at zoom 4.
    GMSMapView(const std::optional<GMSCameraPosition>& camera, QQuickItem* parent = nullptr);
    ~GMSMapView() override;

    // --- Camera ---
    GMSCameraPosition camera() const { return camera_; }
    void setCamera(const GMSCameraPosition& camera);
    void animateToCameraPosition(const GMSCameraPosition& camera);
    void animateToLocation(CLLocationCoordinate2D location);
    void animateToZoom(float zoom);
    void animateToBearing(double bearing);
    void animateToViewingAngle(double viewingAngle);
    // Updates: a function from the present camera to the next.
    using CameraUpdate = std::function<GMSCameraPosition(const GMSCameraPosition&, const GMSProjection&)>;
    void moveCamera(const CameraUpdate& update);
    void animateWithCameraUpdate(const CameraUpdate& update);
    bool isAnimating() const { return animation_.has_value(); }
    GMSProjection projection() const;
    Q_INVOKABLE void moveCameraTo(double latitude, double longitude, double zoom);

    double cameraLatitude() const { return camera_.target().latitude; }
    double cameraLongitude() const { return camera_.target().longitude; }
    double cameraZoom() const { return camera_.zoom(); }
    double cameraBearing() const { return camera_.bearing(); }

    // --- Map type and layers ---
    int mapType() const { return mapType_; }
    void setMapType(int type);
    // The raster and vector modes the map type chose (raster: 0 none,
    // 1 satellite, 2 terrain; vector: 0 off, 1 on).
    int mapImageMode() const { return mapImageMode_; }
    int vectorMode() const { return vectorMode_; }
    std::vector<GMSTileLayerType> tileLayers() const;
    void setTileSource(GMSTileSource* source);
    GMSTileSource* tileSource() const;
    GMSTileManager* tileManager() const { return tiles_; }

    // --- Padding, settings, rendering ---
    QMarginsF padding() const { return padding_; }
    void setPadding(const QMarginsF& padding);
    GMSUISettings* settings() const { return settings_; }
    // 0, 1, 2: 15, 30, 60 frames a second. Anything else is refused.
    bool setPreferredFrameRate(unsigned long rate);
    unsigned long preferredFrameRateSetting() const { return frameRateSetting_; }
    void startRendering();
    void stopRendering();
    bool isRendering() const { return rendering_; }

    // --- My location ---
    bool isMyLocationEnabled() const { return myLocationEnabled_; }
    void setMyLocationEnabled(bool enabled);
    // Absent while disabled or before a fix.
    std::optional<CLLocationCoordinate2D> myLocation() const;
    // The location provider's input.
    void setLocationFix(CLLocationCoordinate2D location);
    CLLocationCoordinate2D rendererUserPosition() const { return userPosition_; }

    // --- Overlays ---
    void clear();
    // Called by an overlay whose map or properties changed.
    void updateOverlay(GMSOverlay* overlay);
    const std::vector<GMSOverlayPtr>& overlays() const { return overlays_; }
    bool hasPendingOverlayChanges() const { return hasPendingOverlayChanges_; }
    GMSMarker* selectedMarker() const { return selectedMarker_; }
    void setSelectedMarker(GMSMarker* marker);
    using MarkerTapDelegate = std::function<bool(GMSMapView*, GMSMarker*)>;
    void addMarkerTapDelegate(const MarkerTapDelegate& d) { markerTapDelegates_.push_back(d); }

    void setDelegate(GMSMapViewDelegate* delegate) { delegate_ = delegate; }
    GMSMapViewDelegate* delegate() const { return delegate_; }

    // --- Taps and presses in view points (what gestures end in) ---
    void handleTap(QPointF point);
    void handleLongPress(QPointF point);
    // Frames of the on-map controls, in view points (empty when hidden).
    QRectF myLocationButtonRect() const;
    QRectF compassRect() const;
    QRectF infoWindowRect() const;
    // The on-screen frame of a marker's icon, before tap padding.
    QRectF markerFrame(const GMSMarker* marker, const GMSProjection& projection) const;

    // --- Time ---
    void setClock(zl::Clock* clock);
    zl::Clock* clock() const { return clock_; }
    void setDisplayLink(GMSDisplayLink* link);
    GMSDisplayLink* displayLink() const { return displayLink_; }
    GMSGestureHandler& gestureHandler() { return gestures_; }
    bool isIdle() const;
    // A frame for tiles that arrived while others load waits for its turn.
    bool isTileFramePaced() const { return tileFrameTimer_.isActive(); }
    // What the next frame shows, as the renderer gets it. Shape meshes and
    // the info window's picture are made when they change (at polish), not
    // here. This, the polish step and the info window live in GMSMapFrame.cpp.
    GMSMapFrame frame() const;

    // GMSDisplayLinkClient
    unsigned preferredFrameRate() const override;
    void displayLinkFired(GMSDisplayLink* link) override;

signals:
    void cameraChanged();
    void mapTypeChanged();
    void myLocationChanged();
    void willMove(bool gesture);
    void didChangeCameraPosition(const GMSCameraPosition& camera);
    void idleAtCameraPosition(const GMSCameraPosition& camera);
    void didTapMarker(GMSMarker* marker);
    void didTapAtCoordinate(double latitude, double longitude);
    void didLongPressAtCoordinate(double latitude, double longitude);
    void didTapOverlay(GMSOverlay* overlay);
    void didTapInfoWindowOfMarker(GMSMarker* marker);
    void didTapMyLocationButton();
    void tileRenderingStarted();
    void tileRenderingFinished();

protected:
    QSGNode* updatePaintNode(QSGNode* old, UpdatePaintNodeData*) override;
    void updatePolish() override;
    void geometryChange(const QRectF& newGeometry, const QRectF& oldGeometry) override;
    void touchEvent(QTouchEvent* event) override;
    void touchUngrabEvent() override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void mouseUngrabEvent() override;
    void wheelEvent(QWheelEvent* event) override;

private:
    struct Animation {
        GMSCameraPosition from, to;
        double start = 0.0;
        double duration = kAnimationDuration;
        std::optional<QPointF> fixedPoint;  // zooms about this view point
    };

    void sharedInit(const std::optional<GMSCameraPosition>& camera);
    void storeCamera(const GMSCameraPosition& camera, bool fromGesture);
    void cameraDidChange();
    void startAnimation(const GMSCameraPosition& to, std::optional<QPointF> fixedPoint = {});
    void stepAnimation(double now);
    void refreshTicking();
    void checkIdle();
    void refreshMyLocationState();
    void removeOverlayEntry(GMSOverlay* overlay);
    // Brings the shape meshes and the info window's picture up to date.
    void prepareFrame();
    void tilesChanged();
    void requestTileFrame();
    void feedGestures(const std::vector<GMSTouchPoint>& touches);
    void scheduleGestureTimer();
    // The camera that puts a world point (normalised, 0..1) under a view point.
    GMSCameraPosition cameraPlacing(QPointF normalizedWorld, QPointF viewPoint, float zoom, double bearing,
                                    double tilt) const;

    // GMSGestureTarget
    void willStartGestures() override;
    void didEndGestures() override;
    void willStartPanFrom(QPointF point) override;
    void didPanTo(QPointF point) override;
    void willStartZoom() override;
    void didZoomRelative(double scale) override;
    void willStartRotation() override;
    void didRotateRelative(double radians) override;
    void willStartTilt() override;
    void didTiltRelative(double points) override;
    void didTap(QPointF point) override;
    void didLongPress(QPointF point) override;
    void didDoubleTap(QPointF point) override;
    void didTwoFingerTap(QPointF point) override;
    void decelerationTicksNeeded(bool needed) override;
    void didEndPanDeceleration() override { checkIdle(); }
    void didEndZoomDeceleration() override { checkIdle(); }
    void didEndRotationDeceleration() override { checkIdle(); }

    GMSServices* services_ = nullptr;
    GMSCameraPosition camera_;
    int mapType_ = kGMSTypeNormal;
    int mapImageMode_ = 0;
    int vectorMode_ = 1;
    QMarginsF padding_;
    GMSUISettings* settings_ = nullptr;
    GMSTileManager* tiles_ = nullptr;
    unsigned long frameRateSetting_ = kGMSFrameRateMaximum;
    bool rendering_ = true;

    bool myLocationEnabled_ = false;
    std::optional<CLLocationCoordinate2D> lastFix_;
    CLLocationCoordinate2D userPosition_{kUnknownUserPosition, kUnknownUserPosition};

    std::vector<GMSOverlayPtr> overlays_;
    std::unordered_map<const GMSOverlay*, std::uint64_t> overlayIndex_;
    std::uint64_t nextOverlayID_ = 1;
    bool hasPendingOverlayChanges_ = false;
    GMSMarker* selectedMarker_ = nullptr;
    std::vector<MarkerTapDelegate> markerTapDelegates_;
    // Per shape overlay id, its mesh as last made.
    std::unordered_map<std::uint64_t, std::shared_ptr<const gms_shape::Mesh>> meshes_;
    QImage infoPicture_;
    QString infoKey_;  // title and snippet the picture shows
    GMSMapViewDelegate* delegate_ = nullptr;

    zl::Clock* clock_ = nullptr;
    QPointer<GMSDisplayLink> displayLink_;
    bool ticking_ = false;
    std::optional<Animation> animation_;
    bool duringGesture_ = false;
    bool reportedMove_ = false;

    GMSGestureHandler gestures_;
    QTimer gestureTimer_;
    // Frames for tiles that arrive while others still load are paced.
    QTimer tileFrameTimer_;
    double lastTileFrame_ = -1e300;  // clock time of the last frame asked for tiles
    QPointF panAnchorWorld_;
    QPointF panAnchorPoint_;
    float zoomStart_ = 0.0f;
    double bearingStart_ = 0.0;
    double tiltStart_ = 0.0;
    bool mouseDown_ = false;

};
