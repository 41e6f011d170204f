#include "screens/CaptureReportModel.h"

#include <QRegularExpression>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

namespace CaptureReportModel {

QString exportText() {
    return u"Export Report\u2026"_s;
}

QString reportTitle() {
    return u"Capture Report"_s;
}

QString warningsTitle() {
    return u"WARNINGS"_s;
}

QString suggestedFileName(const std::optional<QString>& location, const std::optional<QDateTime>& date) {
    QStringList parts{u"Norvane"_s};
    if (location && !location->trimmed().isEmpty()) {
        static const QRegularExpression refused(uR"([/\\:*?"<>|\x00-\x1f])"_s);
        parts.append(location->trimmed().replace(refused, u"-"_s));
    }
    if (date && date->isValid())
        parts.append(date->toLocalTime().toString(u"yyyy-MM-dd"_s));
    return parts.join(u' ') + u".pdf"_s;
}

QList<ClosedRange> timelineRows(double startMs, double totalSeconds, double minimumRowSeconds) {
    if (!(totalSeconds > 0) || !(minimumRowSeconds > 0))
        return {};
    const double rowSeconds = std::max(minimumRowSeconds, totalSeconds / maxTimelineRows);
    const int count = std::clamp(int(std::ceil(totalSeconds / rowSeconds - 1e-9)), 1, maxTimelineRows);
    QList<ClosedRange> rows;
    for (int row = 0; row < count; ++row) {
        const double from = startMs + row * rowSeconds * 1000;
        rows.append({from, from + rowSeconds * 1000});
    }
    return rows;
}

QString footer(const QString& version, const QString& captureFile, int page, int pages) {
    QStringList parts{u"Norvane "_s + version};
    if (!captureFile.isEmpty())
        parts.append(captureFile);
    parts.append(u"Page %1 of %2"_s.arg(page).arg(pages));
    return parts.join(u" \u00b7 "_s);
}

} // namespace CaptureReportModel
