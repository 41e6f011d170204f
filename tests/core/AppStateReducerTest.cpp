#include "core/AppState.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/HoneycombState.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QString ts(const QDateTime& time) {
    return time.toString(Qt::ISODateWithMs);
}

} // namespace

class AppStateReducerTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    AppState state{log};

    // One line of the tool's stdout, through the decoder, as the supervisor hands it on.
    void feed(const QString& json) { state.pythonProcess().processLine(json); }

    void probe(const QString& type, const QString& target, std::optional<double> rtt, bool loss) {
        QString line =
            u"{\"event\":\"probe\",\"type\":\"%1\",\"target\":\"%2\",\"loss\":%3,\"ts\":\"%4\""_s.arg(
                type, target, loss ? u"true"_s : u"false"_s, ts(time.now()));
        if (rtt)
            line += u",\"rtt_ms\":"_s + QString::number(*rtt);
        feed(line + u'}');
    }
};

TEST_F(AppStateReducerTest, InfoGivesTheCaptureItsIdentityAndStartsTheHoneycomb) {
    feed(uR"({"event":"info","capture_id":"c-1","category":"flight","duration_secs":60})"_s);
    EXPECT_EQ(state.captureId(), u"c-1"_s);
    EXPECT_EQ(state.captureCategory(), u"flight"_s);
    EXPECT_EQ(state.captureDate(), time.now());
    ASSERT_TRUE(state.infoEvent());
    EXPECT_TRUE(state.isHoneycombTimerRunning());
    EXPECT_EQ(state.honeycomb().targetFillSeconds(), 120);
}

TEST_F(AppStateReducerTest, HoneycombTargetIsDurationPlusAMinuteAtMostSixMinutes) {
    feed(uR"({"event":"info"})"_s);
    EXPECT_EQ(state.honeycomb().targetFillSeconds(), 360) << "absent duration reads 300";
    feed(uR"({"event":"info","duration_secs":1000})"_s);
    EXPECT_EQ(state.honeycomb().targetFillSeconds(), 360);
    feed(uR"({"event":"info","duration_secs":59.9})"_s);
    EXPECT_EQ(state.honeycomb().targetFillSeconds(), 119) << "the duration is cut to a whole number";
}

TEST_F(AppStateReducerTest, StatusMergesStatsAndRecordsTheSignal) {
    feed(uR"({"event":"status","elapsed_sec":3,"rssi":-64,"icmp_rtt_ms":21.5,"icmp_loss_pct":0})"_s);
    EXPECT_EQ(state.stats().latencyMs, 21.5);
    ASSERT_EQ(state.rssiHistory().size(), 1);
    EXPECT_EQ(state.rssiHistory()[0].rssi, -64);
    feed(uR"({"event":"status","elapsed_sec":4})"_s);
    EXPECT_EQ(state.rssiHistory().size(), 1) << "no rssi, no point";
}

TEST_F(AppStateReducerTest, ProbesGoToTheBufferAndReachTheSeriesOnlyAtAFlush) {
    AppStateTestAccess::startFlushTimer(state);
    QSignalSpy flushed(&state, &AppState::latencyPointsChanged);
    for (int i = 0; i < 10; ++i)
        probe(u"ping"_s, u"1.1.1.1"_s, 20.0 + i, false);
    EXPECT_TRUE(state.latencyPoints().isEmpty());
    EXPECT_EQ(state.latencyBuffer().size(), 10);
    EXPECT_EQ(flushed.count(), 0);
    time.advance(0.5);
    EXPECT_EQ(state.latencyPoints().size(), 10);
    EXPECT_TRUE(state.latencyBuffer().isEmpty());
    EXPECT_EQ(flushed.count(), 1) << "ten samples, one notice";
    time.advance(0.5);
    EXPECT_EQ(flushed.count(), 1) << "an empty buffer wakes nobody";
}

