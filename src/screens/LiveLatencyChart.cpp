#include "screens/LiveLatencyChart.h"

#include "capture/SharedFigures.h"
#include "screens/ProbeColors.h"
#include "screens/ResultsPalette.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace LiveLatencyChart {

namespace {

// The slot of a probe type among the frame's dot series; the unknown types share the last one.
qsizetype seriesIndex(const QStringList& knownTypes, const QString& probeType) {
    const qsizetype index = knownTypes.indexOf(probeType);
    return index < 0 ? knownTypes.size() : index;
}

} // namespace

QString title() {
    return u"Live Latency"_s;
}

QString unit() {
    return u"ms"_s;
}

QString waitingText() {
    return u"Waiting for first measurements..."_s;
}

QString collectingText() {
    return u"Collecting data..."_s;
}

RgbColor lossColor() {
    return ResultsPalette::lossColor();
}

RgbColor speedTestBandColor() {
    return ResultsPalette::speedTestColor();
}

RgbColor videoBandColor() {
    return {175, 82, 222};
}

QList<LegendEntry> legend() {
    QList<LegendEntry> entries;
    for (const QString& type : ProbeColors::knownProbeTypes())
        entries.append({ProbeColors::probeLabel(type), Mark::dot, ProbeColors::probeColor(type)});
    entries.append({u"Loss"_s, Mark::cross, lossColor()});
    entries.append({u"Speed Test"_s, Mark::bar, speedTestBandColor()});
    entries.append({u"Video"_s, Mark::bar, videoBandColor()});
    return entries;
}

std::span<const LatencyPoint> window(const QList<LatencyPoint>& points) {
    const qsizetype count = std::min(points.size(), windowSize);
    return std::span<const LatencyPoint>(points.constData() + (points.size() - count), size_t(count));
}

ClosedRange liveLatencyYDomain(std::span<const LatencyPoint> window) {
    std::vector<double> values;
    values.reserve(window.size());
    for (const LatencyPoint& point : window) {
        if (point.rttMs)
            values.push_back(*point.rttMs);
    }
    if (values.size() < 5)
        return {0, 100};
    // Only the one rank is needed: a selection puts it where a full sort would.
    const size_t last = values.size() - 1;
    const size_t index = std::min(last, static_cast<size_t>(double(last) * 0.99));
    std::nth_element(values.begin(), values.begin() + qsizetype(index), values.end());
    return {0, std::max(values[index] * 1.5, 10.0)};
}

double yTickInterval(const ClosedRange& yDomain) {
    const double span = yDomain.upperBound - yDomain.lowerBound;
    if (!(span > 0) || !std::isfinite(span))
        return 1;
    const double rough = span / 5;
    const double magnitude = std::pow(10.0, std::floor(std::log10(rough)));
    const double scaled = rough / magnitude;
    const double factor = scaled <= 1 ? 1 : scaled <= 2 ? 2 : scaled <= 5 ? 5 : 10;
    return factor * magnitude;
}

std::optional<ClosedRange> xDomain(std::span<const LatencyPoint> window) {
    if (window.empty())
        return std::nullopt;
    // Samples of different probes may arrive a little out of time order.
    qint64 earliest = window.front().date.toMSecsSinceEpoch();
    qint64 latest = earliest;
    for (const LatencyPoint& point : window) {
        const qint64 ms = point.date.toMSecsSinceEpoch();
        earliest = std::min(earliest, ms);
        latest = std::max(latest, ms);
    }
    return ClosedRange{double(earliest), std::max(double(latest), double(earliest) + shortestSpanMs)};
}

ClosedRange withEdgeRoom(const ClosedRange& samplesSpan) {
    const double room = (samplesSpan.upperBound - samplesSpan.lowerBound) * edgeRoom;
    return {samplesSpan.lowerBound - room, samplesSpan.upperBound + room};
}

