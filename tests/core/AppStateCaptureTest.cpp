// Whole captures through the tool simulator: a real child, its real event stream, and the timers of
// the session on a virtual clock.

#include "core/AppState.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/StdinCommand.h"
#include "support/PumpUntil.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

class AppStateCaptureTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    std::unique_ptr<AppState> state;

    void SetUp() override {
        home.installFakeUv();
        qputenv("NORVANE_SIM_SPEED", "300");
        state = std::make_unique<AppState>(log);
    }
    void TearDown() override {
        state.reset();
        qunsetenv("NORVANE_SIM_SPEED");
        qunsetenv("NORVANE_SIM_SCENARIO");
    }

    void scenario(const char* name) { qputenv("NORVANE_SIM_SCENARIO", name); }

    // Pumps the child's output into the session until the condition holds or twenty real seconds have
    // passed. Virtual time moves a tenth of a second per round once the tool has spoken, so that a
    // slow start of Python on a busy machine can't set off the startup watchdog.
    bool runUntil(const std::function<bool()>& done) {
        return pumpUntil(done, [&] {
            if (state->pythonProcess().latestEvent() || !state->pythonProcess().isChildRunning())
                time.advance(0.1);
        });
    }

    bool waitForTermination() {
        QSignalSpy ended(state.get(), &AppState::processTerminated);
        return runUntil([&] { return ended.count() > 0; });
    }

    QString sessionEndDetails() const {
        const QStringList files = QDir(home.path() + u"/.local/share/Norvane/captures"_s)
                                      .entryList({u"wifi_capture_*Z.csv"_s}, QDir::Files);
        if (files.isEmpty())
            return QString();
        QFile file(home.path() + u"/.local/share/Norvane/captures/"_s + files.first());
        file.open(QIODevice::ReadOnly);
        const QStringList lines = QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
        for (const QString& line : lines) {
            if (line.section(u',', 1, 1) == u"session_end"_s)
                return line.section(u',', 10);
        }
        return QString();
    }
};

TEST_F(AppStateCaptureTest, TimedCaptureRunsToCelebrationAndTheTerminationStep) {
    Settings().setBool(Settings::autoUpload, false);
    CaptureConfig config;
    config.durationString = u"5m"_s;
    state->startCapture(config);
    EXPECT_EQ(state->screen(), Screen::running);
    EXPECT_TRUE(state->isFlushTimerRunning());
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::celebration)
        << state->errorMessage().value_or(QString()).toStdString();
    EXPECT_EQ(state->pythonProcess().state(), PythonProcess::State::completed());
    EXPECT_TRUE(state->completeEvent());
    EXPECT_TRUE(state->captureId());
    EXPECT_GT(state->latencyPoints().size(), 100);
    EXPECT_TRUE(state->latencyBuffer().isEmpty());
    EXPECT_FALSE(state->isFlushTimerRunning());
    EXPECT_FALSE(state->isHoneycombTimerRunning());
    EXPECT_TRUE(state->upload().uploadDone) << "auto upload is off";
    for (const SpeedTestRange& range : state->speedTestRanges())
        EXPECT_TRUE(range.end);
}

TEST_F(AppStateCaptureTest, UserStopSendsEndMetaFromTheReferenceListThenCelebrates) {
    state->startCapture(CaptureConfig{}); // open-ended
    ASSERT_TRUE(runUntil([&] { return state->latencyPoints().size() >= 40; }));
    const AppState::EndMetaFigures expected = AppState::endMetaFigures(state->latencyPoints());
    const std::optional<double> latency = state->stats().latencyMs;
    state->stopCapture();
    EXPECT_EQ(state->screen(), Screen::finishing);
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::celebration);
    const QString details = sessionEndDetails();
    auto item = [&details](const QString& key) -> std::optional<double> {
        const QStringList items = details.split(u' ');
        for (const QString& entry : items) {
            if (entry.startsWith(key + u'='))
                return entry.mid(key.size() + 1).toDouble();
        }
        return std::nullopt;
    };
    EXPECT_TRUE(details.contains(u"endmeta_gateway_reachable="_s +
                                 (expected.gatewayReachable ? u"true"_s : u"false"_s)))
        << details.toStdString();
    ASSERT_TRUE(expected.lossPct);
    EXPECT_EQ(item(u"endmeta_packet_loss_pct"_s), StdinCommand::roundToTenth(*expected.lossPct))
        << details.toStdString();
    ASSERT_TRUE(latency);
    EXPECT_EQ(item(u"endmeta_latency_ms"_s), StdinCommand::roundToTenth(*latency)) << details.toStdString();
}

