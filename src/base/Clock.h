#pragma once

#include <QDateTime>
#include <QObject>
#include <QPointer>

#include <atomic>
#include <concepts>
#include <functional>
#include <map>
#include <mutex>

namespace zl {

// The one source of time: monotonic time for durations, animations and
// request timing, wall time for the stamps that go into stores and files,
// and one-shot timers. Everything that reads or waits on time is handed a
// Clock, so that tests drive it by hand with ManualClock.
//
// Time is read from any thread. Timers run on the thread of their context
// object; schedule() and cancel() are called on that thread too.
class Clock {
public:
    using Handle = quint64;  // 0 never names a timer

    virtual ~Clock() = default;

    // Nanoseconds on a scale that never goes back; its start is arbitrary.
    virtual qint64 monotonicNs() const = 0;
    // Wall time, UTC.
    virtual QDateTime now() const = 0;

    double monotonicSeconds() const { return double(monotonicNs()) / 1e9; }
    qint64 monotonicMs() const { return monotonicNs() / 1000000; }
    qint64 wallMs() const { return now().toMSecsSinceEpoch(); }
    // Wall time in seconds since 2001-01-01 UTC, the scale of the map
    // service's identity records.
    double secondsSinceReferenceDate() const;

    // Calls fn once, after ms milliseconds (at least 0), on the thread of
    // context. Dropped when context is gone by then.
    virtual Handle schedule(qint64 ms, QObject* context, std::function<void()> fn) const = 0;
    // A timer that already ran or was cancelled is ignored.
    virtual void cancel(Handle handle) const = 0;

    // The machine's clock, for what nobody handed a clock to.
    static Clock& system();
};

// The machine's monotonic and wall clocks; timers are QTimers, children of
// their context (which must be given).
class SystemClock final : public Clock {
public:
    qint64 monotonicNs() const override;
    QDateTime now() const override;
    Handle schedule(qint64 ms, QObject* context, std::function<void()> fn) const override;
    void cancel(Handle handle) const override;

private:
    // Timers don't change the time: a clock handed in as const schedules too.
    mutable std::atomic<Handle> next_{1};
    mutable std::mutex mutex_;
    mutable std::map<Handle, QPointer<QObject>> pending_;  // the timer of each handle
};

// A clock that stands still until advanced. Monotonic and wall time move
// together. Due timers run inside advance(), in due order (on a tie, the
// one scheduled first), with the time set to their due time.
class ManualClock final : public Clock {
public:
    explicit ManualClock(QDateTime wallStart = QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC));
    // Monotonic time starting at the given second (the map's tests like a
    // start well away from zero).
    explicit ManualClock(double monotonicStartSeconds);

    qint64 monotonicNs() const override;
    QDateTime now() const override;
    Handle schedule(qint64 ms, QObject* context, std::function<void()> fn) const override;
    void cancel(Handle handle) const override;

    void advance(qint64 ms) { advanceNs(ms * 1000000); }
    template <std::floating_point T>
    void advance(T) = delete;  // seconds go through advanceSeconds()
    void advanceSeconds(double s) { advanceNs(qint64(s * 1e9)); }
    void advanceNs(qint64 ns);
    int pendingCount() const;

private:
    struct Entry {
        qint64 dueNs;
        QPointer<QObject> context;
        bool hasContext;
        std::function<void()> fn;
    };
    qint64 wallStartMs_;
    qint64 monotonicStartNs_ = 0;
    std::atomic<qint64> elapsedNs_{0};
    mutable std::mutex mutex_;
    mutable Handle next_ = 1;
    mutable std::map<Handle, Entry> pending_;
};

}  // namespace zl
