#include "ResultsUtilizationChart.h"

#include "base/NumberText.h"
#include "screens/ResultsPalette.h"
#include "screens/ResultsSeriesThinning.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ResultsUtilizationChart {

bool hasData(const QList<ObservedThroughputPoint>& observed) {
    return observed.size() >= minimumPoints;
}

Model model(const QList<ObservedThroughputPoint>& observed, Direction direction) {
    const bool download = direction == Direction::download;
    Model result;
    result.title = download ? u"Download"_s : u"Upload"_s;
    result.color = download ? ResultsPalette::downloadColor() : ResultsPalette::uploadColor();
    result.xAxisTitle = u"Time"_s;
    result.yAxisTitle = u"Mbps"_s;

    QList<QPointF> points;
    points.reserve(observed.size());
    double sum = 0;
    double top = 0;
    for (const ObservedThroughputPoint& point : observed) {
        const double mbps = download ? point.dlMbps : point.ulMbps;
        sum += mbps;
        top = std::max(top, mbps);
        points.append(QPointF(double(point.date.toMSecsSinceEpoch()), mbps));
    }
    const double mean = observed.isEmpty() ? 0 : sum / double(observed.size());
    result.averageText = u"Avg: "_s + NumberText::wholePart(mean) + u" Mbps"_s;
    ResultsSeriesThinning::sortByX(points);
    if (!points.isEmpty())
        result.xDomain = {points.first().x(), points.last().x()};
    result.yDomain = {0, top};
    result.points = ResultsSeriesThinning::thin(points);
    return result;
}

} // namespace ResultsUtilizationChart
