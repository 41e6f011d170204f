// The upload sweep of AppState: its gates, the deferral arithmetic, the upload events, the retry
// ladder and the idle timer, all on a virtual clock; and whole runs of the simulated upload tool.

#include "core/AppState.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/NorvaneApp.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/UploadRunner.h"
#include "support/AppStateTestAccess.h"
#include "support/LoggedText.h"
#include "support/SimulatorJournal.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QElapsedTimer>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Access = AppStateTestAccess;

namespace {

JSONEvent uploadEvent(JSONEvent::Payload payload) {
    JSONEvent event;
    event.payload = std::move(payload);
    return event;
}

JSONEvent progress(const QString& file, qint64 sent, qint64 total) {
    return uploadEvent(UploadProgressEvent{file, total > 0 ? sent * 100 / total : 0, sent, total});
}

} // namespace

class AppStateUploadSweepTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    std::unique_ptr<AppState> state;

    void SetUp() override { state = std::make_unique<AppState>(log); }
    void TearDown() override {
        if (state)
            state->cancelUploadRunner();
        state.reset();
        qunsetenv("NORVANE_SIM_UPLOAD");
        qunsetenv("NORVANE_SIM_SPEED");
        qunsetenv("NORVANE_SIM_SCENARIO");
    }

    QString capturesDir() const { return PythonProcess::outputDirectory(); }

    // A capture file of the given size; sparse, so that hundreds of megabytes cost nothing.
    void pendingFile(const QString& name, qint64 bytes) const {
        QDir().mkpath(capturesDir());
        QFile file(capturesDir() + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        ASSERT_TRUE(file.resize(bytes));
    }

    void writeUploadedJson(const QByteArray& content) const {
        QDir().mkpath(Locations::toolStateDir());
        QFile file(Locations::toolStateDir() + u"/uploaded.json"_s);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        file.write(content);
    }

    QString logText() { return loggedText(log); }

    int count(const QString& needle) { return int(logText().count(needle)); }

    // Pumps a real runner's output until the sweep has let go of it, or twenty real seconds passed.
    bool waitForRunnerEnd() {
        QElapsedTimer real;
        real.start();
        while (state->uploadRunner()) {
            if (real.elapsed() > 20'000)
                return false;
            QTest::qWait(5);
        }
        return true;
    }

    // Small capture files that the simulated tool can read and "send".
    void smallCaptures(int count) const {
        QDir().mkpath(capturesDir());
        for (int i = 0; i < count; ++i) {
            QFile file(capturesDir() + u"/wifi_capture_2025060%1T120000Z.csv"_s.arg(i + 1));
            ASSERT_TRUE(file.open(QIODevice::WriteOnly));
            for (int row = 0; row < 2000; ++row)
                file.write(QByteArray("2025-06-01T12:00:00Z,ping,1.1.1.1,12.5,0,") + QByteArray::number(row) +
                           ",,,,,\n");
        }
    }
};

// --- gates --------------------------------------------------------------------------------------------

TEST_F(AppStateUploadSweepTest, AutoUploadOffRunsNoSweepWhateverTheTrigger) {
    Settings().setBool(Settings::autoUpload, false);
    Access::setScreen(*state, AppState::Screen::setup);
    Access::setUploadFailed(*state, 1);
    const int generation = state->uploadGeneration();

    state->runUploadSweep(u"capture-complete"_s, true);
    state->runUploadSweep(u"idle-periodic"_s, false);
    state->retryUpload();
    state->runLaunchSweep();
    state->onSystemWake();
    state->onNetworkReconnected();
    state->dismissDiagnostics();
    Access::terminate(*state);

    EXPECT_EQ(state->uploadRunner(), nullptr);
    EXPECT_EQ(state->uploadGeneration(), generation);
    EXPECT_FALSE(state->upload().pendingRetryAt);
    EXPECT_EQ(count(u"upload sweep starting"_s), 0);
    EXPECT_EQ(count(u"upload sweep skipped"_s), 0);
    EXPECT_EQ(count(u"upload deferred"_s), 0);
    EXPECT_TRUE(state->upload().uploadDone) << "the termination step closes the upload state";
}

TEST_F(AppStateUploadSweepTest, MissingAutoUploadSettingMeansOn) {
    state->runUploadSweep(u"app-launch"_s, false);
    EXPECT_EQ(count(u"INFO  [AppState] upload sweep starting (app-launch)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, SweepDuringACaptureIsSkippedAndEndsPreparing) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_SCENARIO", "silent");
    state = std::make_unique<AppState>(log);
    state->startCapture(CaptureConfig{});
    ASSERT_EQ(state->pythonProcess().state().kind, PythonProcess::State::Kind::running);
    Access::setUploadPreparing(*state, true);
    const int generation = state->uploadGeneration();

    state->runUploadSweep(u"system-wake"_s, false);

    EXPECT_EQ(count(u"INFO  [AppState] upload sweep skipped (system-wake): capture in progress"_s), 1);
    EXPECT_FALSE(state->upload().uploadPreparing);
    EXPECT_EQ(state->uploadRunner(), nullptr);
    EXPECT_EQ(state->uploadGeneration(), generation);
    state->pythonProcess().reset();
}

TEST_F(AppStateUploadSweepTest, SecondSweepWhileOneRunsIsLoggedAndDropped) {
    Access::holdIdleRunner(*state);
    Access::setUploadPreparing(*state, true);
    const int generation = state->uploadGeneration();

    state->runUploadSweep(u"network-reconnect"_s, true);

    EXPECT_EQ(count(u"INFO  [AppState] upload sweep skipped (network-reconnect): runner already active"_s),
              1);
    EXPECT_FALSE(state->upload().uploadPreparing);
    EXPECT_EQ(state->uploadGeneration(), generation);
    EXPECT_EQ(count(u"upload sweep starting"_s), 0);
}

// --- deferral -----------------------------------------------------------------------------------------

TEST_F(AppStateUploadSweepTest, NoUplinkFigureNeverDefers) {
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    state->runUploadSweep(u"app-launch"_s, false);
    EXPECT_FALSE(state->upload().uploadDeferred);
    EXPECT_EQ(count(u"upload sweep starting (app-launch)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, ZeroUplinkFigureNeverDefers) {
    Settings().setDouble(Settings::lastMeasuredUplinkMbps, 0.0);
    state = std::make_unique<AppState>(log);
    ASSERT_FALSE(state->measuredUplinkMbps());
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    state->runUploadSweep(u"app-launch"_s, false);
    EXPECT_FALSE(state->upload().uploadDeferred);
    EXPECT_EQ(count(u"upload sweep starting (app-launch)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, HundredMegabytesAtOneMbpsIsNotDeferred) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 100'000'000);
    state->runUploadSweep(u"system-wake"_s, false);
    EXPECT_FALSE(state->upload().uploadDeferred);
    EXPECT_FALSE(state->upload().estimatedUploadSecs);
    EXPECT_EQ(count(u"upload sweep starting (system-wake)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, FiveHundredMegabytesAtOneMbpsIsDeferred) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    Access::setUploadPreparing(*state, true);
    const int generation = state->uploadGeneration();

    state->runUploadSweep(u"app-launch"_s, false);

    const AppState::UploadState& upload = state->upload();
    EXPECT_TRUE(upload.uploadDeferred);
    ASSERT_TRUE(upload.estimatedUploadSecs);
    EXPECT_NEAR(*upload.estimatedUploadSecs, 666.67, 0.01);
    EXPECT_TRUE(upload.uploadDone);
    EXPECT_FALSE(upload.uploadPreparing);
    EXPECT_EQ(state->uploadRunner(), nullptr);
    EXPECT_EQ(state->uploadGeneration(), generation);
    EXPECT_EQ(count(u"INFO  [AppState] upload deferred (app-launch): estimated 666s at 1.0 Mbps"_s), 1);
    EXPECT_EQ(count(u"upload sweep starting"_s), 0);
}

TEST_F(AppStateUploadSweepTest, EstimateOfExactlySixHundredSecondsIsNotDeferred) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 450'000'000); // 600.0 s after compression
    state->runUploadSweep(u"idle-periodic"_s, false);
    EXPECT_FALSE(state->upload().uploadDeferred);
    EXPECT_EQ(count(u"upload sweep starting (idle-periodic)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, ManualSweepSkipsTheDeferralCheck) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    state->runUploadSweep(u"manual-button"_s, true);
    EXPECT_FALSE(state->upload().uploadDeferred);
    EXPECT_EQ(count(u"upload sweep starting (manual-button)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, UploadedFilesDontCountButThroughputFilesNeverDo) {
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 1000);
    pendingFile(u"wifi_capture_20250602T120000Z.csv"_s, 200);
    pendingFile(u"wifi_capture_20250603T120000Z_throughput_raw.csv"_s, 50'000);
    pendingFile(u"other_20250603.csv"_s, 70'000);
    pendingFile(u"wifi_capture_20250604T120000Z.txt"_s, 90'000);
    EXPECT_EQ(AppState::estimatePendingUploadBytes(capturesDir()), 1200);

    writeUploadedJson(R"({"wifi_capture_20250601T120000Z.csv": {"uploaded_at": "x"}})");
    EXPECT_EQ(AppState::estimatePendingUploadBytes(capturesDir()), 200);
}

TEST_F(AppStateUploadSweepTest, CorruptUploadedJsonCountsEverythingAsPending) {
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 1000);
    pendingFile(u"wifi_capture_20250602T120000Z.csv"_s, 200);
    writeUploadedJson("{not json");
    EXPECT_EQ(AppState::estimatePendingUploadBytes(capturesDir()), 1200);
    writeUploadedJson(R"(["wifi_capture_20250601T120000Z.csv"])");
    EXPECT_EQ(AppState::estimatePendingUploadBytes(capturesDir()), 1200);
}

TEST_F(AppStateUploadSweepTest, MissingFolderEstimatesNothing) {
    EXPECT_EQ(AppState::estimatePendingUploadBytes(home.path() + u"/nowhere"_s), 0);
}

// --- events -------------------------------------------------------------------------------------------

TEST_F(AppStateUploadSweepTest, UploadStartBeginsARun) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{3}));
    const AppState::UploadState& upload = state->upload();
    EXPECT_EQ(upload.uploadTotal, 3);
    EXPECT_TRUE(upload.uploadInProgress);
    EXPECT_FALSE(upload.uploadDone);
    EXPECT_EQ(upload.uploadSucceeded, 0);
    EXPECT_EQ(upload.uploadFailed, 0);
}

TEST_F(AppStateUploadSweepTest, TwoProgressEventsWithinASecondGiveNoEta) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{1}));
    state->handleUploadEvent(progress(u"a.csv"_s, 100, 1000));
    time.advance(0.6);
    state->handleUploadEvent(progress(u"a.csv"_s, 200, 1000));
    EXPECT_FALSE(state->upload().uploadEtaSecs);
    EXPECT_EQ(state->upload().uploadBytesSent, 200);
    EXPECT_EQ(state->upload().uploadBytesTotal, 1000);
    EXPECT_EQ(state->upload().uploadProgressPct, 20);
    EXPECT_EQ(state->upload().uploadProgressFile, u"a.csv"_s);
}

TEST_F(AppStateUploadSweepTest, EtaIsTheMeanRateOfTheWholeFileSoFar) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{1}));
    state->handleUploadEvent(progress(u"a.csv"_s, 100, 1000));
    time.advance(2.0);
    state->handleUploadEvent(progress(u"a.csv"_s, 400, 1000));
    ASSERT_TRUE(state->upload().uploadEtaSecs);
    // 400 bytes in 2 s from a start of 0 bytes: 200 B/s, 600 bytes left.
    EXPECT_DOUBLE_EQ(*state->upload().uploadEtaSecs, 3.0);
    time.advance(2.0);
    state->handleUploadEvent(progress(u"a.csv"_s, 400, 1000));
    EXPECT_DOUBLE_EQ(*state->upload().uploadEtaSecs, 6.0);
}

TEST_F(AppStateUploadSweepTest, NewFileInProgressRestartsTheRateFromZero) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{2}));
    state->handleUploadEvent(progress(u"a.csv"_s, 100, 1000));
    time.advance(5.0);
    state->handleUploadEvent(progress(u"a.csv"_s, 1000, 1000));
    const QDateTime secondStart = time.now();
    state->handleUploadEvent(progress(u"b.csv"_s, 100, 2000));
    EXPECT_EQ(Access::uploadProgressStartTime(*state), secondStart);
    EXPECT_EQ(state->upload().uploadProgressFile, u"b.csv"_s);
    time.advance(2.0);
    state->handleUploadEvent(progress(u"b.csv"_s, 500, 2000));
    // 500 bytes in 2 s, counted from 0 at the first sight of b.csv.
    ASSERT_TRUE(state->upload().uploadEtaSecs);
    EXPECT_DOUBLE_EQ(*state->upload().uploadEtaSecs, 6.0);
}

