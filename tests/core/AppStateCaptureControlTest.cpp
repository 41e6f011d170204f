#include "core/AppState.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

QList<LatencyPoint> pings(const QList<bool>& lost, const QString& type = u"ping"_s) {
    QList<LatencyPoint> points;
    for (bool loss : lost)
        points.append(
            LatencyPoint{QDateTime(), loss ? std::nullopt : std::optional<double>(20), loss, type, u"gw"_s});
    return points;
}

} // namespace

TEST(AppStateEndMeta, ThreeLostPingsGiveFullLossAndNoGateway) {
    const auto figures = AppState::endMetaFigures(pings({true, true, true}));
    EXPECT_EQ(figures.lossPct, 100.0);
    EXPECT_FALSE(figures.gatewayReachable);
}

TEST(AppStateEndMeta, NoPingAndNoUdpGiveNoLossAndNoGateway) {
    const auto figures = AppState::endMetaFigures(pings({false, false}, u"tcp"_s));
    EXPECT_FALSE(figures.lossPct);
    EXPECT_FALSE(figures.gatewayReachable);
}

TEST(AppStateEndMeta, LossCountsTheLastTwentyOnly) {
    QList<bool> lost(20, true);
    lost += QList<bool>(5, false);
    const auto figures = AppState::endMetaFigures(pings(lost));
    EXPECT_EQ(figures.lossPct, 75.0);
    EXPECT_TRUE(figures.gatewayReachable);
}

TEST(AppStateEndMeta, UdpIsTheReferenceOnlyWithoutPings) {
    QList<LatencyPoint> points = pings({true}, u"udp"_s);
    EXPECT_EQ(AppState::endMetaFigures(points).lossPct, 100.0);
    points += pings({false});
    EXPECT_EQ(AppState::endMetaFigures(points).lossPct, 0.0);
    EXPECT_TRUE(AppState::endMetaFigures(points).gatewayReachable);
}

class AppStateControlTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
};

