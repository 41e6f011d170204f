// The whole analysis on captures of 0, 1, 4, 5 and 100,000 points, checked against plain sort-and-scan
// reference computations written here, apart from the code under test.

#include "capture/BlockedTargets.h"
#include "capture/ResultsAnalysis.h"
#include "capture/SharedFigures.h"

#include "CaptureSamples.h"
#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

using namespace Qt::StringLiterals;
using namespace CaptureSamples;
using namespace ResultsAnalysis;

namespace {

// A capture of `n` latency samples ten a second: three pings to one target for each TCP sample, one
// lost sample in fifty, and the other series in proportion.
CaptureSnapshot makeCapture(int n) {
    CaptureSnapshot capture;
    capture.latencyPoints.reserve(n);
    for (int i = 0; i < n; ++i) {
        const double second = i * 0.1;
        const bool tcp = i % 4 == 3;
        const QString type = tcp ? u"tcp"_s : u"ping"_s;
        const QString target = tcp ? u"t1"_s : u"1.1.1.1"_s;
        if (i % 50 == 7)
            capture.latencyPoints.append(lost(second, type, target));
        else
            capture.latencyPoints.append(answered(second, type, target, 10 + (i * 37) % 100));
        capture.observedThroughputPoints.append({at(second), double(i % 30), double(i % 7)});
        if (i % 10 == 0)
            capture.rssiHistory.append({at(second), -40 - (i / 10) % 40});
        if (i % 100 == 0) {
            const bool detour = (i / 100) % 3 == 0;
            capture.traceroutePoints.append(
                traceroute(second, {hop(1, u"10.0.0.1"_s, 1 + i % 3),
                                    hop(2, detour ? u"100.64.0.2"_s : u"100.64.0.1"_s, 8 + i % 5),
                                    hop(3, u"1.1.1.1"_s, 20 + i % 11)}));
        }
        if (i % 1000 == 500) {
            capture.throughputPoints.append({i / 1000, 20.0 + i % 70, u"download"_s, u"speed"_s, at(second)});
            capture.throughputPoints.append({i / 1000, 5.0 + i % 13, u"upload"_s, u"speed"_s, at(second)});
            capture.speedTestRanges.append({at(second), at(second + 8), u"download"_s, i / 1000});
            capture.cdnThroughputPoints.append({u"netflix_oca"_s, 3.0 + i % 9, at(second)});
            capture.youtubeSegmentMbps.append(1.0 + i % 6);
        }
    }
    capture.stats.latencyMs = 42;
    return capture;
}

std::optional<double> referenceMedian(std::vector<double> values) {
    if (values.empty())
        return std::nullopt;
    std::sort(values.begin(), values.end());
    const size_t n = values.size();
    return n % 2 == 1 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

std::optional<Percentiles> referencePercentiles(std::vector<double> values) {
    if (values.size() < 5)
        return std::nullopt;
    std::sort(values.begin(), values.end());
    const size_t last = values.size() - 1;
    return Percentiles{values[last / 2], values[std::min(size_t(double(last) * 0.95), last)],
                       values[std::min(size_t(double(last) * 0.99), last)]};
}

// The bucket loop as written: a cursor from the first date while it is before the last, each bucket
// taking the points in [cursor, cursor + 10 s). The generated points are in date order, so one moving
// index finds each bucket's points.
QList<LossBucket> referenceLossBuckets(const QList<LatencyPoint>& points) {
    QList<LossBucket> buckets;
    if (points.isEmpty())
        return buckets;
    QDateTime cursor = points.first().date;
    const QDateTime end = points.last().date;
    qsizetype index = 0;
    while (cursor < end) {
        const QDateTime next = cursor.addSecs(10);
        qsizetype total = 0;
        qsizetype lostCount = 0;
        while (index < points.size() && points[index].date < next) {
            if (points[index].date >= cursor) {
                ++total;
                lostCount += points[index].loss ? 1 : 0;
            }
            ++index;
        }
        if (total > 0 && lostCount > 0)
            buckets.append({cursor, next, double(lostCount) / double(total)});
        cursor = next;
    }
    return buckets;
}

std::vector<double> pingRtts(const CaptureSnapshot& capture) {
    std::vector<double> values;
    for (const LatencyPoint& point : capture.latencyPoints) {
        if (point.probeType == u"ping"_s && point.rttMs)
            values.push_back(*point.rttMs);
    }
    return values;
}

std::vector<double> answeredRtts(const CaptureSnapshot& capture) {
    std::vector<double> values;
    for (const LatencyPoint& point : capture.latencyPoints) {
        if (point.rttMs && !point.loss)
            values.push_back(*point.rttMs);
    }
    return values;
}

class AnalysisAtScale : public ::testing::TestWithParam<int> {};

} // namespace

TEST_P(AnalysisAtScale, AgreesWithTheReferenceComputations) {
    const int n = GetParam();
    const CaptureSnapshot capture = makeCapture(n);

    const std::optional<double> rtt = realMedianRTT(capture);
    EXPECT_EQ(rtt, referenceMedian(pingRtts(capture)));

    qsizetype pings = 0;
    qsizetype lostPings = 0;
    for (const LatencyPoint& point : capture.latencyPoints) {
        if (point.probeType == u"ping"_s) {
            ++pings;
            lostPings += point.loss ? 1 : 0;
        }
    }
    EXPECT_EQ(realLossPct(capture),
              pings == 0 ? std::nullopt : std::optional(double(lostPings) / double(pings) * 100));

    const std::optional<Percentiles> percentiles =
        computePercentiles(percentileValues(capture.latencyPoints));
    EXPECT_EQ(percentiles, referencePercentiles(answeredRtts(capture)));
    EXPECT_EQ(latencyYDomain(percentileValues(capture.latencyPoints)).upperBound,
              percentiles ? std::max(percentiles->p99 * 1.5, 10.0) : 100.0);

    const QList<LossBucket> buckets = computeLossBuckets(capture.latencyPoints, 10);
    EXPECT_EQ(buckets, referenceLossBuckets(capture.latencyPoints));

    const LossStrip strip = lossStrip(capture.latencyPoints);
    EXPECT_TRUE(strip.blockedTargets.isEmpty());
    for (const LossStripRow& row : strip.rows) {
        QList<LatencyPoint> own;
        for (const LatencyPoint& point : capture.latencyPoints) {
            if (point.probeType == row.probeType)
                own.append(point);
        }
        EXPECT_EQ(row.buckets, referenceLossBuckets(own)) << row.probeType.toStdString();
    }

    qsizetype outsideTests = 0;
    for (const ObservedThroughputPoint& point : capture.observedThroughputPoints) {
        const bool inside = std::any_of(
            capture.speedTestRanges.cbegin(), capture.speedTestRanges.cend(),
            [&](const SpeedTestRange& r) { return point.date >= r.start && point.date <= *r.end; });
        outsideTests += inside ? 0 : 1;
    }
    EXPECT_EQ(filteredObservedPoints(capture).size(), outsideTests);

    const QList<HopDetail> hops = computeMedianHops(capture.traceroutePoints);
    if (!capture.traceroutePoints.isEmpty()) {
        ASSERT_EQ(hops.size(), 3);
        for (const HopDetail& hop : hops) {
            std::vector<double> collected;
            for (const TraceroutePoint& point : capture.traceroutePoints)
                collected.push_back(*point.hops[hop.hop - 1].rttMs);
            EXPECT_EQ(hop.rttMs, referenceMedian(collected)) << hop.hop;
        }
    } else {
        EXPECT_TRUE(hops.isEmpty());
    }
    EXPECT_EQ(traceroutePathChanged(capture.traceroutePoints), capture.traceroutePoints.size() >= 2);

    const QualityRating verdict = quality(capture);
    EXPECT_EQ(verdict, QualityRating::worstOf({QualityRating::rateLatency(rtt, false),
                                               QualityRating::rateLoss(realLossPct(capture))}));
    EXPECT_EQ(summaryFigures(capture).size(), 5);
    EXPECT_EQ(hasVideoData(capture), n > 500);
}

INSTANTIATE_TEST_SUITE_P(Captures, AnalysisAtScale, ::testing::Values(0, 1, 4, 5, 100'000),
                         [](const ::testing::TestParamInfo<int>& info) {
                             return "Points" + std::to_string(info.param);
                         });

TEST(AnalysisOfSmallCaptures, EmptyCaptureShowsNoFigures) {
    const CaptureSnapshot capture = makeCapture(0);
    EXPECT_EQ(realMedianRTT(capture), std::nullopt);
    EXPECT_EQ(realLossPct(capture), std::nullopt);
    EXPECT_EQ(quality(capture), QualityRating::good);
    EXPECT_EQ(qualityExplanation(capture), u"all metrics within normal range"_s);
    EXPECT_EQ(chartTimeSpan(capture.latencyPoints), (TimeSpan{300, 300}));
    EXPECT_EQ(latencyYDomain(percentileValues(capture.latencyPoints)), (ClosedRange{0, 100}));
    EXPECT_EQ(rssiYDomain(capture.rssiHistory), (ClosedRange{-90, -30}));
    EXPECT_TRUE(lossStrip(capture.latencyPoints).rows.isEmpty());
    EXPECT_FALSE(hasVideoData(capture));
    EXPECT_TRUE(videoFigures(capture).isEmpty());
    for (const ResultFigure& figure : summaryFigures(capture))
        EXPECT_EQ(figure.value, u"---"_s) << figure.title.toStdString();
}

TEST(AnalysisOfSmallCaptures, OneSampleIsItsOwnMedian) {
    const CaptureSnapshot capture = makeCapture(1);
    EXPECT_EQ(realMedianRTT(capture), 10.0);
    EXPECT_EQ(realLossPct(capture), 0.0);
    EXPECT_EQ(quality(capture), QualityRating::superior);
    EXPECT_EQ(chartTimeSpan(capture.latencyPoints), (TimeSpan{10, 10}));
    EXPECT_TRUE(computeLossBuckets(capture.latencyPoints, 10).isEmpty());
    EXPECT_EQ(computePercentiles(percentileValues(capture.latencyPoints)), std::nullopt);
}

TEST(AnalysisOfSmallCaptures, FourSamplesHaveNoPercentilesYet) {
    const CaptureSnapshot capture = makeCapture(4); // pings 10, 47, 84 and a TCP sample of 21
    EXPECT_EQ(realMedianRTT(capture), 47.0);
    EXPECT_EQ(computePercentiles(percentileValues(capture.latencyPoints)), std::nullopt);
    EXPECT_EQ(latencyYDomain(percentileValues(capture.latencyPoints)), (ClosedRange{0, 100}));
    EXPECT_EQ(quality(capture), QualityRating::excellent);
}

TEST(AnalysisOfSmallCaptures, FiveSamplesHavePercentiles) {
    const CaptureSnapshot capture = makeCapture(5); // pings 10, 47, 84, 58 and a TCP sample of 21
    EXPECT_EQ(realMedianRTT(capture), 52.5);
    EXPECT_EQ(computePercentiles(percentileValues(capture.latencyPoints)), (Percentiles{47, 58, 58}));
    EXPECT_EQ(latencyYDomain(percentileValues(capture.latencyPoints)), (ClosedRange{0, 87}));
    EXPECT_EQ(quality(capture), QualityRating::good);
}

TEST(AnalysisOfLargeCaptures, HundredThousandPointsGiveTheExpectedShape) {
    const CaptureSnapshot capture = makeCapture(100'000);
    // One sample in fifty is lost, at i % 50 == 7; of those, i % 4 == 3 (a TCP sample) every other
    // time, so 1,000 of the 75,000 pings are lost.
    EXPECT_DOUBLE_EQ(*realLossPct(capture), 1000.0 / 75000.0 * 100);
    // Every 10-second bucket holds 100 samples, two of them lost.
    const QList<LossBucket> buckets = computeLossBuckets(capture.latencyPoints, 10);
    EXPECT_EQ(buckets.size(), 1000);
    EXPECT_TRUE(std::all_of(buckets.cbegin(), buckets.cend(),
                            [](const LossBucket& b) { return b.lossRate == 0.02; }));
    EXPECT_EQ(chartTimeSpan(capture.latencyPoints).visibleSeconds, 300);
    EXPECT_TRUE(traceroutePathChanged(capture.traceroutePoints));
    EXPECT_EQ(videoFigures(capture).size(), 2);
}
