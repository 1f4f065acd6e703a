#include <gtest/gtest.h>

#include <QString>

#include <cmath>
#include <map>
#include <optional>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "GMSGestureHandler.h"

namespace {

using Log = std::vector<std::string>;

// Logs each call the gesture logic makes on the camera side as "name" or
// "name argument" (six digits); the last argument of each name is kept exact.
struct Recorder : GMSGestureTarget {
    Log log;
    std::map<std::string, double> last;
    bool ticksWanted = false;

    void note(const std::string& name, const std::string& arg = {}, double exact = 0) {
        log.push_back(arg.empty() ? name : name + " " + arg);
        last[name] = exact;
    }
    void note(const std::string& name, double v) { note(name, QString::number(v).toStdString(), v); }
    void note(const std::string& name, QPointF p) { note(name, pt(p), p.x()); }
    static std::string pt(QPointF p) { return QString("%1,%2").arg(p.x()).arg(p.y()).toStdString(); }
    int count(const std::string& name) const {
        return int(std::count_if(log.begin(), log.end(), [&](const std::string& e) {
            return e == name || e.rfind(name + " ", 0) == 0;
        }));
    }
    void willStartGestures() override { note("start"); }
    void didEndGestures() override { note("end"); }
    void willStartPanFrom(QPointF p) override { note("panFrom", p); }
    void didPanTo(QPointF p) override { note("pan", p); }
    void willStartZoom() override { note("zoomStart"); }
    void didZoomRelative(double s) override { note("zoom", s); }
    void willStartRotation() override { note("rotationStart"); }
    void didRotateRelative(double r) override { note("rotate", r); }
    void willStartTilt() override { note("tiltStart"); }
    void didTiltRelative(double t) override { note("tilt", t); }
    void willStartPanDeceleration() override { note("decStart"); }
    void didEndPanDeceleration() override { note("decEnd"); }
    void didTap(QPointF p) override { note("tap", p); }
    void didLongPress(QPointF p) override { note("longPress", p); }
    void didDoubleTap(QPointF p) override { note("doubleTap", p); }
    void didTwoFingerTap(QPointF p) override { note("twoFingerTap", p); }
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
    // One finger down at `t` and up 0.05 s later.
    void tap(double t, QPointF p) {
        h.feed(t, {{1, p}});
        h.feed(t + 0.05, {});
    }
    // A tap, then a second press held for 0.1 s: a tap-drag may start.
    void tapThenHold(double t = 0.0) {
        tap(t, {100, 100});
        h.feed(t + 0.15, {{1, {100, 100}}});
        h.timeout(t + 0.25);
    }
};

class Gestures : public ::testing::Test, public Rig {};

TEST_F(Gestures, FirstFingerStartsGesturesAndPanNeedsSlopUnlessDisabled) {
    for (auto [t, x] : {std::pair{0.0, 50}, {0.01, 55}, {0.02, 61}, {0.03, 70}}) h.feed(t, {{1, QPointF(x, 50)}});
    const int panning = h.gestureState();
    h.feed(0.04, {});
    EXPECT_EQ(std::tuple(panning, rec.log),
              std::tuple(0, Log{"start", "panFrom 61,50", "pan 70,50", "decStart", "end"}));

    Rig off;  // disabled gestures change no camera
    off.h.setGesturesEnabled(false);
    off.flick(800.0);
    EXPECT_TRUE(off.rec.count("pan") == 0 && !off.h.isDecelerating());
}

TEST_F(Gestures, PanFlickAbove200DeceleratesUpTo1600PointsWithinItsLimits) {
    Rig slow;
    slow.flick(199.0);
    EXPECT_TRUE(!slow.h.decPan() && !slow.h.isDecelerating() && !slow.rec.count("decStart"));
    Rig fast;
    const double f = fast.flick(6000.0);
    fast.h.tick(f + 1.0);
    EXPECT_NEAR(fast.rec.last["pan"] - fast.h.decPanBase().x(), 1600.0, 1e-3);

    const double t = flick(400.0);
    ASSERT_TRUE(h.decPan().has_value() && rec.ticksWanted);
    const GMSDeceleratedValue d = *h.decPan();
    EXPECT_TRUE(std::abs(d.velocity - 400.0f) < 1.0f && h.decPanAngle() == 0.0) << d.velocity << h.decPanAngle();
    // Ticks follow v t - (v / 0.75) t^2 / 2, damped by 0.9, and end exactly at the run time of 0.75 s.
    h.tick(t + 0.25);
    const double s1 = d.velocity * 0.25 - d.velocity / 0.75 * 0.25 * 0.25 / 2;
    EXPECT_NEAR(rec.last["pan"], h.decPanBase().x() + 0.9 * s1, 1e-2);
    h.tick(t + 0.5);
    h.tick(t + 0.8);
    EXPECT_NEAR(rec.last["pan"], h.decPanBase().x() + 0.9 * d.velocity * 0.75 / 2, 1e-2);
    EXPECT_EQ(std::tuple(h.isDecelerating(), rec.ticksWanted, rec.count("decEnd")), std::tuple(false, false, 1));

    // The curve itself is checked through the ticks above; its limits apply only when not 0.
    for (auto [lowest, highest, want] : {std::tuple{0.05f, 4.0f, 0.05}, {0.0f, 0.0f, 1.0 - 3.5}}) {
        auto v = GMSDeceleratedValue::make(-10.0f, 1.0f, 0.7f, 1.0f, lowest, highest);
        v.tickWithDelta(0.7);
        EXPECT_NEAR(v.value, want, 1e-5) << lowest;
    }
}

TEST_F(Gestures, PinchBeyond105ZoomsAndAFastOneEndsInInertiaButNotAFlickSoonAfter) {
    Rig small;  // spread to 1.04 while moving right by 40 points
    small.drag(small.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{138, 200}, {242, 200}}, 0.4);
    EXPECT_EQ(std::tuple(small.h.gestureState(), small.rec.count("zoomStart"), small.rec.count("zoom"),
                         small.rec.count("pan") > 0),
              std::tuple(1, 0, 0, true));