TEST_F(AppStateUploadSweepTest, CompleteAndErrorCountAndClearTheProgress) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{2}));
    state->handleUploadEvent(progress(u"a.csv"_s, 100, 1000));
    state->handleUploadEvent(uploadEvent(UploadCompleteEvent{u"a.csv"_s, 1000, 200}));
    EXPECT_EQ(state->upload().uploadSucceeded, 1);
    EXPECT_EQ(state->upload().uploadBytesTotal, 0);
    EXPECT_FALSE(state->upload().uploadProgressFile);
    state->handleUploadEvent(progress(u"b.csv"_s, 100, 1000));
    const UploadErrorEvent error{u"b.csv"_s, u"HTTP 503"_s, true};
    state->handleUploadEvent(uploadEvent(error));
    EXPECT_EQ(state->upload().uploadFailed, 1);
    ASSERT_EQ(state->upload().uploadErrors.size(), 1);
    EXPECT_EQ(state->upload().uploadErrors.first(), error);
    EXPECT_EQ(state->upload().uploadBytesSent, 0);
    EXPECT_FALSE(Access::uploadProgressStartTime(*state));
}

TEST_F(AppStateUploadSweepTest, SizeLimitSkipLeavesTheRunInProgress) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{2}));
    UploadSkippedEvent skip;
    skip.reason = u"exceeds_size_limit"_s;
    skip.file = u"big.csv"_s;
    skip.sizeMb = 120;
    state->handleUploadEvent(uploadEvent(skip));
    EXPECT_TRUE(state->upload().uploadInProgress);
    EXPECT_FALSE(state->upload().uploadDone);
    ASSERT_EQ(state->upload().uploadSizeSkips.size(), 1);
    EXPECT_FALSE(state->upload().uploadSkippedReason);
}

