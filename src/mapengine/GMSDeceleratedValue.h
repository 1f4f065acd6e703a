#pragma once

// A value that slows down at a constant rate from a start velocity to rest,
// reaching zero speed exactly at runTime. A limit of 0 means no limit.
struct GMSDeceleratedValue {
    float velocity = 0.0f;
    float deceleration = 0.0f;  // -velocity / runTime
    float startValue = 0.0f;
    float minimum = 0.0f;
    float maximum = 0.0f;
    float elapsed = 0.0f;
    float runTime = 0.0f;
    float damping = 1.0f;
    float value = 0.0f;

    static GMSDeceleratedValue make(float velocity, float start, float runTime, float damping, float minimum,
                                    float maximum) {
        GMSDeceleratedValue d;
        d.velocity = velocity;
        d.deceleration = -velocity / runTime;
        d.startValue = start;
        d.value = start;
        d.runTime = runTime;
        d.damping = damping;
        d.minimum = minimum;
        d.maximum = maximum;
        return d;
    }

    // Advances by delta seconds; true while the run time is not over.
    bool tickWithDelta(double delta) {
        const float t = float(elapsed + delta) < runTime ? float(elapsed + delta) : runTime;
        elapsed = t;
        const float s = velocity * t + deceleration * t * t / 2.0f;
        value = startValue + damping * s;
        if (minimum != 0.0f && value < minimum) value = minimum;
        if (maximum != 0.0f && value > maximum) value = maximum;
        return t < runTime;
    }
};
