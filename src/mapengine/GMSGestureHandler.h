#pragma once

#include <QPointF>

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "GMSDeceleratedValue.h"

// One finger on the screen.
struct GMSTouchPoint {
    int id = 0;
    QPointF position;
};

// What the camera side does with gestures. All positions are view points.
class GMSGestureTarget {
public:
    virtual ~GMSGestureTarget() = default;
    virtual void willStartGestures() {}
    virtual void didEndGestures() {}
    virtual void willStartPanFrom(QPointF point) {}
    virtual void didPanTo(QPointF point) {}
    virtual void willStartZoom() {}
    // Scale relative to the zoom's start (2 = one zoom level in).
    virtual void didZoomRelative(double scale) {}
    virtual void willStartRotation() {}
    // Radians relative to the rotation's start, clockwise on screen.
    virtual void didRotateRelative(double radians) {}
    virtual void willStartTilt() {}
    virtual void didTiltRelative(double points) {}
    virtual void willStartPanDeceleration() {}
    virtual void didEndPanDeceleration() {}
    virtual void willStartZoomDeceleration() {}
    virtual void didEndZoomDeceleration() {}
    virtual void willStartRotationDeceleration() {}
    virtual void didEndRotationDeceleration() {}

    virtual void didTap(QPointF point) {}
    virtual void didLongPress(QPointF point) {}
    virtual void didDoubleTap(QPointF point) {}
    virtual void didTwoFingerTap(QPointF point) {}
    // Inertia needs (true) or no longer needs (false) regular tick() calls.
    virtual void decelerationTicksNeeded(bool needed) {}
};

// Turns timed touches into camera gestures: pan, pinch zoom, rotate, tilt,
// tap-drag zoom, taps, long press, and the inertia after them. Everything is
// driven from outside: feed() with the full set of fingers down after each
// change, timeout() when nextDeadline() passes, tick() on every frame while
// decelerating. So tests replay exact sequences with exact times.
class GMSGestureHandler {
public:
    enum GestureState { None = 0, PanOrUndecided = 1, Tilt = 2, PinchZoom = 3, Rotate = 4, TapDragZoom = 5 };
    enum GestureBit { PanBit = 1, ZoomBit = 2, RotateBit = 4, TiltBit = 8 };

    // Thresholds of the recognisers themselves.
    static constexpr double kPanSlop = 10.0;           // points before a pan begins
    static constexpr double kTapSlop = 10.0;           // points a tap may move
    static constexpr double kLongPressDuration = 0.4;  // seconds
    static constexpr double kDoubleTapInterval = 0.3;  // seconds between taps
    static constexpr double kDoubleTapDistance = 40.0; // points between taps
    static constexpr double kTapDragPress = 0.1;       // seconds of the second press
    static constexpr double kVelocityWindow = 0.1;     // seconds of samples for velocities

    explicit GMSGestureHandler(GMSGestureTarget* target);

    void setGestures(int bits) { gestures_ = bits; }
    int gestures() const { return gestures_; }
    void setGesturesEnabled(bool on) { gesturesEnabled_ = on; }
    bool gesturesEnabled() const { return gesturesEnabled_; }
    void setAllowPanDuringRotateOrZoom(bool on) { allowPanDuringRotateOrZoom_ = on; }

    // The fingers down after a change at `time` (seconds).
    void feed(double time, const std::vector<GMSTouchPoint>& touches);
    // All fingers gone without a gesture result (cancelled input).
    void cancel(double time);
    // Time of the next timed decision (long press, tap-drag press), if any.
    std::optional<double> nextDeadline() const;
    void timeout(double time);
    // One frame of inertia.
    void tick(double time);

    int gestureState() const { return gestureState_; }
    bool isDecelerating() const { return decelerating_; }
    void resetGestureState();
    void stopDeceleration();

