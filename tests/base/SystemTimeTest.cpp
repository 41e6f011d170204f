#include "base/SystemTime.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QElapsedTimer>

// The production scheduler on real QTimers, with periods short enough for a test.

namespace {
void spinUntil(const std::function<bool()>& done) {
    QElapsedTimer elapsed;
    elapsed.start();
    while (!done() && elapsed.elapsed() < 5000)
        QCoreApplication::processEvents(QEventLoop::AllEvents, 5);
}
} // namespace

TEST(SystemScheduler, SingleShotFiresOnceAndReportsInactive) {
    int fired = 0;
    QObject context;
    Timer timer = Time::scheduler().singleShot(0.01, &context, [&] { ++fired; });
    EXPECT_TRUE(timer.isActive());
    spinUntil([&] { return fired > 0; });
    EXPECT_EQ(fired, 1);
    EXPECT_FALSE(timer.isActive());
}

TEST(SystemScheduler, RepeatingTimerStopsWhenCancelledFromItsCallback) {
    int fired = 0;
    QObject context;
    Timer timer;
    timer = Time::scheduler().repeating(0.005, &context, [&] {
        if (++fired == 3)
            timer.cancel();
    });
    spinUntil([&] { return !timer.isActive(); });
    QCoreApplication::processEvents();
    EXPECT_EQ(fired, 3);
}

TEST(SystemScheduler, ContextDestructionCancels) {
    int fired = 0;
    auto context = std::make_unique<QObject>();
    Timer timer = Time::scheduler().repeating(0.005, context.get(), [&] { ++fired; });
    context.reset();
    EXPECT_FALSE(timer.isActive());
    bool later = false;
    QObject other;
    Time::scheduler().post(0.03, &other, [&] { later = true; });
    spinUntil([&] { return later; });
    EXPECT_EQ(fired, 0);
}

TEST(SystemClock, ReadsUtcWallTime) {
    const QDateTime before = QDateTime::currentDateTimeUtc();
    const QDateTime now = Time::clock().now();
    EXPECT_LE(before, now);
    EXPECT_LE(now.msecsTo(QDateTime::currentDateTimeUtc()), 1000);
}