TEST_F(AppStateReducerTest, ProbeLostForTwelveSecondsWhileAnotherAnswersIsBlocked) {
    for (int second = 0; second <= 12; ++second) {
        probe(u"tcp"_s, u"8.8.8.8:853"_s, std::nullopt, true);
        probe(u"udp"_s, u"1.1.1.1:53"_s, 30, false);
        time.advance(1);
    }
    EXPECT_TRUE(state.blockedProbes().contains(u"tcp:8.8.8.8:853"_s));
    EXPECT_EQ(state.blockedProbes().size(), 1);
}

TEST_F(AppStateReducerTest, NetworkDownForTwelveSecondsBlocksNothing) {
    probe(u"ping"_s, u"1.1.1.1"_s, 20, false);
    time.advance(1);
    for (int second = 0; second <= 12; ++second) {
        probe(u"tcp"_s, u"8.8.8.8:853"_s, std::nullopt, true);
        probe(u"ping"_s, u"1.1.1.1"_s, std::nullopt, true);
        time.advance(1);
    }
    EXPECT_TRUE(state.blockedProbes().isEmpty());
}

TEST_F(AppStateReducerTest, BlockedProbeThatAnswersOnceLeavesAndItsLossClockStartsAnew) {
    for (int second = 0; second <= 12; ++second) {
        probe(u"tcp"_s, u"a:1"_s, std::nullopt, true);
        probe(u"ping"_s, u"gw"_s, 3, false);
        time.advance(1);
    }
    ASSERT_TRUE(state.blockedProbes().contains(u"tcp:a:1"_s));
    probe(u"tcp"_s, u"a:1"_s, 40, false);
    EXPECT_FALSE(state.blockedProbes().contains(u"tcp:a:1"_s));
    EXPECT_FALSE(state.firstLossTime().contains(u"tcp:a:1"_s));
    time.advance(1);
    probe(u"tcp"_s, u"a:1"_s, std::nullopt, true);
    probe(u"ping"_s, u"gw"_s, 3, false);
    EXPECT_EQ(state.firstLossTime().value(u"tcp:a:1"_s), time.now());
    EXPECT_FALSE(state.blockedProbes().contains(u"tcp:a:1"_s));
}

TEST_F(AppStateReducerTest, TickNamesTheHostWithoutItsPort) {
    probe(u"tcp"_s, u"10.0.0.1:443"_s, 41.9, false);
    EXPECT_EQ(state.latestProbeTick(), u"tcp 10.0.0.1 … 41ms"_s);
}

TEST_F(AppStateReducerTest, LostSampleWithARoundTripStillTicksLoss) {
    probe(u"udp"_s, u"1.1.1.1:53"_s, 12.0, true);
    EXPECT_EQ(state.latestProbeTick(), u"udp 1.1.1.1 … loss"_s);
}

TEST_F(AppStateReducerTest, SampleWithoutRoundTripLeavesTheTick) {
    probe(u"ping"_s, u"gw"_s, 5, false);
    probe(u"ping"_s, u"gw"_s, std::nullopt, false);
    EXPECT_EQ(state.latestProbeTick(), u"ping gw … 5ms"_s);
}

TEST_F(AppStateReducerTest, ObservedThroughputNeedsBothRates) {
    feed(
        uR"({"event":"probe","type":"throughput_observed","target":"wlan0","loss":false,"ts":"x","dl_mbps":5,"ul_mbps":1})"_s);
    feed(
        uR"({"event":"probe","type":"throughput_observed","target":"wlan0","loss":false,"ts":"x","dl_mbps":5})"_s);
    ASSERT_EQ(state.observedThroughputPoints().size(), 1);
    EXPECT_EQ(state.observedThroughputPoints()[0].date, time.now())
        << "an unreadable ts is the present moment";
    EXPECT_TRUE(state.latencyBuffer().isEmpty());
}