TEST_F(AppStateUploadSweepTest, OtherSkipEndsTheWholeRun) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{2}));
    UploadSkippedEvent skip;
    skip.reason = u"no_credentials"_s;
    state->handleUploadEvent(uploadEvent(skip));
    EXPECT_FALSE(state->upload().uploadInProgress);
    EXPECT_TRUE(state->upload().uploadDone);
    EXPECT_EQ(state->upload().uploadSkippedReason, u"no_credentials"_s);
    EXPECT_TRUE(state->upload().uploadSizeSkips.isEmpty());
}

TEST_F(AppStateUploadSweepTest, SummaryWithoutFailuresResetsTheLadderAndStopsTheIdleTimer) {
    Access::setRetryAttempt(*state, 3);
    state->startIdleTimer();
    state->handleUploadEvent(uploadEvent(UploadStartEvent{1}));
    state->handleUploadEvent(uploadEvent(UploadCompleteEvent{u"a.csv"_s, 10, 5}));
    // The summary's own counts are not read.
    state->handleUploadEvent(uploadEvent(UploadSummaryEvent{0, 7}));
    EXPECT_TRUE(state->upload().uploadDone);
    EXPECT_FALSE(state->upload().uploadInProgress);
    EXPECT_EQ(state->retryAttempt(), 0);
    EXPECT_FALSE(state->isIdleUploadTimerRunning());
    EXPECT_FALSE(state->upload().pendingRetryAt);
}

