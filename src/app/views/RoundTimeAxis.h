#pragma once

#include "capture/ResultsCharts.h"
#include "screens/TimeAxisTicks.h"

#include <QList>

class QCategoryAxis;

// A chart's time axis whose labels and grid lines stand at the ticks that TimeAxisTicks chooses, each
// at its own moment, rather than at even fractions of the span.
namespace RoundTimeAxis {

QCategoryAxis* make();
// Shows `domain` (milliseconds since the epoch) with a label and a grid line at each tick.
void show(QCategoryAxis* axis, const ClosedRange& domain, const QList<TimeAxisTicks::Tick>& ticks);

} // namespace RoundTimeAxis
