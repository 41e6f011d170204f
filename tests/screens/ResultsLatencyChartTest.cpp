#include "screens/ResultsLatencyChart.h"

#include "capture/ResultsAnalysis.h"
#include "screens/ProbeColors.h"

#include <gtest/gtest.h>

#include <QDateTime>

using namespace Qt::StringLiterals;
using namespace ResultsLatencyChart;

namespace {

const QDateTime start = QDateTime::fromString(u"2026-03-14T09:30:00.000Z"_s, Qt::ISODateWithMs);

QDateTime at(double seconds) {
    return start.addMSecs(qint64(seconds * 1000));
}

double ms(double seconds) {
    return double(at(seconds).toMSecsSinceEpoch());
}

LatencyPoint sample(double seconds, std::optional<double> rtt, const QString& type = u"ping"_s,
                    const QString& target = u"1.1.1.1"_s) {
    return LatencyPoint{at(seconds), rtt, !rtt, type, target};
}

// A capture of `seconds`, one ping a second and a DNS sample every other; every 97th ping is lost.
QList<LatencyPoint> longCapture(int seconds) {
    QList<LatencyPoint> points;
    for (int s = 0; s < seconds; ++s) {
        const bool lost = s % 97 == 50;
        points.append(sample(s, lost ? std::nullopt : std::optional<double>(20 + s % 7)));
        if (s % 2 == 0)
            points.append(sample(s + 0.5, 12 + s % 5, u"dns"_s));
    }
    return points;
}

qsizetype pointCount(const Frame& frame) {
    qsizetype count = frame.losses.size();
    for (const DotSeries& series : frame.dots)
        count += series.points.size();
    return count;
}

const DotSeries& dotsOf(const Frame& frame, const QString& key) {
    for (const DotSeries& series : frame.dots) {
        if (series.key == key)
            return series;
    }
    static const DotSeries none;
    ADD_FAILURE() << "no series " << key.toStdString();
    return none;
}

SpeedTestRange range(double from, std::optional<double> to) {
    SpeedTestRange result{at(from), std::nullopt, u"download"_s, 1};
    if (to)
        result.end = at(*to);
    return result;
}

} // namespace

TEST(ResultsLatencyChartWords, TitleAxesAndKeys) {
    EXPECT_EQ(title(), u"Latency Timeline"_s);
    EXPECT_EQ(timeAxisTitle(), u"Time"_s);
    EXPECT_EQ(rttAxisTitle(), u"RTT"_s);
    EXPECT_EQ(unit(), u"ms"_s);
    EXPECT_EQ(lossKey(), u"loss"_s);
    EXPECT_EQ(speedTestKey(), u"speedtest"_s);
}

TEST(ResultsLatencyChartWords, PercentilesReadInWholeMillisecondsCutNotRounded) {
    EXPECT_EQ(percentileText(Percentiles{20.4, 30.6, 41}), u"P50: 20ms | P95: 30ms | P99: 41ms"_s);
    EXPECT_EQ(percentileText(Percentiles{0.9, 99.99, 100.5}), u"P50: 0ms | P95: 99ms | P99: 100ms"_s);
    EXPECT_EQ(percentileText(std::nullopt), std::nullopt);
}

TEST(ResultsLatencyChartWords, FourSamplesHaveNoPercentileTextFiveHave) {
    QList<LatencyPoint> points;
    for (int i = 0; i < 4; ++i)
        points.append(sample(i, 10 + i));
    EXPECT_EQ(percentileText(Timeline(points, {}).percentiles()), std::nullopt);
    points.append(sample(4, 14));
    EXPECT_EQ(percentileText(Timeline(points, {}).percentiles()), u"P50: 12ms | P95: 13ms | P99: 13ms"_s);
}

TEST(ResultsLatencyChartTimeline, WholeCaptureFiguresComeFromTheAnalysis) {
    const QList<LatencyPoint> points = longCapture(600);
    const Timeline timeline(points, {});
    const QList<double> values = ResultsAnalysis::percentileValues(points);
    EXPECT_EQ(timeline.percentiles(), ResultsAnalysis::computePercentiles(values));
    EXPECT_EQ(timeline.yDomain(), ResultsAnalysis::latencyYDomain(values));
    EXPECT_EQ(timeline.span(), ResultsAnalysis::chartTimeSpan(points));
    EXPECT_EQ(timeline.startMs(), ms(0));
}

