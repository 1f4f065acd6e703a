#pragma once

#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

namespace zl {

// A serial worker: one thread, work run in the order it was posted.
// Whatever lives on the queue (a store connection, an index) is only ever
// touched from blocks run here.
//
// The hand-off is a locked list with a condition variable, not a Qt event:
// after its last block the thread may keep looking for new work for a short
// while before it sleeps (spinMicroseconds), so that a caller that waits for
// each answer before it asks again finds it awake, and a post to a thread
// that is awake costs no system call. The thread runs no Qt event loop:
// blocks are plain work and must not rely on timers or queued calls to
// objects living there.
class SerialQueue {
public:
    // The spin the caches use: one tile asked at a time finds the thread awake.
    static constexpr int kCacheSpinMicroseconds = 60;

    explicit SerialQueue(const QString& name, int spinMicroseconds = 0);
    // Runs what is already posted (and what that posts), then stops the thread.
    ~SerialQueue();
    SerialQueue(const SerialQueue&) = delete;
    SerialQueue& operator=(const SerialQueue&) = delete;

    QString name() const { return m_name; }
    void async(std::function<void()> block);
    // Runs the block on the queue and waits for it; on the queue itself it
    // runs at once, so nesting keeps the work serial without deadlock. Never
    // from the GUI thread.
    void sync(const std::function<void()>& block);
    bool isCurrent() const;

    struct Shared;

private:
    QString m_name;
    std::shared_ptr<Shared> m_shared;
    QThread* m_thread;
};

// A one-shot hand-back from a queue to a thread that waits for the result:
// the waiter looks for it for a short while before it sleeps, so that an
// answer that comes within microseconds wakes nobody. Never wait on the GUI
// thread.
class SpinWaiter {
public:
    void signal();
    void wait();

private:
    std::atomic<int> m_state{0};  // 0 waiting, 1 signalled
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_sleeping = false;  // under m_lock
};

}  // namespace zl
