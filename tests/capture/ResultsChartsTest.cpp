#include "capture/ResultsCharts.h"

#include "CaptureSamples.h"
#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <limits>

using namespace Qt::StringLiterals;
using namespace CaptureSamples;
using namespace ResultsAnalysis;

TEST(Percentiles, FourValuesGiveNone) {
    EXPECT_EQ(computePercentiles({1, 2, 3, 4}), std::nullopt);
    EXPECT_EQ(computePercentiles({}), std::nullopt);
}

TEST(Percentiles, FiveValuesGiveP50AtIndexTwoAndP95AndP99AtIndexThree) {
    EXPECT_EQ(computePercentiles({50, 10, 40, 20, 30}), (Percentiles{30, 40, 40}));
}

TEST(Percentiles, TakeTheNearestRankBelowWithoutInterpolation) {
    QList<double> values;
    for (int v = 100; v >= 1; --v)
        values.append(v);
    // n = 100: indices 49, floor(94.05) = 94, floor(98.01) = 98.
    EXPECT_EQ(computePercentiles(values), (Percentiles{50, 95, 99}));
}

TEST(Percentiles, SixValuesUseTheLowerMiddle) {
    EXPECT_EQ(computePercentiles({6, 5, 4, 3, 2, 1}), (Percentiles{3, 5, 5}));
}

TEST(Percentiles, ValuesThatAreNotFiniteAreNoMeasurement) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(computePercentiles({1, 2, nan, 3, 4}), std::nullopt);
    EXPECT_EQ(computePercentiles({1, 2, nan, 3, 4, 5}), (Percentiles{3, 4, 4}));
}

TEST(Percentiles, InputIsEveryAnsweredSampleOfEveryProbeType) {
    const QList<LatencyPoint> points = {answered(0, u"ping"_s, u"a"_s, 10),
                                        answered(1, u"tcp"_s, u"b"_s, 20),
                                        lost(2, u"ping"_s, u"a"_s),
                                        {at(3), 99, true, u"dns"_s, u"c"_s}, // lost, though it has a time
                                        {at(4), std::nullopt, false, u"quic"_s, u"d"_s},
                                        answered(5, u"quic"_s, u"d"_s, 30)};
    EXPECT_EQ(percentileValues(points), (QList<double>{10, 20, 30}));
}

TEST(Percentile, InterpolatesOnASortedList) {
    EXPECT_EQ(percentile({}, 0.5), 0.0);
    EXPECT_EQ(percentile({7}, 0.25), 7.0);
    const QList<double> sorted = {1, 2, 3, 4};
    EXPECT_DOUBLE_EQ(percentile(sorted, 0.25), 1.75);
    EXPECT_DOUBLE_EQ(percentile(sorted, 0.5), 2.5);
    EXPECT_DOUBLE_EQ(percentile(sorted, 0.75), 3.25);
    EXPECT_DOUBLE_EQ(percentile(sorted, 0), 1);
    EXPECT_DOUBLE_EQ(percentile(sorted, 1), 4);
}

TEST(Percentile, FractionOutsideZeroToOneIsHeldToTheEnds) {
    const QList<double> sorted = {1, 2, 3};
    EXPECT_DOUBLE_EQ(percentile(sorted, -0.5), 1);
    EXPECT_DOUBLE_EQ(percentile(sorted, 7), 3);
    EXPECT_DOUBLE_EQ(percentile(sorted, std::numeric_limits<double>::quiet_NaN()), 1);
}

TEST(LossBuckets, EmptyListGivesNoBuckets) {
    EXPECT_TRUE(computeLossBuckets({}, 10).isEmpty());
}

TEST(LossBuckets, KeepOnlyBucketsWithLoss) {
    const QList<LatencyPoint> points = {
        answered(0, u"ping"_s, u"a"_s, 10),
        lost(5, u"ping"_s, u"a"_s),          // bucket 0: 1 of 2
        answered(12, u"ping"_s, u"a"_s, 10), // bucket 1: none
        lost(25, u"ping"_s, u"a"_s),
        lost(26, u"ping"_s, u"a"_s),
        answered(29.999, u"ping"_s, u"a"_s, 10), // bucket 2: 2 of 3
        answered(31, u"ping"_s, u"a"_s, 10),     // bucket 3: none
    };
    const QList<LossBucket> buckets = computeLossBuckets(points, 10);
    ASSERT_EQ(buckets.size(), 2);
    EXPECT_EQ(buckets[0], (LossBucket{at(0), at(10), 0.5}));
    EXPECT_EQ(buckets[1].start, at(20));
    EXPECT_EQ(buckets[1].end, at(30));
    EXPECT_DOUBLE_EQ(buckets[1].lossRate, 2.0 / 3.0);
}