TEST_F(AppStateUploadSweepTest, SummaryWithFailuresSchedulesTheNextRetry) {
    state->handleUploadEvent(uploadEvent(UploadStartEvent{1}));
    state->handleUploadEvent(uploadEvent(UploadErrorEvent{u"a.csv"_s, u"no"_s, std::nullopt}));
    state->handleUploadEvent(uploadEvent(UploadSummaryEvent{1, 0}));
    EXPECT_EQ(state->retryAttempt(), 1);
    EXPECT_EQ(state->upload().pendingRetryAt, time.now().addSecs(60));
    EXPECT_EQ(count(u"INFO  [AppState] retry #1 scheduled in 60s"_s), 1);
}

TEST_F(AppStateUploadSweepTest, UnknownEventChangesNothing) {
    const AppState::UploadState before = state->upload();
    state->handleUploadEvent(JSONEvent{});
    EXPECT_EQ(state->upload(), before);
}

TEST_F(AppStateUploadSweepTest, UploadEventsOnTheCaptureStreamReachTheSweep) {
    // A decoded line of the capture tool goes through the reducer.
    state->pythonProcess().processLine(uR"({"event":"upload_start","total":4})"_s);
    EXPECT_EQ(state->upload().uploadTotal, 4);
    EXPECT_TRUE(state->upload().uploadInProgress);
}

