#include "capture/ResultsCharts.h"

#include "capture/BlockedTargets.h"
#include "capture/SharedFigures.h"

#include <QHash>

#include <algorithm>
#include <cmath>
#include <limits>
#include <utility>
#include <vector>

using namespace Qt::StringLiterals;

namespace ResultsAnalysis {

namespace {

constexpr double defaultSpanSeconds = 300;
constexpr double shortestSpanSeconds = 10;
constexpr double lossStripBucketSeconds = 10;

// Nearest rank below for a fraction, capped at the last index.
size_t rankIndex(size_t count, double fraction) {
    return std::min(static_cast<size_t>(double(count - 1) * fraction), count - 1);
}

TimeSpan timeSpanOf(const QDateTime& first, const QDateTime& last) {
    const double total = std::max(first.msecsTo(last) / 1000.0, shortestSpanSeconds);
    return {total, std::min(total, defaultSpanSeconds)};
}

// The loss buckets of the points in list order; the pointers let the loss strip bucket one protocol's
// points without copying them out.
QList<LossBucket> lossBucketsOf(const std::vector<const LatencyPoint*>& points, double bucketSeconds) {
    // Dates carry milliseconds, so buckets are counted in whole milliseconds. A bucket of no length
    // would never move past the first one.
    const qint64 bucketMs = std::isfinite(bucketSeconds) ? std::llround(bucketSeconds * 1000) : 0;
    if (points.empty() || bucketMs <= 0)
        return {};
    const QDateTime start = points.front()->date;
    const qint64 spanMs = start.msecsTo(points.back()->date);
    // Buckets start at the first date and go on while they start before the last one.
    const qint64 bucketCount = spanMs > 0 ? spanMs / bucketMs + (spanMs % bucketMs != 0 ? 1 : 0) : 0;

    // Each point goes to its bucket by arithmetic, in one pass; the list needn't be in date order.
    struct Counts {
        qsizetype total = 0;
        qsizetype lost = 0;
    };
    QHash<qint64, Counts> buckets;
    for (const LatencyPoint* point : points) {
        const qint64 offset = start.msecsTo(point->date);
        if (offset < 0 || offset / bucketMs >= bucketCount)
            continue; // before the first bucket, or at or after the end of the last one
        Counts& counts = buckets[offset / bucketMs];
        ++counts.total;
        if (point->loss)
            ++counts.lost;
    }

    std::vector<std::pair<qint64, double>> lossy;
    for (auto it = buckets.cbegin(); it != buckets.cend(); ++it) {
        if (it->lost > 0)
            lossy.emplace_back(it.key(), double(it->lost) / double(it->total));
    }
    std::sort(lossy.begin(), lossy.end());

    QList<LossBucket> result;
    result.reserve(qsizetype(lossy.size()));
    for (const auto& [index, rate] : lossy) {
        const QDateTime bucketStart = start.addMSecs(index * bucketMs);
        result.append({bucketStart, bucketStart.addMSecs(bucketMs), rate});
    }
    return result;
}

} // namespace

QList<double> percentileValues(const QList<LatencyPoint>& points) {
    QList<double> values;
    values.reserve(points.size());
    for (const LatencyPoint& point : points) {
        if (point.rttMs && !point.loss)
            values.append(*point.rttMs);
    }
    return values;
}

std::optional<Percentiles> computePercentiles(const QList<double>& values) {
    // As in `median`, values that aren't finite are no measurement; they would also break the ordering
    // that the selection below relies on.
    std::vector<double> v;
    v.reserve(size_t(values.size()));
    for (const double value : values) {
        if (std::isfinite(value))
            v.push_back(value);
    }
    if (v.size() < 5)
        return std::nullopt;
    const size_t i50 = (v.size() - 1) / 2;
    const size_t i95 = rankIndex(v.size(), 0.95);
    const size_t i99 = rankIndex(v.size(), 0.99);
    // Three selections, each within the part left of the previous one: linear, where a sort isn't.
    const auto at = [&](size_t index) { return v.begin() + qsizetype(index); };
    std::nth_element(v.begin(), at(i99), v.end());
    if (i95 < i99)
        std::nth_element(v.begin(), at(i95), at(i99));
    if (i50 < i95)
        std::nth_element(v.begin(), at(i50), at(i95));
    return Percentiles{v[i50], v[i95], v[i99]};
}

double percentile(const QList<double>& sorted, double fraction) {
    if (sorted.isEmpty())
        return 0;
    if (sorted.size() == 1)
        return sorted.first();
    // Callers ask for quartiles; a fraction outside 0…1 (or NaN) would index outside the list, so it
    // is held to the ends.
    const double p = fraction > 1 ? 1.0 : (fraction >= 0 ? fraction : 0.0);
    const double rank = double(sorted.size() - 1) * p;
    const qsizetype i = static_cast<qsizetype>(rank);
    const double next = sorted.at(std::min(i + 1, sorted.size() - 1));
    return sorted.at(i) + (rank - double(i)) * (next - sorted.at(i));
}

QList<LossBucket> computeLossBuckets(const QList<LatencyPoint>& points, double bucketSeconds) {
    std::vector<const LatencyPoint*> all;
    all.reserve(size_t(points.size()));
    for (const LatencyPoint& point : points)
        all.push_back(&point);
    return lossBucketsOf(all, bucketSeconds);
}

TimeSpan chartTimeSpan(const QList<LatencyPoint>& points) {
    if (points.isEmpty())
        return {defaultSpanSeconds, defaultSpanSeconds};
    return timeSpanOf(points.first().date, points.last().date);
}

TimeSpan chartTimeSpanFromDates(const QList<QDateTime>& dates) {
    if (dates.isEmpty())
        return {defaultSpanSeconds, defaultSpanSeconds};
    return timeSpanOf(dates.first(), dates.last());
}

ClosedRange latencyYDomain(const QList<double>& values) {
    const std::optional<Percentiles> percentiles = computePercentiles(values);
    if (!percentiles)
        return {0, 100};
    return {0, std::max(percentiles->p99 * 1.5, 10.0)};
}

ClosedRange rssiYDomain(const QList<RSSIPoint>& points) {
    if (points.isEmpty())
        return {-90, -30};
    const auto [lowest, highest] =
        std::minmax_element(points.cbegin(), points.cend(),
                            [](const RSSIPoint& a, const RSSIPoint& b) { return a.rssi < b.rssi; });
    return {std::min(double(lowest->rssi) - 5, -80.0), std::max(double(highest->rssi) + 5, -30.0)};
}

bool isProtocolBlocked(const QString& probeType, const QList<LatencyPoint>& points,
                       const QSet<QString>& blockedTargets) {
    bool anyKey = false;
    for (const LatencyPoint& point : points) {
        if (point.probeType != probeType)
            continue;
        anyKey = true;
        if (!blockedTargets.contains(point.probeKey()))
            return false;
    }
    return anyKey;
}

QStringList lossStripProtocolOrder() {
    return {u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s};
}

LossStrip lossStrip(const QList<LatencyPoint>& points) {
    const QSet<QString> blocked = findBlockedTargets(points);

    // One pass: each protocol's points, and whether any of its targets is not blocked. Protocols in
    // the strip's order, then in order of appearance.
    struct Protocol {
        std::vector<const LatencyPoint*> points;
        bool anyTargetOpen = false;
    };
    QStringList appearance;
    QHash<QString, Protocol> byProtocol;
    for (const LatencyPoint& point : points) {
        auto it = byProtocol.find(point.probeType);
        if (it == byProtocol.end()) {
            it = byProtocol.insert(point.probeType, {});
            appearance.append(point.probeType);
        }
        const bool open = blocked.isEmpty() || !blocked.contains(point.probeKey());
        it->anyTargetOpen = it->anyTargetOpen || open;
        // A blocked target's steady losses would paint the whole row red: it is left out of the row.
        if (open)
            it->points.push_back(&point);
    }
    const QStringList stripOrder = lossStripProtocolOrder();
    QStringList ordered;
    for (const QString& known : stripOrder) {
        if (byProtocol.contains(known))
            ordered.append(known);
    }
    for (const QString& protocol : std::as_const(appearance)) {
        if (!stripOrder.contains(protocol))
            ordered.append(protocol);
    }

    LossStrip strip;
    QList<LossStripRow> blockedRows;
    for (const QString& protocol : std::as_const(ordered)) {
        const Protocol& own = byProtocol[protocol];
        // Blocked as a protocol exactly when every one of its targets is (isProtocolBlocked).
        if (!own.anyTargetOpen)
            blockedRows.append({protocol, true, {}});
        else
            strip.rows.append({protocol, false, lossBucketsOf(own.points, lossStripBucketSeconds)});
    }
    strip.rows.append(blockedRows);
    strip.blockedTargets = QStringList(blocked.cbegin(), blocked.cend());
    strip.blockedTargets.sort();
    return strip;
}

QList<ObservedThroughputPoint> filteredObservedPoints(const QList<ObservedThroughputPoint>& points,
                                                      const QList<SpeedTestRange>& speedTestRanges) {
    if (speedTestRanges.isEmpty())
        return points;
    // The ranges merged into disjoint closed intervals, so that each point needs one binary search.
    constexpr qint64 openEnd = std::numeric_limits<qint64>::max();
    std::vector<std::pair<qint64, qint64>> intervals;
    intervals.reserve(size_t(speedTestRanges.size()));
    for (const SpeedTestRange& range : speedTestRanges)
        intervals.emplace_back(range.start.toMSecsSinceEpoch(),
                               range.end ? range.end->toMSecsSinceEpoch() : openEnd);
    std::sort(intervals.begin(), intervals.end());
    std::vector<std::pair<qint64, qint64>> merged;
    for (const auto& interval : intervals) {
        if (!merged.empty() && interval.first <= merged.back().second)
            merged.back().second = std::max(merged.back().second, interval.second);
        else
            merged.push_back(interval);
    }

    QList<ObservedThroughputPoint> kept;
    kept.reserve(points.size());
    for (const ObservedThroughputPoint& point : points) {
        const qint64 at = point.date.toMSecsSinceEpoch();
        // The last interval that starts at or before the point is the only one that can hold it.
        auto it = std::upper_bound(merged.cbegin(), merged.cend(), at,
                                   [](qint64 value, const auto& interval) { return value < interval.first; });
        const bool inside = it != merged.cbegin() && at <= std::prev(it)->second;
        if (!inside)
            kept.append(point);
    }
    return kept;
}

QList<HopDetail> computeMedianHops(const QList<TraceroutePoint>& points) {
    if (points.isEmpty())
        return {};
    QHash<int, QList<double>> collected;
    for (const TraceroutePoint& point : points) {
        for (const HopDetail& hop : point.hops) {
            if (hop.rttMs)
                collected[hop.hop].append(*hop.rttMs);
        }
    }

    QList<HopDetail> hops = points.last().hops;
    for (HopDetail& hop : hops) {
        const auto it = collected.constFind(hop.hop);
        if (it != collected.cend())
            hop.rttMs = median(*it);
        hop.deltaMs.reset();
    }
    // The time each hop adds: its own round trip for the first, else the difference to the hop
    // before, or its whole round trip when that one has none; never negative.
    for (qsizetype i = 0; i < hops.size(); ++i) {
        HopDetail& hop = hops[i];
        if (!hop.rttMs)
            continue;
        const std::optional<double> before = i > 0 ? hops.at(i - 1).rttMs : std::nullopt;
        hop.deltaMs = std::max(before ? *hop.rttMs - *before : *hop.rttMs, 0.0);
    }
    return hops;
}

bool traceroutePathChanged(const QList<TraceroutePoint>& points) {
    const TraceroutePoint* first = nullptr;
    for (const TraceroutePoint& point : points) {
        if (point.hops.isEmpty())
            continue;
        if (!first) {
            first = &point;
            continue;
        }
        if (point.hops.size() != first->hops.size())
            return true;
        for (qsizetype i = 0; i < point.hops.size(); ++i) {
            if (point.hops.at(i).ip != first->hops.at(i).ip)
                return true;
        }
    }
    return false;
}

std::optional<qsizetype> tracerouteBottleneckIndex(const QList<HopDetail>& hops) {
    if (hops.size() < 2)
        return std::nullopt;
    std::optional<qsizetype> largest;
    for (qsizetype i = 0; i < hops.size(); ++i) {
        const std::optional<double> delta = hops.at(i).deltaMs;
        if (delta && *delta > 0 && (!largest || *delta > *hops.at(*largest).deltaMs))
            largest = i;
    }
    if (!largest)
        return std::nullopt;
    const std::optional<double> whole = hops.last().rttMs;
    if (!whole || !(*whole > 0))
        return std::nullopt;
    if (*hops.at(*largest).deltaMs / *whole <= 0.2)
        return std::nullopt;
    return largest;
}

} // namespace ResultsAnalysis
