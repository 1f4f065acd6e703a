#pragma once

#include <QObject>
#include <QPointer>
#include <QString>

#include <atomic>
#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>

class QThread;

// The private serial queue of one disk cache: one thread, work run in the
// order it was posted. Whatever lives on the queue (the store connection,
// the index) is only ever touched from blocks run here.
//
// The hand-off is a locked list with a condition variable, not a Qt event:
// after its last block the thread keeps looking for new work for a short
// while before it sleeps, so that a caller that waits for each answer
// before it asks again (one tile at a time) finds it awake, and a post to a
// thread that is awake costs no system call. The thread runs no Qt event
// loop: blocks are plain work and must not rely on timers or queued calls
// to objects living there.
class GMSCacheQueue {
public:
    // How long the thread looks for new work before it sleeps.
    static constexpr int kSpinMicroseconds = 60;

    explicit GMSCacheQueue(const QString& name);
    // Runs what is already posted (and what that posts), then stops the thread.
    ~GMSCacheQueue();
    GMSCacheQueue(const GMSCacheQueue&) = delete;
    GMSCacheQueue& operator=(const GMSCacheQueue&) = delete;

    void async(std::function<void()> block);
    // Runs the block on the queue and waits for it: for shutdown, tests and
    // tools only, never from the GUI thread.
    void sync(const std::function<void()>& block);
    bool isCurrent() const;

    struct Shared;

private:
    std::shared_ptr<Shared> m_shared;
    QThread* m_thread;
};

// A one-shot hand-back from the cache's thread to a thread that waits for
// the result: the waiter looks for it for a short while before it sleeps,
// so that an answer that comes within microseconds wakes nobody. Never wait
// on the GUI thread.
class GMSCacheWaiter {
public:
    void signal();
    void wait();

private:
    std::atomic<int> m_state{0};  // 0 waiting, 1 signalled
    std::mutex m_lock;
    std::condition_variable m_wake;
    bool m_sleeping = false;  // under m_lock
};

// Hands a result to the caller: queued to the thread of `context` when one
// is given (dropped if it is gone by then), otherwise run at once on the
// cache's queue.
template <class Fn, class... Args>
void gmsDeliver(const QPointer<QObject>& context, bool hasContext, Fn fn, Args... args) {
    if (!fn) return;
    if (!hasContext) {
        fn(args...);
        return;
    }
    QObject* target = context.data();
    if (!target) return;
    QMetaObject::invokeMethod(
        target, [fn = std::move(fn), args...]() mutable { fn(args...); }, Qt::QueuedConnection);
}

// A completion handler with the context it is delivered to.
template <class... Args>
class GMSCallback {
public:
    GMSCallback() = default;
    GMSCallback(QObject* context, std::function<void(Args...)> fn)
        : m_context(context), m_hasContext(context != nullptr), m_fn(std::move(fn)) {}
    void operator()(Args... args) const { gmsDeliver(m_context, m_hasContext, m_fn, args...); }

private:
    QPointer<QObject> m_context;
    bool m_hasContext = false;
    std::function<void(Args...)> m_fn;
};
