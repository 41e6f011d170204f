#include "base/VirtualClock.h"

#include <gtest/gtest.h>

#include <QObject>

#include <memory>
#include <vector>

TEST(VirtualClock, NowMovesOnlyWhenAdvanced) {
    VirtualClock time;
    const QDateTime start = time.now();
    EXPECT_EQ(time.now(), start);
    time.advance(2.5);
    EXPECT_EQ(start.msecsTo(time.now()), 2500);
}

TEST(VirtualClock, SingleShotFiresOnceAtItsDueTime) {
    VirtualClock time;
    const QDateTime start = time.now();
    std::vector<qint64> firedAt;
    Timer timer = time.singleShot(30.0, nullptr, [&] { firedAt.push_back(start.msecsTo(time.now())); });
    time.advance(29.999);
    EXPECT_TRUE(firedAt.empty());
    EXPECT_TRUE(timer.isActive());
    time.advance(0.001);
    ASSERT_EQ(firedAt.size(), 1u);
    EXPECT_EQ(firedAt[0], 30000);
    EXPECT_FALSE(timer.isActive());
    time.advance(100);
    EXPECT_EQ(firedAt.size(), 1u);
}

// A repeating timer that notes when it fires, in milliseconds since it was armed.
struct RecordedTicks {
    RecordedTicks(VirtualClock& time, double period)
        : start(time.now())
        , timer(time.repeating(period, nullptr, [this, &time] { at.push_back(start.msecsTo(time.now())); })) {
    }

    const QDateTime start;
    std::vector<qint64> at;
    Timer timer;
};

TEST(VirtualClock, RepeatingTimerFiresEveryPeriodWithNowAtEachTick) {
    VirtualClock time;
    RecordedTicks ticks(time, 0.5);
    time.advance(2.2);
    EXPECT_EQ(ticks.at, (std::vector<qint64>{500, 1000, 1500, 2000}));
    EXPECT_EQ(ticks.start.msecsTo(time.now()), 2200);
}

TEST(VirtualClock, DueTimersFireInTimeOrderThenInArmingOrder) {
    VirtualClock time;
    std::vector<QString> order;
    Timer late = time.singleShot(3, nullptr, [&] { order.push_back(QStringLiteral("late")); });
    Timer first = time.singleShot(1, nullptr, [&] { order.push_back(QStringLiteral("first")); });
    Timer tieA = time.singleShot(2, nullptr, [&] { order.push_back(QStringLiteral("tieA")); });
    Timer tieB = time.singleShot(2, nullptr, [&] { order.push_back(QStringLiteral("tieB")); });
    time.advance(5);
    EXPECT_EQ(order, (std::vector<QString>{"first", "tieA", "tieB", "late"}));
}

TEST(VirtualClock, CancelledTimerNeverFires) {
    VirtualClock time;
    int fired = 0;
    Timer timer = time.singleShot(1, nullptr, [&] { ++fired; });
    timer.cancel();
    EXPECT_FALSE(timer.isActive());
    time.advance(10);
    EXPECT_EQ(fired, 0);
}

TEST(VirtualClock, DroppingTheHandleCancelsTheTimer) {
    VirtualClock time;
    int fired = 0;
    {
        Timer timer = time.repeating(1, nullptr, [&] { ++fired; });
    }
    time.advance(10);
    EXPECT_EQ(fired, 0);
    EXPECT_EQ(time.activeTimerCount(), 0);
}

TEST(VirtualClock, ReassigningAHandleCancelsTheOldTimer) {
    VirtualClock time;
    int oldFired = 0;
    int newFired = 0;
    Timer timer = time.singleShot(1, nullptr, [&] { ++oldFired; });
    timer = time.singleShot(2, nullptr, [&] { ++newFired; });
    time.advance(5);
    EXPECT_EQ(oldFired, 0);
    EXPECT_EQ(newFired, 1);
}

TEST(VirtualClock, TimerDiesWithItsContext) {
    VirtualClock time;
    int fired = 0;
    auto context = std::make_unique<QObject>();
    Timer timer = time.repeating(1, context.get(), [&] { ++fired; });
    time.advance(2);
    EXPECT_EQ(fired, 2);
    context.reset();
    EXPECT_FALSE(timer.isActive());
    time.advance(5);
    EXPECT_EQ(fired, 2);
}

