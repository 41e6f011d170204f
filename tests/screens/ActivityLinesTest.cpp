#include "screens/ActivityLines.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

Activity activityAt(const QString& text, const QString& icon, const QDateTime& expiry) {
    return Activity{text, icon, expiry};
}

} // namespace

TEST(ActivityLinesPick, LiveFlashComesBeforeLivePersistentBeforeTheTick) {
    const QDateTime now = VirtualClock::defaultStart();
    const Activity flash = activityAt(u"Traceroute: 7 hops to example.net"_s, u"point"_s, now.addSecs(4));
    const Activity persistent = activityAt(u"Speed test: downloading…"_s, u"chart.bar"_s, now.addSecs(120));
    const QString tick = u"ping 1.1.1.1 … 23ms"_s;

    EXPECT_EQ(ActivityLines::pick(flash, persistent, tick, now),
              (ActivityContent{flash.text, flash.icon, false}));
    EXPECT_EQ(ActivityLines::pick(std::nullopt, persistent, tick, now),
              (ActivityContent{persistent.text, persistent.icon, false}));
    EXPECT_EQ(ActivityLines::pick(std::nullopt, std::nullopt, tick, now),
              (ActivityContent{tick, u"waveform.path.ecg"_s, true}));
}

TEST(ActivityLinesPick, ExpiredNoticesAreSkippedAndAnExpiryOfNowCountsAsPast) {
    const QDateTime now = VirtualClock::defaultStart();
    const Activity expiredFlash = activityAt(u"old flash"_s, u"checkmark"_s, now.addMSecs(-1));
    const Activity flashExpiringNow = activityAt(u"flash due now"_s, u"checkmark"_s, now);
    const Activity persistent = activityAt(u"persistent"_s, u"chart.bar"_s, now.addSecs(60));
    const Activity expiredPersistent = activityAt(u"old persistent"_s, u"chart.bar"_s, now.addSecs(-60));
    const QString tick = u"tcp host … 12ms"_s;

    EXPECT_EQ(ActivityLines::pick(expiredFlash, persistent, tick, now)->text, u"persistent"_s);
    EXPECT_EQ(ActivityLines::pick(flashExpiringNow, persistent, tick, now)->text, u"persistent"_s);
    EXPECT_EQ(ActivityLines::pick(expiredFlash, expiredPersistent, tick, now)->text, tick);
}

TEST(ActivityLinesPick, NothingLiveAndNoTickLeavesTheLineAlone) {
    const QDateTime now = VirtualClock::defaultStart();
    const Activity expired = activityAt(u"gone"_s, u"checkmark"_s, now.addSecs(-1));
    EXPECT_FALSE(ActivityLines::pick(expired, expired, std::nullopt, now));
    EXPECT_FALSE(ActivityLines::pick(std::nullopt, std::nullopt, std::nullopt, now));
}

class ActivityLinesTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};
    ActivityLines line{state};

    void feed(const QString& json) { state.pythonProcess().processLine(json); }
    void probe(int rttMs) {
        feed(uR"({"event":"probe","type":"ping","target":"1.1.1.1","loss":false,"rtt_ms":%1,"ts":"x"})"_s.arg(
            rttMs));
    }
    // A flash of 4 seconds.
    void traceroute(int hops) {
        feed(uR"({"event":"traceroute_result","target":"example.net","hops":[],"hop_count":%1,"ts":"x"})"_s
                 .arg(hops));
    }
    // A persistent line of 120 seconds.
    void downloadTestStarts() {
        feed(uR"({"event":"throughput_status","phase":"testing","direction":"download","ts":"x"})"_s);
    }
};

TEST_F(ActivityLinesTest, StartShowsThePresentStateAfterTheFade) {
    probe(23);
    QSignalSpy opacity(&line, &ActivityLines::opacityChanged);
    line.start();
    EXPECT_TRUE(line.isTicking());
    EXPECT_EQ(line.opacity(), 0) << "the old text fades out first";
    EXPECT_EQ(line.displayedText(), QString());
    time.advance(0.19);
    EXPECT_EQ(line.displayedText(), QString());
    time.advance(0.01);
    EXPECT_EQ(line.displayedText(), u"ping 1.1.1.1 … 23ms"_s);
    EXPECT_EQ(line.iconName(), u"waveform.path.ecg"_s);
    EXPECT_TRUE(line.isMonospace());
    EXPECT_EQ(line.opacity(), 1);
    EXPECT_EQ(opacity.count(), 2);
}