TEST(LossBuckets, PointExactlyAtTheEndOfAWholeNumberOfBucketsFallsInNone) {
    const QList<LatencyPoint> points = {answered(0, u"ping"_s, u"a"_s, 10), lost(30, u"ping"_s, u"a"_s)};
    EXPECT_TRUE(computeLossBuckets(points, 10).isEmpty());
    const QList<LatencyPoint> longer = {answered(0, u"ping"_s, u"a"_s, 10), lost(30.5, u"ping"_s, u"a"_s)};
    EXPECT_EQ(computeLossBuckets(longer, 10), (QList<LossBucket>{{at(30), at(40), 1.0}}));
}

TEST(LossBuckets, SinglePointSpansNoTime) {
    EXPECT_TRUE(computeLossBuckets({lost(0, u"ping"_s, u"a"_s)}, 10).isEmpty());
}

TEST(LossBuckets, PointsBeforeTheFirstDateFallInNoBucket) {
    const QList<LatencyPoint> points = {answered(10, u"ping"_s, u"a"_s, 10), lost(2, u"ping"_s, u"a"_s),
                                        answered(25, u"ping"_s, u"a"_s, 10)};
    EXPECT_TRUE(computeLossBuckets(points, 10).isEmpty());
}

TEST(LossBuckets, BucketWithoutLengthGivesNone) {
    const QList<LatencyPoint> points = {lost(0, u"ping"_s, u"a"_s), lost(30, u"ping"_s, u"a"_s)};
    EXPECT_TRUE(computeLossBuckets(points, 0).isEmpty());
    EXPECT_TRUE(computeLossBuckets(points, -10).isEmpty());
    EXPECT_TRUE(computeLossBuckets(points, std::numeric_limits<double>::quiet_NaN()).isEmpty());
}

TEST(ChartTimeSpan, WithoutDatesIsFiveMinutes) {
    EXPECT_EQ(chartTimeSpan({}), (TimeSpan{300, 300}));
    EXPECT_EQ(chartTimeSpanFromDates({}), (TimeSpan{300, 300}));
}

TEST(ChartTimeSpan, ShortSpanIsRaisedToTenSeconds) {
    EXPECT_EQ(chartTimeSpan({lost(0, u"ping"_s, u"a"_s), lost(5, u"ping"_s, u"a"_s)}), (TimeSpan{10, 10}));
    EXPECT_EQ(chartTimeSpanFromDates({at(7)}), (TimeSpan{10, 10}));
}

TEST(ChartTimeSpan, VisiblePartIsCappedAtFiveMinutes) {
    EXPECT_EQ(chartTimeSpanFromDates({at(0), at(3600)}), (TimeSpan{3600, 300}));
    EXPECT_EQ(chartTimeSpanFromDates({at(0), at(120.5)}), (TimeSpan{120.5, 120.5}));
}

TEST(ChartTimeSpan, GoesFromFirstToLastInListOrder) {
    EXPECT_EQ(chartTimeSpanFromDates({at(100), at(3600), at(50)}), (TimeSpan{10, 10}));
}

TEST(LatencyYDomain, FewerThanFiveValuesShowZeroToHundred) {
    EXPECT_EQ(latencyYDomain({}), (ClosedRange{0, 100}));
    EXPECT_EQ(latencyYDomain({500, 600, 700, 800}), (ClosedRange{0, 100}));
}

TEST(LatencyYDomain, FiveValuesOfOneMillisecondHaveTheTopTen) {
    EXPECT_EQ(latencyYDomain({1, 1, 1, 1, 1}), (ClosedRange{0, 10}));
}

