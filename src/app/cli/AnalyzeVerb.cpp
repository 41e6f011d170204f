#include "AnalyzeVerb.h"

#include "CliArguments.h"
#include "StateReport.h"

#include "CliJson.h"
#include "base/NumberText.h"
#include "capture/BlockedTargets.h"
#include "capture/CSVLoader.h"
#include "capture/ResultsAnalysis.h"
#include "core/AppState.h"
#include "services/FileLogger.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

#include <algorithm>

using namespace Qt::StringLiterals;
using CliJson::json;

namespace {

struct TracerouteSummary {
    QList<HopDetail> hops;
    bool pathChanged = false;
    std::optional<qsizetype> bottleneckIndex;
};

std::optional<TracerouteSummary> tracerouteSummary(const QList<TraceroutePoint>& points) {
    const bool anyHops =
        std::any_of(points.begin(), points.end(), [](const auto& p) { return !p.hops.isEmpty(); });
    if (!anyHops)
        return std::nullopt;
    TracerouteSummary summary;
    summary.hops = ResultsAnalysis::computeMedianHops(points);
    summary.pathChanged = ResultsAnalysis::traceroutePathChanged(points);
    summary.bottleneckIndex = ResultsAnalysis::tracerouteBottleneckIndex(summary.hops);
    return summary;
}

QStringList sortedBlockedTargets(const CaptureSnapshot& capture) {
    const QSet<QString> blocked = findBlockedTargets(capture.latencyPoints);
    QStringList sorted(blocked.begin(), blocked.end());
    sorted.sort();
    return sorted;
}

QString mbps(const std::optional<double>& value) {
    return value ? ResultsAnalysis::formatMbps(*value) + u" Mbps"_s : u"---"_s;
}

QString optionalMs(const std::optional<double>& value) {
    return value ? NumberText::wholePart(*value) + u"ms"_s : u"---"_s;
}

} // namespace