TEST(ResultsLatencyChartWindow, StartsAtTheBeginningOfALongCapture) {
    const Timeline timeline(longCapture(6 * 3600), {});
    EXPECT_EQ(timeline.span().visibleSeconds, 300);
    EXPECT_DOUBLE_EQ(timeline.scrollRangeSeconds(), 6 * 3600 - 1 - 300);
    const Frame frame = timeline.frame(0, {});
    EXPECT_EQ(frame.xDomain, (ClosedRange{ms(0), ms(300)}));
    ASSERT_FALSE(dotsOf(frame, u"ping"_s).points.isEmpty());
    EXPECT_EQ(dotsOf(frame, u"ping"_s).points.first().x(), ms(0));
    EXPECT_EQ(dotsOf(frame, u"ping"_s).points.last().x(), ms(300));
}

TEST(ResultsLatencyChartWindow, ScrollsToTheMiddleOfALongCapture) {
    const Timeline timeline(longCapture(6 * 3600), {});
    const Frame frame = timeline.frame(3 * 3600, {});
    EXPECT_EQ(frame.xDomain, (ClosedRange{ms(3 * 3600), ms(3 * 3600 + 300)}));
    const DotSeries& pings = dotsOf(frame, u"ping"_s);
    ASSERT_FALSE(pings.points.isEmpty());
    EXPECT_EQ(pings.points.first().x(), ms(3 * 3600));
    EXPECT_EQ(pings.points.last().x(), ms(3 * 3600 + 300));
    for (const QPointF& point : pings.points) {
        EXPECT_GE(point.x(), frame.xDomain.lowerBound);
        EXPECT_LE(point.x(), frame.xDomain.upperBound);
    }
}