TEST(LatencyYDomain, TopIsOneAndAHalfTimesP99SoAnOutlierIsCut) {
    QList<double> values;
    for (int i = 1; i <= 200; ++i)
        values.append(i);
    values.append(100000); // n = 201: P99 at floor(198) is 199
    EXPECT_EQ(latencyYDomain(values), (ClosedRange{0, 298.5}));
}

TEST(RssiYDomain, WithoutValuesIsMinus90ToMinus30) {
    EXPECT_EQ(rssiYDomain({}), (ClosedRange{-90, -30}));
}

TEST(RssiYDomain, SingleValueOfMinus60GivesMinus80ToMinus30) {
    EXPECT_EQ(rssiYDomain({{at(0), -60}}), (ClosedRange{-80, -30}));
}

TEST(RssiYDomain, SingleValueOfMinus85GivesMinus90ToMinus30) {
    EXPECT_EQ(rssiYDomain({{at(0), -85}}), (ClosedRange{-90, -30}));
}

TEST(RssiYDomain, StrongSignalRaisesTheTop) {
    EXPECT_EQ(rssiYDomain({{at(0), -20}, {at(1), -95}, {at(2), -40}}), (ClosedRange{-100, -15}));
}

TEST(ProtocolBlocked, OnlyWhenEveryTargetIsBlocked) {
    const QList<LatencyPoint> points = {lost(0, u"tcp"_s, u"a"_s), lost(1, u"tcp"_s, u"b"_s),
                                        answered(2, u"udp"_s, u"a"_s, 10)};
    EXPECT_FALSE(isProtocolBlocked(u"tcp"_s, points, {u"tcp:a"_s}));
    EXPECT_TRUE(isProtocolBlocked(u"tcp"_s, points, {u"tcp:a"_s, u"tcp:b"_s}));
    EXPECT_FALSE(isProtocolBlocked(u"dns"_s, points, {u"tcp:a"_s, u"tcp:b"_s}));
    EXPECT_FALSE(isProtocolBlocked(u"udp"_s, points, {}));
}

namespace {

void addRun(QList<LatencyPoint>& points, const QString& type, const QString& target, int count,
            bool allLost) {
    for (int i = 0; i < count; ++i)
        points.append(allLost ? lost(i, type, target) : answered(i, type, target, 20));
}

} // namespace

TEST(LossStripRows, FollowTheStripOrderWithBlockedProtocolsLast) {
    QList<LatencyPoint> points;
    addRun(points, u"custom"_s, u"x"_s, 3, false);
    addRun(points, u"quic"_s, u"q"_s, 3, false);
    addRun(points, u"tcp"_s, u"a"_s, 3, false);
    addRun(points, u"ping"_s, u"p"_s, 3, false);
    addRun(points, u"udp"_s, u"u"_s, 3, false);
    const LossStrip strip = lossStrip(points);
    QStringList order;
    for (const LossStripRow& row : strip.rows)
        order.append(row.probeType);
    EXPECT_EQ(order, (QStringList{u"ping"_s, u"udp"_s, u"tcp"_s, u"quic"_s, u"custom"_s}));
    EXPECT_TRUE(strip.blockedTargets.isEmpty());
}

TEST(LossStripRows, BlockedTargetsLeaveTheNormalRowsAndWhollyBlockedProtocolsMoveDown) {
    QList<LatencyPoint> points;
    addRun(points, u"tcp"_s, u"blocked"_s, 20, true);
    addRun(points, u"tcp"_s, u"fine"_s, 20, false);
    // Both dns targets answered once in fifty: each is blocked, with the other as its sibling.
    for (const QString& target : {u"d1"_s, u"d2"_s}) {
        for (int i = 0; i < 50; ++i)
            points.append(i == 0 ? answered(i, u"dns"_s, target, 5) : lost(i, u"dns"_s, target));
    }
    addRun(points, u"ping"_s, u"p"_s, 20, false);
    points.append(lost(20, u"ping"_s, u"p"_s));
    points.append(answered(21, u"ping"_s, u"p"_s, 20));

    const LossStrip strip = lossStrip(points);
    ASSERT_EQ(strip.rows.size(), 3);
    EXPECT_EQ(strip.rows[0].probeType, u"ping"_s);
    EXPECT_FALSE(strip.rows[0].blocked);
    EXPECT_EQ(strip.rows[0].buckets, (QList<LossBucket>{{at(20), at(30), 0.5}}));
    EXPECT_EQ(strip.rows[1].probeType, u"tcp"_s);
    EXPECT_FALSE(strip.rows[1].blocked);
    EXPECT_TRUE(strip.rows[1].buckets.isEmpty()); // the blocked target's losses are left out
    EXPECT_EQ(strip.rows[2], (LossStripRow{u"dns"_s, true, {}}));
    EXPECT_EQ(strip.blockedTargets, (QStringList{u"dns:d1"_s, u"dns:d2"_s, u"tcp:blocked"_s}));
}