TEST_F(AppStateReducerTest, HoneycombTickFillsTheWorstSampleOfTheSecond) {
    feed(uR"({"event":"info","duration_secs":300})"_s);
    state.honeycomb().layoutCells(600, 50);
    probe(u"ping"_s, u"a"_s, 10, false);
    probe(u"ping"_s, u"a"_s, 150, false);
    probe(u"ping"_s, u"a"_s, 30, false);
    EXPECT_EQ(state.currentWindowWorstQuality(), QualityRating::fair);
    time.advance(1);
    EXPECT_EQ(state.honeycomb().filledCount(), 1);
    EXPECT_FALSE(state.currentWindowWorstQuality());
    time.advance(1);
    EXPECT_EQ(state.honeycomb().filledCount(), 1) << "a second without samples leaves no mark";
}

TEST_F(AppStateReducerTest, TickWithNoInternetAndNoSamplesFillsABrokenCell) {
    feed(uR"({"event":"info","duration_secs":300})"_s);
    state.honeycomb().layoutCells(600, 50);
    feed(uR"({"event":"status","elapsed_sec":1,"no_internet":true})"_s);
    time.advance(1);
    ASSERT_EQ(state.honeycomb().filledCount(), 1);
    const int index = state.honeycomb().fillOrder()[0];
    EXPECT_EQ(state.honeycomb().cells()[index].quality, QualityRating::broken);
}

TEST_F(AppStateReducerTest, CalibrationThenTestingShowsPersistentLines) {
    feed(uR"({"event":"throughput_status","phase":"calibrating","ts":"x"})"_s);
    ASSERT_TRUE(state.persistentActivity());
    EXPECT_EQ(state.persistentActivity()->text, u"Calibrating link performance…"_s);
    EXPECT_EQ(state.persistentActivity()->icon, u"arrow.2.circlepath"_s);
    EXPECT_EQ(state.persistentActivity()->expiry, time.now().addSecs(120));
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"download","round_num":2,"total_rounds":6,"ts":"x"})"_s);
    EXPECT_EQ(state.persistentActivity()->text, u"Round 2/6: downloading…"_s);
    EXPECT_EQ(state.persistentActivity()->icon, u"chart.bar"_s);
    feed(uR"({"event":"throughput_status","phase":"testing","direction":"upload","ts":"x"})"_s);
    EXPECT_EQ(state.persistentActivity()->text, u"Speed test: uploading…"_s);
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"download","probe_type":"netflix_oca","ts":"x"})"_s);
    EXPECT_EQ(state.persistentActivity()->text, u"Speed test: Netflix OCA…"_s);
    EXPECT_EQ(state.persistentActivity()->icon, u"play.rectangle.fill"_s);
}

TEST_F(AppStateReducerTest, IdleAfterASpeedTestFlashesTheRates) {
    feed(uR"({"event":"status","elapsed_sec":1,"throughput_down_mbps":0.42,"throughput_up_mbps":12.9})"_s);
    feed(uR"({"event":"throughput_status","phase":"idle","ts":"x"})"_s);
    EXPECT_FALSE(state.persistentActivity());
    ASSERT_TRUE(state.flashActivity());
    EXPECT_EQ(state.flashActivity()->text, u"Speed test: 0.4/12 Mbps"_s);
    EXPECT_EQ(state.flashActivity()->icon, u"checkmark"_s);
    EXPECT_EQ(state.flashActivity()->expiry, time.now().addSecs(4));
}

TEST_F(AppStateReducerTest, IdleAfterAVideoTestGivesNoSpeedFlash) {
    feed(uR"({"event":"status","elapsed_sec":1,"throughput_down_mbps":50,"throughput_up_mbps":10})"_s);
    feed(uR"({"event":"throughput_status","phase":"idle","probe_type":"youtube_segment","ts":"x"})"_s);
    EXPECT_FALSE(state.flashActivity());
}

