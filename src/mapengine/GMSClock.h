#pragma once

#include <QElapsedTimer>

// Seconds on a monotonic scale. The map's animations, inertia and gesture
// timing read time only through this, so tests can drive it by hand.
class GMSClock {
public:
    virtual ~GMSClock() = default;
    virtual double now() const = 0;

    // The process-wide monotonic clock.
    static GMSClock* systemClock();
};

// A clock that moves only when told to.
class GMSManualClock : public GMSClock {
public:
    explicit GMSManualClock(double start = 0.0) : now_(start) {}
    double now() const override { return now_; }
    void setNow(double t) { now_ = t; }
    void advance(double dt) { now_ += dt; }

private:
    double now_;
};