TEST(VirtualClock, TimerArmedDuringAdvanceFiresInTheSameAdvanceWhenDue) {
    VirtualClock time;
    const QDateTime start = time.now();
    Timer second;
    qint64 secondAt = -1;
    Timer first = time.singleShot(1, nullptr, [&] {
        second = time.singleShot(2, nullptr, [&] { secondAt = start.msecsTo(time.now()); });
    });
    time.advance(3.5);
    EXPECT_EQ(secondAt, 3000);
}

TEST(VirtualClock, CallbackMayCancelItsOwnRepeatingTimer) {
    VirtualClock time;
    int fired = 0;
    Timer timer;
    timer = time.repeating(1, nullptr, [&] {
        if (++fired == 3)
            timer.cancel();
    });
    time.advance(10);
    EXPECT_EQ(fired, 3);
}

TEST(VirtualClock, CallbackMayCancelAnotherTimerDueAtTheSameMoment) {
    VirtualClock time;
    int otherFired = 0;
    Timer other;
    Timer first = time.singleShot(1, nullptr, [&] { other.cancel(); });
    other = time.singleShot(1, nullptr, [&] { ++otherFired; });
    time.advance(2);
    EXPECT_EQ(otherFired, 0);
}

TEST(VirtualClock, PostedWorkFiresOnceAndDiesWithItsContext) {
    VirtualClock time;
    int fired = 0;
    int orphanFired = 0;
    QObject context;
    time.post(0.1, &context, [&] { ++fired; });
    {
        QObject shortLived;
        time.post(0.1, &shortLived, [&] { ++orphanFired; });
    }
    time.advance(1);
    EXPECT_EQ(fired, 1);
    EXPECT_EQ(orphanFired, 0);
}

TEST(VirtualClock, JumpMovesTimeWithoutFiring) {
    VirtualClock time;
    int fired = 0;
    Timer timer = time.singleShot(5, nullptr, [&] { ++fired; });
    time.jump(10);
    EXPECT_EQ(fired, 0);
    time.advance(0);
    EXPECT_EQ(fired, 1);
}

TEST(VirtualClock, RepeatingTimerFiresOnceForAllTheTicksAJumpSkippedThenKeepsItsPeriod) {
    VirtualClock time;
    RecordedTicks ticks(time, 0.5);
    time.advance(1.2);
    ASSERT_EQ(ticks.at, (std::vector<qint64>{500, 1000}));

    // Forty years asleep: one tick on waking, not one for each half second of them.
    const qint64 asleepMs = 40LL * 365 * 24 * 3600 * 1000;
    time.jump(double(asleepMs) / 1000.0);
    time.advance(0);
    EXPECT_EQ(ticks.at, (std::vector<qint64>{500, 1000, 1200 + asleepMs}));
    time.advance(0.4);
    EXPECT_EQ(ticks.at.size(), 3u);
    time.advance(0.1);
    EXPECT_EQ(ticks.at, (std::vector<qint64>{500, 1000, 1200 + asleepMs, 1700 + asleepMs}));
}

TEST(VirtualClock, LongTimersRunInMillisecondsOfRealTime) {
    // The upload retry ladder and the idle timer reach a quarter of an hour; the virtual clock must not care.
    VirtualClock time;
    int idleTicks = 0;
    Timer idle = time.repeating(900, nullptr, [&] { ++idleTicks; });
    time.advance(11 * 900);
    EXPECT_EQ(idleTicks, 11);
}

TEST(VirtualClock, ScopedInstallReplacesTheProgramsClockAndScheduler) {
    VirtualClock time;
    {
        ScopedVirtualTime scope(time);
        EXPECT_EQ(&Time::clock(), static_cast<Clock*>(&time));
        int fired = 0;
        Timer timer = Time::scheduler().singleShot(15, nullptr, [&] { ++fired; });
        time.advance(15);
        EXPECT_EQ(fired, 1);
    }
    EXPECT_NE(&Time::clock(), static_cast<Clock*>(&time));
}
