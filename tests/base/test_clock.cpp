#include "Clock.h"
#include "testsupport.h"

#include <QCoreApplication>
#include <QThread>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

TEST(ManualClock, RunsDueTimersInTimeOrderWithTheTimeSetToTheirDueTimeFromTheGivenStart) {
    zl::ManualClock clock;
    QObject context;
    const QDateTime t0 = clock.now();
    const qint64 m0 = clock.monotonicNs();
    std::vector<int> order;
    clock.schedule(25, &context, [&] { order.push_back(3); });  // scheduled first, due after 10 and 15
    const auto h = clock.schedule(20, &context, [&] { order.push_back(99); });
    clock.schedule(10, &context, [&] {
        order.push_back(1);
        EXPECT_EQ(clock.now(), t0.addMSecs(10));
        EXPECT_EQ(clock.monotonicNs() - m0, 10'000'000);
        clock.schedule(5, &context, [&] { order.push_back(2); });  // due at 15
    });
    clock.schedule(25, &context, [&] { order.push_back(4); });  // same time as 3, scheduled later
    clock.cancel(h);
    clock.advance(25);
    EXPECT_EQ(std::pair(order, clock.now()), std::pair(std::vector<int>{1, 2, 3, 4}, t0.addMSecs(25)));
    clock.advanceSeconds(0.005);
    EXPECT_EQ(std::pair(order, clock.pendingCount()), std::pair(std::vector<int>{1, 2, 3, 4}, 0));
    EXPECT_DOUBLE_EQ(clock.monotonicSeconds() - double(m0) / 1e9, 0.030);

    // A timer whose context is gone is dropped.
    auto gone = std::make_unique<QObject>();
    clock.schedule(1, gone.get(), [&] { order.push_back(5); });
    gone.reset();
    clock.advance(2);
    EXPECT_EQ(std::pair(order.size(), clock.pendingCount()), std::pair(std::size_t(4), 0));

    // Clocks that start at a given time.
    EXPECT_EQ(zl::ManualClock(100.0).monotonicMs(), 100'000);
    zl::ManualClock dated(QDateTime(QDate(2001, 1, 1), QTime(0, 0), Qt::UTC));
    dated.advance(1500);
    EXPECT_DOUBLE_EQ(dated.secondsSinceReferenceDate(), 1.5);
    EXPECT_EQ(dated.wallMs(), QDateTime(QDate(2001, 1, 1), QTime(0, 0, 1, 500), Qt::UTC).toMSecsSinceEpoch());
}

TEST(SystemClock, RunsAndCancelsThroughTheContextsEventLoop) {
    zl::Clock& clock = zl::Clock::system();
    QObject context;
    int ran = 0;
    clock.schedule(0, &context, [&] { ran += 1; });
    const auto cancelled = clock.schedule(0, &context, [&] { ran += 100; });
    clock.cancel(cancelled);
    clock.cancel(cancelled);  // twice is harmless
    EXPECT_EQ(ran, 0);
    ASSERT_TRUE(zltest::waitFor([&] { return ran == 1; }));
    QCoreApplication::processEvents();
    EXPECT_EQ(ran, 1);
    EXPECT_LE(qAbs(clock.now().msecsTo(QDateTime::currentDateTimeUtc())), 1000);
    const qint64 before = clock.monotonicNs();
    EXPECT_GE(clock.monotonicNs(), before);

    // A timer dies with its context: a later one runs, the dead one never.
    {
        QObject gone;
        clock.schedule(0, &gone, [&] { ran += 10; });
    }
    bool later = false;
    clock.schedule(5, &context, [&] { later = true; });
    ASSERT_TRUE(zltest::waitFor([&] { return later; }));
    EXPECT_EQ(ran, 1);
}
