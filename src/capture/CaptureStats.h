#pragma once

#include "base/Clock.h"

#include <QDateTime>
#include <QString>

#include <optional>

struct StatusEvent;

// The live figures of one capture, merged from the tool's `status` events. A figure that was never
// reported is empty, never 0.
struct CaptureStats {
    static constexpr const char* defaultDownloadTarget = "speed.cloudflare.com";

    double elapsedSec = 0;
    std::optional<double> remainingSec;
    std::optional<double> latencyMs;
    std::optional<double> lossPct;
    std::optional<double> downloadMbps;
    QString downloadTarget = QString::fromLatin1(defaultDownloadTarget);
    std::optional<QString> downloadError;
    std::optional<double> uploadMbps;
    std::optional<QString> uploadError;
    std::optional<double> dnsMs;
    std::optional<int> rssi;
    std::optional<QDateTime> downloadUpdatedAt;
    std::optional<QDateTime> uploadUpdatedAt;
    std::optional<QDateTime> dnsUpdatedAt;
    QDateTime lastLossChange = Time::clock().now(); // the moment the value was made
    std::optional<double> previousLossPct;
    bool isCalibrationSpeed = false;
    QString latencyProtocol = QStringLiteral("---");
    bool icmpProxied = false;
    std::optional<double> e2eRttMs;
    bool noInternetDetected = false;

    // Merges one `status` event. Figures never go blank once known: an absent value leaves the field,
    // and the screens show the age of the last report instead.
    void update(const StatusEvent& event);

    friend bool operator==(const CaptureStats&, const CaptureStats&) = default;
};
