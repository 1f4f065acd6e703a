#pragma once

#include <QDateTime>
#include <QObject>

#include <functional>
#include <map>

// Time and one-shot timers for the location services, so that a replayed run
// can be driven by a test (ManualClock) as well as by the wall clock.
class Clock {
public:
    using Handle = quint64;

    virtual ~Clock() = default;
    virtual QDateTime now() const = 0;
    // Calls fn once, after ms milliseconds, on the thread that owns the
    // clock. Returns a handle for cancel().
    virtual Handle schedule(qint64 ms, std::function<void()> fn) = 0;
    virtual void cancel(Handle handle) = 0;

    // The wall clock, shared by everything that isn't given another one.
    static Clock* system();
};

// Wall clock, timers through the event loop.
class SystemClock : public QObject, public Clock {
public:
    QDateTime now() const override;
    Handle schedule(qint64 ms, std::function<void()> fn) override;
    void cancel(Handle handle) override;

private:
    Handle next_ = 1;
    std::map<Handle, QObject*> pending_;
};

// A clock that stands still until advanced. Due callbacks run inside
// advance(), in time order, with now() set to their due time.
class ManualClock : public Clock {
public:
    explicit ManualClock(QDateTime start = QDateTime(QDate(2026, 1, 1), QTime(0, 0), Qt::UTC));

    QDateTime now() const override { return now_; }
    Handle schedule(qint64 ms, std::function<void()> fn) override;
    void cancel(Handle handle) override;

    void advance(qint64 ms);
    int pendingCount() const { return int(pending_.size()); }

private:
    struct Entry {
        QDateTime due;
        std::function<void()> fn;
    };
    QDateTime now_;
    Handle next_ = 1;
    std::map<Handle, Entry> pending_;
};
