#include <gtest/gtest.h>

#include <cmath>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "GMSGestureHandler.h"

namespace {

// Records every call the gesture logic makes on the camera side.
struct Recorder : GMSGestureTarget {
    std::vector<std::string> calls;
    std::vector<double> zooms, rotations, tilts;
    std::vector<QPointF> pans, panStarts;
    std::vector<QPointF> taps, longPresses, doubleTaps, twoFingerTaps;
    bool ticksWanted = false;

    int count(const std::string& name) const { return int(std::count(calls.begin(), calls.end(), name)); }
    template <typename T>
    void note(const char* name, std::vector<T>& to, T value) {
        calls.push_back(name);
        to.push_back(value);
    }
    void willStartGestures() override { calls.push_back("willStartGestures"); }
    void didEndGestures() override { calls.push_back("didEndGestures"); }
    void willStartPanFrom(QPointF p) override { note("willStartPanFrom", panStarts, p); }
    void didPanTo(QPointF p) override { note("didPanTo", pans, p); }
    void willStartZoom() override { calls.push_back("willStartZoom"); }
    void didZoomRelative(double s) override { note("didZoomRelative", zooms, s); }
    void willStartRotation() override { calls.push_back("willStartRotation"); }
    void didRotateRelative(double r) override { note("didRotateRelative", rotations, r); }
    void willStartTilt() override { calls.push_back("willStartTilt"); }
    void didTiltRelative(double t) override { note("didTiltRelative", tilts, t); }
    void willStartPanDeceleration() override { calls.push_back("willStartPanDeceleration"); }
    void didEndPanDeceleration() override { calls.push_back("didEndPanDeceleration"); }
    void didTap(QPointF p) override { taps.push_back(p); }
    void didLongPress(QPointF p) override { longPresses.push_back(p); }
    void didDoubleTap(QPointF p) override { doubleTaps.push_back(p); }
    void didTwoFingerTap(QPointF p) override { twoFingerTaps.push_back(p); }
    void decelerationTicksNeeded(bool n) override { ticksWanted = n; }
};

// Two fingers on a circle of radius 50 about (150, 200), turned by `degrees`.
std::vector<GMSTouchPoint> turned(double degrees) {
    const double a = degrees * M_PI / 180.0;
    return {{1, {150 - 50 * std::cos(a), 200 - 50 * std::sin(a)}}, {2, {150 + 50 * std::cos(a), 200 + 50 * std::sin(a)}}};
}

// A handler with its recorder, and the finger moves the cases share.
struct Rig {
    Recorder rec;
    GMSGestureHandler h{&rec};

