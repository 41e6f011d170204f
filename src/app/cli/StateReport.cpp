#include "StateReport.h"

#include "CliJson.h"

#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "screens/HoneycombState.h"
#include "subprocess/PythonProcess.h"

#include <QJsonArray>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace {

using CliJson::json;
QJsonValue activityText(const std::optional<Activity>& value) {
    return value ? QJsonValue(value->text) : QJsonValue();
}

QJsonObject statsJson(const CaptureStats& stats) {
    return {
        {u"elapsed_sec"_s, stats.elapsedSec},
        {u"remaining_sec"_s, json(stats.remainingSec)},
        {u"latency_ms"_s, json(stats.latencyMs)},
        {u"loss_pct"_s, json(stats.lossPct)},
        {u"download_mbps"_s, json(stats.downloadMbps)},
        {u"download_target"_s, stats.downloadTarget},
        {u"download_error"_s, json(stats.downloadError)},
        {u"upload_mbps"_s, json(stats.uploadMbps)},
        {u"upload_error"_s, json(stats.uploadError)},
        {u"dns_ms"_s, json(stats.dnsMs)},
        {u"rssi"_s, json(stats.rssi)},
        {u"download_updated_at"_s, json(stats.downloadUpdatedAt)},
        {u"upload_updated_at"_s, json(stats.uploadUpdatedAt)},
        {u"dns_updated_at"_s, json(stats.dnsUpdatedAt)},
        {u"last_loss_change"_s, json(stats.lastLossChange)},
        {u"previous_loss_pct"_s, json(stats.previousLossPct)},
        {u"is_calibration_speed"_s, stats.isCalibrationSpeed},
        {u"latency_protocol"_s, stats.latencyProtocol},
        {u"icmp_proxied"_s, stats.icmpProxied},
        {u"e2e_rtt_ms"_s, json(stats.e2eRttMs)},
        {u"no_internet_detected"_s, stats.noInternetDetected},
    };
}

} // namespace

namespace StateReport {

using CliJson::json;

QJsonArray figuresJson(const QList<ResultFigure>& figures) {
    QJsonArray array;
    for (const ResultFigure& figure : figures) {
        array.append(QJsonObject{
            {u"title"_s, figure.title},
            {u"value"_s, figure.value},
            {u"rating"_s, figure.rating ? QJsonValue(figure.rating->rawValue()) : QJsonValue()},
            {u"qualifier"_s, json(figure.ratingQualifier)},
            {u"detail"_s, json(figure.subtitle)},
        });
    }
    return array;
}

QString orDashes(const std::optional<QString>& text) {
    return text.value_or(u"---"_s);
}

QJsonValue percentilesJson(const std::optional<Percentiles>& percentiles) {
    if (!percentiles)
        return QJsonValue();
    return QJsonObject{
        {u"p50"_s, percentiles->p50}, {u"p95"_s, percentiles->p95}, {u"p99"_s, percentiles->p99}};
}

QJsonObject resultsJson(const CaptureSnapshot& capture) {
    return {
        {u"figures"_s, figuresJson(ResultsAnalysis::summaryFigures(capture))},
        {u"video"_s, figuresJson(ResultsAnalysis::videoFigures(capture))},
        {u"verdict"_s, ResultsAnalysis::quality(capture).rawValue()},
        {u"explanation"_s, ResultsAnalysis::qualityExplanation(capture)},
        {u"is_geo"_s, ResultsAnalysis::isGeo(capture)},
        {u"percentiles"_s, percentilesJson(ResultsAnalysis::latencyPercentiles(capture))},
    };
}

QJsonObject stateJson(const AppState& state, std::optional<qint64> droppedLines) {
    QStringList blocked(state.blockedProbes().begin(), state.blockedProbes().end());
    std::sort(blocked.begin(), blocked.end());
    const QJsonObject series{
        {u"latency_points"_s, state.latencyPoints().size()},
        {u"throughput_points"_s, state.throughputPoints().size()},
        {u"cdn_throughput_points"_s, state.cdnThroughputPoints().size()},
        {u"rssi_history"_s, state.rssiHistory().size()},
        {u"traceroute_points"_s, state.traceroutePoints().size()},
        {u"observed_throughput_points"_s, state.observedThroughputPoints().size()},
        {u"speed_test_ranges"_s, state.speedTestRanges().size()},
        {u"video_streaming_ranges"_s, state.videoStreamingRanges().size()},
        {u"captured_notes"_s, state.capturedNotes().size()},
    };
    QJsonObject object{
        {u"screen"_s, AppState::screenName(state.screen())},
        {u"process_state"_s, state.pythonProcess().state().description()},
        {u"capture_id"_s, json(state.captureId())},
        {u"capture_category"_s, json(state.captureCategory())},
        {u"capture_location"_s, json(state.captureLocation())},
        {u"capture_network"_s, json(state.captureNetwork())},
        {u"error_message"_s, json(state.errorMessage())},
        {u"stop_reason"_s, json(state.stopReason())},
        {u"warnings"_s, QJsonArray::fromStringList(state.warnings())},
        {u"blocked_probes"_s, QJsonArray::fromStringList(blocked)},
        {u"latest_probe_tick"_s, json(state.latestProbeTick())},
        {u"persistent_activity"_s, activityText(state.persistentActivity())},
        {u"flash_activity"_s, activityText(state.flashActivity())},
        {u"stats"_s, statsJson(state.stats())},
        {u"series"_s, series},
        {u"honeycomb"_s, QJsonObject{{u"filled_count"_s, state.honeycomb().filledCount()},
                                     {u"generation"_s, state.honeycomb().generation()}}},
        {u"results"_s, resultsJson(state.snapshot())},
    };
    if (droppedLines)
        object.insert(u"dropped_lines"_s, *droppedLines);
    return object;
}

QString resultsText(const CaptureSnapshot& capture) {
    QString text;
    const QList<ResultFigure> figures = ResultsAnalysis::summaryFigures(capture);
    for (const ResultFigure& figure : figures) {
        QString rating = figure.rating ? figure.rating->rawValue() : QString();
        if (figure.ratingQualifier)
            rating += u" ("_s + *figure.ratingQualifier + u')';
        text += u"  "_s + figure.title.leftJustified(16) + figure.value.leftJustified(12) + rating;
        if (figure.subtitle)
            text += u"  "_s + *figure.subtitle;
        text += u'\n';
    }
    const QList<ResultFigure> video = ResultsAnalysis::videoFigures(capture);
    for (const ResultFigure& figure : video) {
        text += u"  "_s + figure.title.leftJustified(16) + figure.value.leftJustified(12) +
                (figure.rating ? figure.rating->rawValue() : QString()) + u'\n';
    }
    QString verdict = ResultsAnalysis::quality(capture).rawValue();
    if (ResultsAnalysis::isGeo(capture))
        verdict += u" (GEO)"_s;
    text += u"Verdict: "_s + verdict + u" — "_s + ResultsAnalysis::qualityExplanation(capture) + u'\n';
    return text;
}

} // namespace StateReport