// --- generations and completion ---------------------------------------------------------------------

TEST_F(AppStateUploadSweepTest, EventOfAnOlderGenerationChangesNothingNotEvenPreparing) {
    state->runUploadSweep(u"capture-complete"_s, true); // fails at once without uv, but bumps G
    state->cancelPendingRetry();
    const int current = state->uploadGeneration();
    Access::setUploadPreparing(*state, true);
    const AppState::UploadState before = state->upload();

    Access::uploadEvent(*state, current - 1, uploadEvent(UploadStartEvent{5}));
    Access::uploadEvent(*state, current - 1, uploadEvent(UploadSummaryEvent{0, 0}));
    Access::uploadCompleted(*state, current - 1, 1);

    EXPECT_EQ(state->upload(), before);
    EXPECT_TRUE(state->upload().uploadPreparing);
    EXPECT_FALSE(state->isRetryTimerRunning());

    Access::uploadEvent(*state, current, uploadEvent(UploadStartEvent{5}));
    EXPECT_FALSE(state->upload().uploadPreparing);
    EXPECT_EQ(state->upload().uploadTotal, 5);
}

TEST_F(AppStateUploadSweepTest, ExitZeroWithoutSummaryClosesTheRunWithoutRetry) {
    Access::holdIdleRunner(*state);
    const int generation = state->uploadGeneration();
    Access::uploadEvent(*state, generation, uploadEvent(UploadStartEvent{2}));
    Access::uploadCompleted(*state, generation, 0);
    EXPECT_EQ(state->uploadRunner(), nullptr);
    EXPECT_TRUE(state->upload().uploadDone);
    EXPECT_FALSE(state->upload().uploadInProgress);
    EXPECT_FALSE(state->upload().pendingRetryAt);
    EXPECT_EQ(state->retryAttempt(), 0);
}

TEST_F(AppStateUploadSweepTest, CrashWithoutSummaryRetriesAndKeepsInProgress) {
    Access::holdIdleRunner(*state);
    Access::setUploadPreparing(*state, true);
    const int generation = state->uploadGeneration();
    Access::uploadEvent(*state, generation, uploadEvent(UploadStartEvent{2}));
    Access::uploadCompleted(*state, generation, 1);
    EXPECT_EQ(state->uploadRunner(), nullptr);
    EXPECT_FALSE(state->upload().uploadPreparing);
    EXPECT_TRUE(state->upload().uploadInProgress);
    EXPECT_FALSE(state->upload().uploadDone);
    EXPECT_EQ(state->upload().pendingRetryAt, time.now().addSecs(60));
    EXPECT_EQ(count(u"WARN  [AppState] upload runner crashed (exit 1), scheduling retry"_s), 1);
}

TEST_F(AppStateUploadSweepTest, FailedExitAfterTheSummaryAddsNoRetry) {
    Access::holdIdleRunner(*state);
    const int generation = state->uploadGeneration();
    Access::uploadEvent(*state, generation, uploadEvent(UploadStartEvent{1}));
    Access::uploadEvent(*state, generation, uploadEvent(UploadErrorEvent{u"a.csv"_s, u"x"_s, {}}));
    Access::uploadEvent(*state, generation, uploadEvent(UploadSummaryEvent{0, 1}));
    ASSERT_EQ(state->retryAttempt(), 1);
    Access::uploadCompleted(*state, generation, 1);
    EXPECT_EQ(state->retryAttempt(), 1);
    EXPECT_EQ(count(u"upload runner crashed"_s), 0);
}

// --- retry ladder and idle timer ------------------------------------------------------------------------