    // Fingers moved at constant speed from `from` to `to`, samples every 10 ms.
    double drag(double t, std::vector<GMSTouchPoint> from, const std::vector<QPointF>& to, double seconds) {
        const int steps = int(std::round(seconds / 0.01));
        for (int i = 1; i <= steps; ++i) {
            std::vector<GMSTouchPoint> now = from;
            for (std::size_t k = 0; k < now.size(); ++k)
                now[k].position = from[k].position + (to[k] - from[k].position) * (double(i) / steps);
            h.feed(t + i * 0.01, now);
        }
        return t + steps * 0.01;
    }
    double flick(double speed, double start = 0.0) {
        h.feed(start, {{1, {100, 300}}});
        const double t = drag(start, {{1, {100, 300}}}, {{100 + speed * 0.3, 300}}, 0.3);
        h.feed(t, {});
        return t;
    }
    // Two fingers down at (100, 200) and (200, 200); returns the time.
    double twoDown() {
        h.feed(0.0, {{1, {100, 200}}});
        h.feed(0.01, {{1, {100, 200}}, {2, {200, 200}}});
        return 0.01;
    }
    // A tap, then a second press held for 0.1 s: a tap-drag may start.
    void tapThenHold() {
        h.feed(0.0, {{1, {100, 100}}});
        h.feed(0.05, {});
        h.feed(0.15, {{1, {100, 100}}});
        h.timeout(0.25);
    }
};

class Gestures : public ::testing::Test, public Rig {};

TEST_F(Gestures, FirstFingerStartsGesturesAndPanNeedsSlop) {
    h.feed(0.0, {{1, {50, 50}}});
    EXPECT_EQ(rec.calls, std::vector<std::string>{"willStartGestures"});
    h.feed(0.01, {{1, {55, 50}}});
    EXPECT_EQ(rec.count("willStartPanFrom"), 0);
    h.feed(0.02, {{1, {61, 50}}});
    EXPECT_EQ(rec.count("willStartPanFrom"), 1);
    h.feed(0.03, {{1, {70, 50}}});
    EXPECT_EQ(std::tuple(rec.pans, h.gestureState()), std::tuple(std::vector{QPointF(70, 50)}, 0));
    h.feed(0.04, {});
    EXPECT_EQ(rec.calls.back(), "didEndGestures");
}

TEST_F(Gestures, PanFlickAbove200DeceleratesUpTo1600Points) {
    Rig slow;
    slow.flick(199.0);
    EXPECT_TRUE(!slow.h.decPan() && !slow.h.isDecelerating() && !slow.rec.count("willStartPanDeceleration"));
    Rig fast;
    const double f = fast.flick(6000.0);
    fast.h.tick(f + 1.0);
    EXPECT_NEAR(fast.rec.pans.back().x() - fast.h.decPanBase().x(), 1600.0, 1e-3);

    const double t = flick(400.0);
    ASSERT_TRUE(h.decPan().has_value() && rec.ticksWanted);
    const GMSDeceleratedValue d = *h.decPan();
    EXPECT_NEAR(d.velocity, 400.0f, 1.0f);
    EXPECT_NEAR(h.decPanAngle(), 0.0, 1e-9);
    // Ticks follow v t - (v / 0.75) t^2 / 2, damped by 0.9, and end exactly at the run time of 0.75 s.
    rec.pans.clear();
    h.tick(t + 0.25);
    const double s1 = d.velocity * 0.25 - d.velocity / 0.75 * 0.25 * 0.25 / 2;
    EXPECT_NEAR(rec.pans.back().x(), h.decPanBase().x() + 0.9 * s1, 1e-2);
    h.tick(t + 0.5);
    h.tick(t + 0.8);
    EXPECT_NEAR(rec.pans.back().x(), h.decPanBase().x() + 0.9 * d.velocity * 0.75 / 2, 1e-2);
    EXPECT_EQ(std::tuple(h.isDecelerating(), rec.ticksWanted, rec.count("didEndPanDeceleration")),
              std::tuple(false, false, 1));
}

// The curve itself is checked through the flicks' ticks; its limits apply only when not 0.
TEST_F(Gestures, DeceleratedValueLimits) {
    auto down = GMSDeceleratedValue::make(-10.0f, 1.0f, 0.7f, 1.0f, 0.05f, 4.0f);
    down.tickWithDelta(0.7);
    EXPECT_FLOAT_EQ(down.value, 0.05f);
    auto free = GMSDeceleratedValue::make(-10.0f, 1.0f, 0.7f, 1.0f, 0.0f, 0.0f);
    free.tickWithDelta(0.7);
    EXPECT_NEAR(free.value, 1.0 - 3.5, 1e-5);
}

TEST_F(Gestures, PinchOf104NeverLeavesStateOneAndOnlyPans) {
    twoDown();
    EXPECT_EQ(h.gestureState(), 1);
    // Spread to 1.04 while moving right by 40 points.
    drag(0.01, {{1, {100, 200}}, {2, {200, 200}}}, {{138, 200}, {242, 200}}, 0.4);
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("willStartZoom"), rec.count("didZoomRelative")),
              std::tuple(1, 0, 0));
    EXPECT_GT(rec.count("didPanTo"), 0);
}

TEST_F(Gestures, PinchBeyond105StartsZoomWithRatioReset) {
    twoDown();
    h.feed(0.05, {{1, {97, 200}}, {2, {203, 200}}});  // 1.06
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("willStartZoom"), rec.zooms), std::tuple(3, 1, std::vector{1.0}));
    h.feed(0.06, {{1, {47, 200}}, {2, {253, 200}}});  // 2.06 / 1.06
    EXPECT_NEAR(rec.zooms.back(), 2.06 / 1.06, 1e-9);
    // A rotation does not take a touch that a zoom owns.
    h.feed(0.07, {{1, {47, 150}}, {2, {253, 250}}});
    EXPECT_EQ(rec.count("willStartRotation"), 0);
}

