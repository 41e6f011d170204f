#include "StateReport.h"

#include "CliJson.h"

#include "base/Clock.h"
#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "core/HoneycombState.h"
#include "screens/DiagnosticsVerdictText.h"
#include "screens/UploadStatus.h"
#include "services/ConnectivityDiagnostics.h"
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
        {u"upload"_s, uploadJson(state)},
        {u"diagnosis"_s, diagnosisJson(state.diagnostics())},
    };
    if (droppedLines)
        object.insert(u"dropped_lines"_s, *droppedLines);
    return object;
}

QJsonObject uploadJson(const AppState& state) {
    const AppState::UploadState& upload = state.upload();
    QJsonArray errors;
    for (const UploadErrorEvent& error : upload.uploadErrors)
        errors.append(
            QJsonObject{{u"file"_s, error.file},
                        {u"message"_s, error.message},
                        {u"retryable"_s, error.retryable ? QJsonValue(*error.retryable) : QJsonValue()}});
    QJsonArray sizeSkips;
    for (const UploadSkippedEvent& skip : upload.uploadSizeSkips)
        sizeSkips.append(QJsonObject{{u"reason"_s, skip.reason},
                                     {u"file"_s, json(skip.file)},
                                     {u"size_mb"_s, json(skip.sizeMb)},
                                     {u"limit_mb"_s, json(skip.limitMb)},
                                     {u"local_path"_s, json(skip.localPath)}});
    return {
        {u"upload_total"_s, upload.uploadTotal},
        {u"upload_succeeded"_s, upload.uploadSucceeded},
        {u"upload_failed"_s, upload.uploadFailed},
        {u"upload_in_progress"_s, upload.uploadInProgress},
        {u"upload_preparing"_s, upload.uploadPreparing},
        {u"upload_done"_s, upload.uploadDone},
        {u"upload_deferred"_s, upload.uploadDeferred},
        {u"estimated_upload_secs"_s, json(upload.estimatedUploadSecs)},
        {u"upload_skipped_reason"_s, json(upload.uploadSkippedReason)},
        {u"upload_errors"_s, errors},
        {u"upload_size_skips"_s, sizeSkips},
        {u"upload_progress_pct"_s, upload.uploadProgressPct},
        {u"upload_bytes_sent"_s, upload.uploadBytesSent},
        {u"upload_bytes_total"_s, upload.uploadBytesTotal},
        {u"upload_progress_file"_s, json(upload.uploadProgressFile)},
        {u"upload_eta_secs"_s, json(upload.uploadEtaSecs)},
        {u"pending_retry_at"_s, json(upload.pendingRetryAt)},
        {u"measured_uplink_mbps"_s, json(state.measuredUplinkMbps())},
    };
}

QJsonValue diagnosisJson(const ConnectivityDiagnostics* diagnosis) {
    if (!diagnosis || !diagnosis->phase().verdict)
        return QJsonValue();
    const ConnectivityDiagnostics::Verdict& verdict = *diagnosis->phase().verdict;
    const DiagnosticsVerdictText text = DiagnosticsVerdictText::forVerdict(verdict);
    const auto optionalBool = [](std::optional<bool> value) {
        return value ? QJsonValue(*value) : QJsonValue();
    };
    return QJsonObject{
        {u"verdict"_s, ConnectivityDiagnostics::describe(verdict)},
        {u"headline"_s, text.headline},
        {u"explanation"_s, text.explanation},
        {u"bullets"_s, QJsonArray::fromStringList(text.bullets)},
        {u"gateway"_s, json(diagnosis->gateway())},
        {u"gateway_reachable"_s, optionalBool(diagnosis->gatewayReachable())},
        {u"internet_reachable"_s, optionalBool(diagnosis->internetReachable())},
    };
}

QString diagnosisText(const ConnectivityDiagnostics& diagnosis) {
    if (!diagnosis.phase().verdict)
        return QString();
    const DiagnosticsVerdictText text = DiagnosticsVerdictText::forVerdict(*diagnosis.phase().verdict);
    QString result = text.headline + u"\n\n"_s + text.explanation + u'\n';
    for (const QString& bullet : text.bullets)
        result += u"  - "_s + bullet + u'\n';
    return result;
}

QString uploadText(const AppState& state) {
    const UploadStatus status =
        UploadStatus::forState(state.upload(), state.measuredUplinkMbps(), Time::clock().now());
    QStringList lines;
    if (!status.text.isEmpty())
        lines.append(status.text);
    if (status.kind == UploadStatus::Kind::uploadingProgress) {
        QString line = status.sizeLine + u"  "_s + status.percentText;
        if (status.etaText)
            line += u"  "_s + *status.etaText;
        lines.append(line);
    }
    if (status.heading)
        lines.append(*status.heading);
    for (const QString& row : status.rows)
        lines.append(u"  "_s + row);
    if (status.failureLine)
        lines.append(*status.failureLine);
    // A tool that died mid-run leaves its last progress standing; the window redraws when the retry
    // comes, but a terminal keeps the last words, so they must say what happened.
    const bool leftInProgress = status.kind == UploadStatus::Kind::uploadingCount ||
                                status.kind == UploadStatus::Kind::uploadingProgress;
    if (leftInProgress && !state.uploadRunner()) {
        QString line = u"The upload tool stopped before it finished."_s;
        if (const auto& retryAt = state.upload().pendingRetryAt)
            line += u" Next attempt in %1."_s.arg(
                UploadStatus::countdownText(double(Time::clock().now().msecsTo(*retryAt)) / 1000.0));
        lines.append(line);
    }
    return lines.join(u'\n');
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
