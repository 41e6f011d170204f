#include "ResultsSignalChart.h"

#include "screens/ResultsPalette.h"
#include "screens/ResultsSeriesThinning.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ResultsSignalChart {

QString title() {
    return u"Signal Strength"_s;
}

QList<Threshold> thresholds() {
    return {{u"Good"_s, -50, ResultsPalette::downloadColor(), thresholdOpacity},
            {u"Fair"_s, -67, RgbColor{245, 158, 11}, thresholdOpacity},
            {u"Poor"_s, -70, ResultsPalette::lossColor(), thresholdOpacity}};
}

bool hasData(const QList<RSSIPoint>& rssiHistory) {
    return rssiHistory.size() >= minimumPoints;
}

Model model(const QList<RSSIPoint>& rssiHistory) {
    Model result;
    result.title = title();
    result.xAxisTitle = u"Time"_s;
    result.yAxisTitle = u"RSSI"_s;
    result.unit = u"dBm"_s;
    result.thresholds = thresholds();
    result.yDomain = ResultsAnalysis::rssiYDomain(rssiHistory);
    QList<QDateTime> dates;
    dates.reserve(rssiHistory.size());
    result.points.reserve(rssiHistory.size());
    for (const RSSIPoint& point : rssiHistory) {
        dates.append(point.date);
        result.points.append(QPointF(double(point.date.toMSecsSinceEpoch()), point.rssi));
    }
    result.timeSpan = ResultsAnalysis::chartTimeSpanFromDates(dates);
    if (!rssiHistory.isEmpty()) {
        result.latestText = QString::number(rssiHistory.last().rssi) + u" dBm"_s;
        const double start = double(rssiHistory.first().date.toMSecsSinceEpoch());
        result.xDomain = {start, start + result.timeSpan.totalSeconds * 1000};
    }
    ResultsSeriesThinning::sortByX(result.points);
    return result;
}

ClosedRange windowAt(const Model& model, double startMs) {
    const double length = model.timeSpan.visibleSeconds * 1000;
    const double latestStart = std::max(model.xDomain.lowerBound, model.xDomain.upperBound - length);
    const double start = std::clamp(startMs, model.xDomain.lowerBound, latestStart);
    return {start, start + length};
}

ClosedRange initialWindow(const Model& model) {
    return windowAt(model, model.xDomain.upperBound);
}

QList<QPointF> visiblePoints(const Model& model, const ClosedRange& window) {
    return ResultsSeriesThinning::visible(model.points, window);
}

} // namespace ResultsSignalChart
