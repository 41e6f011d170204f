#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QPointF>
#include <QString>
#include <QStringList>

// The DNS & QUIC card of the results: the round trips of the two probe types over time, each in its
// probe colour, with their medians. Times are milliseconds since the epoch.
namespace ResultsDnsQuicChart {

QString title(); // "DNS & QUIC"

struct Series {
    QString label;     // "DNS" / "QUIC", the legend's words
    QString probeType; // "dns" / "quic"
    RgbColor color;
    QList<QPointF> points; // ascending in time, thinned
    friend bool operator==(const Series&, const Series&) = default;
};

struct Model {
    QString title;
    QStringList medianTexts; // "DNS: {median} ms", "QUIC: {median} ms", each when measured
    QString xAxisTitle;      // "Time"
    QString yAxisTitle;      // "ms"
    ClosedRange xDomain;
    ClosedRange yDomain;  // latencyYDomain of the round trips of both types
    QList<Series> series; // "DNS" then "QUIC", always both
    friend bool operator==(const Model&, const Model&) = default;
};

// A sample to plot: a DNS or QUIC probe that answered. A lost sample has no round trip to place.
bool hasData(const QList<LatencyPoint>& latencyPoints);
Model model(const QList<LatencyPoint>& latencyPoints);

} // namespace ResultsDnsQuicChart