TEST_F(Gestures, FastPinchEndsInZoomInertiaASlowOneDoesNot) {
    Rig slow;
    double t = slow.drag(slow.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{80, 200}, {220, 200}}, 0.5);
    ASSERT_EQ(slow.h.gestureState(), 3);
    slow.h.feed(t + 0.01, {{1, {80, 200}}});
    EXPECT_FALSE(slow.h.decZoom().has_value());

    t = drag(twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{0, 200}, {300, 200}}, 0.2);  // scale 1 -> 3 in 0.2 s
    EXPECT_EQ(h.gestureState(), 3);
    h.feed(t + 0.01, {{1, {0, 200}}});
    ASSERT_TRUE(h.decZoom().has_value());
    const GMSDeceleratedValue& d = *h.decZoom();
    EXPECT_EQ(std::tuple(d.velocity, d.runTime, d.minimum, d.maximum), std::tuple(3.0f, 0.7f, 0.05f, 4.0f));  // clamped
    EXPECT_NEAR(d.startValue, rec.zooms.back(), 1e-6);
}

TEST_F(Gestures, FlickSoonAfterAPinchStopsDead) {
    for (double gap : {0.1, 0.3}) {
        Rig rig;
        GMSGestureHandler& g = rig.h;
        const double t = rig.drag(rig.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{70, 200}, {230, 200}}, 0.3);
        ASSERT_EQ(g.gestureState(), 3);
        const double lifted = t + 0.01;
        g.feed(lifted, {{1, {70, 200}}});  // second finger lifted: state 0
        EXPECT_EQ(g.gestureState(), 0);
        // The remaining finger flicks at 1000 points a second and lets go.
        const int steps = int(std::round(gap / 0.01));
        for (int i = 1; i <= steps; ++i) g.feed(lifted + i * 0.01, {{1, {70.0 + 10.0 * i, 200}}});
        g.feed(lifted + gap, {});
        EXPECT_EQ(g.decPan().has_value(), gap > 0.2) << gap;
    }
}

TEST_F(Gestures, LiftingAFingerDuringRotationPansWithoutAJump) {
    twoDown();
    // Turn by 10 degrees about the centre.
    double t = 0.01;
    for (int i = 1; i <= 10; ++i) h.feed(t += 0.01, turned(i));
    // Zoom is on as well.
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("willStartRotation"), rec.count("willStartZoom")),
              std::tuple(4, 1, 1));
    ASSERT_FALSE(rec.rotations.empty());
    EXPECT_GT(rec.rotations.back(), 0.0);
    const QPointF p1 = turned(10)[0].position;
    const double lifted = t + 0.01;
    rec.calls.clear();
    h.feed(lifted, {{1, p1}});
    EXPECT_EQ(std::tuple(h.gestureState(), rec.calls.front(), rec.panStarts.back()),
              std::tuple(0, "willStartPanFrom", p1));
    // Within 0.15 s the finger only renews the anchor.
    rec.calls.clear();
    h.feed(lifted + 0.05, {{1, p1 + QPointF(20, 0)}});
    h.feed(lifted + 0.10, {{1, p1 + QPointF(40, 0)}});
    EXPECT_TRUE(rec.count("didPanTo") == 0 && rec.count("willStartPanFrom") >= 1);
    h.feed(lifted + 0.16, {{1, p1 + QPointF(50, 0)}});
    EXPECT_EQ(std::tuple(rec.count("didPanTo"), rec.pans.back()), std::tuple(1, p1 + QPointF(50, 0)));
}

