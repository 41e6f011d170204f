#include "screens/TimeAxisTicks.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace TimeAxisTicks {

namespace {

constexpr qint64 second = 1000;
constexpr qint64 minute = 60 * second;
constexpr qint64 hour = 60 * minute;
constexpr qint64 day = 24 * hour;

constexpr qint64 roundSteps[] = {
    1 * second, 2 * second, 5 * second, 10 * second, 15 * second, 30 * second,
    1 * minute, 2 * minute, 5 * minute, 10 * minute, 15 * minute, 30 * minute,
    1 * hour,   2 * hour,   3 * hour,   6 * hour,    12 * hour,   day,
};

} // namespace

qint64 stepMs(double spanMs, double intervals) {
    const double room = std::max(1.0, intervals);
    for (const qint64 step : roundSteps) {
        if (double(step) * room >= spanMs)
            return step;
    }
    // Longer than the table reaches: whole days, still at most `intervals` steps. A span of a million
    // days is no capture; the cap only keeps the conversion defined.
    const double days = std::ceil(spanMs / room / double(day));
    return qint64(std::min(days, 1.0e6)) * day;
}

QList<Tick> ticks(const ClosedRange& domain, double intervals) {
    const double span = domain.upperBound - domain.lowerBound;
    if (!(span > 0) || !std::isfinite(span) || !std::isfinite(domain.lowerBound))
        return {};
    const qint64 step = stepMs(span, intervals);
    // Round in local time, so that a zone half an hour off UTC still gets its labels on the hour; the
    // offset of the first moment holds for the whole domain.
    const qint64 first = qint64(std::ceil(domain.lowerBound));
    const qint64 offset = qint64(QDateTime::fromMSecsSinceEpoch(first).offsetFromUtc()) * second;
    const qint64 local = first + offset;
    // The first multiple of the step at or after the domain's start: integer division truncates, which
    // rounds up for a time before the epoch and needs one step more after it.
    qint64 tick = (local / step + (local % step > 0 ? 1 : 0)) * step - offset;
    const QString format = step < minute ? u"HH:mm:ss"_s : step < day ? u"HH:mm"_s : u"d MMM"_s;
    QList<Tick> result;
    for (; double(tick) <= domain.upperBound; tick += step)
        result.append({double(tick), QDateTime::fromMSecsSinceEpoch(tick).toString(format)});
    return result;
}

QList<Tick> ticksToFit(const ClosedRange& domain, double plotWidth, double minuteLabelWidth,
                       double secondLabelWidth) {
    if (!(plotWidth > 0))
        return ticks(domain, 4);
    const auto intervalsFor = [plotWidth](double labelWidth) {
        return labelWidth > 0 ? plotWidth / (1.5 * labelWidth) : 4.0;
    };
    const double span = domain.upperBound - domain.lowerBound;
    double intervals = intervalsFor(minuteLabelWidth);
    if (stepMs(span, intervals) < minute)
        intervals = intervalsFor(secondLabelWidth);
    return ticks(domain, intervals);
}

} // namespace TimeAxisTicks
