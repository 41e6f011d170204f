#include "screens/LiveLatencyChart.h"

#include "screens/ProbeColors.h"
#include "screens/ResultsPalette.h"

#include <gtest/gtest.h>

#include <cmath>

using namespace Qt::StringLiterals;
using namespace LiveLatencyChart;

namespace {

const QDateTime start = QDateTime::fromString(u"2026-03-14T09:30:00.000Z"_s, Qt::ISODateWithMs);

QDateTime at(double seconds) {
    return start.addMSecs(qint64(seconds * 1000));
}

double ms(double seconds) {
    return double(at(seconds).toMSecsSinceEpoch());
}

LatencyPoint sample(double seconds, std::optional<double> rtt, const QString& type = u"ping"_s) {
    return LatencyPoint{at(seconds), rtt, !rtt, type, u"1.1.1.1"_s};
}

// One answered ping a second, with these round trips.
QList<LatencyPoint> pings(const QList<double>& rtts) {
    QList<LatencyPoint> points;
    for (qsizetype i = 0; i < rtts.size(); ++i)
        points.append(sample(double(i), rtts[i]));
    return points;
}

SpeedTestRange range(double from, std::optional<double> to) {
    SpeedTestRange result{at(from), std::nullopt, u"download"_s, 1};
    if (to)
        result.end = at(*to);
    return result;
}

} // namespace

TEST(LiveLatencyChartWindow, KeepsTheNewestSixHundredPoints) {
    QList<LatencyPoint> points;
    for (int i = 0; i < 1000; ++i)
        points.append(sample(i, double(i)));
    const auto shown = window(points);
    ASSERT_EQ(shown.size(), 600u);
    EXPECT_EQ(shown.front().rttMs, 400.0);
    EXPECT_EQ(shown.back().rttMs, 999.0);
}

TEST(LiveLatencyChartWindow, ShortSeriesAreShownWhole) {
    const QList<LatencyPoint> points = pings({1, 2, 3, 4, 5});
    const auto shown = window(points);
    ASSERT_EQ(shown.size(), 5u);
    EXPECT_EQ(shown.front().rttMs, 1.0);
    EXPECT_TRUE(window({}).empty());
}

TEST(LiveLatencyChartWindow, TheFrameDrawsOnlyTheWindow) {
    QList<LatencyPoint> points;
    for (int i = 0; i < 700; ++i)
        points.append(sample(i, 20));
    const Frame shown = frame(points, {}, {}, 700, at(700));
    ASSERT_TRUE(shown.drawn);
    EXPECT_EQ(shown.dots[0].points.size(), 600);
    EXPECT_EQ(shown.dots[0].points.first().x(), ms(100));
    EXPECT_EQ(shown.xDomain, withEdgeRoom({ms(100), ms(699)}));
}

TEST(LiveLatencyChartFrame, TwoPointsShowThePlaceholderThreeTheChart) {
    const Frame two = frame(pings({20, 21}), {}, {}, 2, at(2));
    EXPECT_FALSE(two.drawn);
    EXPECT_TRUE(two.dots.isEmpty());
    const Frame three = frame(pings({20, 21, 22}), {}, {}, 3, at(3));
    EXPECT_TRUE(three.drawn);
    EXPECT_TRUE(three.placeholderText.isEmpty());
}

TEST(LiveLatencyChartFrame, PlaceholderWaitsUntilTheFirstSecondThenCollects) {
    EXPECT_EQ(frame({}, {}, {}, 0, at(0)).placeholderText, u"Waiting for first measurements..."_s);
    EXPECT_EQ(frame(pings({20}), {}, {}, 0, at(0)).placeholderText, u"Waiting for first measurements..."_s);
    EXPECT_EQ(frame(pings({20, 21}), {}, {}, 1, at(1)).placeholderText, u"Collecting data..."_s);
}

TEST(LiveLatencyChartFrame, HeaderReadsLiveLatencyInMilliseconds) {
    EXPECT_EQ(title(), u"Live Latency"_s);
    EXPECT_EQ(unit(), u"ms"_s);
}

TEST(LiveLatencyYDomain, FourRoundTripsEndTheScaleAtOneHundred) {
    EXPECT_EQ(liveLatencyYDomain(window(pings({500, 600, 700, 800}))), (ClosedRange{0, 100}));
    EXPECT_EQ(liveLatencyYDomain({}), (ClosedRange{0, 100}));
}

TEST(LiveLatencyYDomain, FiveLowRoundTripsOfOneMillisecondEndItAtTen) {
    EXPECT_EQ(liveLatencyYDomain(window(pings({1, 1, 1, 1, 1}))), (ClosedRange{0, 10}));
}

