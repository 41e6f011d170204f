#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QPointF>
#include <QString>

// The two utilization cards of the results: the traffic the user's own machine carried, outside the
// speed tests, as an area under a line. Times are milliseconds since the epoch.
namespace ResultsUtilizationChart {

// Fewer observed points than this and the utilization cards are left out of the grid.
inline constexpr qsizetype minimumPoints = 2;
inline constexpr double areaOpacity = 0.2;

enum class Direction { download, upload };

struct Model {
    QString title;       // "Download" / "Upload"
    QString averageText; // "Avg: {mean} Mbps", the mean as a whole number
    RgbColor color;
    double areaOpacity = ResultsUtilizationChart::areaOpacity;
    QString xAxisTitle; // "Time"
    QString yAxisTitle; // "Mbps"
    ClosedRange xDomain;
    ClosedRange yDomain;   // from 0 to the largest rate
    QList<QPointF> points; // ascending in time, thinned
    friend bool operator==(const Model&, const Model&) = default;
};

// `observed` are the points left once the speed tests are taken out.
bool hasData(const QList<ObservedThroughputPoint>& observed);
Model model(const QList<ObservedThroughputPoint>& observed, Direction direction);

} // namespace ResultsUtilizationChart