    twoDown();
    h.feed(0.05, {{1, {97, 200}}, {2, {203, 200}}});  // 1.06
    h.feed(0.06, {{1, {47, 200}}, {2, {253, 200}}});  // 2.06 / 1.06
    EXPECT_NEAR(rec.last["zoom"], 2.06 / 1.06, 1e-9);
    // A rotation does not take a touch that a zoom owns.
    h.feed(0.07, {{1, {47, 150}}, {2, {253, 250}}});
    EXPECT_EQ(std::tuple(h.gestureState(), rec.log),
              std::tuple(3, Log{"start", "panFrom 150,200", "zoomStart", "panFrom 150,200", "zoom 1", "zoom 1.9434",
                                "zoom 2.16027"}));

    Rig slow;
    double t = slow.drag(slow.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{80, 200}, {220, 200}}, 0.5);
    ASSERT_EQ(slow.h.gestureState(), 3);
    slow.h.feed(t + 0.01, {{1, {80, 200}}});
    EXPECT_FALSE(slow.h.decZoom().has_value());

    Rig fast;  // scale 1 -> 3 in 0.2 s
    t = fast.drag(fast.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{0, 200}, {300, 200}}, 0.2);
    fast.h.feed(t + 0.01, {{1, {0, 200}}});
    ASSERT_TRUE(fast.h.decZoom().has_value());
    const GMSDeceleratedValue& d = *fast.h.decZoom();
    EXPECT_EQ(std::tuple(d.velocity, d.runTime, d.minimum, d.maximum), std::tuple(3.0f, 0.7f, 0.05f, 4.0f));  // clamped
    EXPECT_NEAR(d.startValue, fast.rec.last["zoom"], 1e-6);

    // A flick soon after a pinch stops dead.
    for (double gap : {0.1, 0.3}) {
        Rig rig;
        const double t = rig.drag(rig.twoDown(), {{1, {100, 200}}, {2, {200, 200}}}, {{70, 200}, {230, 200}}, 0.3);
        ASSERT_EQ(rig.h.gestureState(), 3);
        rig.h.feed(t + 0.01, {{1, {70, 200}}});  // second finger lifted: state 0
        ASSERT_EQ(rig.h.gestureState(), 0);
        // The remaining finger flicks at 1000 points a second and lets go.
        rig.h.feed(rig.drag(t + 0.01, {{1, {70, 200}}}, {{70 + 1000 * gap, 200}}, gap), {});
        EXPECT_EQ(rig.h.decPan().has_value(), gap > 0.2) << gap;
    }
}

