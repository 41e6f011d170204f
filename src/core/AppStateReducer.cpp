// The live event reducer: every event of the measurement tool becomes a change of AppState. A pure
// sequence of field updates with no input but the event, the present moment and the state itself.

#include "core/AppState.h"

#include "base/NumberText.h"
#include "core/HoneycombState.h"

#include <climits>
#include <cmath>

using namespace Qt::StringLiterals;

namespace {

// A rate in a summary: one decimal below 1, a whole number from there on.
QString shortRate(double mbps) {
    return mbps < 1.0 ? NumberText::fixed(mbps, 1) : NumberText::wholePart(mbps);
}

// "ABR" text of a resolution: the number after the last "x", as "4K" above 2159 and "{n}p" up to it.
QString abrResolutionText(const QString& resolution) {
    const qsizetype x = resolution.lastIndexOf(u'x');
    bool ok = false;
    const qint64 height = x >= 0 ? resolution.mid(x + 1).toLongLong(&ok) : 0;
    if (!ok)
        return resolution;
    return height > 2159 ? u"4K"_s : QString::number(height) + u'p';
}

} // namespace

void AppState::handleEvent(const JSONEvent& event) {
    std::visit(
        [this, &event](const auto& payload) {
            using T = std::decay_t<decltype(payload)>;
            if constexpr (std::is_same_v<T, InfoEvent>)
                reduceInfo(payload);
            else if constexpr (std::is_same_v<T, StatusEvent>)
                reduceStatus(payload);
            else if constexpr (std::is_same_v<T, ProbeEvent>)
                reduceProbe(payload);
            else if constexpr (std::is_same_v<T, ThroughputStatusEvent>)
                reduceThroughputStatus(payload);
            else if constexpr (std::is_same_v<T, ThroughputResultEvent>)
                reduceThroughputResult(payload);
            else if constexpr (std::is_same_v<T, CDNThroughputResultEvent>)
                reduceCdnThroughputResult(payload);
            else if constexpr (std::is_same_v<T, YouTubeSegmentResultEvent>)
                reduceYouTubeSegmentResult(payload);
            else if constexpr (std::is_same_v<T, YouTubeAbrResultEvent>)
                reduceYouTubeAbrResult(payload);
            else if constexpr (std::is_same_v<T, TracerouteResultEvent>)
                reduceTracerouteResult(payload);
            else if constexpr (std::is_same_v<T, CompleteEvent>)
                reduceComplete(payload);
            else if constexpr (std::is_same_v<T, CalibrationCompleteEvent>)
                reduceCalibrationComplete(payload);
            else if constexpr (std::is_same_v<T, IcmpProxyDetectedEvent>)
                reduceIcmpProxyDetected(payload);
            else if constexpr (std::is_same_v<T, CaptureAutoStopEvent>)
                reduceCaptureAutoStop(payload);
            else if constexpr (std::is_same_v<T, SystemSleepEvent>)
                reduceSystemSleep(payload);
            else if constexpr (std::is_same_v<T, NetworkChangeEvent>)
                reduceNetworkChange(payload);
            else if constexpr (std::is_same_v<T, RoundSummaryEvent>)
                reduceRoundSummary(payload);
            else if constexpr (std::is_same_v<T, NoteEvent>)
                reduceNote(payload);
            else if constexpr (std::is_same_v<T, ErrorEvent>)
                reduceError(payload);
            else if constexpr (std::is_same_v<T, UploadStartEvent> ||
                               std::is_same_v<T, UploadProgressEvent> ||
                               std::is_same_v<T, UploadCompleteEvent> ||
                               std::is_same_v<T, UploadErrorEvent> || std::is_same_v<T, UploadSkippedEvent> ||
                               std::is_same_v<T, UploadSummaryEvent>)
                handleUploadEvent(event);
            // The capture reminder and unknown events change nothing.
        },
        event.payload);
}