TEST_F(Gestures, RotationNeedsThreeDegreesAndIsOffWithItsBit) {
    for (auto [degrees, rotationOn, state] : {std::tuple{2.9, true, 1}, {3.1, true, 4}, {20.0, false, 1}}) {
        Rig r;
        if (!rotationOn) r.h.setGestures(GMSGestureHandler::PanBit | GMSGestureHandler::ZoomBit);
        r.twoDown();
        r.h.feed(0.05, turned(degrees));
        EXPECT_EQ(std::tuple(r.h.gestureState(), r.rec.count("willStartRotation")), std::tuple(state, state == 4))
            << degrees;
    }
}

TEST_F(Gestures, TwoFingersUpwardsTiltAfter14Points) {
    h.feed(0.0, {{1, {100, 300}}});
    h.feed(0.01, {{1, {100, 300}}, {2, {200, 300}}});
    h.feed(0.05, {{1, {100, 287}}, {2, {200, 287}}});
    EXPECT_EQ(h.gestureState(), 1);
    h.feed(0.06, {{1, {100, 285}}, {2, {200, 285}}});
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("willStartTilt")), std::tuple(2, 1));
    h.feed(0.07, {{1, {100, 275}}, {2, {200, 275}}});
    ASSERT_FALSE(rec.tilts.empty());
    EXPECT_DOUBLE_EQ(rec.tilts.back(), 15.0 - 25.0);
    // No inertia for tilt.
    h.feed(0.08, {});
    EXPECT_FALSE(h.isDecelerating());
}

TEST_F(Gestures, LongPressAfterPointFourSeconds) {
    h.feed(0.0, {{1, {30, 40}}});
    EXPECT_EQ(h.nextDeadline(), std::optional(0.4));
    h.timeout(0.39);
    EXPECT_TRUE(rec.longPresses.empty());
    h.timeout(0.4);
    h.feed(0.6, {});
    EXPECT_EQ(std::tuple(rec.longPresses, rec.taps.size()), std::tuple(std::vector{QPointF(30, 40)}, std::size_t(0)));
    // A finger that wandered does not long-press.
    h.feed(1.0, {{1, {30, 40}}});
    h.feed(1.1, {{1, {45, 40}}});
    h.timeout(1.6);
    EXPECT_EQ(rec.longPresses.size(), 1u);
}

TEST_F(Gestures, TouchDuringDecelerationStopsItAndBlocksLongPress) {
    const double t = flick(800.0);
    ASSERT_TRUE(h.isDecelerating());
    h.tick(t + 0.05);
    h.feed(t + 0.1, {{1, {10, 10}}});
    EXPECT_TRUE(!h.isDecelerating() && rec.count("didEndPanDeceleration") == 1 && !h.nextDeadline());
    h.timeout(t + 1.0);
    EXPECT_TRUE(rec.longPresses.empty());
}

TEST_F(Gestures, TapsDoubleTapAndTwoFingerTap) {
    const auto counts = [&] { return std::tuple(rec.taps.size(), rec.doubleTaps.size(), rec.twoFingerTaps.size()); };
    h.feed(0.0, {{1, {10, 10}}});
    h.feed(0.1, {});
    h.feed(0.2, {{1, {12, 12}}});
    h.feed(0.25, {});
    EXPECT_EQ(counts(), std::tuple(1u, 1u, 0u));
    // Too late for a double tap: a plain tap.
    h.feed(1.0, {{1, {10, 10}}});
    h.feed(1.05, {});
    h.feed(1.5, {{1, {10, 10}}});
    h.feed(1.55, {});
    EXPECT_EQ(counts(), std::tuple(3u, 1u, 0u));
    h.feed(3.0, {{1, {100, 100}}});
    h.feed(3.01, {{1, {100, 100}}, {2, {140, 100}}});
    h.feed(3.1, {{1, {100, 100}}});
    h.feed(3.11, {});
    EXPECT_EQ(counts(), std::tuple(3u, 1u, 1u));
}

TEST_F(Gestures, TapDragZoomsByDoublingPer80Points) {
    tapThenHold();
    h.feed(0.26, {{1, {100, 102}}});
    EXPECT_EQ(h.gestureState(), 0);
    h.feed(0.27, {{1, {100, 104}}});
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("willStartZoom")), std::tuple(5, 1));
    h.feed(0.28, {{1, {100, 180}}});
    EXPECT_NEAR(rec.zooms.back(), 2.0, 1e-12);
    h.feed(0.29, {{1, {100, 20}}});
    EXPECT_NEAR(rec.zooms.back(), 0.5, 1e-12);
    EXPECT_TRUE(rec.doubleTaps.empty());
}

