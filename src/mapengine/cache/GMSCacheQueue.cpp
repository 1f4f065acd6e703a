#include "GMSCacheQueue.h"

#include <QThread>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>

#if defined(__x86_64__) || defined(__i386__)
#include <immintrin.h>
#define GMS_CPU_RELAX() _mm_pause()
#else
#define GMS_CPU_RELAX() std::atomic_signal_fence(std::memory_order_seq_cst)
#endif

namespace {
// Waits until `ready` holds or the spin time has passed; true when it holds.
template <class Ready>
bool spinUntil(Ready ready) {
    using Clock = std::chrono::steady_clock;
    const auto until = Clock::now() + std::chrono::microseconds(GMSCacheQueue::kSpinMicroseconds);
    while (!ready()) {
        for (int i = 0; i < 16; ++i) GMS_CPU_RELAX();
        if (Clock::now() >= until) return ready();
    }
    return true;
}
}  // namespace

struct GMSCacheQueue::Shared {
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
                    l.unlock();
                    spin();
                    l.lock();
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

    // Looks for new work for a short while: a caller that waits for each
    // answer posts its next block within microseconds.
    void spin() {
        spinUntil([this] { return posted.load(std::memory_order_acquire) != 0; });
    }
};

GMSCacheQueue::GMSCacheQueue(const QString& name) : m_shared(std::make_shared<Shared>()) {
    auto shared = m_shared;
    m_thread = QThread::create([shared] { shared->run(); });
    m_thread->setObjectName(name);
    m_thread->start(QThread::LowPriority);
}

GMSCacheQueue::~GMSCacheQueue() {
    {
        std::lock_guard l(m_shared->lock);
        m_shared->stopping = true;
    }
    m_shared->wake.notify_one();
    m_thread->wait();
    delete m_thread;
}

void GMSCacheQueue::async(std::function<void()> block) {
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

void GMSCacheQueue::sync(const std::function<void()>& block) {
    if (isCurrent()) {
        block();
        return;
    }
    std::mutex m;
    std::condition_variable cv;
    bool done = false;
    async([&] {
        block();
        std::lock_guard l(m);
        done = true;
        cv.notify_one();
    });
    std::unique_lock l(m);
    cv.wait(l, [&] { return done; });
}

bool GMSCacheQueue::isCurrent() const { return QThread::currentThread() == m_thread; }

void GMSCacheWaiter::signal() {
    // Under the lock: the waiter cannot return, and the object go, before
    // this has finished with it.
    std::lock_guard l(m_lock);
    m_state.store(1, std::memory_order_release);
    if (m_sleeping) m_wake.notify_one();
}

void GMSCacheWaiter::wait() {
    if (spinUntil([this] { return m_state.load(std::memory_order_acquire) != 0; })) {
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