void AppState::reduceInfo(const InfoEvent& event) {
    m_infoEvent = event;
    m_captureId = event.captureId;
    m_captureDate = Time::clock().now(); // the event carries no time of its own
    m_captureCategory = event.category;
    // The honeycomb's target is part of the new session, so observers see both at once.
    startHoneycombTimer(event.durationSecs);
    emit sessionChanged();
}

void AppState::reduceStatus(const StatusEvent& event) {
    m_stats.update(event);
    emit statsChanged();
    if (event.rssi) {
        m_snapshot.rssiHistory.append(RSSIPoint{Time::clock().now(), int(*event.rssi)});
        emit seriesChanged();
    }
}

void AppState::reduceProbe(const ProbeEvent& event) {
    const QDateTime time = eventTime(event.ts);
    if (event.type == u"throughput_observed"_s) {
        // A passive rate, not a latency sample.
        if (event.dlMbps && event.ulMbps) {
            m_snapshot.observedThroughputPoints.append(
                ObservedThroughputPoint{time, *event.dlMbps, *event.ulMbps});
            emit seriesChanged();
        }
        return;
    }

    // Health: tells a target that is singled out from a network that is down.
    const QString key = event.type + u':' + event.target;
    if (event.loss) {
        auto first = m_firstLossTime.find(key);
        if (first == m_firstLossTime.end())
            first = m_firstLossTime.insert(key, time);
        const bool lostLongEnough = first.value().msecsTo(time) >= qint64(blockedAfterSeconds * 1000);
        const bool othersAnswer = m_lastSuccessAnyProbe &&
                                  m_lastSuccessAnyProbe->msecsTo(time) < qint64(blockedAfterSeconds * 1000);
        if (lostLongEnough && othersAnswer && !m_blockedProbes.contains(key)) {
            m_blockedProbes.insert(key);
            emit blockedProbesChanged();
        }
    } else {
        m_firstLossTime.remove(key);
        if (m_blockedProbes.remove(key))
            emit blockedProbesChanged();
        m_lastSuccessAnyProbe = time;
    }

    m_latencyBuffer.append(
        LatencyPoint{time, event.rttMs, event.loss, intern(event.type), intern(event.target)});

    QualityRating quality = QualityRating::broken;
    if (!event.loss)
        quality = QualityRating::rateLatency(event.rttMs, QualityRating::isGeo(m_stats))
                      .value_or(QualityRating::good);
    if (!m_currentWindowWorstQuality || quality > *m_currentWindowWorstQuality)
        m_currentWindowWorstQuality = quality;

    const QString host = event.target.section(u':', 0, 0);
    if (event.loss) {
        m_latestProbeTick = event.type + u' ' + host + u" … loss"_s;
        emit latestProbeTickChanged();
    } else if (event.rttMs) {
        m_latestProbeTick =
            event.type + u' ' + host + u" … "_s + NumberText::wholePart(*event.rttMs) + u"ms"_s;
        emit latestProbeTickChanged();
    }
}