TEST_F(AppStateReducerTest, IdleWithARoundNumberGivesNoSpeedFlash) {
    feed(uR"({"event":"status","elapsed_sec":1,"throughput_down_mbps":50,"throughput_up_mbps":10})"_s);
    feed(uR"({"event":"throughput_status","phase":"idle","round_num":1,"ts":"x"})"_s);
    EXPECT_FALSE(state.flashActivity());
}

TEST_F(AppStateReducerTest, UploadPhaseMakesNoSpeedRangeAndIdleClosesTheDownloadRange) {
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"download","test_num":4,"ts":"2026-03-14T09:31:00.000+00:00"})"_s);
    feed(
        uR"({"event":"throughput_status","phase":"testing","direction":"upload","ts":"2026-03-14T09:31:10.000+00:00"})"_s);
    ASSERT_EQ(state.speedTestRanges().size(), 1);
    EXPECT_EQ(state.speedTestRanges()[0].testNum, 4);
    EXPECT_FALSE(state.speedTestRanges()[0].end);
    feed(uR"({"event":"throughput_status","phase":"idle","ts":"2026-03-14T09:31:20.000+00:00"})"_s);
    EXPECT_EQ(state.speedTestRanges()[0].end,
              QDateTime::fromString(u"2026-03-14T09:31:20.000Z"_s, Qt::ISODateWithMs));
}

TEST_F(AppStateReducerTest, VideoTestRangesGoToTheirOwnSeries) {
    feed(uR"({"event":"throughput_status","phase":"testing","probe_type":"youtube_abr","ts":"x"})"_s);
    EXPECT_TRUE(state.speedTestRanges().isEmpty());
    ASSERT_EQ(state.videoStreamingRanges().size(), 1);
    EXPECT_EQ(state.videoStreamingRanges()[0].direction, u"download"_s);
    EXPECT_EQ(state.videoStreamingRanges()[0].testNum, 0);
}

TEST_F(AppStateReducerTest, ThroughputResultUpdatesStatsAndPaintsASpeedCell) {
    state.honeycomb().layoutCells(600, 50);
    feed(
        uR"({"event":"throughput_result","direction":"upload","mbps":8.5,"bytes":1,"streams":1,"ts":"x","test_num":2})"_s);
    EXPECT_EQ(state.stats().uploadMbps, 8.5);
    EXPECT_EQ(state.measuredUplinkMbps(), 8.5);
    ASSERT_EQ(state.throughputPoints().size(), 1);
    EXPECT_EQ(state.throughputPoints()[0].target, QString::fromLatin1(CaptureStats::defaultDownloadTarget));
    EXPECT_EQ(state.honeycomb().filledCount(), 1);
    const int index = state.honeycomb().fillOrder()[0];
    EXPECT_TRUE(state.honeycomb().cells()[index].isSpeedTest);
    EXPECT_EQ(Settings().doubleValue(Settings::lastMeasuredUplinkMbps), 8.5);
}

TEST_F(AppStateReducerTest, FailedThroughputTestKeepsTheLastGoodRate) {
    feed(
        uR"({"event":"throughput_result","direction":"download","mbps":50,"bytes":1,"streams":1,"ts":"x","test_num":1})"_s);
    feed(
        uR"({"event":"throughput_result","direction":"download","mbps":0,"bytes":0,"streams":1,"ts":"x","test_num":2,"error":"timeout"})"_s);
    EXPECT_EQ(state.stats().downloadMbps, 50);
    EXPECT_EQ(state.stats().downloadError, u"timeout"_s);
    EXPECT_EQ(state.throughputPoints().size(), 1);
}

TEST_F(AppStateReducerTest, CdnResultFlashesItsLabel) {
    feed(uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":95.9,"bytes":1,"ts":"x"})"_s);
    EXPECT_EQ(state.flashActivity()->text, u"Netflix OCA: 95 Mbps down"_s);
    feed(uR"({"event":"cdn_throughput_result","target":"fastly","mbps":12,"bytes":1,"ts":"x"})"_s);
    EXPECT_EQ(state.flashActivity()->text, u"fastly: 12 Mbps down"_s);
}

