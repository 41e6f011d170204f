#include "screens/ResultsBottomCharts.h"
#include "screens/ResultsSeriesThinning.h"

#include <gtest/gtest.h>

#include <QSet>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;
using namespace ResultsBottomCharts;

namespace {

const QDateTime start = QDateTime::fromString(u"2026-03-14T09:30:00.000Z"_s, Qt::ISODateWithMs);

QDateTime at(double seconds) {
    return start.addMSecs(qint64(seconds * 1000));
}

double ms(double seconds) {
    return double(at(seconds).toMSecsSinceEpoch());
}

ThroughputPoint test(int number, double mbps, const QString& direction) {
    return ThroughputPoint{number, mbps, direction, u"speed.example"_s, at(number * 60)};
}

// `count` speed tests each way, the n-th download at `n * 10` Mbps and the upload at `n` Mbps.
QList<ThroughputPoint> speedTests(int count) {
    QList<ThroughputPoint> tests;
    for (int n = 1; n <= count; ++n) {
        tests.append(test(n, n * 10.0, u"download"_s));
        tests.append(test(n, double(n), u"upload"_s));
    }
    return tests;
}

QList<RSSIPoint> signal(const QList<int>& values, double stepSeconds = 5) {
    QList<RSSIPoint> points;
    for (qsizetype i = 0; i < values.size(); ++i)
        points.append({at(double(i) * stepSeconds), values[i]});
    return points;
}

LatencyPoint sample(double seconds, std::optional<double> rtt, const QString& type) {
    return LatencyPoint{at(seconds), rtt, !rtt, type, u"1.1.1.1"_s};
}

QList<ObservedThroughputPoint> observed(const QList<std::pair<double, double>>& rates) {
    QList<ObservedThroughputPoint> points;
    for (qsizetype i = 0; i < rates.size(); ++i)
        points.append({at(double(i)), rates[i].first, rates[i].second});
    return points;
}

HopDetail hop(int number, const QString& ip, std::optional<double> rtt) {
    return HopDetail{number, ip, rtt, std::nullopt};
}

TraceroutePoint route(double seconds, const QList<HopDetail>& hops, int hopCount = -1) {
    return TraceroutePoint{at(seconds), hopCount < 0 ? int(hops.size()) : hopCount,
                           hops.isEmpty() ? QString() : hops.first().ip, u"1.1.1.1"_s, hops};
}

QList<HopDetail> threeHops(double first, double second, double third) {
    return {hop(1, u"192.168.1.1"_s, first), hop(2, u"10.0.0.1"_s, second), hop(3, u"1.1.1.1"_s, third)};
}

// A capture with something of everything.
CaptureSnapshot fullCapture() {
    CaptureSnapshot capture;
    capture.throughputPoints = speedTests(3);
    capture.rssiHistory = signal({-60, -62, -58});
    capture.observedThroughputPoints = observed({{2, 0.5}, {4, 1.5}, {3, 1}});
    capture.traceroutePoints = {route(0, threeHops(2, 10, 20))};
    capture.latencyPoints = {sample(1, 12, u"dns"_s), sample(2, 30, u"quic"_s)};
    return capture;
}

Chart chartAt(const Model& grid, int row, bool left) {
    return left ? grid.rows.at(row).left.chart : grid.rows.at(row).right.chart;
}

} // namespace

// --- the grid ---------------------------------------------------------------------------------------

TEST(ResultsBottomChartsGrid, WithObservedTrafficThreeRowsHoldTheUtilizationCharts) {
    const Model grid = model(fullCapture());
    ASSERT_EQ(grid.rows.size(), 3);
    EXPECT_EQ(chartAt(grid, 0, true), Chart::throughput);
    EXPECT_EQ(chartAt(grid, 0, false), Chart::signal);
    EXPECT_EQ(chartAt(grid, 1, true), Chart::downloadUtilization);
    EXPECT_EQ(chartAt(grid, 1, false), Chart::traceroute);
    EXPECT_EQ(chartAt(grid, 2, true), Chart::uploadUtilization);
    EXPECT_EQ(chartAt(grid, 2, false), Chart::dnsQuic);
    for (const Row& row : grid.rows) {
        EXPECT_FALSE(row.left.placeholderText);
        EXPECT_FALSE(row.right.placeholderText);
    }
    EXPECT_TRUE(grid.throughput && grid.signal && grid.downloadUtilization && grid.uploadUtilization &&
                grid.traceroute && grid.dnsQuic);
}

