#include "RoundTimeAxis.h"

#include <QCategoryAxis>

namespace RoundTimeAxis {

QCategoryAxis* make() {
    auto* axis = new QCategoryAxis;
    axis->setLabelsPosition(QCategoryAxis::AxisLabelsPositionOnValue);
    return axis;
}

void show(QCategoryAxis* axis, const ClosedRange& domain, const QList<TimeAxisTicks::Tick>& ticks) {
    const QStringList old = axis->categoriesLabels();
    // Labelling the same again would still make the chart lay itself out anew, and a relabel on a
    // change of the plot's size would never end.
    bool same =
        old.size() == ticks.size() && axis->min() == domain.lowerBound && axis->max() == domain.upperBound;
    for (qsizetype i = 0; same && i < ticks.size(); ++i)
        same = old[i] == ticks[i].text && axis->endValue(old[i]) == ticks[i].ms;
    if (same)
        return;
    for (const QString& label : old)
        axis->remove(label);
    // Each category ends at its tick: the first one begins just before the domain, so that a tick on
    // the domain's very start still has a category of its own.
    axis->setStartValue(domain.lowerBound - 1);
    for (const TimeAxisTicks::Tick& tick : ticks)
        axis->append(tick.text, tick.ms);
    axis->setRange(domain.lowerBound, domain.upperBound);
}

} // namespace RoundTimeAxis