void AppState::reduceThroughputStatus(const ThroughputStatusEvent& event) {
    m_throughputPhase = event.phase;
    m_throughputDirection = event.direction;
    m_throughputRoundNum = event.roundNum;
    m_throughputTotalRounds = event.totalRounds;
    m_throughputProbeType = event.probeType;
    emit throughputStateChanged();

    const bool isVideoTest = event.probeType && videoStreamingProbeTypes.contains(*event.probeType);

    if (event.phase == u"calibrating"_s) {
        setPersistentActivity(
            activity(u"Calibrating link performance…"_s, u"arrow.2.circlepath"_s, persistentActivitySeconds));
    } else if (event.phase == u"testing"_s && event.direction) {
        const QString label = event.roundNum && event.totalRounds
                                  ? u"Round %1/%2"_s.arg(*event.roundNum).arg(*event.totalRounds)
                                  : u"Speed test"_s;
        QString subject;
        if (!event.probeType || *event.probeType == u"cf_speed"_s)
            subject = *event.direction == u"download"_s ? u"downloading"_s : u"uploading"_s;
        else
            subject = probeDisplayName(*event.probeType);
        setPersistentActivity(activity(label + u": "_s + subject + u'…',
                                       isVideoTest ? u"play.rectangle.fill"_s : u"chart.bar"_s,
                                       persistentActivitySeconds));
    } else if (event.phase == u"idle"_s) {
        setPersistentActivity(std::nullopt);
        // A round's result is told by its round summary; a video test has no speed figures.
        if (!isVideoTest && !event.roundNum && m_stats.downloadMbps && m_stats.uploadMbps) {
            setFlashActivity(activity(u"Speed test: %1/%2 Mbps"_s.arg(shortRate(*m_stats.downloadMbps),
                                                                      shortRate(*m_stats.uploadMbps)),
                                      u"checkmark"_s, flashActivitySeconds));
        }
    }

    const QDateTime time = eventTime(event.ts);
    if (event.phase == u"testing"_s) {
        const SpeedTestRange range{time, std::nullopt, event.direction.value_or(u"download"_s),
                                   int(event.testNum.value_or(0))};
        if (isVideoTest) {
            m_videoStreamingRanges.append(range);
            emit seriesChanged();
        } else if (event.direction == u"download"_s) {
            // Upload phases make no range: a speed range is as long as its download phase.
            m_snapshot.speedTestRanges.append(range);
            emit seriesChanged();
        }
    } else if (event.phase == u"idle"_s) {
        closeOpenRanges(isVideoTest ? m_videoStreamingRanges : m_snapshot.speedTestRanges, time);
    }
}

void AppState::reduceThroughputResult(const ThroughputResultEvent& event) {
    const QString target = event.target.value_or(QString::fromLatin1(CaptureStats::defaultDownloadTarget));
    if (event.error) {
        if (event.direction == u"download"_s)
            m_stats.downloadError = event.error;
        else if (event.direction == u"upload"_s)
            m_stats.uploadError = event.error;
        emit statsChanged();
        return;
    }

    m_snapshot.throughputPoints.append(
        ThroughputPoint{int(event.testNum), event.mbps, event.direction, target, eventTime(event.ts)});
    emit seriesChanged();

    m_stats.isCalibrationSpeed = false;
    if (event.direction == u"download"_s) {
        m_stats.downloadMbps = event.mbps;
        m_stats.downloadTarget = target;
        m_stats.downloadError.reset();
    } else if (event.direction == u"upload"_s) {
        m_stats.uploadMbps = event.mbps;
        m_stats.uploadError.reset();
        if (event.mbps > 0)
            setMeasuredUplinkMbps(event.mbps);
    }
    emit statsChanged();

    const std::optional<QualityRating> quality = event.direction == u"download"_s
                                                     ? QualityRating::rateDownload(event.mbps)
                                                     : QualityRating::rateUpload(event.mbps);
    m_honeycomb->fillNext(quality.value_or(QualityRating::good), true);
}

void AppState::reduceCdnThroughputResult(const CDNThroughputResultEvent& event) {
    m_snapshot.cdnThroughputPoints.append(CdnThroughputPoint{event.target, event.mbps, eventTime(event.ts)});
    emit seriesChanged();
    QString label = event.target;
    if (event.target == u"netflix_oca"_s)
        label = u"Netflix OCA"_s;
    else if (event.target == u"akamai"_s)
        label = u"Akamai"_s;
    setFlashActivity(activity(label + u": "_s + NumberText::wholePart(event.mbps) + u" Mbps down"_s,
                              u"antenna.radiowaves.left.and.right"_s, flashActivitySeconds));
}

void AppState::reduceYouTubeSegmentResult(const YouTubeSegmentResultEvent& event) {
    m_snapshot.youtubeSegmentMbps.append(event.throughputMbps);
    m_snapshot.youtubeSegmentQuality = event.recommendedQuality;
    emit videoResultsChanged();
}