TEST_F(Gestures, TapDragCancelledBySidewaysMoveOrRightAfterADeceleration) {
    tapThenHold();
    h.feed(0.26, {{1, {112, 101}}});
    h.feed(0.27, {{1, {112, 150}}});
    EXPECT_NE(h.gestureState(), 5);
    EXPECT_TRUE(rec.count("willStartZoom") == 0 && rec.zooms.empty());

    Rig r;
    const double t = r.flick(800.0);
    r.h.tick(t + 0.01);
    // Tap (which stops the inertia), then press again soon after.
    r.h.feed(t + 0.02, {{1, {100, 100}}});
    r.h.feed(t + 0.05, {});
    r.h.feed(t + 0.1, {{1, {100, 100}}});
    r.h.timeout(t + 0.2);
    r.h.feed(t + 0.21, {{1, {100, 130}}});
    EXPECT_NE(r.h.gestureState(), 5);
}

TEST_F(Gestures, TapDragInertiaAndBoundedTrack) {
    tapThenHold();
    double t = 0.25;
    for (int i = 1; i <= 40; ++i) {  // 400 points a second downwards
        t += 0.01;
        h.feed(t, {{1, {100, 100.0 + 4.0 * i}}});
        EXPECT_LE(h.tapDragTrackDepth(), 12u);
    }
    EXPECT_NEAR(h.tapDragVelocity(), 400.0, 1e-6);
    const double lastFactor = rec.zooms.back();
    h.feed(t + 0.001, {});
    ASSERT_TRUE(h.decTapDrag().has_value());
    const GMSDeceleratedValue d = *h.decTapDrag();
    EXPECT_FLOAT_EQ(d.velocity, 2.0f);  // 400 / 80 clamped
    EXPECT_NEAR(d.startValue, std::log2(lastFactor), 1e-5);
    EXPECT_EQ(std::tuple(d.minimum, d.maximum), std::tuple(d.startValue - 6.0f, d.startValue + 6.0f));
    rec.zooms.clear();
    h.tick(t + 0.8);
    EXPECT_NEAR(rec.zooms.back(), std::exp((d.startValue + 2.0 * 0.7 / 2) * 0.6931472), 1e-3);
}

TEST_F(Gestures, DisabledGesturesChangeNoCamera) {
    h.setGesturesEnabled(false);
    flick(800.0);
    EXPECT_TRUE(rec.count("didPanTo") == 0 && !h.isDecelerating());
}

TEST_F(Gestures, RandomTouchStreamsNeverWedge) {
    // Fuzz: random fingers, times and positions; the handler must stay sane.
    std::uint32_t seed = 12345;
    auto rnd = [&] {
        seed = seed * 1664525u + 1013904223u;
        return seed >> 8;
    };
    double t = 0;
    for (int round = 0; round < 2000; ++round) {
        t += (rnd() % 50) / 1000.0;
        std::vector<GMSTouchPoint> touches;  // up to five fingers, each id once
        for (int id = 0; id < 5; ++id)
            if (rnd() % 3 == 0) touches.push_back({id, QPointF(rnd() % 400, rnd() % 400)});
        h.feed(t, touches);
        if (rnd() % 3 == 0) h.tick(t);
        if (rnd() % 5 == 0) h.timeout(t);
        ASSERT_TRUE(h.gestureState() >= 0 && h.gestureState() <= 5) << h.gestureState();
        for (double z : rec.zooms) ASSERT_TRUE(std::isfinite(z));
    }
    h.feed(t + 1, {});
    for (int i = 0; i < 100 && h.isDecelerating(); ++i) h.tick(t + 1 + i * 0.02);
    EXPECT_EQ(std::tuple(h.isDecelerating(), h.gestureState()), std::tuple(false, 0));
}

}  // namespace