TEST_F(AppStateCaptureTest, UserStopWithoutPingOrUdpPointsStillSendsEndMeta) {
    state->startCapture(CaptureConfig{}); // open-ended
    // Real time only: without a flush no sample leaves the buffer, so the reference list stays empty.
    ASSERT_TRUE(QTest::qWaitFor([&] { return state->captureId().has_value(); }, 20'000));
    ASSERT_TRUE(state->latencyPoints().isEmpty());
    state->stopCapture();
    EXPECT_EQ(state->screen(), Screen::finishing);
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::celebration);

    // What the tool read on its standard input, from its own log.
    const QDir logs(Locations::logDir());
    const QStringList toolLogs = logs.entryList({u"norvane-cli-*.log"_s}, QDir::Files);
    ASSERT_EQ(toolLogs.size(), 1) << logs.path().toStdString();
    QFile toolLog(logs.filePath(toolLogs.first()));
    ASSERT_TRUE(toolLog.open(QIODevice::ReadOnly));
    const QString marker = u"stdin: ENDMETA "_s;
    QStringList endMetaLines;
    const QStringList lines = QString::fromUtf8(toolLog.readAll()).split(u'\n');
    for (const QString& line : lines) {
        const qsizetype at = line.indexOf(marker);
        if (at >= 0)
            endMetaLines.append(line.mid(at + marker.size()));
    }
    ASSERT_EQ(endMetaLines.size(), 1);
    const QJsonObject sent = QJsonDocument::fromJson(endMetaLines.first().toUtf8()).object();
    EXPECT_EQ(sent.value(u"gateway_reachable"_s), QJsonValue(false)) << endMetaLines.first().toStdString();
    EXPECT_FALSE(sent.contains(u"packet_loss_pct"_s)) << endMetaLines.first().toStdString();

    const QString details = sessionEndDetails();
    EXPECT_TRUE(details.contains(u"endmeta_gateway_reachable=false"_s)) << details.toStdString();
    EXPECT_FALSE(details.contains(u"endmeta_packet_loss_pct"_s)) << details.toStdString();
}

TEST_F(AppStateCaptureTest, ToolThatNeverCompletesAfterStopEndsInCelebrationAfterTheTimeout) {
    scenario("hang-on-stop");
    state->startCapture(CaptureConfig{});
    ASSERT_TRUE(runUntil([&] { return !state->latencyPoints().isEmpty(); }));
    state->stopCapture();
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::celebration);
    EXPECT_FALSE(state->completeEvent());
}

TEST_F(AppStateCaptureTest, FatalErrorLeadsToResultsWithTheMessage) {
    scenario("fatal-error");
    state->startCapture(CaptureConfig{});
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::results);
    ASSERT_TRUE(state->errorMessage());
    EXPECT_FALSE(state->errorMessage()->isEmpty());
}

TEST_F(AppStateCaptureTest, ToolFailureWhileRunningLeadsToDiagnostics) {
    scenario("crash");
    state->startCapture(CaptureConfig{});
    ASSERT_TRUE(waitForTermination());
    EXPECT_EQ(state->screen(), Screen::diagnostics);
    ASSERT_TRUE(state->errorMessage());
    EXPECT_EQ(*state->errorMessage(), state->pythonProcess().state().message);
    EXPECT_FALSE(state->isFlushTimerRunning());
}

TEST_F(AppStateCaptureTest, TwoCapturesInOneRunKeepTheVideoRangesOfTheFirst) {
    Settings().setBool(Settings::autoUpload, false);
    CaptureConfig config;
    config.durationString = u"5m"_s;
    state->startCapture(config);
    ASSERT_TRUE(waitForTermination());
    const qsizetype firstRanges = state->videoStreamingRanges().size();
    ASSERT_GT(firstRanges, 0) << "the good scenario runs video tests";
    state->newCapture();
    state->startCapture(config);
    EXPECT_EQ(state->videoStreamingRanges().size(), firstRanges);
    ASSERT_TRUE(waitForTermination());
    EXPECT_GT(state->videoStreamingRanges().size(), firstRanges);
}
