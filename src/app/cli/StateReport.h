#pragma once

#include "capture/ResultsCharts.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

class AppState;
struct CaptureSnapshot;
struct ResultFigure;

// What norvane-cli prints about a session: the state object of `capture` and `replay`, and the
// results summary a person reads in a terminal.
namespace StateReport {

QJsonObject stateJson(const AppState& state, std::optional<qint64> droppedLines = std::nullopt);
// The summary figures, verdict, explanation, GEO flag and percentiles of a capture.
QJsonObject resultsJson(const CaptureSnapshot& capture);
// {title, value, rating, qualifier, detail} for each card.
QJsonArray figuresJson(const QList<ResultFigure>& figures);
QJsonValue percentilesJson(const std::optional<Percentiles>& percentiles);
// "---" for an absent figure, as the screens show it.
QString orDashes(const std::optional<QString>& text);
// The results as lines of text: the five figures with ratings, the verdict and its explanation.
QString resultsText(const CaptureSnapshot& capture);

} // namespace StateReport
