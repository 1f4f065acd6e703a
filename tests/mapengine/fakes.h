#pragma once

#include <memory>

#include "GMSDisplayLink.h"

// A frame timer that fires only when a test says so, and remembers its modes.
struct ManualFrameTimer : GMSFrameTimer {
    static inline ManualFrameTimer* last = nullptr;
    static inline int made = 0;
    ManualFrameTimer() {
        last = this;
        ++made;
    }
    ~ManualFrameTimer() override {
        if (last == this) last = nullptr;
    }
    void setPreferredFramesPerSecond(std::uint64_t f) override { fps = f; }
    void setPaused(bool p) override { paused = p; }
    void addToMode(const QString& m) override { modes.append(m); }
    void removeFromMode(const QString& m) override { modes.removeOne(m); }
    void invalidate() override {}
    double timestamp() const override { return 0; }
    double targetTimestamp() const override { return 0; }
    void fire() {
        if (!paused && !modes.isEmpty() && fired) fired();
    }
    std::uint64_t fps = 0;
    bool paused = true;
    QStringList modes;

    static GMSFrameTimerFactory factory() {
        return [] { return std::make_unique<ManualFrameTimer>(); };
    }
};
