#include "screens/LiveLatencyChart.h"

#include <algorithm>
#include <cmath>
#include <vector>

using namespace Qt::StringLiterals;

namespace LiveLatencyChart {

namespace {

// Colours are given as sRGB fractions; the nearest 8-bit value of each channel is what gets drawn.
RgbColor fromUnit(double red, double green, double blue) {
    return {int(std::lround(red * 255)), int(std::lround(green * 255)), int(std::lround(blue * 255))};
}

struct ProbeStyle {
    QString type;
    QString legendLabel;
    RgbColor color;
};

const QList<ProbeStyle>& probeStyles() {
    static const QList<ProbeStyle> styles = {
        {u"ping"_s, u"ICMP"_s, fromUnit(0.231, 0.510, 0.965)},
        {u"udp"_s, u"UDP"_s, fromUnit(0.976, 0.451, 0.086)},
        {u"tcp"_s, u"TCP"_s, fromUnit(0.063, 0.725, 0.506)},
        {u"http"_s, u"HTTP"_s, fromUnit(0.545, 0.361, 0.965)},
        {u"dns"_s, u"DNS"_s, fromUnit(0.925, 0.282, 0.600)},
        {u"quic"_s, u"QUIC"_s, fromUnit(0.024, 0.714, 0.831)},
    };
    return styles;
}

constexpr RgbColor otherProbeColor{142, 142, 147};

qsizetype styleIndex(const QString& probeType) {
    const QList<ProbeStyle>& styles = probeStyles();
    for (qsizetype i = 0; i < styles.size(); ++i) {
        if (styles[i].type == probeType)
            return i;
    }
    return styles.size(); // the slot of the unknown types
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

RgbColor probeColor(const QString& probeType) {
    const qsizetype index = styleIndex(probeType);
    return index < probeStyles().size() ? probeStyles()[index].color : otherProbeColor;
}

RgbColor lossColor() {
    return {255, 59, 48};
}

RgbColor speedTestBandColor() {
    return {245, 158, 11};
}

RgbColor videoBandColor() {
    return {175, 82, 222};
}

QList<QString> knownProbeTypes() {
    QList<QString> types;
    for (const ProbeStyle& style : probeStyles())
        types.append(style.type);
    return types;
}

QList<LegendEntry> legend() {
    QList<LegendEntry> entries;
    for (const ProbeStyle& style : probeStyles())
        entries.append({style.legendLabel, Mark::dot, style.color});
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
    result.xDomain = *xDomain(shown);
    result.yDomain = liveLatencyYDomain(shown);

    const QList<ProbeStyle>& styles = probeStyles();
    for (const ProbeStyle& style : styles)
        result.dots.append({style.type, style.color, {}});
    result.dots.append({QString(), otherProbeColor, {}});
    for (DotSeries& series : result.dots)
        series.points.reserve(qsizetype(shown.size()));

    const double lossY = result.yDomain.upperBound * lossMarkHeight;
    for (const LatencyPoint& point : shown) {
        const double x = double(point.date.toMSecsSinceEpoch());
        if (point.rttMs)
            result.dots[styleIndex(point.probeType)].points.append({x, *point.rttMs});
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

} // namespace LiveLatencyChart
