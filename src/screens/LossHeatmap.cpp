#include "screens/LossHeatmap.h"

#include "screens/ProbeColors.h"
#include "screens/ResultsPalette.h"

#include <QDateTime>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace LossHeatmap {

QString title() {
    return u"Loss Heatmap"_s;
}

QString scaleLowText() {
    return u"0%"_s;
}

QString scaleHighText() {
    return u"100%"_s;
}

QString blockedKeyText() {
    return u"Blocked"_s;
}

QString blockedRowText() {
    return u"BLOCKED"_s;
}

RgbColor color() {
    return ResultsPalette::lossColor();
}

double cellOpacity(double lossRate) {
    return std::clamp(lossRate, 0.0, 1.0) * (highestOpacity - lowestOpacity) + lowestOpacity;
}

QString protocolLabel(const QString& probeType) {
    return ProbeColors::probeLabel(probeType);
}

std::optional<QString> excludedText(const QStringList& blockedTargets) {
    if (blockedTargets.isEmpty())
        return std::nullopt;
    return (blockedTargets.size() > 1 ? u"Blocked targets"_s : u"Blocked target"_s) + u" excluded: "_s +
           blockedTargets.join(u", "_s);
}

QString endTimeText(double ms, double totalSeconds) {
    return QDateTime::fromMSecsSinceEpoch(std::llround(ms))
        .toString(totalSeconds < 600 ? u"HH:mm:ss"_s : u"HH:mm"_s);
}

Frame frame(const LossStrip& strip, double startMs, double totalSeconds) {
    Frame result;
    result.startMs = startMs;
    const double lengthMs = std::max(totalSeconds, 0.0) * 1000;
    result.endMs = startMs + lengthMs;
    if (!strip.rows.isEmpty()) {
        result.startText = endTimeText(result.startMs, totalSeconds);
        result.endText = endTimeText(result.endMs, totalSeconds);
    }
    const auto fraction = [&](double ms) {
        return lengthMs > 0 ? std::clamp((ms - startMs) / lengthMs, 0.0, 1.0) : 0.0;
    };
    for (const LossStripRow& stripRow : strip.rows) {
        Row row{stripRow.probeType, protocolLabel(stripRow.probeType), stripRow.blocked, {}};
        result.showsBlockedKey = result.showsBlockedKey || stripRow.blocked;
        if (!stripRow.blocked) {
            row.cells.reserve(stripRow.buckets.size());
            for (const LossBucket& bucket : stripRow.buckets)
                row.cells.append({fraction(double(bucket.start.toMSecsSinceEpoch())),
                                  fraction(double(bucket.end.toMSecsSinceEpoch())),
                                  cellOpacity(bucket.lossRate)});
        }
        result.rows.append(row);
    }
    result.excludedText = excludedText(strip.blockedTargets);
    return result;
}

Frame frame(const QList<LatencyPoint>& points) {
    if (points.isEmpty())
        return frame(LossStrip{}, 0, 0);
    // The buckets count from the first sample of the list, and so does the strip.
    return frame(ResultsAnalysis::lossStrip(points), double(points.first().date.toMSecsSinceEpoch()),
                 ResultsAnalysis::chartTimeSpan(points).totalSeconds);
}

QList<double> columnOpacities(const Row& row, int columns) {
    QList<double> result(std::max(columns, 0), 0.0);
    if (columns <= 0)
        return result;
    for (const Cell& cell : row.cells) {
        // Every column that the cell touches, and at least the one it starts in.
        const int first = std::clamp(int(std::floor(cell.from * columns)), 0, columns - 1);
        const int last = std::clamp(int(std::ceil(cell.to * columns)) - 1, first, columns - 1);
        for (int column = first; column <= last; ++column)
            result[column] = std::max(result[column], cell.opacity);
    }
    return result;
}

} // namespace LossHeatmap
