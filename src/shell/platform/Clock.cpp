#include "Clock.h"

#include <QTimer>

#include <algorithm>
#include <limits>

Clock* Clock::system() {
    static SystemClock clock;
    return &clock;
}

QDateTime SystemClock::now() const {
    return QDateTime::currentDateTimeUtc();
}

Clock::Handle SystemClock::schedule(qint64 ms, std::function<void()> fn) {
    const Handle handle = next_++;
    auto* timer = new QTimer(this);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, this, [this, handle, timer, fn = std::move(fn)] {
        pending_.erase(handle);
        timer->deleteLater();
        fn();
    });
    pending_[handle] = timer;
    timer->start(int(std::clamp<qint64>(ms, 0, std::numeric_limits<int>::max())));
    return handle;
}

void SystemClock::cancel(Handle handle) {
    auto it = pending_.find(handle);
    if (it == pending_.end())
        return;
    it->second->deleteLater();
    static_cast<QTimer*>(it->second)->stop();
    pending_.erase(it);
}

ManualClock::ManualClock(QDateTime start) : now_(std::move(start)) {}

Clock::Handle ManualClock::schedule(qint64 ms, std::function<void()> fn) {
    const Handle handle = next_++;
    pending_[handle] = Entry{now_.addMSecs(std::max<qint64>(ms, 0)), std::move(fn)};
    return handle;
}

void ManualClock::cancel(Handle handle) {
    pending_.erase(handle);
}

void ManualClock::advance(qint64 ms) {
    const QDateTime target = now_.addMSecs(std::max<qint64>(ms, 0));
    for (;;) {
        // Earliest due entry; on a tie the one scheduled first.
        auto best = pending_.end();
        for (auto it = pending_.begin(); it != pending_.end(); ++it)
            if (it->second.due <= target && (best == pending_.end() || it->second.due < best->second.due))
                best = it;
        if (best == pending_.end())
            break;
        now_ = best->second.due;
        auto fn = std::move(best->second.fn);
        pending_.erase(best);
        fn();  // may schedule or cancel further entries
    }
    now_ = target;
}