TEST(ResultsBottomChartsGrid, WithoutObservedTrafficTwoRowsAndNoUtilizationCharts) {
    CaptureSnapshot capture = fullCapture();
    capture.observedThroughputPoints = observed({{2, 1}});
    const Model grid = model(capture);
    ASSERT_EQ(grid.rows.size(), 2);
    EXPECT_EQ(chartAt(grid, 1, true), Chart::traceroute);
    EXPECT_EQ(chartAt(grid, 1, false), Chart::dnsQuic);
    EXPECT_FALSE(grid.downloadUtilization);
    EXPECT_FALSE(grid.uploadUtilization);
}

TEST(ResultsBottomChartsGrid, TrafficDuringTheSpeedTestsDoesNotCount) {
    CaptureSnapshot capture = fullCapture();
    // Two of the three observed points fall inside the test, which leaves one: too few.
    capture.speedTestRanges = {SpeedTestRange{at(0), at(1), u"download"_s, 1}};
    EXPECT_EQ(model(capture).rows.size(), 2);
}

TEST(ResultsBottomChartsGrid, ACaptureThatFailedAtOnceShowsEveryPlaceholder) {
    const Model grid = model(CaptureSnapshot{});
    ASSERT_EQ(grid.rows.size(), 2);
    EXPECT_EQ(grid.rows[0].left.placeholderText, u"Insufficient Speed Test data"_s);
    EXPECT_EQ(grid.rows[0].right.placeholderText, u"Insufficient Signal data"_s);
    EXPECT_EQ(grid.rows[1].left.placeholderText, u"Insufficient Traceroute data"_s);
    EXPECT_EQ(grid.rows[1].right.placeholderText, u"Insufficient DNS & QUIC data"_s);
    EXPECT_FALSE(grid.throughput || grid.signal || grid.traceroute || grid.dnsQuic);
}

TEST(ResultsBottomChartsGrid, OneSignalReadingIsInsufficient) {
    CaptureSnapshot capture = fullCapture();
    capture.rssiHistory = signal({-60});
    EXPECT_EQ(model(capture).rows[0].right.placeholderText, u"Insufficient Signal data"_s);
    capture.rssiHistory = signal({-60, -61});
    EXPECT_FALSE(model(capture).rows[0].right.placeholderText);
}

TEST(ResultsBottomChartsGrid, RoutesThatReachedNoHopAreInsufficient) {
    CaptureSnapshot capture = fullCapture();
    capture.traceroutePoints = {route(0, {}, 0)};
    const Model grid = model(capture);
    EXPECT_EQ(grid.rows[1].right.placeholderText, u"Insufficient Traceroute data"_s);
    EXPECT_FALSE(grid.traceroute);
}

TEST(ResultsBottomChartsGrid, OtherProbesDoNotFillTheDnsAndQuicCard) {
    CaptureSnapshot capture = fullCapture();
    capture.latencyPoints = {sample(1, 12, u"ping"_s), sample(2, std::nullopt, u"dns"_s)};
    EXPECT_EQ(model(capture).rows[2].right.placeholderText, u"Insufficient DNS & QUIC data"_s);
    capture.latencyPoints.append(sample(3, 40, u"quic"_s));
    EXPECT_FALSE(model(capture).rows[2].right.placeholderText);
}

// --- the throughput card ----------------------------------------------------------------------------

TEST(ResultsThroughputChartModel, TitleAndMediansOfBothDirections) {
    CaptureSnapshot capture;
    capture.throughputPoints = {test(1, 9.96, u"download"_s), test(2, 30, u"download"_s),
                                test(1, 4.25, u"upload"_s)};
    const auto chart = ResultsThroughputChart::model(capture);
    EXPECT_EQ(chart.title, u"Speed Test"_s);
    // The download median is 19.98, which reads as its whole part.
    EXPECT_EQ(chart.mediansText, u"Median DL: 19 UL: 4.2"_s);
}

TEST(ResultsThroughputChartModel, NoMediansLineWithOneDirectionOnly) {
    CaptureSnapshot capture;
    capture.throughputPoints = {test(1, 50, u"download"_s)};
    const auto chart = ResultsThroughputChart::model(capture);
    EXPECT_FALSE(chart.mediansText);
    ASSERT_EQ(chart.subCharts.size(), 1);
    EXPECT_EQ(chart.subCharts[0].title, u"Download"_s);
}