TEST_F(AppStateReducerTest, AbrResultWithoutResolutionKeepsItButClearsTheStallCount) {
    feed(
        uR"({"event":"youtube_abr_result","ts":"x","auto_resolution":"1920x1080","auto_stall_count":2,"ad_seen":true})"_s);
    feed(uR"({"event":"youtube_abr_result","ts":"x"})"_s);
    const CaptureSnapshot snapshot = state.snapshot();
    EXPECT_EQ(snapshot.youtubeAbrResolution, u"1920x1080"_s);
    EXPECT_FALSE(snapshot.youtubeAutoStallCount);
    EXPECT_TRUE(snapshot.youtubeAdSeen) << "never set back within a capture";
}

TEST_F(AppStateReducerTest, TracerouteDeltasRiseFromTheHopBefore) {
    feed(
        uR"({"event":"traceroute_result","target":"1.1.1.1","hop_count":4,"ts":"x","hops":[{"hop":1,"ip":"10.0.0.1","rtt_ms":-1},{"hop":2,"ip":"*","rtt_ms":null},{"hop":3,"ip":"100.64.0.1","rtt_ms":9},{"hop":4,"ip":"1.1.1.1","rtt_ms":7.5}]})"_s);
    ASSERT_EQ(state.traceroutePoints().size(), 1);
    const TraceroutePoint& point = state.traceroutePoints()[0];
    EXPECT_EQ(point.firstHop, u"10.0.0.1"_s);
    ASSERT_EQ(point.hops.size(), 4);
    EXPECT_EQ(point.hops[0].deltaMs, 0.0) << "negative raised to 0";
    EXPECT_FALSE(point.hops[1].deltaMs);
    EXPECT_EQ(point.hops[2].deltaMs, 9.0) << "the hop before has no round trip";
    EXPECT_EQ(point.hops[3].deltaMs, 0.0);
    EXPECT_EQ(state.flashActivity()->text, u"Traceroute: 4 hops to 1.1.1.1"_s);
}

TEST_F(AppStateReducerTest, CompleteFlushesClosesRangesFillsRatesAndCelebrates) {
    AppStateTestAccess::startFlushTimer(state);
    probe(u"ping"_s, u"a"_s, 10, false);
    feed(uR"({"event":"throughput_status","phase":"testing","direction":"download","ts":"x"})"_s);
    feed(
        uR"({"event":"throughput_result","direction":"download","mbps":40,"bytes":1,"streams":1,"ts":"x","test_num":1})"_s);
    feed(uR"({"event":"complete","samples":10,"csv_file":"/c.csv","duration_sec":60})"_s);
    EXPECT_EQ(state.latencyPoints().size(), 1);
    EXPECT_FALSE(state.isFlushTimerRunning());
    EXPECT_EQ(state.speedTestRanges()[0].end, time.now());
    EXPECT_EQ(state.stats().downloadMbps, 40);
    EXPECT_EQ(state.screen(), AppState::Screen::celebration);
}

TEST_F(AppStateReducerTest, CompleteWhileDiagnosticsShowsMovesToCelebration) {
    state.enterDiagnostics(u"Capture process exited unexpectedly"_s);
    ASSERT_EQ(state.screen(), AppState::Screen::diagnostics);
    feed(uR"({"event":"complete","samples":1,"csv_file":"/c.csv","duration_sec":1})"_s);
    EXPECT_EQ(state.screen(), AppState::Screen::celebration);
}