void AppState::reduceYouTubeAbrResult(const YouTubeAbrResultEvent& event) {
    CaptureSnapshot& v = m_snapshot;
    if (event.autoResolution)
        v.youtubeAbrResolution = event.autoResolution;
    if (event.autoStallCount)
        v.youtubeAutoStallCount = int(std::clamp<qint64>(*event.autoStallCount, INT_MIN, INT_MAX));
    else
        v.youtubeAutoStallCount.reset();
    v.youtubeStartupTimeMs = event.startupTimeMs;
    v.youtubeAutoBufferHealthS = event.autoBufferHealthS;
    v.youtubeAutoBufferTrend = event.autoBufferTrend;
    v.youtubeAutoBandwidthKbps = event.autoBandwidthKbps;
    if (event.forcedResolution)
        v.youtubeForcedResolution = event.forcedResolution;
    if (event.forcedBufferTrend)
        v.youtubeForcedBufferTrend = event.forcedBufferTrend;
    if (event.adSeen.value_or(false))
        v.youtubeAdSeen = true;
    if (event.coldFirstFrameResolution)
        v.youtubeColdFirstFrameResolution = event.coldFirstFrameResolution;
    emit videoResultsChanged();
}

void AppState::reduceTracerouteResult(const TracerouteResultEvent& event) {
    QList<HopDetail> hops;
    hops.reserve(event.hops.size());
    std::optional<double> previousRtt;
    for (qsizetype i = 0; i < event.hops.size(); ++i) {
        const TracerouteHop& hop = event.hops[i];
        HopDetail detail{int(hop.hop), hop.ip, hop.rttMs, std::nullopt};
        if (hop.rttMs) {
            // The first hop's delta is its own round trip; a later one's is the rise over the hop
            // before, or its own round trip when that hop didn't answer.
            const double delta = i > 0 && previousRtt ? *hop.rttMs - *previousRtt : *hop.rttMs;
            detail.deltaMs = std::max(0.0, delta);
        }
        previousRtt = hop.rttMs;
        hops.append(detail);
    }
    const QString firstHop = event.hops.isEmpty() ? QString() : event.hops.first().ip;
    m_snapshot.traceroutePoints.append(
        TraceroutePoint{eventTime(event.ts), int(event.hopCount), firstHop, event.target, hops});
    emit seriesChanged();
    setFlashActivity(activity(u"Traceroute: %1 hops to %2"_s.arg(event.hopCount).arg(event.target),
                              u"point.3.connected.trianglepath.dotted"_s, flashActivitySeconds));
}

void AppState::reduceComplete(const CompleteEvent& event) {
    m_completeEvent = event;
    emit sessionChanged();
    flushLatencyBuffer();
    stopFlushTimer();
    stopHoneycombTimer();
    closeOpenRanges(m_snapshot.speedTestRanges, Time::clock().now());

    auto lastRate = [this](const QString& direction) -> std::optional<double> {
        const QList<ThroughputPoint>& points = m_snapshot.throughputPoints;
        for (auto it = points.crbegin(); it != points.crend(); ++it) {
            if (it->direction == direction)
                return it->mbps;
        }
        return std::nullopt;
    };
    if (!m_stats.downloadMbps)
        m_stats.downloadMbps = lastRate(u"download"_s);
    if (!m_stats.uploadMbps)
        m_stats.uploadMbps = lastRate(u"upload"_s);
    emit statsChanged();
    setScreen(Screen::celebration);
}

void AppState::reduceCalibrationComplete(const CalibrationCompleteEvent& event) {
    if (!m_stats.downloadMbps)
        m_stats.downloadMbps = event.downMbps;
    if (!m_stats.uploadMbps)
        m_stats.uploadMbps = event.upMbps;
    m_stats.isCalibrationSpeed = true;
    emit statsChanged();
    if (event.upMbps > 0)
        setMeasuredUplinkMbps(event.upMbps);
}

void AppState::reduceIcmpProxyDetected(const IcmpProxyDetectedEvent& event) {
    // Something between the user and the network answers ICMP, so its round trips mean nothing.
    m_stats.icmpProxied = true;
    m_stats.e2eRttMs = event.e2eRttP50;
    m_stats.latencyMs = event.e2eRttP50;
    m_stats.latencyProtocol = u"HTTP"_s;
    emit statsChanged();
}