TEST(ResultsThroughputChartModel, WithFiveDownloadTestsTheSmallBarsShow) {
    CaptureSnapshot capture;
    capture.throughputPoints = speedTests(5);
    const auto chart = ResultsThroughputChart::model(capture);
    EXPECT_EQ(chart.testCount, 5);
    EXPECT_EQ(chart.form, ResultsThroughputChart::Form::bars);
    EXPECT_EQ(chart.xAxisTitle, u"Test"_s);
    EXPECT_EQ(chart.yAxisTitle, u"Mbps"_s);
    ASSERT_EQ(chart.subCharts.size(), 2);
    const auto& download = chart.subCharts[0];
    EXPECT_EQ(download.title, u"Download"_s);
    EXPECT_EQ(download.color, (RgbColor{16, 185, 129}));
    ASSERT_EQ(download.bars.size(), 5);
    EXPECT_EQ(download.bars[0].label, u"#1"_s);
    EXPECT_EQ(download.bars[4].label, u"#5"_s);
    EXPECT_EQ(download.bars[4].mbps, 50);
    EXPECT_EQ(download.top, 50);
    EXPECT_FALSE(download.box);
    EXPECT_EQ(chart.subCharts[1].title, u"Upload"_s);
    EXPECT_EQ(chart.subCharts[1].color, (RgbColor{59, 130, 246}));
}

TEST(ResultsThroughputChartModel, WithSixDownloadTestsTheBoxPlot) {
    CaptureSnapshot capture;
    capture.throughputPoints = speedTests(5);
    capture.throughputPoints.append(test(6, 60, u"download"_s));
    const auto chart = ResultsThroughputChart::model(capture);
    EXPECT_EQ(chart.testCount, 6);
    EXPECT_EQ(chart.form, ResultsThroughputChart::Form::boxPlot);
    ASSERT_EQ(chart.subCharts.size(), 2);
    for (const auto& sub : chart.subCharts) {
        EXPECT_TRUE(sub.bars.isEmpty());
        ASSERT_TRUE(sub.box);
    }
    // Downloads 10…60: the quartiles interpolate between the sorted rates.
    const auto& box = *chart.subCharts[0].box;
    EXPECT_DOUBLE_EQ(box.minimum, 10);
    EXPECT_DOUBLE_EQ(box.lowerQuartile, 22.5);
    EXPECT_DOUBLE_EQ(box.median, 35);
    EXPECT_DOUBLE_EQ(box.upperQuartile, 47.5);
    EXPECT_DOUBLE_EQ(box.maximum, 60);
    EXPECT_EQ(chart.subCharts[0].values, (QList<double>{10, 20, 30, 40, 50, 60}));
    // The upload has five tests only, but the larger count decides the form for both.
    EXPECT_EQ(chart.subCharts[1].values.size(), 5);
}

TEST(ResultsThroughputChartModel, ABoxPlotsTestsAreSmallFaintPointsSpreadInsideTheBox) {
    // Dozens of tests, as six hours of them make: their points must leave the box and median visible.
    CaptureSnapshot capture;
    for (int i = 1; i <= 40; ++i)
        capture.throughputPoints.append(test(i, 100 + i % 7, u"download"_s));
    const auto chart = ResultsThroughputChart::model(capture);
    ASSERT_EQ(chart.form, ResultsThroughputChart::Form::boxPlot);
    const auto& download = chart.subCharts[0];
    ASSERT_EQ(download.testPoints.size(), 40);
    QSet<double> offsets;
    for (qsizetype i = 0; i < download.testPoints.size(); ++i) {
        EXPECT_EQ(download.testPoints[i].y(), capture.throughputPoints[i].mbps);
        EXPECT_LT(std::abs(download.testPoints[i].x()), ResultsThroughputChart::boxWidth / 2);
        offsets.insert(download.testPoints[i].x());
    }
    EXPECT_GT(offsets.size(), 3) << "equal rates side by side, not on top of each other";
    EXPECT_LT(ResultsThroughputChart::testPointOpacity, 0.5);
    EXPECT_LE(ResultsThroughputChart::testPointSize, 12) << "an area no larger than a timeline dot's";
    // The bars have no separate points.
    CaptureSnapshot few;
    few.throughputPoints = {test(1, 10, u"download"_s)};
    EXPECT_TRUE(ResultsThroughputChart::model(few).subCharts[0].testPoints.isEmpty());
}