TEST_F(AppStateUploadSweepTest, FifthFailureInARowLogsTheBudgetWithFourAttemptsAndStartsTheIdleTimer) {
    // Without uv every run fails at once, as a crash does.
    state->runUploadSweep(u"capture-complete"_s, true);
    const double delays[] = {60, 300, 900, 900};
    for (int attempt = 1; attempt <= 4; ++attempt) {
        EXPECT_EQ(state->retryAttempt(), attempt);
        EXPECT_EQ(state->upload().pendingRetryAt, time.now().addSecs(qint64(delays[attempt - 1])));
        EXPECT_FALSE(state->isIdleUploadTimerRunning());
        time.advance(delays[attempt - 1] - 1);
        EXPECT_EQ(count(u"upload sweep starting (auto-retry)"_s), attempt - 1) << "not before its time";
        time.advance(1);
    }
    const QString text = logText();
    EXPECT_TRUE(text.contains(u"retry #1 scheduled in 60s"_s));
    EXPECT_TRUE(text.contains(u"retry #2 scheduled in 300s"_s));
    EXPECT_TRUE(text.contains(u"retry #3 scheduled in 900s"_s));
    EXPECT_TRUE(text.contains(u"retry #4 scheduled in 900s"_s));
    EXPECT_EQ(text.count(u"upload runner crashed (exit 1), scheduling retry"_s), 5);
    EXPECT_EQ(text.count(u"INFO  [AppState] retry budget exhausted after 4 attempts, starting idle timer"_s),
              1);
    EXPECT_EQ(text.count(u"WARN  [UploadRunner] UploadRunner: uv not found, skipping pending upload check"_s),
              5);
    EXPECT_FALSE(state->upload().pendingRetryAt);
    EXPECT_TRUE(state->isIdleUploadTimerRunning());
    EXPECT_EQ(state->idleUploadTicks(), 0);
}

TEST_F(AppStateUploadSweepTest, IdleLoopWhoseSweepsFailKeepsGoingPastTenTicks) {
    Access::setRetryAttempt(*state, 4);
    state->startIdleTimer();
    time.advance(900.0 * 15);
    // Each tick stops the timer in the sweep, and the failed run starts a fresh one at 0.
    EXPECT_TRUE(state->isIdleUploadTimerRunning());
    EXPECT_EQ(count(u"upload sweep starting (idle-periodic)"_s), 15);
    EXPECT_EQ(count(u"retry budget exhausted after 4 attempts"_s), 15);
    EXPECT_EQ(count(u"idle upload timer expired"_s), 0);
}

TEST_F(AppStateUploadSweepTest, IdleTimerRefusedAtTheGatesExpiresAtTheEleventhTick) {
    Access::holdIdleRunner(*state);
    state->startIdleTimer();
    time.advance(900.0 * 10);
    EXPECT_TRUE(state->isIdleUploadTimerRunning());
    EXPECT_EQ(state->idleUploadTicks(), 10);
    EXPECT_EQ(count(u"upload sweep skipped (idle-periodic): runner already active"_s), 10);
    time.advance(900.0);
    EXPECT_FALSE(state->isIdleUploadTimerRunning());
    EXPECT_EQ(state->idleUploadTicks(), 0);
    EXPECT_EQ(count(u"INFO  [AppState] idle upload timer expired after 10 ticks"_s), 1);
    time.advance(900.0 * 3);
    EXPECT_EQ(count(u"upload sweep skipped (idle-periodic)"_s), 10);
}

TEST_F(AppStateUploadSweepTest, StartingTheIdleTimerTwiceKeepsTheFirst) {
    Access::holdIdleRunner(*state);
    state->startIdleTimer();
    time.advance(900.0 * 2);
    state->startIdleTimer();
    EXPECT_EQ(state->idleUploadTicks(), 2);
}

TEST_F(AppStateUploadSweepTest, RetryUploadResetsTheLadderAndSweepsManually) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    Access::setRetryAttempt(*state, 3);
    Access::holdIdleRunner(*state);
    const int generation = state->uploadGeneration();
    state->retryUpload();
    EXPECT_EQ(count(u"INFO  [AppState] retryUpload requested"_s), 1);
    EXPECT_EQ(count(u"upload sweep starting (manual-button)"_s), 1);
    EXPECT_GT(state->uploadGeneration(), generation);
    // The run failed at once (no uv), on a fresh ladder.
    EXPECT_EQ(state->retryAttempt(), 1);
}

TEST_F(AppStateUploadSweepTest, ReconnectSweepsOnlyWithARetryPendingOrFailures) {
    state->onNetworkReconnected();
    EXPECT_EQ(count(u"network reconnected"_s), 0);
    EXPECT_EQ(count(u"upload sweep"_s), 0);

    state->runUploadSweep(u"capture-complete"_s, true); // fails: retry pending
    ASSERT_TRUE(state->upload().pendingRetryAt);
    state->onNetworkReconnected();
    EXPECT_EQ(count(u"INFO  [AppState] network reconnected — running upload sweep"_s), 1);
    EXPECT_EQ(count(u"upload sweep starting (network-reconnect)"_s), 1);
    EXPECT_EQ(state->retryAttempt(), 2) << "the reconnect sweep's failure takes the next rung";
}