int runAnalyzeVerb(const QStringList& arguments, QTextStream& out, QTextStream& err) {
    const auto parsed = FileArguments::parse(arguments, u"norvane-cli analyze FILE.csv [--json]"_s, err);
    if (!parsed)
        return 2;
    const bool asJson = parsed->asJson;
    const QString path = parsed->file;

    // The very steps that open a capture from the history in the window.
    AppState state(FileLogger::shared());
    state.loadCapture(path);
    FileLogger::shared().waitForIdle();
    if (state.errorMessage()) {
        err << *state.errorMessage() << '\n';
        return 1;
    }

    const CaptureSnapshot capture = state.snapshot();
    const QStringList blocked = sortedBlockedTargets(capture);
    const std::optional<Percentiles> percentiles = ResultsAnalysis::latencyPercentiles(capture);
    const auto lossBuckets = ResultsAnalysis::computeLossBuckets(capture.latencyPoints, 10);
    const std::optional<TracerouteSummary> traceroute = tracerouteSummary(capture.traceroutePoints);
    const CSVLoader::QuickStats quick = CSVLoader::quickStats(path);
    const QString verdict = ResultsAnalysis::quality(capture).rawValue();
    const bool geo = ResultsAnalysis::isGeo(capture);
    const std::optional<QString> ssid = state.infoEvent() ? state.infoEvent()->ssid : std::nullopt;
    const std::optional<QString> date =
        capture.captureDate ? std::optional(capture.captureDate->toUTC().toString(Qt::ISODateWithMs))
                            : std::nullopt;

    if (asJson) {
        QJsonValue tracerouteJson;
        if (traceroute) {
            QJsonArray hops;
            for (const HopDetail& hop : traceroute->hops)
                hops.append(QJsonObject{{u"hop"_s, hop.hop},
                                        {u"ip"_s, hop.ip},
                                        {u"rtt_ms"_s, json(hop.rttMs)},
                                        {u"delta_ms"_s, json(hop.deltaMs)}});
            tracerouteJson = QJsonObject{
                {u"hops"_s, hops},
                {u"path_changed"_s, traceroute->pathChanged},
                {u"bottleneck_index"_s, traceroute->bottleneckIndex
                                            ? QJsonValue(qint64(*traceroute->bottleneckIndex))
                                            : QJsonValue()},
            };
        }
        const QJsonObject object{
            {u"capture_id"_s, json(capture.captureId)},
            {u"capture_date"_s, json(date)},
            {u"duration_sec"_s, json(capture.durationSec)},
            {u"sample_count"_s, capture.sampleCount ? QJsonValue(*capture.sampleCount) : QJsonValue()},
            {u"ssid"_s, json(ssid)},
            {u"location"_s, json(state.captureLocation())},
            {u"network"_s, json(state.captureNetwork())},
            {u"figures"_s, StateReport::figuresJson(ResultsAnalysis::summaryFigures(capture))},
            {u"verdict"_s, verdict},
            {u"explanation"_s, ResultsAnalysis::qualityExplanation(capture)},
            {u"is_geo"_s, geo},
            {u"percentiles"_s, StateReport::percentilesJson(percentiles)},
            {u"blocked_targets"_s, QJsonArray::fromStringList(blocked)},
            {u"loss_buckets"_s, lossBuckets.size()},
            {u"median_download_mbps"_s, json(ResultsAnalysis::medianDownload(capture))},
            {u"median_upload_mbps"_s, json(ResultsAnalysis::medianUpload(capture))},
            {u"traceroute"_s, tracerouteJson},
            {u"video"_s, StateReport::figuresJson(ResultsAnalysis::videoFigures(capture))},
            {u"quick_stats"_s, QJsonObject{{u"median_latency_ms"_s, json(quick.medianLatencyMs)},
                                           {u"loss_pct"_s, json(quick.lossPct)},
                                           {u"last_download_mbps"_s, json(quick.lastDownloadMbps)},
                                           {u"last_upload_mbps"_s, json(quick.lastUploadMbps)},
                                           {u"duration_min"_s, json(quick.durationMin)}}},
        };
        out << QJsonDocument(object).toJson(QJsonDocument::Indented);
        return 0;
    }

    out << "Capture " << StateReport::orDashes(capture.captureId) << '\n';
    out << "  Date       " << StateReport::orDashes(date) << '\n';
    out << "  Duration   "
        << (capture.durationSec ? NumberText::wholePart(*capture.durationSec) + u" s"_s : u"---"_s) << '\n';
    out << "  Samples    " << (capture.sampleCount ? QString::number(*capture.sampleCount) : u"---"_s)
        << '\n';
    out << "  Network    " << StateReport::orDashes(ssid) << '\n';
    out << "  Location   " << StateReport::orDashes(state.captureLocation()) << '\n';
    out << "  Type       " << StateReport::orDashes(state.captureNetwork()) << "\n\n";
    out << StateReport::resultsText(capture);
    if (percentiles)
        out << "Latency: P50 " << NumberText::wholePart(percentiles->p50) << "ms | P95 "
            << NumberText::wholePart(percentiles->p95) << "ms | P99 "
            << NumberText::wholePart(percentiles->p99) << "ms\n";
    out << "Loss periods: " << lossBuckets.size() << '\n';
    if (!blocked.isEmpty())
        out << "Blocked targets: " << blocked.join(u", "_s) << '\n';
    if (!capture.throughputPoints.isEmpty()) {
        out << "Speed tests (median download " << mbps(ResultsAnalysis::medianDownload(capture))
            << ", upload " << mbps(ResultsAnalysis::medianUpload(capture)) << "):\n";
        for (const ThroughputPoint& point : capture.throughputPoints)
            out << "  #" << point.testNum << ' ' << point.direction.leftJustified(9) << ' '
                << mbps(point.mbps) << "  " << point.target << '\n';
    }
    if (traceroute) {
        out << "Traceroute: " << traceroute->hops.size() << " hops, "
            << (traceroute->pathChanged ? "path changed" : "stable path") << '\n';
        for (qsizetype i = 0; i < traceroute->hops.size(); ++i) {
            const HopDetail& hop = traceroute->hops[i];
            out << "  " << QString::number(hop.hop).rightJustified(2) << "  "
                << (hop.ip.isEmpty() ? u"*"_s : hop.ip).leftJustified(16)
                << optionalMs(hop.rttMs).rightJustified(7) << "  +" << optionalMs(hop.deltaMs)
                << (traceroute->bottleneckIndex == i ? u"  ← bottleneck"_s : QString()) << '\n';
        }
    }
    return 0;
}