TEST_F(AppStateControlTest, WithoutUvTheBootstrapScreenComesFirst) {
    AppState state(log);
    EXPECT_EQ(state.screen(), AppState::Screen::bootstrapping);
    log.waitForIdle();
    QFile file(log.logPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QString text = QString::fromUtf8(file.readAll());
    EXPECT_TRUE(text.contains(u"WARN  [Bootstrap] uv not found in candidate paths"_s));
    EXPECT_TRUE(text.contains(u"INFO  [AppState] uv not found, starting with bootstrap screen"_s));
}

TEST_F(AppStateControlTest, WithUvTheSetupScreenComesFirst) {
    home.installFakeUv();
    AppState state(log);
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
}

TEST_F(AppStateControlTest, StoredUplinkAboveZeroIsReadBack) {
    Settings().setDouble(Settings::lastMeasuredUplinkMbps, 14.5);
    EXPECT_EQ(AppState(log).measuredUplinkMbps(), 14.5);
    Settings().setDouble(Settings::lastMeasuredUplinkMbps, 0);
    EXPECT_FALSE(AppState(log).measuredUplinkMbps());
}

TEST_F(AppStateControlTest, LaunchFailureLeadsToDiagnostics) {
    AppState state(log); // no uv in this home
    state.startCapture(CaptureConfig{});
    EXPECT_EQ(state.screen(), AppState::Screen::diagnostics);
    ASSERT_TRUE(state.errorMessage());
    EXPECT_TRUE(state.errorMessage()->startsWith(u"uv not found."_s));
    EXPECT_FALSE(state.isFlushTimerRunning());
}

TEST_F(AppStateControlTest, StartCaptureLogsItsChoices) {
    AppState state(log);
    CaptureConfig config;
    config.network = u"Hotel"_s;
    config.privacy = UploadPrivacy::hash;
    state.startCapture(config);
    log.waitForIdle();
    QFile file(log.logPath());
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_TRUE(
        QString::fromUtf8(file.readAll())
            .contains(
                u"INFO  [AppState] startCapture location=nil network=Hotel duration=unlimited privacy=hash"_s));
}

TEST_F(AppStateControlTest, AutoUploadOffEndsWithUploadDone) {
    Settings().setBool(Settings::autoUpload, false);
    AppState state(log);
    AppStateTestAccess::setScreen(state, AppState::Screen::finishing);
    AppStateTestAccess::terminate(state);
    EXPECT_EQ(state.screen(), AppState::Screen::celebration);
    EXPECT_TRUE(state.upload().uploadDone);
    EXPECT_FALSE(state.upload().uploadPreparing);
}

TEST_F(AppStateControlTest, TerminationClosesOpenSpeedRangesButNotVideoRanges) {
    AppState state(log);
    state.pythonProcess().processLine(
        uR"({"event":"throughput_status","phase":"testing","direction":"download","ts":"x"})"_s);
    state.pythonProcess().processLine(
        uR"({"event":"throughput_status","phase":"testing","probe_type":"youtube_abr","ts":"x"})"_s);
    time.advance(3);
    AppStateTestAccess::terminate(state);
    EXPECT_EQ(state.speedTestRanges()[0].end, time.now());
    EXPECT_FALSE(state.videoStreamingRanges()[0].end);
    EXPECT_FALSE(state.persistentActivity());
}

TEST_F(AppStateControlTest, TwoCapturesInOneRunKeepTheVideoRangesOfTheFirst) {
    AppState state(log);
    state.pythonProcess().processLine(
        uR"({"event":"throughput_status","phase":"testing","probe_type":"netflix_oca","ts":"x"})"_s);
    state.startCapture(CaptureConfig{}); // fails at once here (no uv), after the reset
    EXPECT_EQ(state.videoStreamingRanges().size(), 1);
    EXPECT_TRUE(state.speedTestRanges().isEmpty());
}

TEST_F(AppStateControlTest, UnreadableCaptureKeepsTheEarlierDataWithTheError) {
    AppState state(log);
    state.pythonProcess().processLine(uR"({"event":"info","capture_id":"earlier"})"_s);
    state.pythonProcess().processLine(
        uR"({"event":"throughput_result","direction":"download","mbps":40,"bytes":1,"streams":1,"ts":"x","test_num":1})"_s);
    state.loadCapture(home.path() + u"/missing.csv"_s);
    EXPECT_EQ(state.screen(), AppState::Screen::results);
    EXPECT_EQ(state.errorMessage(), u"Could not load CSV file"_s);
    EXPECT_EQ(state.captureId(), u"earlier"_s);
    EXPECT_EQ(state.throughputPoints().size(), 1);
}

TEST_F(AppStateControlTest, LoadedCaptureFillsTheSessionAndHidesUploadState) {
    AppState state(log);
    const QString csv = home.path() + u"/wifi_capture_20260314T093000Z.csv"_s;
    QFile file(csv);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.write("timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n"
               "2026-03-14T09:30:00.000+00:00,session_start,,,0,,,,,,capture_id=abc\n"
               "2026-03-14T09:30:01.000+00:00,ping,1.1.1.1,20.5,0,1,,,,,\n"
               "2026-03-14T09:30:02.000+00:00,wifi,wlan0,-60,0,,,,,,ssid=Lobby\n"
               "2026-03-14T09:30:03.000+00:00,throughput_down,speed,,0,,,48.5,,,\n"
               "2026-03-14T09:35:00.000+00:00,session_end,,,0,,,,,,duration=300.0s\n");
    file.close();
    state.loadCapture(csv);
    EXPECT_EQ(state.screen(), AppState::Screen::results);
    EXPECT_FALSE(state.errorMessage());
    EXPECT_EQ(state.captureId(), u"abc"_s);
    EXPECT_EQ(state.latencyPoints().size(), 1);
    EXPECT_EQ(state.stats().downloadMbps, 48.5);
    EXPECT_EQ(state.stats().rssi, -60);
    ASSERT_TRUE(state.infoEvent());
    EXPECT_EQ(state.infoEvent()->ssid, u"Lobby"_s);
    ASSERT_TRUE(state.completeEvent());
    EXPECT_EQ(state.completeEvent()->durationSec, 300.0);
    EXPECT_TRUE(state.upload().uploadDone);
}

TEST_F(AppStateControlTest, NewCaptureAndDismissGoBackToSetup) {
    AppState state(log);
    state.enterDiagnostics(u"broken"_s);
    state.dismissDiagnostics();
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
    AppStateTestAccess::setScreen(state, AppState::Screen::results);
    state.newCapture();
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
}

TEST_F(AppStateControlTest, EnterDiagnosticsTwiceKeepsTheFirstError) {
    AppState state(log);
    state.enterDiagnostics(u"first"_s);
    state.enterDiagnostics(u"second"_s);
    EXPECT_EQ(state.errorMessage(), u"first"_s);
}
