#include "Clock.h"

#include <QElapsedTimer>
#include <QTimer>

#include <algorithm>
#include <limits>

namespace zl {

double Clock::secondsSinceReferenceDate() const {
    static const qint64 reference = QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch();
    return double(wallMs() - reference) / 1000.0;
}

Clock& Clock::system() {
    static SystemClock clock;
    return clock;
}

qint64 SystemClock::monotonicNs() const {
    static const QElapsedTimer start = [] {
        QElapsedTimer t;
        t.start();
        return t;
    }();
    return start.nsecsElapsed();
}

QDateTime SystemClock::now() const { return QDateTime::currentDateTimeUtc(); }

Clock::Handle SystemClock::schedule(qint64 ms, QObject* context, std::function<void()> fn) const {
    const Handle handle = next_++;
    Q_ASSERT(context);
    if (!context) return handle;
    auto* timer = new QTimer(context);
    timer->setSingleShot(true);
    timer->setTimerType(Qt::PreciseTimer);
    QObject::connect(timer, &QTimer::timeout, timer, [this, handle, timer, fn = std::move(fn)] {
        {
            std::lock_guard lock(mutex_);
            pending_.erase(handle);
        }
        timer->deleteLater();
        fn();
    });
    {
        std::lock_guard lock(mutex_);
        pending_[handle] = timer;
    }
    timer->start(int(std::clamp<qint64>(ms, 0, std::numeric_limits<int>::max())));
    return handle;
}

void SystemClock::cancel(Handle handle) const {
    QPointer<QObject> timer;
    {
        std::lock_guard lock(mutex_);
        auto it = pending_.find(handle);
        if (it == pending_.end()) return;
        timer = it->second;
        pending_.erase(it);
    }
    if (timer) delete timer.data();
}

ManualClock::ManualClock(QDateTime wallStart) : wallStartMs_(wallStart.toMSecsSinceEpoch()) {}

ManualClock::ManualClock(double monotonicStartSeconds)
    : wallStartMs_(QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC).toMSecsSinceEpoch()),
      monotonicStartNs_(qint64(monotonicStartSeconds * 1e9)) {}

qint64 ManualClock::monotonicNs() const { return monotonicStartNs_ + elapsedNs_.load(); }

QDateTime ManualClock::now() const {
    return QDateTime::fromMSecsSinceEpoch(wallStartMs_ + elapsedNs_.load() / 1000000, Qt::UTC);
}

Clock::Handle ManualClock::schedule(qint64 ms, QObject* context, std::function<void()> fn) const {
    std::lock_guard lock(mutex_);
    const Handle handle = next_++;
    pending_[handle] = Entry{elapsedNs_.load() + std::max<qint64>(ms, 0) * 1000000, context, context != nullptr,
                             std::move(fn)};
    return handle;
}

void ManualClock::cancel(Handle handle) const {
    std::lock_guard lock(mutex_);
    pending_.erase(handle);
}

int ManualClock::pendingCount() const {
    std::lock_guard lock(mutex_);
    return int(pending_.size());
}

void ManualClock::advanceNs(qint64 ns) {
    const qint64 target = elapsedNs_.load() + std::max<qint64>(ns, 0);
    for (;;) {
        Entry due;
        {
            std::lock_guard lock(mutex_);
            auto best = pending_.end();
            for (auto it = pending_.begin(); it != pending_.end(); ++it)
                if (it->second.dueNs <= target && (best == pending_.end() || it->second.dueNs < best->second.dueNs))
                    best = it;
            if (best == pending_.end()) break;
            due = std::move(best->second);
            pending_.erase(best);
        }
        elapsedNs_ = std::max(elapsedNs_.load(), due.dueNs);
        if (due.hasContext && !due.context) continue;  // its owner is gone
        due.fn();  // may schedule or cancel further timers
    }
    elapsedNs_ = target;
}

}  // namespace zl