TEST(FilteredObservedPoints, LeaveOutTrafficDuringSpeedTestsBoundsIncluded) {
    QList<ObservedThroughputPoint> points;
    for (int s = 0; s <= 100; s += 10)
        points.append({at(s), double(s), 1});
    const QList<SpeedTestRange> ranges = {{at(20), at(40), u"download"_s, 1},
                                          {at(35), at(50), u"upload"_s, 1},
                                          {at(70), at(70), u"download"_s, 2}};
    QList<double> kept;
    for (const ObservedThroughputPoint& point : filteredObservedPoints(points, ranges))
        kept.append(point.dlMbps);
    EXPECT_EQ(kept, (QList<double>{0, 10, 60, 80, 90, 100}));
}

TEST(FilteredObservedPoints, OpenRangeReachesIntoTheFuture) {
    const QList<ObservedThroughputPoint> points = {
        {at(0), 1, 1}, {at(59.999), 2, 2}, {at(60), 3, 3}, {at(9999), 4, 4}};
    const QList<SpeedTestRange> ranges = {{at(60), std::nullopt, u"download"_s, 1}};
    EXPECT_EQ(filteredObservedPoints(points, ranges), points.first(2));
}

TEST(FilteredObservedPoints, NoRangesKeepEverything) {
    const QList<ObservedThroughputPoint> points = {{at(0), 1, 1}, {at(1), 2, 2}};
    EXPECT_EQ(filteredObservedPoints(points, {}), points);
}

TEST(MedianHops, NoTraceroutesGiveNoHops) {
    EXPECT_TRUE(computeMedianHops({}).isEmpty());
}

TEST(MedianHops, TakeTheLastRouteWithTheMedianOfEachHopNumber) {
    const QList<TraceroutePoint> points = {
        traceroute(0, {hop(1, u"10.0.0.1"_s, 2), hop(2, u"100.64.0.1"_s, 10), hop(3, u"1.1.1.1"_s, 30)}),
        traceroute(60, {hop(1, u"10.0.0.1"_s, 4), hop(2, u"100.64.0.9"_s, 20), hop(3, u"1.1.1.1"_s, 50)}),
        traceroute(120, {hop(1, u"10.0.0.1"_s, 3, 99), hop(2, u"100.64.0.9"_s, std::nullopt),
                         hop(3, u"1.1.1.1"_s, 40), hop(4, u"8.8.8.8"_s, std::nullopt)}),
    };
    const QList<HopDetail> hops = computeMedianHops(points);
    const QList<HopDetail> expected = {
        hop(1, u"10.0.0.1"_s, 3, 3),     // median of 2, 4, 3
        hop(2, u"100.64.0.9"_s, 15, 12), // median of 10, 20; the last route's ip
        hop(3, u"1.1.1.1"_s, 40, 25),    // median of 30, 50, 40
        hop(4, u"8.8.8.8"_s, std::nullopt, std::nullopt),
    };
    EXPECT_EQ(hops, expected);
}

TEST(MedianHops, DeltaIsTheWholeTimeAfterAHopWithoutTimeAndNeverNegative) {
    const QList<TraceroutePoint> points = {
        traceroute(
            0, {hop(1, u"a"_s, 10), hop(2, u"b"_s, std::nullopt), hop(3, u"c"_s, 25), hop(4, u"d"_s, 20)}),
    };
    const QList<HopDetail> hops = computeMedianHops(points);
    ASSERT_EQ(hops.size(), 4);
    EXPECT_EQ(hops[0].deltaMs, 10.0);
    EXPECT_EQ(hops[1].deltaMs, std::nullopt);
    EXPECT_EQ(hops[2].deltaMs, 25.0);
    EXPECT_EQ(hops[3].deltaMs, 0.0);
}

