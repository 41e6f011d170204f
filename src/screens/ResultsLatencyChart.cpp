#include "screens/ResultsLatencyChart.h"

#include "base/NumberText.h"
#include "screens/ProbeColors.h"

#include <QDateTime>
#include <QHash>

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

using namespace Qt::StringLiterals;

namespace ResultsLatencyChart {

namespace {

// The bands that touch the window, cut to it. The bands are in time order and don't overlap, so both
// their starts and their ends rise: a binary search finds the first one.
void appendBandsIn(const QList<Band>& bands, const ClosedRange& window, QList<Band>& out) {
    auto it = std::lower_bound(bands.cbegin(), bands.cend(), window.lowerBound,
                               [](const Band& band, double from) { return band.endMs < from; });
    for (; it != bands.cend() && it->startMs <= window.upperBound; ++it) {
        Band cut = *it;
        cut.startMs = std::max(cut.startMs, window.lowerBound);
        cut.endMs = std::min(cut.endMs, window.upperBound);
        out.append(cut);
    }
}

} // namespace

QString title() {
    return u"Latency Timeline"_s;
}

QString timeAxisTitle() {
    return u"Time"_s;
}

QString rttAxisTitle() {
    return u"RTT"_s;
}

QString unit() {
    return u"ms"_s;
}

QString lossKey() {
    return u"loss"_s;
}

QString speedTestKey() {
    return u"speedtest"_s;
}

std::optional<QString> percentileText(const std::optional<Percentiles>& percentiles) {
    if (!percentiles)
        return std::nullopt;
    using NumberText::wholePart;
    return u"P50: "_s + wholePart(percentiles->p50) + u"ms | P95: "_s + wholePart(percentiles->p95) +
           u"ms | P99: "_s + wholePart(percentiles->p99) + u"ms"_s;
}

double lossBandOpacity(double lossRate) {
    // Behind the points, so that a bucket of total loss still lets them show through.
    return 0.05 + 0.25 * std::clamp(lossRate, 0.0, 1.0);
}

QList<LegendItem> legend(const QStringList& probeTypes, const QSet<QString>& hidden) {
    QList<LegendItem> items;
    for (const ResultsPalette::LegendEntry& entry : ResultsPalette::latencyLegend(probeTypes)) {
        const bool off = hidden.contains(entry.key);
        items.append({entry, off, off ? hiddenLegendOpacity : 1.0});
    }
    return items;
}

QSet<QString> toggled(QSet<QString> hidden, const QString& key) {
    if (!hidden.remove(key))
        hidden.insert(key);
    return hidden;
}

QList<double> ruleLabelTops(const QList<double>& ruleYs, double labelHeight, double gap, double bottom) {
    std::vector<qsizetype> order(size_t(ruleYs.size()));
    std::iota(order.begin(), order.end(), 0);
    // From the top down; of rules at one height the later (the higher percentile) goes on top.
    std::sort(order.begin(), order.end(), [&](qsizetype a, qsizetype b) {
        return ruleYs[a] < ruleYs[b] || (ruleYs[a] == ruleYs[b] && a > b);
    });
    QList<double> tops(ruleYs.size());
    for (size_t i = 0; i < order.size(); ++i) {
        const double wanted = ruleYs[order[i]] - labelHeight - gap;
        tops[order[i]] = i == 0 ? wanted : std::max(wanted, tops[order[i - 1]] + labelHeight + gap);
    }
    for (size_t i = order.size(); i-- > 0;) {
        const double limit =
            i + 1 == order.size() ? bottom - labelHeight : tops[order[i + 1]] - labelHeight - gap;
        tops[order[i]] = std::min(tops[order[i]], limit);
    }
    return tops;
}

Timeline::Timeline(const QList<LatencyPoint>& points, const QList<SpeedTestRange>& speedTestRanges) {
    if (points.isEmpty())
        return;
    const QList<double> values = ResultsAnalysis::percentileValues(points);
    m_percentiles = ResultsAnalysis::computePercentiles(values);
    m_yDomain = ResultsAnalysis::latencyYDomain(values);
    m_span = ResultsAnalysis::chartTimeSpan(points);

    // The protocols that have a colour first, in legend order, so that their colours stack the same
    // way in every capture.
    const QStringList known = ProbeColors::knownProbeTypes();
    QHash<QString, int> seriesOf;
    QStringList appearance;
    m_samples.reserve(size_t(points.size()));
    const QString* lastType = nullptr;
    int lastSeries = -1;
    for (const LatencyPoint& point : points) {
        if (!point.loss && !point.rttMs)
            continue; // neither a round trip nor a loss: nothing to draw
        Sample sample;
        sample.ms = double(point.date.toMSecsSinceEpoch());
        if (!point.loss) {
            // Runs of one type are common: the last lookup is kept.
            if (!lastType || *lastType != point.probeType) {
                auto it = seriesOf.constFind(point.probeType);
                if (it == seriesOf.cend()) {
                    it = seriesOf.insert(point.probeType, int(appearance.size()));
                    appearance.append(point.probeType);
                }
                lastType = &point.probeType;
                lastSeries = *it;
            }
            sample.series = lastSeries;
            sample.rttMs = *point.rttMs;
        }
        m_samples.push_back(sample);
    }

    // Series numbers of first appearance, renumbered into the display order.
    for (const QString& type : std::as_const(known)) {
        if (seriesOf.contains(type))
            m_probeTypes.append(type);
    }
    for (const QString& type : std::as_const(appearance)) {
        if (!known.contains(type))
            m_probeTypes.append(type);
    }
    std::vector<int> renumber(size_t(appearance.size()));
    for (qsizetype i = 0; i < appearance.size(); ++i)
        renumber[size_t(i)] = int(m_probeTypes.indexOf(appearance[i]));
    for (Sample& sample : m_samples) {
        if (sample.series >= 0)
            sample.series = renumber[size_t(sample.series)];
    }

    // Probes of different kinds may be written a little out of time order; a capture in order, the
    // usual case, costs one check.
    const auto earlier = [](const Sample& a, const Sample& b) { return a.ms < b.ms; };
    if (!std::is_sorted(m_samples.cbegin(), m_samples.cend(), earlier))
        std::stable_sort(m_samples.begin(), m_samples.end(), earlier);
    m_startMs = m_samples.empty() ? double(points.first().date.toMSecsSinceEpoch()) : m_samples.front().ms;

    // Speed tests: a test still open at the end reaches the last sample.
    const double lastMs = m_samples.empty() ? m_startMs : m_samples.back().ms;
    std::vector<std::pair<double, double>> tests;
    for (const SpeedTestRange& range : speedTestRanges) {
        const double from = double(range.start.toMSecsSinceEpoch());
        const double to = range.end ? double(range.end->toMSecsSinceEpoch()) : std::max(lastMs, from);
        if (to >= from)
            tests.emplace_back(from, to);
    }
    std::sort(tests.begin(), tests.end());
    const RgbColor amber = ResultsPalette::speedTestColor();
    for (const auto& [from, to] : tests) {
        // Overlapping tests are one band, so that the overlap isn't painted twice as dark.
        if (!m_speedTestBands.isEmpty() && from <= m_speedTestBands.last().endMs)
            m_speedTestBands.last().endMs = std::max(m_speedTestBands.last().endMs, to);
        else
            m_speedTestBands.append({speedTestKey(), from, to, amber, speedTestBandOpacity});
    }

    const RgbColor red = ResultsPalette::lossColor();
    const QList<LossBucket> buckets = ResultsAnalysis::computeLossBuckets(points, lossBucketSeconds);
    m_lossBands.reserve(buckets.size());
    for (const LossBucket& bucket : buckets)
        m_lossBands.append({lossKey(), double(bucket.start.toMSecsSinceEpoch()),
                            double(bucket.end.toMSecsSinceEpoch()), red, lossBandOpacity(bucket.lossRate)});
}

double Timeline::scrollRangeSeconds() const {
    return std::max(0.0, m_span.totalSeconds - m_span.visibleSeconds);
}

ClosedRange Timeline::window(double scrollSeconds) const {
    const double offset =
        std::isfinite(scrollSeconds) ? std::clamp(scrollSeconds, 0.0, scrollRangeSeconds()) : 0.0;
    const double from = m_startMs + offset * 1000;
    return {from, from + m_span.visibleSeconds * 1000};
}

std::pair<size_t, size_t> Timeline::range(const ClosedRange& window) const {
    const auto first = std::lower_bound(m_samples.cbegin(), m_samples.cend(), window.lowerBound,
                                        [](const Sample& sample, double ms) { return sample.ms < ms; });
    const auto last = std::upper_bound(first, m_samples.cend(), window.upperBound,
                                       [](double ms, const Sample& sample) { return ms < sample.ms; });
    return {size_t(first - m_samples.cbegin()), size_t(last - m_samples.cbegin())};
}

qsizetype Timeline::sampleCount(const ClosedRange& window) const {
    const auto [first, last] = range(window);
    return qsizetype(last - first);
}

Frame Timeline::frame(double scrollSeconds, const QSet<QString>& hidden) const {
    return frame(window(scrollSeconds), hidden);
}

Frame Timeline::frame(const ClosedRange& window, const QSet<QString>& hidden) const {
    Frame result;
    result.xDomain = window;
    result.yDomain = m_yDomain;
    result.timeLabels = TimeAxisTicks::ticks(result.xDomain, timeLabelIntervals);

    if (!hidden.contains(speedTestKey()))
        appendBandsIn(m_speedTestBands, result.xDomain, result.bands);
    const bool lossShown = !hidden.contains(lossKey());
    if (lossShown)
        appendBandsIn(m_lossBands, result.xDomain, result.bands);

    if (m_percentiles) {
        result.rules = {
            {u"P50"_s, m_percentiles->p50}, {u"P95"_s, m_percentiles->p95}, {u"P99"_s, m_percentiles->p99}};
    }

    const auto [first, last] = range(result.xDomain);
    std::vector<bool> shown(size_t(m_probeTypes.size()));
    for (qsizetype i = 0; i < m_probeTypes.size(); ++i) {
        result.dots.append({m_probeTypes[i], ProbeColors::probeColor(m_probeTypes[i]), {}});
        shown[size_t(i)] = !hidden.contains(m_probeTypes[i]);
    }
    const double lossY = m_yDomain.upperBound * lossMarkHeight;
    for (size_t i = first; i < last; ++i) {
        const Sample& sample = m_samples[i];
        if (sample.series < 0) {
            if (lossShown)
                result.losses.append({sample.ms, lossY});
        } else if (shown[size_t(sample.series)]) {
            result.dots[sample.series].points.append({sample.ms, sample.rttMs});
        }
    }
    return result;
}

Frame thinnedToGrid(Frame frame, int columns, int rows) {
    if (columns <= 0 || rows <= 0)
        return frame;
    const double width = frame.xDomain.upperBound - frame.xDomain.lowerBound;
    const double height = frame.yDomain.upperBound - frame.yDomain.lowerBound;
    if (width <= 0 || height <= 0)
        return frame;
    std::vector<bool> taken;
    const auto thin = [&](QList<QPointF>& points) {
        taken.assign(size_t(columns) * size_t(rows), false);
        QList<QPointF> kept;
        for (const QPointF& point : std::as_const(points)) {
            const int column =
                std::clamp(int((point.x() - frame.xDomain.lowerBound) / width * columns), 0, columns - 1);
            const int row =
                std::clamp(int((point.y() - frame.yDomain.lowerBound) / height * rows), 0, rows - 1);
            const size_t cell = size_t(row) * size_t(columns) + size_t(column);
            if (!taken[cell]) {
                taken[cell] = true;
                kept.append(point);
            }
        }
        points = std::move(kept);
    };
    for (DotSeries& series : frame.dots)
        thin(series.points);
    thin(frame.losses);
    return frame;
}

} // namespace ResultsLatencyChart
