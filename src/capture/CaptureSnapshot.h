#pragma once

#include "capture/CaptureSeries.h"
#include "capture/CaptureStats.h"

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// What the results analysis reads of one capture: the live figures, the series and the video results,
// as AppState holds them after a live run or a loaded file. The lists are Qt's shared containers, so
// taking a snapshot copies no points. The results screen, the celebration screen and the command line
// all compute from this one value.
struct CaptureSnapshot {
    CaptureStats stats;

    QList<LatencyPoint> latencyPoints;
    QList<ThroughputPoint> throughputPoints;
    QList<CdnThroughputPoint> cdnThroughputPoints;
    QList<ObservedThroughputPoint> observedThroughputPoints;
    QList<SpeedTestRange> speedTestRanges;
    QList<RSSIPoint> rssiHistory;
    QList<TraceroutePoint> traceroutePoints;

    // Video test results.
    QList<double> youtubeSegmentMbps;
    std::optional<QString> youtubeSegmentQuality;
    std::optional<QString> youtubeAbrResolution;
    std::optional<int> youtubeAutoStallCount;
    std::optional<double> youtubeStartupTimeMs;
    std::optional<double> youtubeAutoBufferHealthS;
    std::optional<double> youtubeAutoBandwidthKbps;
    std::optional<QString> youtubeAutoBufferTrend;
    std::optional<QString> youtubeForcedResolution;
    std::optional<QString> youtubeForcedBufferTrend;
    bool youtubeAdSeen = false;
    std::optional<QString> youtubeColdFirstFrameResolution;

    // Identity of the capture, for headers and reports.
    std::optional<QString> captureId;
    std::optional<QDateTime> captureDate;
    std::optional<QString> ssid;       // from the `info` event
    std::optional<QString> vpn;        // from the `info` event
    std::optional<double> durationSec; // from the `complete` event
    std::optional<qint64> sampleCount; // from the `complete` event
};