TEST(LiveLatencyYDomain, LostSamplesDontCountTowardsTheFive) {
    QList<LatencyPoint> points = pings({30, 30, 30, 30});
    for (int i = 0; i < 10; ++i)
        points.append(sample(10 + i, std::nullopt));
    EXPECT_EQ(liveLatencyYDomain(window(points)), (ClosedRange{0, 100}));
    points.append(sample(30, 30));
    EXPECT_EQ(liveLatencyYDomain(window(points)), (ClosedRange{0, 45}));
}

TEST(LiveLatencyYDomain, TopIsOneAndAHalfTimesTheValueAtNinetyNinePercentOfTheRanks) {
    // Ten values: index min(9, trunc(9 × 0.99) = 8) of the sorted list is 9.
    EXPECT_EQ(liveLatencyYDomain(window(pings({10, 3, 7, 1, 9, 2, 8, 4, 6, 5}))), (ClosedRange{0, 13.5}));
    // 101 values 1 … 101: index 99 holds 100.
    QList<double> values;
    for (int i = 101; i >= 1; --i)
        values.append(i);
    EXPECT_EQ(liveLatencyYDomain(window(pings(values))), (ClosedRange{0, 150}));
}

TEST(LiveLatencyYDomain, ASingleOutlierDoesNotFlattenTheChart) {
    QList<double> values(200, 20.0);
    values.insert(57, 5000.0);
    EXPECT_EQ(liveLatencyYDomain(window(pings(values))), (ClosedRange{0, 30}));
}

TEST(LiveLatencyYDomain, OnlyTheWindowCounts) {
    QList<double> values(400, 1000.0);
    values += QList<double>(600, 40.0);
    EXPECT_EQ(liveLatencyYDomain(window(pings(values))), (ClosedRange{0, 60}));
}

TEST(LiveLatencyYDomain, LabelsFallOnRoundValuesAboutFiveToTheTop) {
    EXPECT_EQ(yTickInterval({0, 100}), 20);
    EXPECT_EQ(yTickInterval({0, 10}), 2);
    EXPECT_EQ(yTickInterval({0, 86}), 20);
    EXPECT_EQ(yTickInterval({0, 45}), 10);
    EXPECT_EQ(yTickInterval({0, 150}), 50);
    EXPECT_EQ(yTickInterval({0, 4500}), 1000);
    EXPECT_EQ(yTickInterval({0, 0}), 1) << "a scale of no height still gets a step";
}

TEST(LiveLatencyChartDots, EachProbeTypeHasItsSeriesAndColourUnknownOnesShareGray) {
    const QList<LatencyPoint> points = {sample(0, 10, u"udp"_s),   sample(1, 20, u"ping"_s),
                                        sample(2, 30, u"quic"_s),  sample(3, 40, u"mystery"_s),
                                        sample(4, 50, u"other"_s), sample(5, 60, u"udp"_s)};
    const Frame shown = frame(points, {}, {}, 5, at(5));
    ASSERT_EQ(shown.dots.size(), 7);
    const QStringList order = {u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s, QString()};
    for (qsizetype i = 0; i < order.size(); ++i) {
        EXPECT_EQ(shown.dots[i].probeType, order[i]);
        EXPECT_EQ(shown.dots[i].color, ProbeColors::probeColor(order[i]));
    }
    EXPECT_EQ(shown.dots[0].points, (QList<QPointF>{{ms(1), 20}}));
    EXPECT_EQ(shown.dots[1].points, (QList<QPointF>{{ms(0), 10}, {ms(5), 60}}));
    EXPECT_TRUE(shown.dots[2].points.isEmpty());
    EXPECT_EQ(shown.dots[5].points, (QList<QPointF>{{ms(2), 30}}));
    EXPECT_EQ(shown.dots[6].points, (QList<QPointF>{{ms(3), 40}, {ms(4), 50}}));
}

TEST(LiveLatencyChartLoss, LostSamplesAreCrossesNearTheTopNotDots) {
    QList<LatencyPoint> points = pings({20, 20, 20, 20, 20});
    points.insert(2, sample(1.5, std::nullopt, u"tcp"_s));
    const Frame shown = frame(points, {}, {}, 5, at(5));
    EXPECT_EQ(shown.yDomain, (ClosedRange{0, 30}));
    EXPECT_EQ(shown.losses, (QList<QPointF>{{ms(1.5), 30 * lossMarkHeight}}));
    EXPECT_TRUE(shown.dots[2].points.isEmpty()) << "a lost tcp sample has no dot";
    EXPECT_EQ(shown.dots[0].points.size(), 5);
    EXPECT_LT(shown.losses[0].y(), shown.yDomain.upperBound);
}

