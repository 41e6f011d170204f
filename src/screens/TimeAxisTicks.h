#pragma once

#include "capture/ResultsCharts.h"

#include <QList>
#include <QString>

// Where a time axis puts its labels. Evenly spaced moments of an arbitrary span read as uneven times
// (11:05, 11:06, 11:08) or, on a short span, as the same second twice; labels at whole steps of the
// clock always read as round, distinct times. Times are milliseconds since the epoch.
namespace TimeAxisTicks {

struct Tick {
    double ms = 0;
    QString text; // "HH:mm:ss" for steps under a minute, "HH:mm" up to a day, "d MMM" beyond
    friend bool operator==(const Tick&, const Tick&) = default;
};

// The shortest round step (1, 2, 5, 10, 15, 30 s, 1, 2, 5, 10, 15, 30 min, 1, 2, 3, 6, 12 h, then whole
// days) that cuts `spanMs` into at most `intervals` steps.
qint64 stepMs(double spanMs, double intervals);

// The ticks of a domain, at the multiples of its step in local time that lie inside it: at most
// `intervals` + 1 of them. None for an empty or reversed domain.
QList<Tick> ticks(const ClosedRange& domain, double intervals);

// The ticks for a plot `plotWidth` wide whose labels are `minuteLabelWidth` wide as "HH:mm" and
// `secondLabelWidth` as "HH:mm:ss": ticks at least one and a half labels apart, counted with the
// narrower form first and, if that calls for seconds, with the wider. A plot not yet laid out (no
// width) gets four steps.
QList<Tick> ticksToFit(const ClosedRange& domain, double plotWidth, double minuteLabelWidth,
                       double secondLabelWidth);

} // namespace TimeAxisTicks