TEST_F(ActivityLinesTest, ProbeReadingsChangeTheLineAtMostOnceATick) {
    probe(20);
    line.start();
    time.advance(0.2);
    QSignalSpy content(&line, &ActivityLines::contentChanged);
    for (int rtt = 21; rtt <= 60; ++rtt) {
        probe(rtt);
        time.advance(0.04);
    }
    // 1.6 s of readings: the first tick at 1.8 s hasn't come yet.
    EXPECT_EQ(line.displayedText(), u"ping 1.1.1.1 … 20ms"_s);
    EXPECT_EQ(content.count(), 0);
    time.advance(0.2 + ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"ping 1.1.1.1 … 60ms"_s);
    EXPECT_EQ(content.count(), 1);
}

TEST_F(ActivityLinesTest, ANoticeShowsWithoutWaitingForTheTick) {
    probe(20);
    line.start();
    time.advance(0.5);
    traceroute(7);
    EXPECT_EQ(line.opacity(), 0);
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 7 hops to example.net"_s);
    EXPECT_EQ(line.iconName(), u"point.3.connected.trianglepath.dotted"_s);
    EXPECT_FALSE(line.isMonospace());
}

TEST_F(ActivityLinesTest, FlashExpiredAtTheTickIsSkippedForThePersistentLine) {
    line.start();
    downloadTestStarts();
    traceroute(9); // the flash lives 4 seconds
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 9 hops to example.net"_s) << "both live: the flash shows";
    time.advance(3.9 - ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 9 hops to example.net"_s);
    // Expired at 4.0 s, but nothing replaces it before the tick of 5.4 s.
    time.advance(1.4);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 9 hops to example.net"_s);
    time.advance(0.1 + ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"Speed test: downloading…"_s);
    EXPECT_EQ(line.iconName(), u"chart.bar"_s);
}

TEST_F(ActivityLinesTest, FlashExpiredWithoutPersistentLineGivesWayToTheTick) {
    probe(31);
    line.start();
    traceroute(5);
    time.advance(ActivityLines::fadeSeconds);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 5 hops to example.net"_s);
    time.advance(5.4);
    EXPECT_EQ(line.displayedText(), u"ping 1.1.1.1 … 31ms"_s);
    EXPECT_TRUE(line.isMonospace());
}

TEST_F(ActivityLinesTest, AnExpiredNoticeStaysWhileThereIsNoTickYet) {
    line.start();
    traceroute(3);
    time.advance(30);
    EXPECT_EQ(line.displayedText(), u"Traceroute: 3 hops to example.net"_s);
}

TEST_F(ActivityLinesTest, SameTextAgainDoesNotFadeEvenWithAnotherIcon) {
    line.setContent(u"Calibrating link performance…"_s, u"arrow.2.circlepath"_s, false);
    time.advance(ActivityLines::fadeSeconds);
    QSignalSpy opacity(&line, &ActivityLines::opacityChanged);
    QSignalSpy content(&line, &ActivityLines::contentChanged);
    line.setContent(u"Calibrating link performance…"_s, u"checkmark"_s, true);
    time.advance(1);
    EXPECT_EQ(opacity.count(), 0);
    EXPECT_EQ(content.count(), 0);
    EXPECT_EQ(line.iconName(), u"arrow.2.circlepath"_s);
    EXPECT_FALSE(line.isMonospace());
}

TEST_F(ActivityLinesTest, ANewerChangeReplacesOneStillFadingOut) {
    line.setContent(u"first"_s, u"checkmark"_s, false);
    time.advance(0.1);
    line.setContent(u"second"_s, u"chart.bar"_s, false);
    QSignalSpy content(&line, &ActivityLines::contentChanged);
    time.advance(0.1);
    EXPECT_EQ(line.displayedText(), QString()) << "the first text never shows";
    time.advance(0.1);
    EXPECT_EQ(line.displayedText(), u"second"_s);
    EXPECT_EQ(content.count(), 1);
}

TEST_F(ActivityLinesTest, StoppedLineFollowsNeitherTickNorNotices) {
    probe(20);
    line.start();
    time.advance(0.2);
    line.stop();
    EXPECT_FALSE(line.isTicking());
    traceroute(4);
    probe(80);
    time.advance(10);
    EXPECT_EQ(line.displayedText(), u"ping 1.1.1.1 … 20ms"_s);
    EXPECT_EQ(line.opacity(), 1);
}

TEST_F(ActivityLinesTest, ANewCaptureClearsTheLine) {
    probe(20);
    line.start();
    time.advance(0.2);
    ASSERT_FALSE(line.displayedText().isEmpty());
    state.startReplay(CaptureConfig{});
    EXPECT_TRUE(ActivityLines::isFreshSession(state));
    EXPECT_EQ(line.displayedText(), QString());
    EXPECT_EQ(line.iconName(), QString());
    EXPECT_EQ(line.opacity(), 1);

    feed(uR"({"event":"info","capture_id":"c1","duration_secs":300})"_s);
    EXPECT_FALSE(ActivityLines::isFreshSession(state));
}