TEST(LiveLatencyChartLegend, IsFixedInItsOrderWithItsMarks) {
    const QList<LegendEntry> entries = legend();
    QStringList labels;
    for (const LegendEntry& entry : entries)
        labels.append(entry.label);
    EXPECT_EQ(labels, (QStringList{u"ICMP"_s, u"UDP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s, u"Loss"_s,
                                   u"Speed Test"_s, u"Video"_s}));
    for (qsizetype i = 0; i < 6; ++i) {
        EXPECT_EQ(entries[i].mark, Mark::dot);
        EXPECT_EQ(entries[i].color, ProbeColors::probeColor(ProbeColors::knownProbeTypes()[i]));
    }
    EXPECT_EQ(entries[6].mark, Mark::cross);
    EXPECT_EQ(entries[6].color, lossColor());
    EXPECT_EQ(entries[7].mark, Mark::bar);
    EXPECT_EQ(entries[7].color, speedTestBandColor());
    EXPECT_EQ(entries[8].mark, Mark::bar);
    EXPECT_EQ(entries[8].color, videoBandColor());
    EXPECT_NE(speedTestBandColor(), videoBandColor());
}

TEST(LiveLatencyChartLegend, DoesNotDependOnTheCapture) {
    const QList<LegendEntry> before = legend();
    (void)frame(pings({1, 2, 3}), {range(0, 1)}, {}, 3, at(3));
    EXPECT_EQ(legend(), before);
    EXPECT_EQ(before.size(), 9);
}

TEST(LiveLatencyChartXDomain, SpansTheEarliestToTheLatestSample) {
    QList<LatencyPoint> points = pings({1, 2, 3});
    points.append(sample(-4, 5, u"udp"_s)); // arrived late, measured early
    EXPECT_EQ(xDomain(window(points)), (ClosedRange{ms(-4), ms(2)}));
    EXPECT_FALSE(xDomain({}));
}

TEST(LiveLatencyChartXDomain, SamplesOfOneInstantGetAnAxisOfAFewSeconds) {
    const QList<LatencyPoint> points = {sample(7, 1), sample(7, 2), sample(7, 3)};
    EXPECT_EQ(xDomain(window(points)), (ClosedRange{ms(7), ms(11)}));
}

TEST(LiveLatencyChartXDomain, AFewSecondsWidenToTheShortestSpan) {
    const QList<LatencyPoint> points = {sample(7, 1), sample(8, 2), sample(9, 3)};
    EXPECT_EQ(xDomain(window(points)), (ClosedRange{ms(7), ms(11)}));
    const QList<LatencyPoint> longer = {sample(7, 1), sample(12, 2), sample(13, 3)};
    EXPECT_EQ(xDomain(window(longer)), (ClosedRange{ms(7), ms(13)}));
}

