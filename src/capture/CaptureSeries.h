#pragma once

#include <QDateTime>
#include <QList>
#include <QString>

#include <optional>

// The series of one capture: filled live by the event reducer and again from a capture file, read by
// the charts and the results analysis. Plain values; a point's position in its series is its identity.

// One latency sample of one probe; a lost sample has no round trip.
struct LatencyPoint {
    QDateTime date;
    std::optional<double> rttMs;
    bool loss = false;
    QString probeType;
    QString target;

    // "{probeType}:{target}", the name of a probe in the health rules.
    QString probeKey() const { return probeType + u':' + target; }
    friend bool operator==(const LatencyPoint&, const LatencyPoint&) = default;
};

struct ThroughputPoint {
    int testNum = 0;
    double mbps = 0;
    QString direction;
    QString target;
    QDateTime date;
    friend bool operator==(const ThroughputPoint&, const ThroughputPoint&) = default;
};

struct CdnThroughputPoint {
    QString target;
    double mbps = 0;
    QDateTime date;
    friend bool operator==(const CdnThroughputPoint&, const CdnThroughputPoint&) = default;
};

struct RSSIPoint {
    QDateTime date;
    int rssi = 0;
    friend bool operator==(const RSSIPoint&, const RSSIPoint&) = default;
};

struct HopDetail {
    int hop = 0;
    QString ip;
    std::optional<double> rttMs;
    std::optional<double> deltaMs;
    friend bool operator==(const HopDetail&, const HopDetail&) = default;
};

struct TraceroutePoint {
    QDateTime date;
    int hopCount = 0;
    QString firstHop;
    QString target;
    QList<HopDetail> hops;
    friend bool operator==(const TraceroutePoint&, const TraceroutePoint&) = default;
};

struct ObservedThroughputPoint {
    QDateTime date;
    double dlMbps = 0;
    double ulMbps = 0;
    friend bool operator==(const ObservedThroughputPoint&, const ObservedThroughputPoint&) = default;
};

// A stretch of time given to a speed or video test; `end` stays empty while the test runs.
struct SpeedTestRange {
    QDateTime start;
    std::optional<QDateTime> end;
    QString direction;
    int testNum = 0;
    friend bool operator==(const SpeedTestRange&, const SpeedTestRange&) = default;
};

struct CapturedNote {
    QDateTime timestamp;
    QString text;
    friend bool operator==(const CapturedNote&, const CapturedNote&) = default;
};

// One line of the activity strip: what it says, which icon, until when.
struct Activity {
    QString text;
    QString icon;
    QDateTime expiry;
    friend bool operator==(const Activity&, const Activity&) = default;
};