    // Inspection for tests.
    const std::optional<GMSDeceleratedValue>& decPan() const { return decPan_; }
    const std::optional<GMSDeceleratedValue>& decZoom() const { return decZoom_; }
    const std::optional<GMSDeceleratedValue>& decRotate() const { return decRotate_; }
    const std::optional<GMSDeceleratedValue>& decTapDrag() const { return decTapDrag_; }
    double decPanAngle() const { return decPanAngle_; }
    QPointF decPanBase() const { return decPanBase_; }
    std::size_t tapDragTrackDepth() const { return tapDragTrack_.size(); }
    double tapDragVelocity() const;

private:
    struct Sample {
        double t;
        double a, b;
    };
    enum class Phase { Possible, Began, Changed, Ended };

    void setGestureState(int s) { gestureState_ = s; }
    bool on(int bit) const { return (gestures_ & bit) != 0; }

    void touchesBegan(double now, const std::vector<GMSTouchPoint>& before);
    void fingerLifted(double now, bool othersRemain);
    void lastFingerUp(double now);
    void updateRecognisers(double now, bool countChanged);
    void endTwoFingerRecognisers(double now);

    void handlePan(Phase phase, double now, QPointF location, QPointF velocity);
    void handlePinch(Phase phase, double now, double scale, double velocity, int touches);
    void handleRotate(Phase phase, double now, double rotation, double velocity);
    void handleTilt(Phase phase, double tiltAmount);
    void handleTapDragPress(QPointF point);
    void handleTapDragMove(double now, QPointF point);
    void handleTapDragEnd(double now);
    void pruneTapDragTracksAtTime(double now);
    void startDeceleration(double now);

    QPointF centroid() const;
    static double velocityOf(const std::deque<Sample>& s, bool second);
    static void pushSample(std::deque<Sample>& s, double t, double a, double b);

    GMSGestureTarget* target_;
    int gestures_ = PanBit | ZoomBit | RotateBit | TiltBit;
    bool gesturesEnabled_ = true;
    bool allowPanDuringRotateOrZoom_ = true;

    int gestureState_ = None;
    double startingRotation_ = 0.0;
    double startingTiltAmount_ = 0.0;
    double startingPinchScale_ = 1.0;
    QPointF tapDragStartPoint_;
    bool shouldBlockTapDrag_ = false;
    bool shouldBlockLongPress_ = false;
    bool shouldBlockDoubleTap_ = false;
    bool shouldBlockDeceleration_ = false;
    double blockPanTimestamp_ = -1e9;
    int allowInertiaFor_ = 0;
    double allowInertiaTimestamp_ = -1e9;
    bool decelerating_ = false;
    double decStartTime_ = -1e9;
    double decLastTime_ = 0.0;
    std::optional<GMSDeceleratedValue> decZoom_, decRotate_, decPan_, decTapDrag_;
    QPointF decPanBase_;
    double decPanAngle_ = 0.0;
    double decStartingRotation_ = 0.0;
    double decStartingPinchScale_ = 1.0;
    double decStartingTapDragScale_ = 1.0;
    QPointF decZoomRotAnchor_;
    std::deque<std::pair<double, double>> tapDragTrack_;

    // Recogniser state.
    std::vector<GMSTouchPoint> touches_;
    double firstDownTime_ = 0.0;
    QPointF firstDownPoint_;
    int maxTouches_ = 0;
    bool movedBeyondTapSlop_ = false;
    bool decelerationAtTouchDown_ = false;
    bool longPressFired_ = false;
    Phase pan_ = Phase::Possible;
    QPointF panStartCentroid_;
    std::deque<Sample> panSamples_;
    bool twoFinger_ = false;
    int pairIds_[2] = {0, 0};
    double pairStartDistance_ = 1.0;
    double pairStartAngle_ = 0.0;
    double lastAngle_ = 0.0;
    double rotationUnwrapped_ = 0.0;
    QPointF pairStartPositions_[2];
    std::deque<Sample> pairSamples_;  // scale, rotation
    double lastPinchScale_ = 1.0;
    double lastRotation_ = 0.0;
    double lastPinchScaleRatio_ = 1.0;
    bool tiltActive_ = false;
    // Tap bookkeeping for double tap and tap-drag.
    std::optional<std::pair<double, QPointF>> lastTap_;
    bool secondPress_ = false;
    bool tapDragBegan_ = false;
    double lastZoomFactor_ = 1.0;
};