TEST(ResultsThroughputChartModel, BoxPlotExtremesComeFromTheSortedRates) {
    const auto box = ResultsThroughputChart::boxSummary({1, 2, 3, 4, 100});
    EXPECT_EQ(box.minimum, 1);
    EXPECT_EQ(box.lowerQuartile, 2);
    EXPECT_EQ(box.median, 3);
    EXPECT_EQ(box.upperQuartile, 4);
    EXPECT_EQ(box.maximum, 100);
}

TEST(ResultsThroughputChartModel, CdnRowWithTheMediansOfNetflixAndAkamai) {
    CaptureSnapshot capture;
    capture.throughputPoints = speedTests(1);
    capture.cdnThroughputPoints = {{u"netflix_oca"_s, 9.51, at(1)},  {u"akamai"_s, 12.16, at(2)},
                                   {u"netflix_oca"_s, 17.35, at(3)}, {u"akamai"_s, 15.68, at(4)},
                                   {u"netflix_oca"_s, 19.04, at(5)}, {u"akamai"_s, 8.64, at(6)}};
    const auto chart = ResultsThroughputChart::model(capture);
    ASSERT_TRUE(chart.cdn);
    EXPECT_EQ(chart.cdn->title, u"CDN Diversity"_s);
    ASSERT_EQ(chart.cdn->entries.size(), 2);
    EXPECT_EQ(chart.cdn->entries[0].text, u"Netflix 17"_s);
    EXPECT_EQ(chart.cdn->entries[1].text, u"Akamai 12"_s);
    EXPECT_DOUBLE_EQ(chart.cdn->entries[0].share, 1.0);
    EXPECT_DOUBLE_EQ(chart.cdn->entries[1].share, 12.16 / 17.35);
}

TEST(ResultsThroughputChartModel, NoCdnRowWithoutCdnPoints) {
    CaptureSnapshot capture;
    capture.throughputPoints = speedTests(1);
    EXPECT_FALSE(ResultsThroughputChart::model(capture).cdn);
    capture.cdnThroughputPoints = {{u"akamai"_s, 5.55, at(1)}};
    const auto chart = ResultsThroughputChart::model(capture);
    ASSERT_TRUE(chart.cdn);
    ASSERT_EQ(chart.cdn->entries.size(), 1);
    EXPECT_EQ(chart.cdn->entries[0].text, u"Akamai 5.5"_s);
}

// --- the signal card --------------------------------------------------------------------------------

TEST(ResultsSignalChartModel, TextsScaleAndLatestValue) {
    const auto chart = ResultsSignalChart::model(signal({-60, -72, -55}));
    EXPECT_EQ(chart.title, u"Signal Strength"_s);
    EXPECT_EQ(chart.latestText, u"-55 dBm"_s);
    EXPECT_EQ(chart.xAxisTitle, u"Time"_s);
    EXPECT_EQ(chart.yAxisTitle, u"RSSI"_s);
    EXPECT_EQ(chart.unit, u"dBm"_s);
    EXPECT_EQ(chart.yDomain, (ClosedRange{-80, -30}));
    // Ten seconds of readings stretch to the shortest span.
    EXPECT_EQ(chart.timeSpan, (TimeSpan{10, 10}));
    EXPECT_EQ(chart.xDomain, (ClosedRange{ms(0), ms(10)}));
    EXPECT_EQ(chart.points.size(), 3);
    EXPECT_EQ(chart.points[1], QPointF(ms(5), -72));
}

TEST(ResultsSignalChartModel, ThreeDashedQualityLines) {
    const auto lines = ResultsSignalChart::thresholds();
    ASSERT_EQ(lines.size(), 3);
    EXPECT_EQ(lines[0].label, u"Good"_s);
    EXPECT_EQ(lines[0].rssi, -50);
    EXPECT_EQ(lines[0].color, (RgbColor{16, 185, 129}));
    EXPECT_EQ(lines[1].label, u"Fair"_s);
    EXPECT_EQ(lines[1].rssi, -67);
    EXPECT_EQ(lines[1].color, (RgbColor{245, 158, 11}));
    EXPECT_EQ(lines[2].label, u"Poor"_s);
    EXPECT_EQ(lines[2].rssi, -70);
    EXPECT_EQ(lines[2].color, (RgbColor{239, 68, 68}));
    for (const auto& line : lines)
        EXPECT_DOUBLE_EQ(line.opacity, 0.15);
}

