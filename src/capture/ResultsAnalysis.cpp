#include "capture/ResultsAnalysis.h"

#include "base/NumberText.h"
#include "capture/BlockedTargets.h"
#include "capture/SharedFigures.h"

using namespace Qt::StringLiterals;

namespace ResultsAnalysis {

namespace {

const QString missing = u"---"_s;

// The probe type that speaks for the link: "ping" if the capture has any, else "udp" if it has any.
std::optional<QString> referenceProbeType(const QList<LatencyPoint>& points) {
    const QString ping = u"ping"_s;
    const QString udp = u"udp"_s;
    bool anyUdp = false;
    for (const LatencyPoint& point : points) {
        if (point.probeType == ping)
            return ping;
        anyUdp = anyUdp || point.probeType == udp;
    }
    return anyUdp ? std::optional(udp) : std::nullopt;
}

std::optional<double> medianThroughput(const QList<ThroughputPoint>& points, QStringView direction) {
    QList<double> values;
    for (const ThroughputPoint& point : points) {
        if (point.direction == direction)
            values.append(point.mbps);
    }
    return median(values);
}

// The "Download (P50)" and "Upload (P50)" cards share one rule.
ResultFigure speedFigure(const QString& title, std::optional<double> figure,
                         const std::optional<QString>& error,
                         std::optional<QualityRating> (*rate)(std::optional<double>)) {
    ResultFigure card{title, missing, rate(figure), std::nullopt, std::nullopt};
    if (figure) {
        card.value = formatMbps(*figure) + u" Mbps"_s;
    } else if (error) {
        card.value = u"Failed"_s;
        card.subtitle = formatSpeedError(*error);
    }
    return card;
}

std::optional<QualityRating> rateStalls(int count) {
    switch (count) {
    case 0:
        return QualityRating::excellent;
    case 1:
        return QualityRating::fair;
    default:
        return QualityRating::impaired;
    }
}

std::optional<QualityRating> rateStartup(double ms, bool adSeen) {
    if (adSeen) // an advertisement before the video makes the time meaningless
        return std::nullopt;
    if (ms < 2000)
        return QualityRating::excellent;
    if (ms < 4000)
        return QualityRating::good;
    if (ms < 6000)
        return QualityRating::fair;
    return QualityRating::impaired;
}

QString startupSubtitle(const std::optional<QString>& coldFirstFrameResolution) {
    if (coldFirstFrameResolution) {
        const QList<QStringView> pieces =
            QStringView(*coldFirstFrameResolution).split(u'x', Qt::SkipEmptyParts);
        if (!pieces.isEmpty())
            return u"first "_s + pieces.last() + u"p frame"_s;
    }
    return u"time to play"_s;
}

std::optional<QString> trendArrow(const std::optional<QString>& trend) {
    if (trend == u"growing"_s)
        return u"↗"_s;
    if (trend == u"stable"_s)
        return u"→"_s;
    if (trend == u"draining"_s)
        return u"↘"_s;
    return std::nullopt;
}

} // namespace

QList<LatencyPoint> referenceLatencyPoints(const QList<LatencyPoint>& points) {
    const std::optional<QString> type = referenceProbeType(points);
    QList<LatencyPoint> reference;
    if (type) {
        for (const LatencyPoint& point : points) {
            if (point.probeType == *type)
                reference.append(point);
        }
    }
    return reference;
}

std::optional<double> realMedianRTT(const CaptureSnapshot& capture) {
    // When something on the path answers pings by itself, only the end-to-end figure is true.
    if (capture.stats.icmpProxied && capture.stats.e2eRttMs)
        return capture.stats.e2eRttMs;
    const std::optional<QString> type = referenceProbeType(capture.latencyPoints);
    if (!type)
        return std::nullopt;
    QList<double> values;
    for (const LatencyPoint& point : capture.latencyPoints) {
        if (point.rttMs && point.probeType == *type)
            values.append(*point.rttMs);
    }
    return median(values);
}

std::optional<double> realLossPct(const CaptureSnapshot& capture) {
    const std::optional<QString> type = referenceProbeType(capture.latencyPoints);
    if (!type)
        return std::nullopt;
    // A target that never answered is cut off, not a lossy link: it doesn't count toward the loss.
    const QSet<QString> blocked = findBlockedTargets(capture.latencyPoints, *type);
    qsizetype counted = 0;
    qsizetype lost = 0;
    for (const LatencyPoint& point : capture.latencyPoints) {
        if (point.probeType != *type || (!blocked.isEmpty() && blocked.contains(point.probeKey())))
            continue;
        ++counted;
        if (point.loss)
            ++lost;
    }
    if (counted == 0)
        return std::nullopt;
    return double(lost) / double(counted) * 100;
}

std::optional<double> medianDownload(const CaptureSnapshot& capture) {
    return medianThroughput(capture.throughputPoints, u"download");
}

std::optional<double> medianUpload(const CaptureSnapshot& capture) {
    return medianThroughput(capture.throughputPoints, u"upload");
}

std::optional<double> netflixMedianMbps(const CaptureSnapshot& capture) {
    QList<double> values;
    for (const CdnThroughputPoint& point : capture.cdnThroughputPoints) {
        if (point.target == u"netflix_oca"_s)
            values.append(point.mbps);
    }
    return median(values);
}

std::optional<double> youtubeSegmentMedianMbps(const CaptureSnapshot& capture) {
    return median(capture.youtubeSegmentMbps);
}

std::optional<double> downloadFigure(const CaptureSnapshot& capture) {
    if (const std::optional<double> figure = medianDownload(capture))
        return figure;
    return capture.stats.downloadMbps;
}

std::optional<double> uploadFigure(const CaptureSnapshot& capture) {
    if (const std::optional<double> figure = medianUpload(capture))
        return figure;
    return capture.stats.uploadMbps;
}

bool isGeo(const CaptureSnapshot& capture) {
    return QualityRating::isGeo(capture.stats);
}

QualityRating quality(const CaptureSnapshot& capture) {
    const bool geo = isGeo(capture);
    return QualityRating::worstOf({QualityRating::rateLatency(realMedianRTT(capture), geo),
                                   QualityRating::rateLoss(realLossPct(capture)),
                                   QualityRating::rateDownload(capture.stats.downloadMbps),
                                   QualityRating::rateUpload(capture.stats.uploadMbps)});
}

QString qualityExplanation(const CaptureSnapshot& capture) {
    return QualityRating::explanation(realMedianRTT(capture), realLossPct(capture),
                                      capture.stats.downloadMbps, capture.stats.uploadMbps, isGeo(capture));
}

QList<ResultFigure> summaryFigures(const CaptureSnapshot& capture) {
    const bool geo = isGeo(capture);
    const std::optional<double> rtt = realMedianRTT(capture);
    const std::optional<double> loss = realLossPct(capture);
    const std::optional<int> rssi = capture.stats.rssi;

    QList<ResultFigure> figures;
    // realMedianRTT is a median (finite by construction) or the tool's end-to-end figure, a JSON number
    // that the JSON reader can't make NaN or infinite: the whole part is a plain number of milliseconds.
    figures.append({u"RTT (P50)"_s, rtt ? NumberText::wholePart(*rtt) + u" ms"_s : missing,
                    QualityRating::rateLatency(rtt, geo), geo ? std::optional(u"GEO"_s) : std::nullopt,
                    std::nullopt});
    figures.append({u"Packet Loss"_s, loss ? NumberText::fixed(*loss, 1) + u'%' : missing,
                    QualityRating::rateLoss(loss), std::nullopt, std::nullopt});
    figures.append(speedFigure(u"Download (P50)"_s, downloadFigure(capture), capture.stats.downloadError,
                               &QualityRating::rateDownload));
    figures.append(speedFigure(u"Upload (P50)"_s, uploadFigure(capture), capture.stats.uploadError,
                               &QualityRating::rateUpload));
    figures.append({u"Signal"_s, rssi ? QString::number(*rssi) + u" dBm"_s : missing,
                    QualityRating::rateSignal(rssi), std::nullopt, std::nullopt});
    return figures;
}

bool hasVideoData(const CaptureSnapshot& capture) {
    return netflixMedianMbps(capture) || capture.youtubeAbrResolution || youtubeSegmentMedianMbps(capture);
}

std::optional<Percentiles> latencyPercentiles(const CaptureSnapshot& capture) {
    return computePercentiles(percentileValues(capture.latencyPoints));
}

QList<ResultFigure> videoFigures(const CaptureSnapshot& capture) {
    QList<ResultFigure> figures;
    if (const std::optional<double> netflix = netflixMedianMbps(capture)) {
        figures.append({u"Netflix"_s, formatMbps(*netflix) + u" Mbps"_s, QualityRating::rateNetflix(netflix),
                        std::nullopt, netflixResLabel(*netflix)});
    }
    if (capture.youtubeAbrResolution) {
        figures.append({u"YouTube"_s, parseYouTubeResolution(*capture.youtubeAbrResolution),
                        QualityRating::rateYouTubeResolution(capture.youtubeAbrResolution), std::nullopt,
                        std::nullopt});
    } else if (const std::optional<double> segment = youtubeSegmentMedianMbps(capture)) {
        figures.append({u"YouTube"_s, formatMbps(*segment) + u" Mbps"_s,
                        QualityRating::rateYouTubeThroughput(segment), std::nullopt,
                        youtubeThroughputResLabel(*segment)});
    }
    if (const std::optional<int> stalls = capture.youtubeAutoStallCount) {
        figures.append(
            {u"Stalls"_s, QString::number(*stalls), rateStalls(*stalls), std::nullopt, std::nullopt});
    }
    if (const std::optional<double> startup = capture.youtubeStartupTimeMs) {
        const QString value = *startup < 1000 ? NumberText::wholePart(*startup) + u"ms"_s
                                              : NumberText::fixed(*startup / 1000, 1) + u"s"_s;
        figures.append({u"Startup"_s, value, rateStartup(*startup, capture.youtubeAdSeen), std::nullopt,
                        startupSubtitle(capture.youtubeColdFirstFrameResolution)});
    }
    if (const std::optional<double> buffer = capture.youtubeAutoBufferHealthS) {
        figures.append({u"Buffer"_s, NumberText::fixed(*buffer, 1) + u's',
                        QualityRating::rateBufferHealth(buffer), std::nullopt,
                        trendArrow(capture.youtubeAutoBufferTrend)});
    }
    return figures;
}

QList<ObservedThroughputPoint> filteredObservedPoints(const CaptureSnapshot& capture) {
    return filteredObservedPoints(capture.observedThroughputPoints, capture.speedTestRanges);
}

} // namespace ResultsAnalysis