TEST_F(Gestures, RotationAfterThreeDegreesAndLiftingAFingerPansWithoutAJump) {
    twoDown();
    // Turn by 10 degrees about the centre; zoom is on as well.
    double t = 0.01;
    for (int i = 1; i <= 10; ++i) h.feed(t += 0.01, turned(i));
    EXPECT_EQ(std::tuple(h.gestureState(), rec.count("rotationStart"), rec.count("zoomStart"), rec.last["rotate"] > 0),
              std::tuple(4, 1, 1, true));
    const QPointF p1 = turned(10)[0].position;
    const double lifted = t + 0.01;
    rec.log.clear();
    // Within 0.15 s the finger only renews the anchor.
    h.feed(lifted, {{1, p1}});
    EXPECT_EQ(h.gestureState(), 0);
    for (auto [dt, dx] : {std::pair{0.05, 20.0}, {0.10, 40.0}, {0.16, 50.0}})
        h.feed(lifted + dt, {{1, p1 + QPointF(dx, 0)}});
    EXPECT_EQ(rec.log, (Log{"panFrom 100.76,191.318", "panFrom 100.76,191.318", "panFrom 120.76,191.318",
                           "panFrom 140.76,191.318", "pan 150.76,191.318"}));

    // Rotation needs three degrees, and is off with its bit.
    for (auto [degrees, rotationOn, state] : {std::tuple{2.9, true, 1}, {3.1, true, 4}, {20.0, false, 1}}) {
        Rig r;
        if (!rotationOn) r.h.setGestures(GMSGestureHandler::PanBit | GMSGestureHandler::ZoomBit);
        r.twoDown();
        r.h.feed(0.05, turned(degrees));
        EXPECT_EQ(std::tuple(r.h.gestureState(), r.rec.count("rotationStart")), std::tuple(state, state == 4))
            << degrees;
    }
}

TEST_F(Gestures, TwoFingersUpwardsTiltAfter14Points) {
    twoDown();
    for (auto [t, y] : {std::pair{0.05, 187.0}, {0.06, 185.0}, {0.07, 175.0}})
        h.feed(t, {{1, {100, y}}, {2, {200, y}}});
    const int tilting = h.gestureState();
    h.feed(0.08, {});  // no inertia for tilt
    EXPECT_EQ(std::tuple(tilting, rec.log, h.isDecelerating()),
              std::tuple(2, Log{"start", "panFrom 150,200", "panFrom 150,187", "panFrom 150,185", "tiltStart",
                             "panFrom 150,175", "tilt -10", "panFrom 200,175", "end"},
                         false));
}

TEST_F(Gestures, LongPressAfterPointFourSecondsOfAStillFinger) {
    h.feed(0.0, {{1, {30, 40}}});
    EXPECT_EQ(h.nextDeadline(), std::optional(0.4));
    h.timeout(0.39);
    ASSERT_EQ(rec.count("longPress"), 0);
    h.timeout(0.4);
    h.feed(0.6, {});
    // A finger that wandered does not long-press.
    h.feed(1.0, {{1, {30, 40}}});
    h.feed(1.1, {{1, {45, 40}}});
    h.timeout(1.6);
    EXPECT_EQ(rec.log, (Log{"start", "longPress 30,40", "end", "start", "panFrom 45,40"}));

    // A touch during a deceleration stops it and does not long-press.
    Rig r;
    const double t = r.flick(800.0);
    r.h.tick(t + 0.05);
    r.h.feed(t + 0.1, {{1, {10, 10}}});
    EXPECT_TRUE(!r.h.isDecelerating() && r.rec.count("decEnd") == 1 && !r.h.nextDeadline());
    r.h.timeout(t + 1.0);
    EXPECT_EQ(r.rec.count("longPress"), 0);
}

