#include "ResultsDnsQuicChart.h"

#include "base/NumberText.h"
#include "capture/SharedFigures.h"
#include "screens/ProbeColors.h"
#include "screens/ResultsSeriesThinning.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace ResultsDnsQuicChart {

QString title() {
    return u"DNS & QUIC"_s;
}

bool hasData(const QList<LatencyPoint>& latencyPoints) {
    return std::any_of(latencyPoints.cbegin(), latencyPoints.cend(), [](const LatencyPoint& point) {
        return point.rttMs && (point.probeType == u"dns"_s || point.probeType == u"quic"_s);
    });
}

Model model(const QList<LatencyPoint>& latencyPoints) {
    Model result;
    result.title = title();
    result.xAxisTitle = u"Time"_s;
    result.yAxisTitle = u"ms"_s;

    const std::pair<QString, QString> kinds[] = {{u"DNS"_s, u"dns"_s}, {u"QUIC"_s, u"quic"_s}};
    QList<double> allValues;
    double first = std::numeric_limits<double>::infinity();
    double last = -std::numeric_limits<double>::infinity();
    for (const auto& [label, probeType] : kinds) {
        Series series{label, probeType, ProbeColors::probeColor(probeType), {}};
        QList<double> values;
        QList<QPointF> points;
        for (const LatencyPoint& point : latencyPoints) {
            if (point.probeType != probeType || !point.rttMs)
                continue;
            values.append(*point.rttMs);
            points.append(QPointF(double(point.date.toMSecsSinceEpoch()), *point.rttMs));
        }
        if (const std::optional<double> middle = median(values))
            result.medianTexts.append(label + u": "_s + NumberText::wholePart(*middle) + u" ms"_s);
        ResultsSeriesThinning::sortByX(points);
        if (!points.isEmpty()) {
            first = std::min(first, points.first().x());
            last = std::max(last, points.last().x());
        }
        series.points = ResultsSeriesThinning::thin(points);
        allValues.append(values);
        result.series.append(series);
    }
    if (first <= last)
        result.xDomain = {first, last};
    result.yDomain = ResultsAnalysis::latencyYDomain(allValues);
    return result;
}

} // namespace ResultsDnsQuicChart
