// The serial queue (with and without its short spin before sleeping) and
// the waiter that hands a result back.
#include "SerialQueue.h"

#include <gtest/gtest.h>

#include <QRandomGenerator>
#include <QThread>

#include <atomic>
#include <chrono>
#include <numeric>
#include <thread>
#include <vector>

using zl::SerialQueue;

namespace {

// Keeps the thread busy for a while without sleeping, so that the other
// side of a hand-off may have gone to sleep (or not) by then.
void busyFor(int microseconds) {
    const auto until = std::chrono::steady_clock::now() + std::chrono::microseconds(microseconds);
    while (std::chrono::steady_clock::now() < until) {
    }
}

}  // namespace

// Order per producer, every block on the queue's thread, and sync from
// several threads at once returning only after the caller's earlier posts.
TEST(SerialQueue, ManyProducersKeepTheirOrderAndSyncWaitsForTheirPosts) {
    constexpr int kProducers = 4;
    constexpr int kPerProducer = 4000;
    for (const int spin : {0, SerialQueue::kCacheSpinMicroseconds}) {
        SCOPED_TRACE(spin);
        SerialQueue queue(QStringLiteral("order"), spin);
        std::vector<std::vector<int>> seen(kProducers);  // touched on the queue only
        std::atomic<int> wrongThread{0}, syncTooEarly{0};
        std::vector<std::thread> producers;
        for (int p = 0; p < kProducers; ++p) {
            producers.emplace_back([&, p] {
                QRandomGenerator rng(quint32(p + 1));
                for (int i = 0; i < kPerProducer; ++i) {
                    queue.async([&, p, i] {
                        if (!queue.isCurrent()) ++wrongThread;
                        seen[p].push_back(i);
                    });
                    // Now and then the queue runs dry, spins and sleeps.
                    if (rng.bounded(200) == 0) busyFor(int(rng.bounded(300)));
                    if (rng.bounded(100) == 0) {
                        size_t ran = 0;
                        queue.sync([&] { ran = seen[p].size(); });
                        if (ran != size_t(i + 1)) ++syncTooEarly;
                    }
                }
            });
        }
        for (auto& t : producers) t.join();
        queue.sync([] {});
        EXPECT_EQ(std::pair(wrongThread.load(), syncTooEarly.load()), std::pair(0, 0));
        std::vector<int> inOrder(kPerProducer);
        std::iota(inOrder.begin(), inOrder.end(), 0);
        for (int p = 0; p < kProducers; ++p) ASSERT_TRUE(seen[p] == inOrder) << "producer " << p;
    }
}

TEST(SerialQueue, StoppingRunsWhatIsPostedSyncOnTheQueueRunsAtOnceAndTheWaiterHandsBack) {
    std::atomic<int> ran{0};
    {
        std::function<void(int)> chain;  // outlives the queue
        SerialQueue queue(QStringLiteral("drain"));
        chain = [&](int left) {
            ++ran;
            if (left > 0) queue.async([&chain, left] { chain(left - 1); });
        };
        queue.async([&] { busyFor(2000); });  // the rest is still waiting when stopping starts
        for (int i = 0; i < 100; ++i) queue.async([&] { ++ran; });
        queue.async([&] { chain(50); });
    }
    EXPECT_EQ(ran.load(), 100 + 51);

    SerialQueue queue(QStringLiteral("sync"), SerialQueue::kCacheSpinMicroseconds);
    EXPECT_FALSE(queue.isCurrent());
    int value = 0;
    queue.sync([&] {
        EXPECT_TRUE(queue.isCurrent());
        queue.sync([&] { value = 1; });  // inline: no deadlock
        value += 1;
    });
    EXPECT_EQ(value, 2);
    // A sleeping queue is woken by a post.
    for (int round = 0; round < 20; ++round) {
        busyFor(SerialQueue::kCacheSpinMicroseconds * 3);
        queue.sync([&] { ++value; });
    }
    EXPECT_EQ(value, 22);

    // The waiter hands a result back whether it spins, sleeps or comes late.
    QRandomGenerator rng(11);
    for (int round = 0; round < 300; ++round) {
        // Lives on this stack only: the signalling side must be done with
        // it when wait() returns.
        zl::SpinWaiter waiter;
        int result = 0;
        const int delay = round % 3 == 0 ? 0 : int(rng.bounded(SerialQueue::kCacheSpinMicroseconds * 4));
        queue.async([&, delay, round] {
            busyFor(delay);
            result = round + 1;
            waiter.signal();
        });
        if (round % 5 == 0) busyFor(int(rng.bounded(200)));  // signalled before the wait
        waiter.wait();
        ASSERT_EQ(result, round + 1);
    }
}
