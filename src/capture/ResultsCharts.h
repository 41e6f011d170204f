#pragma once

#include "capture/CaptureSeries.h"

#include <QDateTime>
#include <QList>
#include <QSet>
#include <QString>
#include <QStringList>

#include <optional>

// A stretch of the latency chart with loss in it.
struct LossBucket {
    QDateTime start;
    QDateTime end;
    double lossRate = 0; // 0 to 1
    friend bool operator==(const LossBucket&, const LossBucket&) = default;
};

// How much time a chart covers, and how much of it shows at once.
struct TimeSpan {
    double totalSeconds = 0;
    double visibleSeconds = 0;
    friend bool operator==(const TimeSpan&, const TimeSpan&) = default;
};

// Nearest-rank percentiles of the latency samples.
struct Percentiles {
    double p50 = 0;
    double p95 = 0;
    double p99 = 0;
    friend bool operator==(const Percentiles&, const Percentiles&) = default;
};

// A closed range of a chart's axis.
struct ClosedRange {
    double lowerBound = 0;
    double upperBound = 0;
    friend bool operator==(const ClosedRange&, const ClosedRange&) = default;
};

// One row of the loss strip: a protocol with its loss buckets, or a protocol whose every target was
// blocked, which is shown as such and has no buckets.
struct LossStripRow {
    QString probeType;
    bool blocked = false;
    QList<LossBucket> buckets;
    friend bool operator==(const LossStripRow&, const LossStripRow&) = default;
};

struct LossStrip {
    QList<LossStripRow> rows;   // the normal protocols first, then the blocked ones
    QStringList blockedTargets; // probe keys, sorted
    friend bool operator==(const LossStrip&, const LossStrip&) = default;
};

// The derived series of the results charts. Each function is one pass over its list, or a selection
// or a sort of it; none compares every point with every other.
namespace ResultsAnalysis {

// The values behind the percentiles: the round trips of all samples, of every probe type, that
// answered.
QList<double> percentileValues(const QList<LatencyPoint>& points);
// Nothing under 5 values; otherwise the nearest rank below at 50, 95 and 99%.
std::optional<Percentiles> computePercentiles(const QList<double>& values);
// Interpolated percentile of an ascending list, for box plots: 0 for an empty list.
double percentile(const QList<double>& sorted, double fraction);

// Buckets of `bucketSeconds` from the first point's date, kept only when they hold a lost sample.
QList<LossBucket> computeLossBuckets(const QList<LatencyPoint>& points, double bucketSeconds);

TimeSpan chartTimeSpan(const QList<LatencyPoint>& points);
TimeSpan chartTimeSpanFromDates(const QList<QDateTime>& dates);

// 0 up to one and a half times P99 (at least 10), so one outlier can't flatten the chart.
ClosedRange latencyYDomain(const QList<double>& values);
ClosedRange rssiYDomain(const QList<RSSIPoint>& points);

// A protocol is blocked only if every one of its targets is.
bool isProtocolBlocked(const QString& probeType, const QList<LatencyPoint>& points,
                       const QSet<QString>& blockedTargets);
// The order of the loss strip's rows; other probe types follow in the order they first appear.
QStringList lossStripProtocolOrder();
LossStrip lossStrip(const QList<LatencyPoint>& points);

// The observed traffic without what the tool's own speed tests caused: points inside a range (bounds
// included, an open range reaching into the future) are left out.
QList<ObservedThroughputPoint> filteredObservedPoints(const QList<ObservedThroughputPoint>& points,
                                                      const QList<SpeedTestRange>& speedTestRanges);

// The waterfall's hops: the last traceroute's hops with the median round trip of each hop number
// over all traceroutes, and the time each hop adds.
QList<HopDetail> computeMedianHops(const QList<TraceroutePoint>& points);
bool traceroutePathChanged(const QList<TraceroutePoint>& points);
// The hop that adds more than a fifth of the whole path's time, if any.
std::optional<qsizetype> tracerouteBottleneckIndex(const QList<HopDetail>& hops);

} // namespace ResultsAnalysis