void AppState::reduceCaptureAutoStop(const CaptureAutoStopEvent& event) {
    m_stopReason =
        u"Auto-stopped after %1h (use --no-limit for longer captures)"_s.arg(event.elapsedSec / 3600);
    emit sessionChanged();
}

void AppState::reduceSystemSleep(const SystemSleepEvent& event) {
    const qint64 minutes = NumberText::wholeSeconds(event.gapSec / 60.0);
    if (event.action == u"stop"_s) {
        m_stopReason = u"Stopped after %1 min sleep — network changed"_s.arg(minutes);
        emit sessionChanged();
    } else {
        addWarning(u"Resumed after %1 min sleep (same network)"_s.arg(minutes));
    }
}

void AppState::reduceNetworkChange(const NetworkChangeEvent& event) {
    auto orUnknown = [](const std::optional<QString>& ssid) {
        return ssid && !ssid->isEmpty() ? *ssid : u"?"_s;
    };
    const QString text =
        u"Network changed: "_s + orUnknown(event.ssidBefore) + u" → "_s + orUnknown(event.ssidAfter);
    addWarning(text);
    setFlashActivity(activity(text, u"wifi.exclamationmark"_s, networkChangeFlashSeconds));
}

void AppState::reduceRoundSummary(const RoundSummaryEvent& event) {
    auto lastCdnRate = [this](const QString& target) -> std::optional<double> {
        const QList<CdnThroughputPoint>& points = m_snapshot.cdnThroughputPoints;
        for (auto it = points.crbegin(); it != points.crend(); ++it) {
            if (it->target == target)
                return it->mbps;
        }
        return std::nullopt;
    };

    QStringList parts;
    for (const QString& probe : event.probes) {
        if (probe == u"cf_speed"_s) {
            if (m_stats.downloadMbps && m_stats.uploadMbps)
                parts.append(shortRate(*m_stats.downloadMbps) + u'/' + shortRate(*m_stats.uploadMbps) +
                             u" Mbps"_s);
        } else if (probe == u"netflix_oca"_s) {
            if (const auto rate = lastCdnRate(probe))
                parts.append(u"NFLX "_s + NumberText::wholePart(*rate));
        } else if (probe == u"youtube_segment"_s) {
            if (!m_snapshot.youtubeSegmentMbps.isEmpty()) {
                QString part = u"YT "_s + shortRate(m_snapshot.youtubeSegmentMbps.last()) + u" Mbps"_s;
                if (const auto label = youtubeQualityLabel(m_snapshot.youtubeSegmentQuality))
                    part += u" ("_s + *label + u')';
                parts.append(part);
            }
        } else if (probe == u"youtube_abr"_s) {
            if (m_snapshot.youtubeAbrResolution)
                parts.append(u"ABR "_s + abrResolutionText(*m_snapshot.youtubeAbrResolution));
        } else if (probe == u"akamai"_s) {
            if (const auto rate = lastCdnRate(probe))
                parts.append(u"Akamai "_s + NumberText::wholePart(*rate));
        }
    }
    if (parts.isEmpty())
        return;
    QString text = u"Round %1/%2: "_s.arg(event.roundNum).arg(event.totalRounds) + parts.join(u" · "_s);
    if (event.templateName == u"retest"_s)
        text += u" (retest)"_s;
    setFlashActivity(activity(text, u"checkmark"_s, flashActivitySeconds));
}

void AppState::reduceNote(const NoteEvent& event) {
    m_capturedNotes.append(CapturedNote{eventTime(event.ts), event.text});
    emit seriesChanged();
}

void AppState::reduceError(const ErrorEvent& event) {
    if (!event.fatal) {
        addWarning(event.message);
        return;
    }
    setErrorMessage(event.message);
    flushLatencyBuffer();
    stopFlushTimer();
    setScreen(Screen::results);
}