TEST_F(AppStateUploadSweepTest, LaunchSweepRunsOnTheSetupScreenOnly) {
    Access::setScreen(*state, AppState::Screen::bootstrapping);
    state->runLaunchSweep();
    EXPECT_EQ(count(u"upload sweep"_s), 0);
    Access::setScreen(*state, AppState::Screen::setup);
    Access::setRetryAttempt(*state, 4);
    state->runLaunchSweep();
    EXPECT_EQ(count(u"upload sweep starting (app-launch)"_s), 1);
    EXPECT_EQ(state->retryAttempt(), 1);
}

TEST_F(AppStateUploadSweepTest, WakeSweepsFiveSecondsLater) {
    NorvaneApp app(log);
    app.appState();
    app.handleWake();
    time.advance(4.9);
    EXPECT_EQ(count(u"upload sweep"_s), 0);
    time.advance(0.1);
    EXPECT_EQ(count(u"INFO  [App] system wake detected"_s), 1);
    EXPECT_EQ(count(u"upload sweep starting (system-wake)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, TerminationStepStartsTheCaptureCompleteSweep) {
    Access::terminate(*state);
    EXPECT_EQ(count(u"upload sweep starting (capture-complete)"_s), 1);
    // Without uv the run ends at once: nothing left to prepare, a retry pending.
    EXPECT_FALSE(state->upload().uploadPreparing);
    EXPECT_TRUE(state->upload().pendingRetryAt);
}

TEST_F(AppStateUploadSweepTest, LeavingDiagnosticsSweeps) {
    Access::setMeasuredUplinkMbps(*state, 1.0);
    pendingFile(u"wifi_capture_20250601T120000Z.csv"_s, 500'000'000);
    state->dismissDiagnostics();
    EXPECT_EQ(count(u"upload deferred (diagnostics-dismiss)"_s), 1);
}

TEST_F(AppStateUploadSweepTest, NewCaptureDropsTheRetryAndIdleTimers) {
    state->runUploadSweep(u"capture-complete"_s, true);
    ASSERT_TRUE(state->isRetryTimerRunning());
    const int generation = state->uploadGeneration();
    state->startReplay(CaptureConfig{});
    EXPECT_FALSE(state->isRetryTimerRunning());
    EXPECT_FALSE(state->upload().pendingRetryAt);
    EXPECT_EQ(state->retryAttempt(), 0);
    EXPECT_GT(state->uploadGeneration(), generation);
}

// --- whole runs of the simulated upload tool ------------------------------------------------------------

class AppStateUploadRunTest : public AppStateUploadSweepTest {
protected:
    void SetUp() override {
        home.installFakeUv();
        qputenv("NORVANE_SIM_SPEED", "300");
        AppStateUploadSweepTest::SetUp();
    }
    // One sweep on the given upload scenario, and what the fake uv saw of it: the upload tool's own
    // command line, with no privacy flag, and an environment without the Wi-Fi helper.
    void runScenario(const char* name) {
        qputenv("NORVANE_SIM_UPLOAD", name);
        Access::setUploadPreparing(*state, true);
        state->runUploadSweep(u"capture-complete"_s, true);
        ASSERT_TRUE(waitForRunnerEnd());

        const QList<QJsonObject> journal = simulatorJournal(defaultJournalPath(home.path()));
        ASSERT_FALSE(journal.isEmpty());
        const QJsonObject entry = journal.last();
        EXPECT_EQ(entry[u"kind"_s].toString(), u"upload"_s);
        const QStringList argv = journalArguments(entry);
        EXPECT_EQ(argv, UploadRunner::buildArguments(PythonProcess::pythonSourceRoot(), capturesDir()));
        EXPECT_FALSE(argv.join(u' ').contains(u"privacy"_s));
        EXPECT_FALSE(entry[u"env"_s].toObject().contains(u"WIFI_INFO_PATH"_s));
    }
};

TEST_F(AppStateUploadRunTest, SuccessUploadsEveryFileAndEndsTheLadder) {
    smallCaptures(2);
    Access::setRetryAttempt(*state, 2);
    runScenario("success");
    const AppState::UploadState& upload = state->upload();
    EXPECT_EQ(upload.uploadTotal, 2);
    EXPECT_EQ(upload.uploadSucceeded, 2);
    EXPECT_EQ(upload.uploadFailed, 0);
    EXPECT_TRUE(upload.uploadDone);
    EXPECT_FALSE(upload.uploadInProgress);
    EXPECT_FALSE(upload.uploadPreparing);
    EXPECT_FALSE(upload.pendingRetryAt);
    EXPECT_EQ(state->retryAttempt(), 0);
    EXPECT_EQ(count(u"INFO  [UploadRunner] upload runner terminated exit=0"_s), 1);
    EXPECT_EQ(AppState::estimatePendingUploadBytes(capturesDir()), 0) << "uploaded.json lists both";
}

TEST_F(AppStateUploadRunTest, OneFailsCountsTheErrorAndSchedulesARetry) {
    smallCaptures(2);
    runScenario("one-fails");
    const AppState::UploadState& upload = state->upload();
    EXPECT_EQ(upload.uploadSucceeded, 1);
    EXPECT_EQ(upload.uploadFailed, 1);
    ASSERT_EQ(upload.uploadErrors.size(), 1);
    EXPECT_TRUE(upload.uploadDone);
    EXPECT_EQ(state->retryAttempt(), 1);
    EXPECT_TRUE(upload.pendingRetryAt);
    EXPECT_EQ(count(u"upload runner crashed"_s), 0) << "the summary decided";
}

TEST_F(AppStateUploadRunTest, NoCredentialsSkipsTheRunWithoutRetry) {
    smallCaptures(1);
    runScenario("no_credentials");
    EXPECT_EQ(state->upload().uploadSkippedReason, u"no_credentials"_s);
    EXPECT_TRUE(state->upload().uploadDone);
    EXPECT_FALSE(state->upload().uploadInProgress);
    EXPECT_FALSE(state->upload().pendingRetryAt);
    EXPECT_EQ(state->upload().uploadFailed, 0);
}

TEST_F(AppStateUploadRunTest, OversizeListsTheFileAndUploadsTheRest) {
    smallCaptures(1);
    pendingFile(u"wifi_capture_20250609T120000Z.csv"_s, 3'000'000);
    runScenario("oversize");
    const AppState::UploadState& upload = state->upload();
    ASSERT_EQ(upload.uploadSizeSkips.size(), 1);
    EXPECT_EQ(upload.uploadSizeSkips.first().file, u"wifi_capture_20250609T120000Z.csv"_s);
    EXPECT_EQ(upload.uploadSucceeded, 1);
    EXPECT_TRUE(upload.uploadDone);
    EXPECT_FALSE(upload.uploadSkippedReason);
}

TEST_F(AppStateUploadRunTest, CrashWithoutSummaryTakesTheCrashPath) {
    smallCaptures(1);
    runScenario("crash");
    EXPECT_FALSE(state->upload().uploadDone);
    EXPECT_TRUE(state->upload().uploadInProgress) << "as the tool left it";
    EXPECT_EQ(state->upload().pendingRetryAt, time.now().addSecs(60));
    EXPECT_EQ(count(u"WARN  [AppState] upload runner crashed (exit 1), scheduling retry"_s), 1);
    EXPECT_GE(count(u"DEBUG [UploadRunner] upload stderr: "_s), 1);
}

TEST_F(AppStateUploadRunTest, HangingToolIsEndedByRetryUpload) {
    smallCaptures(1);
    qputenv("NORVANE_SIM_UPLOAD", "hang");
    state->runUploadSweep(u"capture-complete"_s, true);
    QElapsedTimer real;
    real.start();
    while (!state->upload().uploadInProgress && real.elapsed() < 20'000)
        QTest::qWait(5);
    ASSERT_TRUE(state->upload().uploadInProgress);
    UploadRunner* hanging = state->uploadRunner();
    ASSERT_NE(hanging, nullptr);
    const int generation = state->uploadGeneration();

    qputenv("NORVANE_SIM_UPLOAD", "success");
    state->retryUpload();
    EXPECT_EQ(count(u"INFO  [UploadRunner] upload runner cancelled"_s), 1);
    EXPECT_GT(state->uploadGeneration(), generation);
    ASSERT_TRUE(waitForRunnerEnd());
    EXPECT_EQ(state->upload().uploadSucceeded, 1);
    EXPECT_TRUE(state->upload().uploadDone);
}
