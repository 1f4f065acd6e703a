#include "SerialQueue.h"

#include <QThread>

#include <chrono>
#include <deque>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define ZL_CPU_RELAX() _mm_pause()
#else
#define ZL_CPU_RELAX() std::atomic_signal_fence(std::memory_order_seq_cst)
#endif

namespace zl {

namespace {
// Waits until `ready` holds or the spin time has passed; true when it holds.
template <class Ready>
bool spinUntil(int microseconds, Ready ready) {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + std::chrono::microseconds(microseconds);
    while (!ready()) {
        for (int i = 0; i < 16; ++i) ZL_CPU_RELAX();
        if (Clock::now() >= until) return ready();
    }
    return true;
}
}  // namespace

struct SerialQueue::Shared {
    int spinMicroseconds = 0;
    std::mutex lock;
    std::condition_variable wake;
    std::deque<std::function<void()>> blocks;  // under lock
    std::atomic<int> posted{0};                // blocks waiting: read without the lock while spinning
    bool sleeping = false;                     // under lock
    bool stopping = false;                     // under lock

    void run() {
        for (;;) {
            std::function<void()> block;
            {
                std::unique_lock l(lock);
                if (blocks.empty()) {
                    if (spinMicroseconds > 0) {
                        l.unlock();
                        spinUntil(spinMicroseconds, [this] { return posted.load(std::memory_order_acquire) != 0; });
                        l.lock();
                    }
                    while (blocks.empty() && !stopping) {
                        sleeping = true;
                        wake.wait(l);
                        sleeping = false;
                    }
                    if (blocks.empty()) return;  // stopping, and nothing left
                }
                block = std::move(blocks.front());
                blocks.pop_front();
                posted.fetch_sub(1, std::memory_order_relaxed);
            }
            block();
        }
    }
};

SerialQueue::SerialQueue(const QString& name, int spinMicroseconds)
    : m_name(name), m_shared(std::make_shared<Shared>()) {
    m_shared->spinMicroseconds = spinMicroseconds;
    auto shared = m_shared;
    m_thread = QThread::create([shared] { shared->run(); });
    m_thread->setObjectName(name);
    m_thread->start(QThread::LowPriority);
}

SerialQueue::~SerialQueue() {
    {
        std::lock_guard l(m_shared->lock);
        m_shared->stopping = true;
    }
    m_shared->wake.notify_one();
    m_thread->wait();
    delete m_thread;
}

void SerialQueue::async(std::function<void()> block) {
    bool sleeping;
    {
        std::lock_guard l(m_shared->lock);
        m_shared->blocks.push_back(std::move(block));
        m_shared->posted.fetch_add(1, std::memory_order_release);
        sleeping = m_shared->sleeping;
    }
    // A thread that is awake finds the block by itself.
    if (sleeping) m_shared->wake.notify_one();
}

void SerialQueue::sync(const std::function<void()>& block) {
    if (isCurrent()) {
        block();
        return;
    }
    SpinWaiter done;
    async([&] {
        block();
        done.signal();
    });
    done.wait();
}

bool SerialQueue::isCurrent() const { return QThread::currentThread() == m_thread; }

void SpinWaiter::signal() {
    // Under the lock: the waiter cannot return, and the object go, before
    // this has finished with it.
    std::lock_guard l(m_lock);
    m_state.store(1, std::memory_order_release);
    if (m_sleeping) m_wake.notify_one();
}

void SpinWaiter::wait() {
    if (spinUntil(SerialQueue::kCacheSpinMicroseconds, [this] { return m_state.load(std::memory_order_acquire) != 0; })) {
        // The signalling thread may still be inside signal(): it leaves the
        // lock before this object may go.
        std::lock_guard l(m_lock);
        return;
    }
    std::unique_lock l(m_lock);
    while (m_state.load(std::memory_order_acquire) == 0) {
        m_sleeping = true;
        m_wake.wait(l);
        m_sleeping = false;
    }
}

}  // namespace zl