TEST_F(AppStateReducerTest, CalibrationFillsOnlyEmptyRatesAndMarksThemAsCalibration) {
    feed(uR"({"event":"status","elapsed_sec":1,"throughput_down_mbps":80})"_s);
    feed(uR"({"event":"calibration_complete","down_mbps":70,"up_mbps":12})"_s);
    EXPECT_EQ(state.stats().downloadMbps, 80);
    EXPECT_EQ(state.stats().uploadMbps, 12);
    EXPECT_TRUE(state.stats().isCalibrationSpeed);
    EXPECT_EQ(state.measuredUplinkMbps(), 12);
}

TEST_F(AppStateReducerTest, IcmpProxySwitchesToEndToEndLatency) {
    feed(uR"({"event":"icmp_proxy_detected","icmp_p50":1,"http_p50":600,"e2e_rtt_p50":610.5})"_s);
    EXPECT_TRUE(state.stats().icmpProxied);
    EXPECT_EQ(state.stats().latencyMs, 610.5);
    EXPECT_EQ(state.stats().latencyProtocol, u"HTTP"_s);
}

TEST_F(AppStateReducerTest, AutoStopAfter7199SecondsSaysOneHour) {
    feed(uR"({"event":"capture_auto_stop","reason":"max_duration","elapsed_sec":7199})"_s);
    EXPECT_EQ(state.stopReason(), u"Auto-stopped after 1h (use --no-limit for longer captures)"_s);
}

TEST_F(AppStateReducerTest, SleepStopSetsTheReasonAndResumeWarns) {
    feed(uR"({"event":"system_sleep","action":"resume","gap_sec":1260.5,"ssid_match":true})"_s);
    EXPECT_EQ(state.warnings(), QStringList{u"Resumed after 21 min sleep (same network)"_s});
    feed(uR"({"event":"system_sleep","action":"stop","gap_sec":599,"ssid_match":false})"_s);
    EXPECT_EQ(state.stopReason(), u"Stopped after 9 min sleep — network changed"_s);
}

TEST_F(AppStateReducerTest, SixthWarningIsDroppedButANetworkChangeStillFlashes) {
    for (int i = 1; i <= 5; ++i)
        feed(u"{\"event\":\"error\",\"message\":\"note %1\",\"fatal\":false}"_s.arg(i));
    feed(u"{\"event\":\"error\",\"message\":\"note 1\",\"fatal\":false}"_s);
    EXPECT_EQ(state.warnings().size(), 5);
    feed(uR"({"event":"network_change","ssid_before":"","ssid_after":"Cafe"})"_s);
    EXPECT_EQ(state.warnings().size(), 5);
    ASSERT_TRUE(state.flashActivity());
    EXPECT_EQ(state.flashActivity()->text, u"Network changed: ? → Cafe"_s);
    EXPECT_EQ(state.flashActivity()->icon, u"wifi.exclamationmark"_s);
    EXPECT_EQ(state.flashActivity()->expiry, time.now().addSecs(6));
}

TEST_F(AppStateReducerTest, RoundSummaryJoinsItsParts) {
    feed(uR"({"event":"status","elapsed_sec":1,"throughput_down_mbps":48.7,"throughput_up_mbps":0.5})"_s);
    feed(uR"({"event":"cdn_throughput_result","target":"netflix_oca","mbps":95.5,"bytes":1,"ts":"x"})"_s);
    feed(
        uR"({"event":"youtube_segment_result","bytes":1,"ts":"x","throughput_mbps":28.4,"recommended_quality":"hd1080"})"_s);
    feed(uR"({"event":"youtube_abr_result","ts":"x","auto_resolution":"2560x1440"})"_s);
    feed(uR"({"event":"cdn_throughput_result","target":"akamai","mbps":33.3,"bytes":1,"ts":"x"})"_s);
    feed(
        uR"({"event":"round_summary","round_num":2,"total_rounds":6,"template":"retest","probes":["cf_speed","netflix_oca","youtube_segment","youtube_abr","akamai","ping"],"ts":"x"})"_s);
    EXPECT_EQ(state.flashActivity()->text,
              u"Round 2/6: 48/0.5 Mbps · NFLX 95 · YT 28 Mbps (1080p) · ABR 1440p · Akamai 33 (retest)"_s);
}

