#include "ResultsTracerouteChart.h"

#include "base/NumberText.h"
#include "capture/ResultsCharts.h"
#include "screens/ResultsPalette.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ResultsTracerouteChart {

namespace {

int hopCount(const TraceroutePoint& point) {
    return point.hopCount > 0 ? point.hopCount : int(point.hops.size());
}

QString hopsText(int count) {
    return QString::number(count) + u" hops"_s;
}

} // namespace

QString title() {
    return u"Traceroute"_s;
}

bool reachedHops(const TraceroutePoint& point) {
    return point.hopCount > 0 || !point.hops.isEmpty();
}

bool hasData(const QList<TraceroutePoint>& points) {
    return std::any_of(points.cbegin(), points.cend(), reachedHops);
}

Model model(const QList<TraceroutePoint>& points) {
    Model result;
    result.title = title();
    result.bottleneckColor = ResultsPalette::bottleneckColor();

    const TraceroutePoint* lastReached = nullptr;
    qsizetype reachedCount = 0;
    for (const TraceroutePoint& point : points) {
        if (reachedHops(point)) {
            lastReached = &point;
            ++reachedCount;
        }
    }
    if (lastReached)
        result.hopCountText = hopsText(hopCount(*lastReached));
    if (reachedCount >= 2) {
        result.pathChanged = ResultsAnalysis::traceroutePathChanged(points);
        result.pathText = result.pathChanged ? u"path changed"_s : u"stable path"_s;
    }

    if (points.isEmpty() || points.last().hops.isEmpty()) {
        result.unavailableText = u"Hop detail not available"_s;
        return result;
    }
    const TraceroutePoint& last = points.last();
    result.routeText = hopsText(hopCount(last)) + u" to "_s + last.target;

    const QList<HopDetail> hops = ResultsAnalysis::computeMedianHops(points);
    const std::optional<qsizetype> bottleneck = ResultsAnalysis::tracerouteBottleneckIndex(hops);
    double whole = 0;
    for (const HopDetail& hop : hops)
        whole = std::max(whole, hop.rttMs.value_or(0));
    for (qsizetype i = 0; i < hops.size(); ++i) {
        const HopDetail& hop = hops[i];
        HopRow row;
        row.hopText = QString::number(hop.hop);
        row.address = hop.ip.isEmpty() ? u"*"_s : hop.ip;
        if (hop.rttMs) {
            row.rttText = NumberText::wholePart(*hop.rttMs) + u"ms"_s;
            if (whole > 0) {
                const double end = std::clamp(*hop.rttMs / whole, 0.0, 1.0);
                const double length = std::clamp(hop.deltaMs.value_or(0) / whole, 0.0, end);
                row.barStart = end - length;
                row.barLength = length;
            }
        }
        if (hop.deltaMs)
            row.deltaText = u'+' + NumberText::wholePart(*hop.deltaMs) + u"ms"_s;
        row.bottleneck = bottleneck == i;
        result.rows.append(row);
    }
    return result;
}

} // namespace ResultsTracerouteChart