TEST_F(Gestures, TapsDoubleTapAndTwoFingerTap) {
    tap(0.0, {10, 10});
    tap(0.2, {12, 12});
    // Too late for a double tap: a plain tap.
    tap(1.0, {10, 10});
    tap(1.5, {10, 10});
    h.feed(3.0, {{1, {100, 100}}});
    h.feed(3.01, {{1, {100, 100}}, {2, {140, 100}}});
    h.feed(3.1, {{1, {100, 100}}});
    h.feed(3.11, {});
    EXPECT_EQ(rec.log, (Log{"start", "tap 10,10", "end", "start", "doubleTap 12,12", "end", "start", "tap 10,10", "end",
                           "start", "tap 10,10", "end", "start", "panFrom 120,100", "panFrom 100,100",
                           "twoFingerTap 100,100", "end"}));
}

TEST_F(Gestures, TapDragZoomsByDoublingPer80PointsWithInertiaUnlessCancelled) {
    tapThenHold();
    for (auto [t, y] : {std::pair{0.26, 102.0}, {0.27, 104.0}, {0.28, 180.0}, {0.29, 20.0}}) h.feed(t, {{1, {100, y}}});
    EXPECT_EQ(rec.log, (Log{"start", "tap 100,100", "end", "start", "zoomStart", "zoom 1.03526", "panFrom 100,180",
                           "zoom 2", "zoom 0.5"}));

    // Cancelled by a sideways move, or right after a deceleration.
    Rig side;
    side.tapThenHold();
    side.h.feed(0.26, {{1, {112, 101}}});
    side.h.feed(0.27, {{1, {112, 150}}});
    EXPECT_EQ(std::tuple(side.h.gestureState() == 5, side.rec.count("zoomStart"), side.rec.count("zoom")),
              std::tuple(false, 0, 0));
    Rig r;
    double t = r.flick(800.0);
    r.h.tick(t + 0.01);
    r.tapThenHold(t + 0.02);  // the tap stops the inertia
    r.h.feed(t + 0.28, {{1, {100, 130}}});
    EXPECT_NE(r.h.gestureState(), 5);

    t = 0.29;  // on from (100, 20): inertia, with a bounded track
    for (int i = 1; i <= 40; ++i) {  // 400 points a second downwards
        t += 0.01;
        h.feed(t, {{1, {100, 20.0 + 4.0 * i}}});
        EXPECT_LE(h.tapDragTrackDepth(), 12u);
    }
    EXPECT_NEAR(h.tapDragVelocity(), 400.0, 1e-6);
    const double lastFactor = rec.last["zoom"];
    h.feed(t + 0.001, {});
    ASSERT_TRUE(h.decTapDrag().has_value());
    const GMSDeceleratedValue d = *h.decTapDrag();
    EXPECT_NEAR(d.startValue, std::log2(lastFactor), 1e-5);
    EXPECT_EQ(std::tuple(d.velocity, d.minimum, d.maximum),
              std::tuple(2.0f, d.startValue - 6.0f, d.startValue + 6.0f));  // 400 / 80 clamped
    h.tick(t + 0.8);
    EXPECT_NEAR(rec.last["zoom"], std::exp((d.startValue + 2.0 * 0.7 / 2) * 0.6931472), 1e-3);
}

TEST_F(Gestures, RandomTouchStreamsNeverWedge) {
    std::mt19937 rnd(12345);
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
    }
    for (const std::string& e : rec.log) ASSERT_TRUE(e.find("nan") == e.npos && e.find("inf") == e.npos) << e;
    h.feed(t + 1, {});
    for (int i = 0; i < 100 && h.isDecelerating(); ++i) h.tick(t + 1 + i * 0.02);
    EXPECT_EQ(std::tuple(h.isDecelerating(), h.gestureState()), std::tuple(false, 0));
}

}  // namespace
