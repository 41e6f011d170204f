#pragma once

#include "capture/CaptureSeries.h"

#include <QDateTime>
#include <QString>

#include <cmath>
#include <optional>

// Small builders for the series of a test capture, all on one fixed, zoned-UTC time line.
namespace CaptureSamples {

inline QDateTime at(double seconds) {
    static const QDateTime origin = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    return origin.addMSecs(std::llround(seconds * 1000));
}

inline LatencyPoint answered(double second, const QString& type, const QString& target, double rttMs) {
    return {at(second), rttMs, false, type, target};
}

inline LatencyPoint lost(double second, const QString& type, const QString& target) {
    return {at(second), std::nullopt, true, type, target};
}

inline ThroughputPoint speed(int testNum, const QString& direction, double mbps) {
    return {testNum, mbps, direction, QStringLiteral("speed.example"), at(testNum * 60)};
}

inline HopDetail hop(int number, const QString& ip, std::optional<double> rttMs,
                     std::optional<double> deltaMs = std::nullopt) {
    return {number, ip, rttMs, deltaMs};
}

inline TraceroutePoint traceroute(double second, const QList<HopDetail>& hops) {
    return {at(second), int(hops.size()), hops.isEmpty() ? QString() : hops.first().ip,
            QStringLiteral("1.1.1.1"), hops};
}

} // namespace CaptureSamples