TEST(MedianHops, LastRouteWithoutHopsGivesNone) {
    const QList<TraceroutePoint> points = {traceroute(0, {hop(1, u"a"_s, 10)}), traceroute(60, {})};
    EXPECT_TRUE(computeMedianHops(points).isEmpty());
}

TEST(TraceroutePathChanged, SameAddressesInTheSameOrderIsNoChangeWhateverTheTimes) {
    const QList<TraceroutePoint> points = {
        traceroute(0, {hop(1, u"10.0.0.1"_s, 2), hop(2, u"1.1.1.1"_s, 20)}),
        traceroute(60, {hop(1, u"10.0.0.1"_s, 90), hop(2, u"1.1.1.1"_s, std::nullopt)}),
    };
    EXPECT_FALSE(traceroutePathChanged(points));
}

TEST(TraceroutePathChanged, DifferentLengthOrAddressIsAChange) {
    const TraceroutePoint first = traceroute(0, {hop(1, u"10.0.0.1"_s, 2), hop(2, u"1.1.1.1"_s, 20)});
    EXPECT_TRUE(traceroutePathChanged({first, traceroute(60, {hop(1, u"10.0.0.1"_s, 2)})}));
    EXPECT_TRUE(traceroutePathChanged(
        {first, first, traceroute(90, {hop(1, u"10.0.0.2"_s, 2), hop(2, u"1.1.1.1"_s, 20)})}));
}

TEST(TraceroutePathChanged, RoutesWithoutHopsDontCount) {
    const TraceroutePoint route = traceroute(0, {hop(1, u"10.0.0.1"_s, 2)});
    EXPECT_FALSE(traceroutePathChanged({}));
    EXPECT_FALSE(traceroutePathChanged({route}));
    EXPECT_FALSE(traceroutePathChanged({traceroute(0, {}), route, traceroute(60, {})}));
}

TEST(TracerouteBottleneck, DeltaOfAFifthOfTheWholeIsNoBottleneck) {
    EXPECT_EQ(
        tracerouteBottleneckIndex({hop(1, u"a"_s, 5, 5), hop(2, u"b"_s, 25, 20), hop(3, u"c"_s, 100, 75)}),
        std::optional<qsizetype>(2));
    const QList<HopDetail> fifth = {hop(1, u"a"_s, 10, 20), hop(2, u"b"_s, 30, 20), hop(3, u"c"_s, 100, 20)};
    EXPECT_EQ(tracerouteBottleneckIndex(fifth), std::nullopt);
    const QList<HopDetail> more = {hop(1, u"a"_s, 10, 10), hop(2, u"b"_s, 31, 21), hop(3, u"c"_s, 100, 20)};
    EXPECT_EQ(tracerouteBottleneckIndex(more), std::optional<qsizetype>(1));
}

TEST(TracerouteBottleneck, FirstOfEqualDeltasWins) {
    const QList<HopDetail> hops = {hop(1, u"a"_s, 40, 40), hop(2, u"b"_s, 80, 40), hop(3, u"c"_s, 100, 20)};
    EXPECT_EQ(tracerouteBottleneckIndex(hops), std::optional<qsizetype>(0));
}

TEST(TracerouteBottleneck, NeedsTwoHopsAPositiveDeltaAndATimeAtTheEnd) {
    EXPECT_EQ(tracerouteBottleneckIndex({hop(1, u"a"_s, 50, 50)}), std::nullopt);
    EXPECT_EQ(tracerouteBottleneckIndex({hop(1, u"a"_s, 50, 0), hop(2, u"b"_s, 40, 0)}), std::nullopt);
    EXPECT_EQ(tracerouteBottleneckIndex({hop(1, u"a"_s, 50, 50), hop(2, u"b"_s, std::nullopt)}),
              std::nullopt);
    EXPECT_EQ(tracerouteBottleneckIndex({hop(1, u"a"_s, 50, 50), hop(2, u"b"_s, 0, 0)}), std::nullopt);
}
