#pragma once

#include <QCoreApplication>
#include <QImage>
#include <QPointer>

#include <functional>
#include <memory>
#include <unordered_map>

#include "Clock.h"
#include "GMSDisplayLink.h"
#include "GMSTileSource.h"

// A frame timer that fires only when a test says so, and remembers its modes
// (sorted: the link adds them in no particular order).
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
    void addToMode(const QString& m) override {
        modes.append(m);
        modes.sort();
    }
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

// Sixty frames a second for the given time, while a timer is there.
inline void runFrames(zl::ManualClock& clock, double seconds) {
    for (int i = 0; i < int(seconds * 60) && ManualFrameTimer::last; ++i) {
        clock.advanceSeconds(1.0 / 60);
        ManualFrameTimer::last->fire();
    }
}

// Answers when the test says; records what was asked and what let go.
struct ManualSource : GMSTileSource {
    zl::RequestHandle requestTile(const GMSTileKey& k, Answer a) override {
        asked.append(k);
        answers.insert_or_assign(k, a);
        return a.handle([self = QPointer<ManualSource>(this), k] {
            if (self) self->cancelled.append(k);
        });
    }
    void reply(const GMSTileKey& k, const QImage& image, bool final = true) {
        if (auto it = answers.find(k); it != answers.end()) it->second(image, final);
        QCoreApplication::sendPostedEvents();
    }
    void answer(const GMSTileKey& k) {
        QImage img(256, 256, QImage::Format_ARGB32_Premultiplied);
        img.fill(Qt::gray);
        reply(k, img);
    }
    void fail(const GMSTileKey& k) { reply(k, QImage()); }
    QList<GMSTileKey> asked, cancelled;
    std::unordered_map<GMSTileKey, Answer, std::function<size_t(const GMSTileKey&)>> answers{
        8, [](const GMSTileKey& k) { return qHash(k); }};
};
