#pragma once

#include "capture/CaptureSeries.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QString>

#include <optional>

// The traceroute card of the results: how many hops, whether the path held, and a waterfall of the
// median time of each hop of the last route.
namespace ResultsTracerouteChart {

QString title(); // "Traceroute"

// One line of the waterfall. The bar runs from where the hop before ended to where this hop ends,
// both as shares of the slowest hop's round trip, so the bars step down the card like a waterfall.
struct HopRow {
    QString hopText;                  // the hop number
    QString address;                  // the hop's address, or "*"
    std::optional<QString> rttText;   // "{rtt}ms"
    std::optional<QString> deltaText; // "+{delta}ms"
    double barStart = 0;              // 0 to 1
    double barLength = 0;             // 0 to 1
    bool bottleneck = false;
    friend bool operator==(const HopRow&, const HopRow&) = default;
};

struct Model {
    QString title;
    QString hopCountText;            // "{n} hops" of the last route that reached a hop
    std::optional<QString> pathText; // "path changed" / "stable path", with two routes or more
    bool pathChanged = false;
    // "Hop detail not available" when the last route carries no hop detail; the rows are empty then.
    std::optional<QString> unavailableText;
    QString routeText; // "{n} hops to {target}", when there are rows
    QList<HopRow> rows;
    RgbColor bottleneckColor;
    friend bool operator==(const Model&, const Model&) = default;
};

// A route counts when it reached a hop, by its hop count or by the hops it lists.
bool reachedHops(const TraceroutePoint& point);
bool hasData(const QList<TraceroutePoint>& points);
Model model(const QList<TraceroutePoint>& points);

} // namespace ResultsTracerouteChart
