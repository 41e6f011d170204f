#include "screens/Motion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(Motion, EaseOutRunsAheadAndEaseInLagsBehind) {
    for (const double progress : {0.1, 0.3, 0.5, 0.7, 0.9}) {
        EXPECT_GT(Motion::easeOut(progress), progress) << progress;
        EXPECT_LT(Motion::easeIn(progress), progress) << progress;
    }
    EXPECT_EQ(Motion::easeOut(0), 0);
    EXPECT_EQ(Motion::easeOut(1), 1);
    EXPECT_EQ(Motion::easeIn(0), 0);
    EXPECT_EQ(Motion::easeIn(1), 1);
}

TEST(Motion, CurvesClampOutsideTheirRangeAndTreatNaNAsTheStart) {
    EXPECT_EQ(Motion::easeOut(-1), 0);
    EXPECT_EQ(Motion::easeOut(2), 1);
    EXPECT_EQ(Motion::easeIn(7), 1);
    EXPECT_EQ(Motion::easeIn(std::numeric_limits<double>::quiet_NaN()), 0);
}

TEST(Motion, ProgressIsZeroBeforeTheStartAndOneAfterTheDuration) {
    const QDateTime start(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
    EXPECT_EQ(Motion::progress(std::nullopt, start, 1), 0);
    EXPECT_EQ(Motion::progress(start, start.addMSecs(-500), 1), 0);
    EXPECT_EQ(Motion::progress(start, start.addMSecs(250), 1), 0.25);
    EXPECT_EQ(Motion::progress(start, start.addSecs(5), 1), 1);
    EXPECT_EQ(Motion::secondsSince(start, start.addMSecs(1500)), 1.5);
    EXPECT_EQ(Motion::secondsSince(std::nullopt, start), 0);
}

TEST(Motion, AnUnderdampedSpringOvershootsOnceAndSettles) {
    EXPECT_EQ(Motion::spring(0, 0.5, 0.6), 0);
    EXPECT_EQ(Motion::spring(-1, 0.5, 0.6), 0);
    // The first peak of a spring with damping fraction z lies exp(-pi z / sqrt(1 - z^2)) past the target.
    double peak = 0;
    for (int ms = 1; ms <= 2000; ++ms)
        peak = std::max(peak, Motion::spring(ms / 1000.0, 0.5, 0.6));
    EXPECT_NEAR(peak, 1 + std::exp(-M_PI * 0.6 / 0.8), 1e-4);
    const double settled = Motion::springSettleSeconds(0.5, 0.6);
    EXPECT_GT(settled, 0.5);
    EXPECT_LT(settled, 1.5);
    EXPECT_NEAR(Motion::spring(settled, 0.5, 0.6), 1, 0.002);
}

TEST(Motion, ACriticallyDampedSpringNeverOvershoots) {
    for (int ms = 1; ms <= 3000; ms += 7)
        EXPECT_LE(Motion::spring(ms / 1000.0, 0.5, 1.0), 1.0);
    EXPECT_NEAR(Motion::spring(3, 0.5, 1.0), 1, 1e-6);
}
