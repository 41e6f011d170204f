#include "capture/CaptureStats.h"

#include "base/VirtualClock.h"
#include "subprocess/JSONEvent.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

class CaptureStatsTest : public ::testing::Test {
protected:
    VirtualClock time;
    ScopedVirtualTime scope{time};
};

TEST_F(CaptureStatsTest, NewStatsHaveTheirDefaults) {
    const CaptureStats stats;
    EXPECT_EQ(stats.elapsedSec, 0);
    EXPECT_FALSE(stats.latencyMs);
    EXPECT_FALSE(stats.lossPct);
    EXPECT_EQ(stats.latencyProtocol, u"---"_s);
    EXPECT_EQ(stats.lastLossChange, time.now());
    EXPECT_FALSE(stats.icmpProxied);
    EXPECT_FALSE(stats.noInternetDetected);
    EXPECT_FALSE(stats.isCalibrationSpeed);
}

TEST_F(CaptureStatsTest, TrustedIcmpGivesLatencyAndLoss) {
    CaptureStats stats;
    StatusEvent event;
    event.elapsedSec = 12;
    event.remainingSec = 288;
    event.icmpRttMs = 23.5;
    event.icmpLossPct = 1.0;
    event.udpRttMs = 30;
    event.udpLossPct = 2;
    stats.update(event);
    EXPECT_EQ(stats.elapsedSec, 12);
    EXPECT_EQ(stats.remainingSec, 288);
    EXPECT_EQ(stats.latencyMs, 23.5);
    EXPECT_EQ(stats.lossPct, 1.0);
    EXPECT_EQ(stats.latencyProtocol, u"ICMP"_s);
}

TEST_F(CaptureStatsTest, IcmpLossOfNinetyFiveWithUdpTakesUdp) {
    CaptureStats stats;
    StatusEvent event;
    event.icmpRttMs = 5;
    event.icmpLossPct = 95;
    event.udpRttMs = 41;
    event.udpLossPct = 3;
    stats.update(event);
    EXPECT_EQ(stats.latencyMs, 41);
    EXPECT_EQ(stats.lossPct, 3);
    EXPECT_EQ(stats.latencyProtocol, u"UDP"_s);
}

TEST_F(CaptureStatsTest, IcmpLossOfExactlyNinetyIsNotTrusted) {
    CaptureStats stats;
    StatusEvent event;
    event.icmpRttMs = 5;
    event.icmpLossPct = 90.0;
    stats.update(event);
    EXPECT_FALSE(stats.latencyMs);
    EXPECT_EQ(stats.latencyProtocol, u"---"_s);
}

TEST_F(CaptureStatsTest, IcmpLossOfNinetyFiveWithoutUdpLeavesEverything) {
    CaptureStats stats;
    StatusEvent first;
    first.icmpRttMs = 20;
    first.icmpLossPct = 0;
    stats.update(first);
    StatusEvent second;
    second.icmpRttMs = 5;
    second.icmpLossPct = 95;
    stats.update(second);
    EXPECT_EQ(stats.latencyMs, 20);
    EXPECT_EQ(stats.lossPct, 0);
    EXPECT_EQ(stats.latencyProtocol, u"ICMP"_s);
}

TEST_F(CaptureStatsTest, UdpBranchTakesAnAbsentLossAsAbsent) {
    CaptureStats stats;
    StatusEvent first;
    first.udpRttMs = 30;
    first.udpLossPct = 4;
    stats.update(first);
    StatusEvent second;
    second.udpRttMs = 31;
    stats.update(second);
    EXPECT_EQ(stats.latencyMs, 31);
    EXPECT_FALSE(stats.lossPct);
}

TEST_F(CaptureStatsTest, ProxiedIcmpFollowsTheStoredEndToEndRoundTripLater) {
    CaptureStats stats;
    StatusEvent first;
    first.icmpProxied = true;
    first.e2eRttMs = 180;
    first.icmpRttMs = 2;
    first.icmpLossPct = 0;
    stats.update(first);
    EXPECT_EQ(stats.latencyMs, 180);
    EXPECT_EQ(stats.lossPct, 0);
    EXPECT_EQ(stats.latencyProtocol, u"HTTP"_s);

    StatusEvent later; // neither the flag nor the round trip: both stay as stored
    later.icmpRttMs = 3;
    later.icmpLossPct = 97;
    later.udpLossPct = 6;
    stats.update(later);
    EXPECT_TRUE(stats.icmpProxied);
    EXPECT_EQ(stats.latencyMs, 180);
    EXPECT_EQ(stats.lossPct, 6) << "untrusted ICMP loss gives way to UDP loss";
    EXPECT_EQ(stats.latencyProtocol, u"HTTP"_s);

    StatusEvent falseFlag;
    falseFlag.icmpProxied = false;
    stats.update(falseFlag);
    EXPECT_TRUE(stats.icmpProxied) << "a false flag never clears it";
}

TEST_F(CaptureStatsTest, RatesAgeInsteadOfGoingBlank) {
    CaptureStats stats;
    StatusEvent first;
    first.throughputDownMbps = 48.2;
    first.throughputUpMbps = 9.1;
    first.dnsMs = 14;
    first.rssi = -61;
    stats.update(first);
    const QDateTime reported = time.now();
    time.advance(5);
    stats.update(StatusEvent{});
    EXPECT_EQ(stats.downloadMbps, 48.2);
    EXPECT_EQ(stats.uploadMbps, 9.1);
    EXPECT_EQ(stats.dnsMs, 14);
    EXPECT_EQ(stats.rssi, -61);
    EXPECT_EQ(stats.downloadUpdatedAt, reported);
    EXPECT_EQ(stats.uploadUpdatedAt, reported);
    EXPECT_EQ(stats.dnsUpdatedAt, reported);
}

TEST_F(CaptureStatsTest, NoInternetFollowsTheLatestEventAndAbsentReadsFalse) {
    CaptureStats stats;
    StatusEvent down;
    down.noInternet = true;
    stats.update(down);
    EXPECT_TRUE(stats.noInternetDetected);
    stats.update(StatusEvent{});
    EXPECT_FALSE(stats.noInternetDetected);
}

TEST_F(CaptureStatsTest, SameLossInTenEventsDoesNotMoveTheLossClock) {
    CaptureStats stats;
    StatusEvent event;
    event.icmpRttMs = 20;
    event.icmpLossPct = 2.5;
    time.advance(1);
    stats.update(event);
    const QDateTime changed = time.now();
    EXPECT_EQ(stats.lastLossChange, changed);
    EXPECT_EQ(stats.previousLossPct, 2.5);
    for (int i = 0; i < 10; ++i) {
        time.advance(1);
        stats.update(event);
    }
    EXPECT_EQ(stats.lastLossChange, changed);
}

TEST_F(CaptureStatsTest, LossGoingBlankCountsAsAChange) {
    CaptureStats stats;
    StatusEvent withLoss;
    withLoss.udpRttMs = 20;
    withLoss.udpLossPct = 1;
    stats.update(withLoss);
    time.advance(3);
    StatusEvent withoutLoss;
    withoutLoss.udpRttMs = 20;
    stats.update(withoutLoss);
    EXPECT_EQ(stats.lastLossChange, time.now());
    EXPECT_FALSE(stats.previousLossPct);
}

TEST_F(CaptureStatsTest, TwoEmptyLossValuesAreEqual) {
    CaptureStats stats;
    time.advance(2);
    stats.update(StatusEvent{});
    EXPECT_EQ(stats.lastLossChange, VirtualClock::defaultStart()) << "no loss before, none now: no change";
}
