#pragma once

#include "capture/ResultsCharts.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// The words and the page plan of a capture's printed report: what a report says beyond the results
// screen's own models, which it draws as they are.
namespace CaptureReportModel {

// A long capture's timeline is printed in rows of equal length, each at least as long as the screen's
// window and never more of them than this, so that a report of days still fits in a few pages.
inline constexpr int maxTimelineRows = 12;

QString exportText();    // "Export Report…", the action on the results screen and in the menu
QString reportTitle();   // "Capture Report"
QString warningsTitle(); // "WARNINGS"

// "Norvane {location} {date}.pdf", the date as year-month-day in local time; a part that is absent is
// left out, and characters that file systems refuse become "-".
QString suggestedFileName(const std::optional<QString>& location, const std::optional<QDateTime>& date);

// The windows of the timeline's rows over a capture that starts at `startMs` (milliseconds since the
// epoch) and lasts `totalSeconds`, each row `minimumRowSeconds` long or longer when the capture needs
// more than maxTimelineRows of them. The last row is as long as the others so that all share a scale.
QList<ClosedRange> timelineRows(double startMs, double totalSeconds, double minimumRowSeconds);

// "Norvane {version} · {captureFile} · Page {page} of {pages}", without the file when it is unknown.
QString footer(const QString& version, const QString& captureFile, int page, int pages);

} // namespace CaptureReportModel
