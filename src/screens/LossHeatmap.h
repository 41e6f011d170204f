#pragma once

#include "capture/CaptureSeries.h"
#include "capture/ResultsCharts.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QString>
#include <QStringList>

#include <optional>

// The results screen's loss strip as values: one row per protocol over the whole capture, a cell per
// stretch of ten seconds with loss in it, and the words around it. Positions along a row are fractions
// of the capture's length, from 0 at its first sample to 1 at its last.
namespace LossHeatmap {

inline constexpr double rowHeight = 28;
// Added once to the rows' height: room for the time under the rows.
inline constexpr double extraHeight = 20;
inline constexpr double lowestOpacity = 0.1;
inline constexpr double highestOpacity = 0.8;
inline constexpr double blockedOpacity = 0.15;

QString title();          // "Loss Heatmap"
QString scaleLowText();   // "0%"
QString scaleHighText();  // "100%"
QString blockedKeyText(); // "Blocked"
QString blockedRowText(); // "BLOCKED"
RgbColor color();         // the loss red of every results chart

// A cell's opacity: from 0.1 for the least loss up to 0.8 for total loss.
double cellOpacity(double lossRate);
// The row's name: the legend's name of a known protocol ("ICMP" for "ping"), else the type itself.
QString protocolLabel(const QString& probeType);
// "Blocked target excluded: tcp:10.0.0.9", with an "s" for more than one; nothing when none is.
std::optional<QString> excludedText(const QStringList& blockedTargets);

struct Cell {
    double from = 0; // fraction of the row
    double to = 0;
    double opacity = 0;
    friend bool operator==(const Cell&, const Cell&) = default;
};

struct Row {
    QString probeType;
    QString label;
    bool blocked = false;
    QList<Cell> cells; // in time order; none for a blocked row
    friend bool operator==(const Row&, const Row&) = default;
};

struct Frame {
    QList<Row> rows; // the normal protocols first, then the blocked ones
    bool showsBlockedKey = false;
    std::optional<QString> excludedText;
    double startMs = 0; // the capture's first sample
    double endMs = 0;   // its last, at least ten seconds after the first
    QString startText;  // the times at the two ends of the rows
    QString endText;
    friend bool operator==(const Frame&, const Frame&) = default;

    // The strip's height: each row's, plus the room under them.
    double height() const { return double(rows.size()) * rowHeight + extraHeight; }
};

// A time at an end of the strip: to the second for a capture under ten minutes, else to the minute.
QString endTimeText(double ms, double totalSeconds);

// The strip of a capture whose first sample is at `startMs` and which lasts `totalSeconds`.
Frame frame(const LossStrip& strip, double startMs, double totalSeconds);
// The strip of these samples, over their whole span.
Frame frame(const QList<LatencyPoint>& points);

// The strongest opacity of the cells over each of `columns` equal columns of a row, 0 where there is
// none: a capture of many hours has more cells than a row has pixels, and each pixel is painted once.
QList<double> columnOpacities(const Row& row, int columns);

} // namespace LossHeatmap