TEST_F(AppStateReducerTest, RoundSummaryResolutions) {
    feed(uR"({"event":"youtube_abr_result","ts":"x","auto_resolution":"3840x2160"})"_s);
    feed(uR"({"event":"round_summary","round_num":1,"total_rounds":1,"probes":["youtube_abr"],"ts":"x"})"_s);
    EXPECT_EQ(state.flashActivity()->text, u"Round 1/1: ABR 4K"_s);
    feed(uR"({"event":"youtube_abr_result","ts":"x","auto_resolution":"auto"})"_s);
    feed(uR"({"event":"round_summary","round_num":1,"total_rounds":1,"probes":["youtube_abr"],"ts":"x"})"_s);
    EXPECT_EQ(state.flashActivity()->text, u"Round 1/1: ABR auto"_s);
}

TEST_F(AppStateReducerTest, RoundSummaryWithNothingToSayChangesNothing) {
    feed(
        uR"({"event":"round_summary","round_num":1,"total_rounds":3,"probes":["cf_speed","netflix_oca"],"ts":"x"})"_s);
    EXPECT_FALSE(state.flashActivity());
}

TEST_F(AppStateReducerTest, NoteEchoIsKept) {
    feed(uR"({"event":"note","text":"Moved to the bar ☕","ts":"2026-03-14T09:34:00.000+00:00"})"_s);
    ASSERT_EQ(state.capturedNotes().size(), 1);
    EXPECT_EQ(state.capturedNotes()[0].text, u"Moved to the bar ☕"_s);
}

TEST_F(AppStateReducerTest, FatalErrorFlushesAndShowsResults) {
    AppStateTestAccess::startFlushTimer(state);
    probe(u"ping"_s, u"a"_s, 10, false);
    feed(uR"({"event":"error","message":"Wi-Fi interface disappeared","fatal":true})"_s);
    EXPECT_EQ(state.errorMessage(), u"Wi-Fi interface disappeared"_s);
    EXPECT_EQ(state.latencyPoints().size(), 1);
    EXPECT_FALSE(state.isFlushTimerRunning());
    EXPECT_EQ(state.screen(), AppState::Screen::results);
}

TEST_F(AppStateReducerTest, UnknownAndReminderEventsChangeNothing) {
    QSignalSpy session(&state, &AppState::sessionChanged);
    QSignalSpy stats(&state, &AppState::statsChanged);
    feed(uR"({"event":"capture_reminder","elapsed_sec":9000,"remaining_sec":1800})"_s);
    feed(uR"({"event":"firmware_update_started","version":"2.0"})"_s);
    EXPECT_EQ(session.count(), 0);
    EXPECT_EQ(stats.count(), 0);
}

TEST(AppStateLabels, YouTubeQualityLabels) {
    EXPECT_EQ(AppState::youtubeQualityLabel(u"hd2160"_s), u"4K"_s);
    EXPECT_EQ(AppState::youtubeQualityLabel(u"large"_s), u"480p"_s);
    EXPECT_EQ(AppState::youtubeQualityLabel(u"tiny"_s), u"144p"_s);
    EXPECT_EQ(AppState::youtubeQualityLabel(u"hd9999"_s), u"hd9999"_s);
    EXPECT_FALSE(AppState::youtubeQualityLabel(std::nullopt));
}

TEST(AppStateLabels, ProbeDisplayNames) {
    EXPECT_EQ(AppState::probeDisplayName(u"cf_speed"_s), u"speed test"_s);
    EXPECT_EQ(AppState::probeDisplayName(u"akamai"_s), u"Akamai diversity"_s);
    EXPECT_EQ(AppState::probeDisplayName(u"quic"_s), u"quic"_s);
}
