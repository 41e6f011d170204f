#pragma once

#include "capture/ResultsCharts.h"

#include <QJsonArray>
#include <QJsonObject>
#include <QString>

#include <optional>

class AppState;
class ConnectivityDiagnostics;
struct CaptureSnapshot;
struct ResultFigure;

// What norvane-cli prints about a session: the state object of `capture` and `replay`, and the
// results summary a person reads in a terminal.
namespace StateReport {

QJsonObject stateJson(const AppState& state, std::optional<qint64> droppedLines = std::nullopt);
// The upload fields of the session, and the uplink figure that decides a deferral.
QJsonObject uploadJson(const AppState& state);
// The verdict of a finished diagnosis: its verdict as the log names it and the screen's words.
QJsonValue diagnosisJson(const ConnectivityDiagnostics* diagnosis);
// The headline, the explanation and any bullet points of a finished diagnosis.
QString diagnosisText(const ConnectivityDiagnostics& diagnosis);
// The upload status in the words of the results screen; empty when there is nothing to say.
QString uploadText(const AppState& state);
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