TEST(LiveLatencyChartXDomain, TheOldestAndNewestMarksStandInsideThePlot) {
    // The marks of the first and the last sample are centred on their moments: at the very ends of the
    // axis half of each would be cut off.
    const Frame shown = frame(pings({20, 21, 22, 23, 24, 25, 26, 27, 28, 29, 30}), {}, {}, 10, at(10));
    EXPECT_DOUBLE_EQ(shown.xDomain.lowerBound, ms(0) - 10'000 * edgeRoom);
    EXPECT_DOUBLE_EQ(shown.xDomain.upperBound, ms(10) + 10'000 * edgeRoom);
    EXPECT_GT(edgeRoom, 0);
}

TEST(LiveLatencyChartXDomain, TimeLabelsStandAtRoundSecondsOfTheWindow) {
    QList<LatencyPoint> points;
    for (int i = 0; i < 100; ++i)
        points.append(sample(3.3 + i * 0.61, 20));
    const Frame shown = frame(points, {}, {}, 70, at(70));
    EXPECT_EQ(shown.timeLabels, TimeAxisTicks::ticks(shown.xDomain, timeLabelIntervals));
    ASSERT_GE(shown.timeLabels.size(), 2);
    const double step = shown.timeLabels[1].ms - shown.timeLabels[0].ms;
    EXPECT_EQ(step, 30'000) << "a minute's window, cut into at most four steps";
    for (const TimeAxisTicks::Tick& tick : shown.timeLabels) {
        EXPECT_EQ(std::fmod(tick.ms - ms(0), step), 0) << tick.text.toStdString();
        EXPECT_GE(tick.ms, shown.xDomain.lowerBound);
        EXPECT_LE(tick.ms, shown.xDomain.upperBound);
    }
}

TEST(LiveLatencyChartBands, OnlyRangesThatTouchTheWindowAreDrawnCutToIt) {
    const ClosedRange domain{ms(100), ms(200)};
    const QList<SpeedTestRange> ranges = {range(10, 50),   range(60, 100),  range(90, 120),
                                          range(150, 160), range(190, 260), range(201, 230)};
    EXPECT_EQ(bands(ranges, BandKind::speedTest, domain, at(300)),
              (QList<Band>{{BandKind::speedTest, ms(100), ms(120)},
                           {BandKind::speedTest, ms(150), ms(160)},
                           {BandKind::speedTest, ms(190), ms(200)}}));
}

TEST(LiveLatencyChartBands, ARunningRangeReachesThePresent) {
    const ClosedRange domain{ms(100), ms(200)};
    EXPECT_EQ(bands({range(150, std::nullopt)}, BandKind::video, domain, at(180)),
              (QList<Band>{{BandKind::video, ms(150), ms(180)}}));
    EXPECT_EQ(bands({range(50, std::nullopt)}, BandKind::video, domain, at(250)),
              (QList<Band>{{BandKind::video, ms(100), ms(200)}}))
        << "begun before the window and still running: the whole width";
    EXPECT_TRUE(bands({range(210, std::nullopt)}, BandKind::video, domain, at(250)).isEmpty());
}

TEST(LiveLatencyChartBands, OverlappingRangesOfOneKindBecomeOneBand) {
    const ClosedRange domain{ms(0), ms(100)};
    EXPECT_EQ(bands({range(40, 60), range(10, 30), range(20, 45)}, BandKind::speedTest, domain, at(100)),
              (QList<Band>{{BandKind::speedTest, ms(10), ms(60)}}));
}

TEST(LiveLatencyChartBands, ARangeThatEndsBeforeItBeginsIsLeftOut) {
    const ClosedRange domain{ms(0), ms(100)};
    EXPECT_TRUE(bands({range(50, 40)}, BandKind::speedTest, domain, at(100)).isEmpty());
    EXPECT_TRUE(bands({range(150, std::nullopt)}, BandKind::speedTest, {ms(100), ms(200)}, at(120)).isEmpty())
        << "a clock behind the range's start";
}

TEST(LiveLatencyChartBands, TheFrameHasSpeedTestBandsThenVideoBands) {
    QList<double> rtts(61, 20.0);
    const Frame shown = frame(pings(rtts), {range(10, 20), range(55, std::nullopt)},
                              {range(5, 8), range(-30, -10)}, 60, at(60.5));
    // The running test reaches the present moment, which the room after the newest sample shows.
    EXPECT_EQ(shown.bands, (QList<Band>{{BandKind::speedTest, ms(10), ms(20)},
                                        {BandKind::speedTest, ms(55), ms(60.5)},
                                        {BandKind::video, ms(5), ms(8)}}));
}

TEST(LiveLatencyChartPacing, RebuildsStayHalfASecondApart) {
    EXPECT_EQ(rebuildDelaySeconds(std::nullopt, at(0)), 0);
    EXPECT_DOUBLE_EQ(rebuildDelaySeconds(at(10), at(10.2)), 0.3);
    EXPECT_DOUBLE_EQ(rebuildDelaySeconds(at(10), at(10)), 0.5);
    EXPECT_EQ(rebuildDelaySeconds(at(10), at(10.5)), 0);
    EXPECT_EQ(rebuildDelaySeconds(at(10), at(9)), 0) << "a clock that went back";
}

TEST(LiveLatencyChartSpoken, SaysTheSamplesTheNewestAndMedianRoundTripAndTheLosses) {
    QList<LatencyPoint> points = pings({20.9, 30.2, 24.7});
    points.append(sample(3, std::nullopt));
    points.append(sample(4, std::nullopt));
    EXPECT_EQ(spokenSummary(points), u"5 samples, latest 24 ms, median 24 ms, 2 lost"_s);
}

TEST(LiveLatencyChartSpoken, LeavesOutTheFiguresThatArentThere) {
    EXPECT_EQ(spokenSummary(pings({12.0, 18.0})), u"2 samples, latest 18 ms, median 15 ms"_s);
    const QList<LatencyPoint> lost{sample(0, std::nullopt)};
    EXPECT_EQ(spokenSummary(lost), u"1 sample, 1 lost"_s);
}