TEST(ResultsSignalChartModel, AnHourScrollsInWindowsOfFiveMinutesStartingAtTheEnd) {
    QList<int> values(721, -60); // every 5 s for an hour
    const auto chart = ResultsSignalChart::model(signal(values));
    EXPECT_EQ(chart.timeSpan, (TimeSpan{3600, 300}));
    EXPECT_EQ(ResultsSignalChart::initialWindow(chart), (ClosedRange{ms(3300), ms(3600)}));
    EXPECT_EQ(ResultsSignalChart::windowAt(chart, ms(-100)), (ClosedRange{ms(0), ms(300)}));
    const QList<QPointF> shown = ResultsSignalChart::visiblePoints(chart, {ms(600), ms(900)});
    // 61 readings inside, and one beyond each edge so that the line reaches them.
    ASSERT_EQ(shown.size(), 63);
    EXPECT_EQ(shown.first().x(), ms(595));
    EXPECT_EQ(shown.last().x(), ms(905));
}

// --- the utilization cards --------------------------------------------------------------------------

TEST(ResultsUtilizationChartModel, DownloadAndUploadWithTheirWholeAverages) {
    const auto points = observed({{2, 0.5}, {4, 1.5}, {3.9, 1.2}});
    const auto download =
        ResultsUtilizationChart::model(points, ResultsUtilizationChart::Direction::download);
    EXPECT_EQ(download.title, u"Download"_s);
    EXPECT_EQ(download.averageText, u"Avg: 3 Mbps"_s); // 3.3 cut to its whole part
    EXPECT_EQ(download.color, (RgbColor{16, 185, 129}));
    EXPECT_DOUBLE_EQ(download.areaOpacity, 0.2);
    EXPECT_EQ(download.xAxisTitle, u"Time"_s);
    EXPECT_EQ(download.yAxisTitle, u"Mbps"_s);
    EXPECT_EQ(download.yDomain, (ClosedRange{0, 4}));
    EXPECT_EQ(download.points, (QList<QPointF>{{ms(0), 2}, {ms(1), 4}, {ms(2), 3.9}}));

    const auto upload = ResultsUtilizationChart::model(points, ResultsUtilizationChart::Direction::upload);
    EXPECT_EQ(upload.title, u"Upload"_s);
    EXPECT_EQ(upload.averageText, u"Avg: 1 Mbps"_s);
    EXPECT_EQ(upload.color, (RgbColor{59, 130, 246}));
}