QList<Band> bands(const QList<SpeedTestRange>& ranges, BandKind kind, const ClosedRange& xDomain,
                  const QDateTime& now) {
    std::vector<std::pair<double, double>> spans;
    for (const SpeedTestRange& range : ranges) {
        const double start = double(range.start.toMSecsSinceEpoch());
        const double end = double(range.end.value_or(now).toMSecsSinceEpoch());
        if (end < start || start > xDomain.upperBound || end < xDomain.lowerBound)
            continue;
        spans.emplace_back(std::max(start, xDomain.lowerBound), std::min(end, xDomain.upperBound));
    }
    std::sort(spans.begin(), spans.end());

    // Overlapping bands of one kind are drawn as one, so that their overlap isn't painted twice as dark.
    QList<Band> result;
    for (const auto& [start, end] : spans) {
        if (!result.isEmpty() && start <= result.last().endMs)
            result.last().endMs = std::max(result.last().endMs, end);
        else
            result.append({kind, start, end});
    }
    return result;
}

Frame frame(const QList<LatencyPoint>& latencyPoints, const QList<SpeedTestRange>& speedTestRanges,
            const QList<SpeedTestRange>& videoStreamingRanges, double elapsedSec, const QDateTime& now) {
    Frame result;
    const std::span<const LatencyPoint> shown = window(latencyPoints);
    if (qsizetype(shown.size()) < minimumPoints) {
        result.placeholderText = elapsedSec != 0 ? collectingText() : waitingText();
        return result;
    }

    result.drawn = true;
    result.xDomain = withEdgeRoom(*xDomain(shown));
    result.timeLabels = TimeAxisTicks::ticks(result.xDomain, timeLabelIntervals);
    result.yDomain = liveLatencyYDomain(shown);

    const QStringList knownTypes = ProbeColors::knownProbeTypes();
    for (const QString& type : knownTypes)
        result.dots.append({type, ProbeColors::probeColor(type), {}});
    result.dots.append({QString(), ProbeColors::probeColor(QString()), {}});
    for (DotSeries& series : result.dots)
        series.points.reserve(qsizetype(shown.size()));

    const double lossY = result.yDomain.upperBound * lossMarkHeight;
    for (const LatencyPoint& point : shown) {
        const double x = double(point.date.toMSecsSinceEpoch());
        if (point.rttMs)
            result.dots[seriesIndex(knownTypes, point.probeType)].points.append({x, *point.rttMs});
        if (point.loss)
            result.losses.append({x, lossY});
    }

    result.bands = bands(speedTestRanges, BandKind::speedTest, result.xDomain, now);
    result.bands += bands(videoStreamingRanges, BandKind::video, result.xDomain, now);
    return result;
}

double rebuildDelaySeconds(const std::optional<QDateTime>& lastRebuild, const QDateTime& now) {
    if (!lastRebuild)
        return 0;
    const double since = double(lastRebuild->msecsTo(now)) / 1000.0;
    // A clock that went back (a suspended machine, a changed time) doesn't hold the chart up.
    if (since < 0 || since >= rebuildIntervalSeconds)
        return 0;
    return rebuildIntervalSeconds - since;
}

QString spokenSummary(std::span<const LatencyPoint> window) {
    QList<double> rtts;
    qsizetype lost = 0;
    for (const LatencyPoint& point : window) {
        if (point.rttMs)
            rtts.append(*point.rttMs);
        if (point.loss)
            ++lost;
    }
    auto wholeMs = [](double value) { return QString::number(qint64(value)) + u" ms"_s; };
    QStringList parts{window.size() == 1 ? u"1 sample"_s : u"%1 samples"_s.arg(window.size())};
    if (!rtts.isEmpty())
        parts.append(u"latest "_s + wholeMs(rtts.last()));
    if (const std::optional<double> middle = median(rtts))
        parts.append(u"median "_s + wholeMs(*middle));
    if (lost > 0)
        parts.append(u"%1 lost"_s.arg(lost));
    return parts.join(u", "_s);
}

} // namespace LiveLatencyChart
