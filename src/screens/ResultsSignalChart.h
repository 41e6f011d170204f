#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QPointF>
#include <QString>

#include <optional>

// The signal card of the results: RSSI over time against three dashed quality lines. Times are
// milliseconds since the epoch, as the charting library's date axis reads them. The chart shows a
// window of `timeSpan.visibleSeconds` that scrolls along the whole capture.
namespace ResultsSignalChart {

// Fewer readings than this make no line: the card gives way to its placeholder.
inline constexpr qsizetype minimumPoints = 2;
inline constexpr double thresholdOpacity = 0.15;

QString title(); // "Signal Strength"

struct Threshold {
    QString label; // "Good", "Fair", "Poor"
    int rssi = 0;
    RgbColor color;
    double opacity = thresholdOpacity;
    friend bool operator==(const Threshold&, const Threshold&) = default;
};

// "Good" at -50, "Fair" at -67, "Poor" at -70.
QList<Threshold> thresholds();

struct Model {
    QString title;
    std::optional<QString> latestText; // "{rssi} dBm" of the newest reading
    QString xAxisTitle;                // "Time"
    QString yAxisTitle;                // "RSSI"
    QString unit;                      // "dBm"
    ClosedRange yDomain;
    TimeSpan timeSpan;
    ClosedRange xDomain;   // the whole capture: from the first reading, `timeSpan.totalSeconds` long
    QList<QPointF> points; // every reading, ascending in time
    QList<Threshold> thresholds;
    friend bool operator==(const Model&, const Model&) = default;
};

bool hasData(const QList<RSSIPoint>& rssiHistory);
Model model(const QList<RSSIPoint>& rssiHistory);

// The window shown first: the newest `visibleSeconds` of the capture.
ClosedRange initialWindow(const Model& model);
// The window that starts at `startMs`, held inside the capture.
ClosedRange windowAt(const Model& model, double startMs);
// The readings to draw for a window, thinned to what a chart can show.
QList<QPointF> visiblePoints(const Model& model, const ClosedRange& window);

} // namespace ResultsSignalChart