TEST(ResultsUtilizationChartModel, SixHoursOfTrafficAreThinnedButKeepTheirPeak) {
    QList<std::pair<double, double>> rates;
    for (int i = 0; i < 21'600; ++i)
        rates.append({i == 12'345 ? 900.0 : 5.0 + (i % 7), 1.0});
    const auto chart =
        ResultsUtilizationChart::model(observed(rates), ResultsUtilizationChart::Direction::download);
    EXPECT_LE(chart.points.size(), 2 * ResultsSeriesThinning::defaultBucketCount + 2);
    EXPECT_TRUE(std::any_of(chart.points.cbegin(), chart.points.cend(),
                            [](const QPointF& point) { return point.y() == 900.0; }));
    EXPECT_EQ(chart.points.first().x(), ms(0));
    EXPECT_EQ(chart.points.last().x(), ms(21'599));
    EXPECT_EQ(chart.averageText, u"Avg: 8 Mbps"_s);
}

// --- the DNS and QUIC card --------------------------------------------------------------------------

TEST(ResultsDnsQuicChartModel, MediansAsWholeNumbersAndPointsSortedByDate) {
    const QList<LatencyPoint> points = {sample(3, 12.9, u"dns"_s), sample(1, 10.2, u"dns"_s),
                                        sample(2, 31.5, u"quic"_s), sample(4, std::nullopt, u"dns"_s),
                                        sample(5, 99, u"ping"_s)};
    const auto chart = ResultsDnsQuicChart::model(points);
    EXPECT_EQ(chart.title, u"DNS & QUIC"_s);
    EXPECT_EQ(chart.medianTexts, (QStringList{u"DNS: 11 ms"_s, u"QUIC: 31 ms"_s}));
    EXPECT_EQ(chart.xAxisTitle, u"Time"_s);
    EXPECT_EQ(chart.yAxisTitle, u"ms"_s);
    ASSERT_EQ(chart.series.size(), 2);
    EXPECT_EQ(chart.series[0].label, u"DNS"_s);
    EXPECT_EQ(chart.series[0].color, (RgbColor{236, 72, 153}));
    EXPECT_EQ(chart.series[0].points, (QList<QPointF>{{ms(1), 10.2}, {ms(3), 12.9}}));
    EXPECT_EQ(chart.series[1].label, u"QUIC"_s);
    EXPECT_EQ(chart.series[1].color, (RgbColor{6, 182, 212}));
    EXPECT_EQ(chart.xDomain, (ClosedRange{ms(1), ms(3)}));
    // Fewer than five values: the default scale.
    EXPECT_EQ(chart.yDomain, (ClosedRange{0, 100}));
}

TEST(ResultsDnsQuicChartModel, OnlyTheMedianOfAMeasuredTypeShows) {
    const auto chart = ResultsDnsQuicChart::model({sample(1, 40, u"quic"_s)});
    EXPECT_EQ(chart.medianTexts, (QStringList{u"QUIC: 40 ms"_s}));
    EXPECT_TRUE(chart.series[0].points.isEmpty());
}

TEST(ResultsDnsQuicChartModel, TheScaleComesFromBothTypes) {
    QList<LatencyPoint> points;
    for (int i = 0; i < 5; ++i)
        points.append(sample(i, 20, i < 3 ? u"dns"_s : u"quic"_s));
    EXPECT_EQ(ResultsDnsQuicChart::model(points).yDomain, (ClosedRange{0, 30}));
}

// --- the traceroute card ----------------------------------------------------------------------------

TEST(ResultsTracerouteChartModel, HopCountRouteAndWaterfallRows) {
    const auto chart = ResultsTracerouteChart::model({route(0, threeHops(2.5, 10.9, 20))});
    EXPECT_EQ(chart.title, u"Traceroute"_s);
    EXPECT_EQ(chart.hopCountText, u"3 hops"_s);
    EXPECT_FALSE(chart.pathText); // one route says nothing about its stability
    EXPECT_FALSE(chart.unavailableText);
    EXPECT_EQ(chart.routeText, u"3 hops to 1.1.1.1"_s);
    ASSERT_EQ(chart.rows.size(), 3);
    EXPECT_EQ(chart.rows[0].hopText, u"1"_s);
    EXPECT_EQ(chart.rows[0].address, u"192.168.1.1"_s);
    EXPECT_EQ(chart.rows[0].rttText, u"2ms"_s);
    EXPECT_EQ(chart.rows[0].deltaText, u"+2ms"_s);
    EXPECT_EQ(chart.rows[1].rttText, u"10ms"_s);
    EXPECT_EQ(chart.rows[1].deltaText, u"+8ms"_s); // 8.4 cut to its whole part
    // Each bar runs from where the hop before ended to its own end, as shares of the whole time.
    EXPECT_DOUBLE_EQ(chart.rows[1].barStart, 2.5 / 20);
    EXPECT_DOUBLE_EQ(chart.rows[1].barLength, 8.4 / 20);
    EXPECT_DOUBLE_EQ(chart.rows[2].barStart + chart.rows[2].barLength, 1.0);
    // Hop 2 adds 8.4 of 20 ms and hop 3 9.1: the larger is the bottleneck.
    EXPECT_FALSE(chart.rows[1].bottleneck);
    EXPECT_TRUE(chart.rows[2].bottleneck);
    EXPECT_EQ(chart.bottleneckColor, (RgbColor{245, 158, 11}));
}

TEST(ResultsTracerouteChartModel, ASilentHopReadsAsAStar) {
    const auto chart = ResultsTracerouteChart::model(
        {route(0, {hop(1, u"192.168.1.1"_s, 2), hop(2, QString(), std::nullopt), hop(3, u"1.1.1.1"_s, 30)})});
    ASSERT_EQ(chart.rows.size(), 3);
    EXPECT_EQ(chart.rows[1].address, u"*"_s);
    EXPECT_FALSE(chart.rows[1].rttText);
    EXPECT_FALSE(chart.rows[1].deltaText);
    EXPECT_EQ(chart.rows[1].barLength, 0);
    EXPECT_EQ(chart.rows[2].deltaText, u"+30ms"_s);
}

TEST(ResultsTracerouteChartModel, TwoEqualRoutesAreAStablePath) {
    const auto chart =
        ResultsTracerouteChart::model({route(0, threeHops(2, 10, 20)), route(60, threeHops(3, 14, 40))});
    EXPECT_EQ(chart.pathText, u"stable path"_s);
    EXPECT_FALSE(chart.pathChanged);
    // Medians over both routes: hop 3 at 30 ms.
    EXPECT_EQ(chart.rows[2].rttText, u"30ms"_s);
}

TEST(ResultsTracerouteChartModel, ADifferentRouteIsAChangedPath) {
    QList<HopDetail> other = threeHops(2, 10, 20);
    other[1].ip = u"10.9.9.9"_s;
    const auto chart = ResultsTracerouteChart::model({route(0, threeHops(2, 10, 20)), route(60, other)});
    EXPECT_EQ(chart.pathText, u"path changed"_s);
    EXPECT_TRUE(chart.pathChanged);
}

TEST(ResultsTracerouteChartModel, WithNoTracerouteHopsAtAllHopDetailIsNotAvailable) {
    const QList<TraceroutePoint> routes = {route(0, {}, 9), route(60, {}, 8)};
    EXPECT_TRUE(ResultsTracerouteChart::hasData(routes));
    const auto chart = ResultsTracerouteChart::model(routes);
    EXPECT_EQ(chart.hopCountText, u"8 hops"_s);
    EXPECT_EQ(chart.pathText, u"stable path"_s);
    EXPECT_EQ(chart.unavailableText, u"Hop detail not available"_s);
    EXPECT_TRUE(chart.rows.isEmpty());
    EXPECT_TRUE(chart.routeText.isEmpty());

    // In the grid the card stands, with those words, rather than its placeholder.
    CaptureSnapshot capture;
    capture.traceroutePoints = routes;
    const Model grid = model(capture);
    EXPECT_FALSE(grid.rows[1].left.placeholderText);
    ASSERT_TRUE(grid.traceroute);
    EXPECT_EQ(grid.traceroute->unavailableText, u"Hop detail not available"_s);
}

TEST(ResultsTracerouteChartModel, TheLastRouteWithoutDetailHidesTheWaterfall) {
    const auto chart = ResultsTracerouteChart::model({route(0, threeHops(2, 10, 20)), route(60, {}, 0)});
    EXPECT_EQ(chart.hopCountText, u"3 hops"_s);
    EXPECT_FALSE(chart.pathText); // only one route reached a hop
    EXPECT_EQ(chart.unavailableText, u"Hop detail not available"_s);
    EXPECT_TRUE(chart.rows.isEmpty());
}

// --- thinning ---------------------------------------------------------------------------------------

TEST(ResultsSeriesThinning, ShortSeriesStayAsTheyAre) {
    const QList<QPointF> points = {{0, 1}, {1, 5}, {2, 3}};
    EXPECT_EQ(ResultsSeriesThinning::thin(points, 10), points);
}

TEST(ResultsSeriesThinning, ThinningKeepsExtremes) {
    QList<QPointF> points;
    for (int i = 0; i < 1'000'000; ++i)
        points.append(QPointF(i, (i % 100) * 0.01));
    points[777'777].setY(-50);
    points[123'456].setY(80);
    const QList<QPointF> thinned = ResultsSeriesThinning::thin(points);
    EXPECT_LE(thinned.size(), 2 * ResultsSeriesThinning::defaultBucketCount + 2);
    EXPECT_EQ(thinned.first(), points.first());
    EXPECT_EQ(thinned.last(), points.last());
    EXPECT_TRUE(thinned.contains(QPointF(777'777, -50)));
    EXPECT_TRUE(thinned.contains(QPointF(123'456, 80)));
    EXPECT_TRUE(std::is_sorted(thinned.cbegin(), thinned.cend(),
                               [](const QPointF& a, const QPointF& b) { return a.x() < b.x(); }));
    // Every slice keeps its own low and high: the ordinary swing 0…0.99 stays drawn.
    EXPECT_TRUE(thinned.contains(QPointF(500'099, 0.99)));
}

TEST(ResultsSeriesThinning, SortsOutOfOrderPointsKeepingTies) {
    QList<QPointF> points = {{2, 1}, {1, 2}, {2, 3}};
    ResultsSeriesThinning::sortByX(points);
    EXPECT_EQ(points, (QList<QPointF>{{1, 2}, {2, 1}, {2, 3}}));
}