TEST(ResultsLatencyChartWindow, IsHeldInsideTheCaptureAtTheEnd) {
    const Timeline timeline(longCapture(6 * 3600), {});
    const double lastMs = ms(6 * 3600 - 1); // the last ping
    const ClosedRange end{lastMs - 300'000, lastMs};
    EXPECT_EQ(timeline.window(timeline.scrollRangeSeconds()), end);
    EXPECT_EQ(timeline.window(1e9), end);
    EXPECT_EQ(timeline.window(-50), timeline.window(0));
    const Frame frame = timeline.frame(1e9, {});
    EXPECT_EQ(frame.xDomain, end);
    EXPECT_EQ(dotsOf(frame, u"ping"_s).points.last().x(), lastMs);
}

TEST(ResultsLatencyChartWindow, OnlyTheWindowsPointsAreFed) {
    const QList<LatencyPoint> points = longCapture(6 * 3600);
    const Timeline timeline(points, {});
    for (const double scroll : {0.0, 5000.0, 12'345.6, 1e9}) {
        const Frame frame = timeline.frame(scroll, {});
        const qsizetype inWindow = timeline.sampleCount(frame.xDomain);
        // 301 seconds of pings and about half as many DNS samples, out of 32,400 samples.
        EXPECT_GE(inWindow, 449);
        EXPECT_LE(inWindow, 453);
        EXPECT_EQ(pointCount(frame), inWindow) << scroll;
    }
}

TEST(ResultsLatencyChartWindow, AShortCaptureShowsWholeAndDoesntScroll) {
    QList<LatencyPoint> points;
    for (int s = 0; s < 6; ++s)
        points.append(sample(s, 20));
    const Timeline timeline(points, {});
    EXPECT_EQ(timeline.scrollRangeSeconds(), 0);
    // Five seconds of samples still get a window of ten.
    EXPECT_EQ(timeline.frame(30, {}).xDomain, (ClosedRange{ms(0), ms(10)}));
    EXPECT_EQ(timeline.frame(30, {}).dots.first().points.size(), 6);
}

TEST(ResultsLatencyChartWindow, SamplesOutOfTimeOrderAreFoundInTheirWindow) {
    QList<LatencyPoint> points = longCapture(1200);
    std::swap(points[10], points[1500]);
    std::swap(points[3], points[900]);
    const Timeline timeline(points, {});
    const Frame frame = timeline.frame(700, {});
    EXPECT_EQ(pointCount(frame), timeline.sampleCount(frame.xDomain));
    for (const DotSeries& series : frame.dots) {
        for (const QPointF& point : series.points) {
            EXPECT_GE(point.x(), frame.xDomain.lowerBound);
            EXPECT_LE(point.x(), frame.xDomain.upperBound);
        }
    }
    EXPECT_EQ(timeline.startMs(), ms(0));
}

TEST(ResultsLatencyChartMarks, EachProbeTypeHasItsColourAndItsSeries) {
    const QList<LatencyPoint> points = {sample(0, 10, u"udp"_s),  sample(1, 11, u"quic"_s),
                                        sample(2, 12, u"ping"_s), sample(3, 13, u"cf_speed"_s),
                                        sample(4, 14, u"tcp"_s),  sample(5, std::nullopt, u"tcp"_s)};
    const Timeline timeline(points, {});
    EXPECT_EQ(timeline.probeTypes(), (QStringList{u"ping"_s, u"udp"_s, u"tcp"_s, u"quic"_s, u"cf_speed"_s}));
    const Frame frame = timeline.frame(0, {});
    ASSERT_EQ(frame.dots.size(), 5);
    for (const DotSeries& series : frame.dots) {
        EXPECT_EQ(series.color, ProbeColors::probeColor(series.key));
        EXPECT_EQ(series.points.size(), 1) << series.key.toStdString();
    }
    EXPECT_EQ(dotsOf(frame, u"tcp"_s).points.first(), QPointF(ms(4), 14));
    EXPECT_EQ(dotsOf(frame, u"tcp"_s).color, (RgbColor{16, 185, 129}))
        << "TCP is green, as in the live chart";
    EXPECT_EQ(dotsOf(frame, u"udp"_s).color, (RgbColor{249, 115, 22}));
    EXPECT_EQ(frame.dots.last().color, (RgbColor{142, 142, 147}));
}

TEST(ResultsLatencyChartMarks, LostSamplesAreLargeRedPointsNearTheTop) {
    QList<LatencyPoint> points;
    for (int s = 0; s < 10; ++s)
        points.append(sample(s, 20));
    points.append(sample(10, std::nullopt));
    const Timeline timeline(points, {});
    const Frame frame = timeline.frame(0, {});
    ASSERT_EQ(frame.losses.size(), 1);
    EXPECT_EQ(frame.losses.first(), QPointF(ms(10), frame.yDomain.upperBound * lossMarkHeight));
    EXPECT_EQ(dotsOf(frame, u"ping"_s).points.size(), 10);
    EXPECT_EQ(dotSize, 12);
    EXPECT_EQ(dotOpacity, 0.7);
    EXPECT_EQ(lossPointSize, 20);
    EXPECT_EQ(lossPointOpacity, 0.6);
}

TEST(ResultsLatencyChartMarks, ThreeDashedRulesAtThePercentiles) {
    const Timeline timeline(longCapture(600), {});
    const Frame frame = timeline.frame(0, {});
    ASSERT_TRUE(timeline.percentiles());
    EXPECT_EQ(frame.rules, (QList<Rule>{{u"P50"_s, timeline.percentiles()->p50},
                                        {u"P95"_s, timeline.percentiles()->p95},
                                        {u"P99"_s, timeline.percentiles()->p99}}));
    // Without percentiles there is nothing to rule.
    EXPECT_TRUE(Timeline({sample(0, 20), sample(1, 21)}, {}).frame(0, {}).rules.isEmpty());
}

TEST(ResultsLatencyChartMarks, SpeedTestsAreBandsCutToTheWindowAndOpenOnesReachTheEnd) {
    const QList<LatencyPoint> points = longCapture(1000);
    const Timeline timeline(points,
                            {range(100, 130), range(120, 150), range(280, 320), range(900, std::nullopt)});
    ASSERT_EQ(timeline.speedTestBands().size(), 3);
    EXPECT_EQ(timeline.speedTestBands()[0].startMs, ms(100));
    EXPECT_EQ(timeline.speedTestBands()[0].endMs, ms(150)) << "overlapping tests make one band";
    EXPECT_EQ(timeline.speedTestBands()[2].endMs, ms(999)) << "a test still open reaches the last sample";

    const Frame first = timeline.frame(0, {});
    QList<Band> tests;
    for (const Band& band : first.bands) {
        if (band.key == u"speedtest")
            tests.append(band);
    }
    ASSERT_EQ(tests.size(), 2);
    EXPECT_EQ(tests[1].startMs, ms(280));
    EXPECT_EQ(tests[1].endMs, ms(300)) << "cut at the window's end";
    EXPECT_EQ(tests[0].color, ResultsPalette::speedTestColor());
    EXPECT_EQ(tests[0].opacity, speedTestBandOpacity);
    // The speed tests come before the loss buckets, which are drawn over them.
    ASSERT_FALSE(first.bands.isEmpty());
    EXPECT_EQ(first.bands.first().key, u"speedtest"_s);
}

TEST(ResultsLatencyChartMarks, LossBucketsOfTenSecondsAreRedBandsByTheirRate) {
    QList<LatencyPoint> points;
    for (int s = 0; s < 40; ++s)
        points.append(sample(s, (s == 12 || s == 25 || s == 27) ? std::nullopt : std::optional<double>(20)));
    const Timeline timeline(points, {});
    const QList<LossBucket> buckets = ResultsAnalysis::computeLossBuckets(points, 10);
    ASSERT_EQ(buckets.size(), 2);
    const Frame frame = timeline.frame(0, {});
    ASSERT_EQ(frame.bands.size(), 2);
    EXPECT_EQ(frame.bands[0],
              (Band{u"loss"_s, ms(10), ms(20), ResultsPalette::lossColor(), lossBandOpacity(0.1)}));
    EXPECT_EQ(frame.bands[1],
              (Band{u"loss"_s, ms(20), ms(30), ResultsPalette::lossColor(), lossBandOpacity(0.2)}));
    EXPECT_LT(lossBandOpacity(0.1), lossBandOpacity(0.2));
    EXPECT_LT(lossBandOpacity(1), 0.5) << "the points stay visible through a band of total loss";
}

TEST(ResultsLatencyChartHidden, AClickOnIcmpHidesThesePointsOnlyThePercentilesAndTheVerdictStay) {
    const QList<LatencyPoint> points = longCapture(600);
    CaptureSnapshot capture;
    capture.latencyPoints = points;
    const Timeline timeline(points, {range(10, 40)});
    const Frame before = timeline.frame(0, {});
    const QualityRating verdictBefore = ResultsAnalysis::quality(capture);

    const QSet<QString> hidden = toggled({}, u"ping"_s);
    EXPECT_EQ(hidden, (QSet<QString>{u"ping"_s}));
    const Frame after = timeline.frame(0, hidden);

    EXPECT_TRUE(dotsOf(after, u"ping"_s).points.isEmpty());
    EXPECT_EQ(dotsOf(after, u"dns"_s), dotsOf(before, u"dns"_s));
    EXPECT_EQ(after.losses, before.losses) << "lost pings are losses, not ICMP points";
    EXPECT_EQ(after.bands, before.bands);
    EXPECT_EQ(after.rules, before.rules);
    EXPECT_EQ(after.yDomain, before.yDomain);
    EXPECT_EQ(percentileText(timeline.percentiles()),
              percentileText(ResultsAnalysis::latencyPercentiles(capture)));
    EXPECT_EQ(ResultsAnalysis::quality(capture), verdictBefore);
}

TEST(ResultsLatencyChartHidden, LossHidesTheLossPointsAndTheLossBands) {
    const Timeline timeline(longCapture(600), {range(10, 40)});
    const Frame frame = timeline.frame(0, {u"loss"_s});
    EXPECT_TRUE(frame.losses.isEmpty());
    ASSERT_EQ(frame.bands.size(), 1);
    EXPECT_EQ(frame.bands.first().key, u"speedtest"_s);
    EXPECT_FALSE(timeline.frame(0, {}).losses.isEmpty());
}

TEST(ResultsLatencyChartHidden, SpeedTestHidesItsBandsOnly) {
    const Timeline timeline(longCapture(600), {range(10, 40)});
    const Frame frame = timeline.frame(0, {u"speedtest"_s});
    for (const Band& band : frame.bands)
        EXPECT_EQ(band.key, u"loss"_s);
    EXPECT_EQ(pointCount(frame), pointCount(timeline.frame(0, {})));
}

TEST(ResultsLatencyChartLegend, SevenFilterableDotsDimmedWhenHidden) {
    const QList<LegendItem> shown = legend({u"ping"_s, u"tcp"_s}, {});
    ASSERT_EQ(shown.size(), 7);
    QStringList labels;
    for (const LegendItem& item : shown) {
        labels.append(item.entry.label);
        EXPECT_FALSE(item.hidden);
        EXPECT_EQ(item.opacity, 1.0);
    }
    EXPECT_EQ(labels,
              (QStringList{u"ICMP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s, u"loss"_s, u"Speed Test"_s}));

    const QList<LegendItem> dimmed = legend({u"ping"_s, u"tcp"_s}, {u"tcp"_s});
    EXPECT_TRUE(dimmed[1].hidden);
    EXPECT_EQ(dimmed[1].opacity, 0.3);
    EXPECT_EQ(dimmed[0].opacity, 1.0);
}

TEST(ResultsLatencyChartLegend, EveryProbeTypeWithPointsCanBeSwitchedOff) {
    const Timeline timeline({sample(0, 10, u"udp"_s), sample(1, 11, u"ping"_s), sample(2, 12, u"cf_speed"_s),
                             sample(3, std::nullopt, u"dns"_s)},
                            {});
    QStringList keys;
    for (const LegendItem& item : legend(timeline.probeTypes(), {}))
        keys.append(item.entry.key);
    EXPECT_EQ(keys, (QStringList{u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s, u"cf_speed"_s,
                                 u"loss"_s, u"speedtest"_s}));
    const Frame hidden = timeline.frame(0, toggled({}, u"udp"_s));
    EXPECT_TRUE(dotsOf(hidden, u"udp"_s).points.isEmpty());
    EXPECT_EQ(dotsOf(hidden, u"ping"_s).points.size(), 1);
}

TEST(ResultsLatencyChartLegend, ASecondClickShowsTheSeriesAgain) {
    QSet<QString> hidden = toggled({}, u"dns"_s);
    hidden = toggled(hidden, u"loss"_s);
    EXPECT_EQ(hidden, (QSet<QString>{u"dns"_s, u"loss"_s}));
    hidden = toggled(hidden, u"dns"_s);
    EXPECT_EQ(hidden, (QSet<QString>{u"loss"_s}));
}

TEST(ResultsLatencyChartTimeLabels, TheFrameCarriesTheLabelsOfItsWindow) {
    const Timeline timeline(longCapture(3600), {});
    const Frame frame = timeline.frame(1000, {});
    EXPECT_EQ(frame.timeLabels, TimeAxisTicks::ticks(frame.xDomain, timeLabelIntervals));
    // A window of five minutes, labelled each minute.
    ASSERT_EQ(frame.timeLabels.size(), 5);
    for (qsizetype i = 1; i < frame.timeLabels.size(); ++i)
        EXPECT_EQ(frame.timeLabels[i].ms - frame.timeLabels[i - 1].ms, 60'000);
}

TEST(ResultsLatencyChartRuleLabels, FarApartTheyStandJustAboveTheirRules) {
    EXPECT_EQ(ruleLabelTops({200, 120, 90}, 12, 1, 250), (QList<double>{187, 107, 77}));
}

TEST(ResultsLatencyChartRuleLabels, CloseRulesKeepTheirLabelsApartInTheirOrder) {
    // P50 far below; P95 and P99 two pixels apart, as when the two percentiles are close.
    const QList<double> tops = ruleLabelTops({200, 100, 98}, 12, 1, 250);
    ASSERT_EQ(tops.size(), 3);
    EXPECT_EQ(tops[2], 85) << "the higher rule's label stays where it wants to be";
    EXPECT_EQ(tops[1], 98) << "the lower one moves down just clear of it";
    EXPECT_EQ(tops[0], 187);
    // Three rules at one height: P99 over P95 over P50.
    const QList<double> same = ruleLabelTops({100, 100, 100}, 12, 1, 250);
    EXPECT_EQ(same, (QList<double>{113, 100, 87}));
}

TEST(ResultsLatencyChartRuleLabels, LabelsPushedPastTheBottomMoveBackUp) {
    const QList<double> tops = ruleLabelTops({60, 58, 57}, 12, 1, 70);
    ASSERT_EQ(tops.size(), 3);
    EXPECT_EQ(tops[0], 58) << "the lowest label ends at the bottom";
    EXPECT_EQ(tops[1], 45);
    EXPECT_EQ(tops[2], 32);
}

TEST(ResultsLatencyChartTimeline, NoPointsNoSamples) {
    const Timeline empty({}, {});
    EXPECT_TRUE(empty.isEmpty());
    EXPECT_EQ(empty.percentiles(), std::nullopt);
    EXPECT_EQ(empty.scrollRangeSeconds(), 0);
    EXPECT_TRUE(Timeline().isEmpty());
}
