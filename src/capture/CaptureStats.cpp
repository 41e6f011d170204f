#include "capture/CaptureStats.h"

#include "subprocess/JSONEvent.h"

using namespace Qt::StringLiterals;

namespace {
// A network that drops nearly all ICMP says nothing about the user's real loss; UDP takes over then.
constexpr double icmpTrustLimitPct = 90.0;
} // namespace

void CaptureStats::update(const StatusEvent& event) {
    elapsedSec = event.elapsedSec;
    remainingSec = event.remainingSec;

    if (event.e2eRttMs)
        e2eRttMs = event.e2eRttMs;
    if (event.icmpProxied.value_or(false))
        icmpProxied = true;
    noInternetDetected = event.noInternet.value_or(false);

    const bool icmpTrusted = event.icmpLossPct && *event.icmpLossPct < icmpTrustLimitPct;
    if (icmpProxied && e2eRttMs) {
        latencyMs = e2eRttMs;
        if (icmpTrusted)
            lossPct = event.icmpLossPct;
        else if (event.udpLossPct)
            lossPct = event.udpLossPct;
        latencyProtocol = u"HTTP"_s;
    } else if (icmpTrusted && event.icmpRttMs) {
        latencyMs = event.icmpRttMs;
        lossPct = event.icmpLossPct;
        latencyProtocol = u"ICMP"_s;
    } else if (event.udpRttMs) {
        latencyMs = event.udpRttMs;
        lossPct = event.udpLossPct;
        latencyProtocol = u"UDP"_s;
    }

    const QDateTime now = Time::clock().now();
    if (event.throughputDownMbps) {
        downloadMbps = event.throughputDownMbps;
        downloadUpdatedAt = now;
    }
    if (event.throughputUpMbps) {
        uploadMbps = event.throughputUpMbps;
        uploadUpdatedAt = now;
    }
    if (event.dnsMs) {
        dnsMs = event.dnsMs;
        dnsUpdatedAt = now;
    }
    if (event.rssi)
        rssi = int(*event.rssi);

    if (lossPct != previousLossPct) {
        lastLossChange = now;
        previousLossPct = lossPct;
    }
}
