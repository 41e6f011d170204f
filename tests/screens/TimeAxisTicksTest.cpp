#include "screens/TimeAxisTicks.h"

#include <gtest/gtest.h>

#include <QDateTime>

using namespace Qt::StringLiterals;
using namespace TimeAxisTicks;

namespace {

// A moment of the local day, so that the expected labels hold in any time zone.
double localMs(int hour, int minute, double seconds = 0) {
    const QDateTime moment(QDate(2026, 3, 14), QTime(hour, minute, 0));
    return double(moment.toMSecsSinceEpoch()) + seconds * 1000;
}

QStringList texts(const QList<Tick>& ticks) {
    QStringList result;
    for (const Tick& tick : ticks)
        result.append(tick.text);
    return result;
}

constexpr qint64 s = 1000;
constexpr qint64 min = 60 * s;
constexpr qint64 h = 60 * min;

} // namespace

TEST(TimeAxisTicksStep, TheShortestRoundStepThatCutsTheSpanIntoTheGivenIntervals) {
    struct Case {
        double span;
        double intervals;
        qint64 step;
    };
    const Case cases[] = {
        {10 * s, 5, 2 * s},
        {40 * s, 4, 10 * s},
        {41 * s, 4, 15 * s},
        {100 * s, 4, 30 * s},
        {300 * s, 5, 1 * min},
        {301 * s, 5, 2 * min},
        {17 * min, 4, 5 * min},
        {50 * min, 4, 15 * min},
        {2 * h, 4, 30 * min},
        {6 * h, 4, 2 * h},
        {9 * h, 4, 3 * h},
        {13 * h, 4, 6 * h},
        {40 * h, 4, 12 * h},
        {3 * 24 * h, 4, 24 * h},
        {9 * 24 * h, 4, 3 * 24 * h}, // beyond the table,
                                     // whole days
        {0.3 * s, 4, 1 * s},         // never under a second
        {50 * s, 3.5, 15 * s},       // room for a part of a step counts
    };
    for (const Case& one : cases)
        EXPECT_EQ(stepMs(one.span, one.intervals), one.step) << one.span << " ms in " << one.intervals;
}

TEST(TimeAxisTicks, SevenMinutesReadAsWholeMinutesAtEqualSteps) {
    // The window that read 11:05, 11:06, 11:08, 11:10 on evenly spaced lines.
    const QList<Tick> labels = ticks({localMs(11, 4, 37), localMs(11, 11, 20)}, 4);
    EXPECT_EQ(texts(labels), (QStringList{u"11:06"_s, u"11:08"_s, u"11:10"_s}));
    for (qsizetype i = 1; i < labels.size(); ++i)
        EXPECT_EQ(labels[i].ms - labels[i - 1].ms, double(2 * min));
    EXPECT_EQ(labels.first().ms, localMs(11, 6));
}

TEST(TimeAxisTicks, AShortCaptureNeverRepeatsALabel) {
    // Two seconds of samples: every label is its own second.
    const QList<Tick> labels = ticks({localMs(16, 57, 25.4), localMs(16, 57, 27.4)}, 4);
    EXPECT_EQ(texts(labels), (QStringList{u"16:57:26"_s, u"16:57:27"_s}));
    const QStringList tenSeconds = texts(ticks({localMs(16, 57, 20.5), localMs(16, 57, 30.5)}, 5));
    EXPECT_EQ(tenSeconds,
              (QStringList{u"16:57:22"_s, u"16:57:24"_s, u"16:57:26"_s, u"16:57:28"_s, u"16:57:30"_s}));
}

TEST(TimeAxisTicks, ASixHourCaptureReadsEveryTwoHoursOnTheHour) {
    const QList<Tick> labels = ticks({localMs(9, 41, 12), localMs(15, 41, 12)}, 4);
    EXPECT_EQ(texts(labels), (QStringList{u"10:00"_s, u"12:00"_s, u"14:00"_s}));
}

TEST(TimeAxisTicks, ATickOnTheDomainsEdgesIsKept) {
    const QList<Tick> labels = ticks({localMs(11, 0), localMs(11, 5)}, 5);
    EXPECT_EQ(texts(labels),
              (QStringList{u"11:00"_s, u"11:01"_s, u"11:02"_s, u"11:03"_s, u"11:04"_s, u"11:05"_s}));
    EXPECT_LE(labels.size(), 5 + 1);
}

TEST(TimeAxisTicks, DaysReadAsDates) {
    const QDateTime from(QDate(2026, 3, 14), QTime(18, 0));
    const QList<Tick> labels =
        ticks({double(from.toMSecsSinceEpoch()), double(from.addDays(3).toMSecsSinceEpoch())}, 4);
    EXPECT_EQ(texts(labels), (QStringList{u"15 Mar"_s, u"16 Mar"_s, u"17 Mar"_s}));
}

TEST(TimeAxisTicks, AnEmptyOrReversedDomainHasNoTicks) {
    EXPECT_TRUE(ticks({localMs(11, 0), localMs(11, 0)}, 4).isEmpty());
    EXPECT_TRUE(ticks({localMs(11, 1), localMs(11, 0)}, 4).isEmpty());
}

TEST(TimeAxisTicks, TimesBeforeTheEpochRoundUpToo) {
    const QList<Tick> labels = ticks({-10'500, -500}, 5);
    ASSERT_FALSE(labels.isEmpty());
    EXPECT_EQ(labels.first().ms, -10'000);
    EXPECT_EQ(labels.last().ms, -2'000);
}

TEST(TimeAxisTicksToFit, ANarrowPlotGetsFewerLabelsAndNoneOverlaps) {
    // Labels of 35 points as "HH:mm" and 50 as "HH:mm:ss".
    const ClosedRange tenMinutes{localMs(11, 0, 9), localMs(11, 10, 9)};
    // 280 points leave room for five labels of minutes, each with half its width free on either side:
    // every 2 min.
    EXPECT_EQ(texts(ticksToFit(tenMinutes, 280, 35, 50)),
              (QStringList{u"11:02"_s, u"11:04"_s, u"11:06"_s, u"11:08"_s, u"11:10"_s}));
    EXPECT_EQ(texts(ticksToFit(tenMinutes, 140, 35, 50)), (QStringList{u"11:05"_s, u"11:10"_s}));

    // Fifty seconds call for seconds: the wider labels decide how many fit.
    const ClosedRange fiftySeconds{localMs(11, 0, 5), localMs(11, 0, 55)};
    const QList<Tick> seconds = ticksToFit(fiftySeconds, 280, 35, 50);
    EXPECT_EQ(texts(seconds), (QStringList{u"11:00:15"_s, u"11:00:30"_s, u"11:00:45"_s}));
    for (qsizetype i = 1; i < seconds.size(); ++i) {
        const double apart =
            (seconds[i].ms - seconds[i - 1].ms) / (fiftySeconds.upperBound - fiftySeconds.lowerBound);
        EXPECT_GE(apart * 280, 1.5 * 50);
    }
}

TEST(TimeAxisTicksToFit, APlotNotYetLaidOutGetsFourSteps) {
    const ClosedRange window{localMs(11, 0), localMs(11, 4)};
    EXPECT_EQ(ticksToFit(window, 0, 35, 50), ticks(window, 4));
}
