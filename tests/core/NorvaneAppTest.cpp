#include "core/NorvaneApp.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "core/QuitAlert.h"
#include "services/FileLogger.h"
#include "services/UpdateLogger.h"
#include "services/VersionCheck.h"
#include "subprocess/Bootstrap.h"
#include "subprocess/ProcessTestSupport.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/WarmingTask.h"
#include "support/AppStateTestAccess.h"
#include "support/LoggedText.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "support/UpdateStandIns.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPointer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

using namespace Qt::StringLiterals;
using Screen = AppState::Screen;

TEST(QuitAlert, RunningCaptureAsksToStopAndQuit) {
    EXPECT_TRUE(QuitAlert::isNeeded(Screen::running, false, false));
    const QuitAlert alert = QuitAlert::make(Screen::running, true, true);
    EXPECT_EQ(alert.title, u"A test is running"_s);
    EXPECT_EQ(alert.message,
              u"Stopping now will end the current capture. Results collected so far will be saved."_s);
    EXPECT_EQ(alert.destructiveButton, u"Stop and Quit"_s);
    EXPECT_EQ(alert.cancelButton, u"Cancel"_s);
}

TEST(QuitAlert, UploadInProgress) {
    EXPECT_TRUE(QuitAlert::isNeeded(Screen::results, true, false));
    const QuitAlert alert = QuitAlert::make(Screen::results, true, false);
    EXPECT_EQ(alert.title, u"Upload in progress"_s);
    EXPECT_EQ(alert.message, u"Upload is still in progress. Pending uploads will resume on next launch."_s);
    EXPECT_EQ(alert.destructiveButton, u"Quit"_s);
}

TEST(QuitAlert, OnlyPreparingSaysUploadInTheTitleAndSavingInTheMessage) {
    EXPECT_TRUE(QuitAlert::isNeeded(Screen::celebration, false, true));
    const QuitAlert alert = QuitAlert::make(Screen::celebration, false, true);
    EXPECT_EQ(alert.title, u"Upload in progress"_s);
    EXPECT_EQ(alert.message, u"Results are being saved. Your capture data will be preserved."_s);
}

TEST(QuitAlert, FinishingSaysSavingResults) {
    EXPECT_TRUE(QuitAlert::isNeeded(Screen::finishing, false, false));
    const QuitAlert alert = QuitAlert::make(Screen::finishing, false, false);
    EXPECT_EQ(alert.title, u"Saving results"_s);
    EXPECT_EQ(alert.message, u"Results are being saved. Your capture data will be preserved."_s);
    EXPECT_EQ(alert.destructiveButton, u"Quit"_s);
}

TEST(QuitAlert, NotNeededOnQuietScreens) {
    for (const Screen screen :
         {Screen::bootstrapping, Screen::setup, Screen::celebration, Screen::results, Screen::diagnostics})
        EXPECT_FALSE(QuitAlert::isNeeded(screen, false, false)) << AppState::screenName(screen).toStdString();
}

class NorvaneAppTest : public ::testing::Test {
protected:
    TempHome home;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};

    QString logText() { return loggedText(log); }

    void TearDown() override {
        // No warm-up may outlive its test: stop the last one and wait for its child.
        if (QPointer<WarmingTask> task = Bootstrap::warmingTask()) {
            task->cancel();
            time.advance(Bootstrap::warmingPollSeconds);
            EXPECT_TRUE(QTest::qWaitFor([&task] { return task.isNull(); }, 20'000));
        }
    }
};

// A home whose uv is the simulator, with a warm-up that takes its time.
class NorvaneAppLaunchTest : public NorvaneAppTest {
protected:
    ScopedEnv env;

    void SetUp() override {
        home.installFakeUv();
        env.set("NORVANE_SIM_SPEED", "1");
        env.set("NORVANE_SIM_BOOTSTRAP", "slow");
    }

    int launchSweeps() { return logText().count(u"(app-launch)"_s); }
};

TEST_F(NorvaneAppTest, LaunchLinesNameVersionLogAndCaptureFolder) {
    NorvaneApp app(log);
    app.writeLaunchLines();
    const QString text = logText();
    EXPECT_TRUE(text.contains(u"INFO  [App] app launch version="_s));
    EXPECT_TRUE(text.contains(u" build=dev Linux="_s));
    EXPECT_TRUE(text.contains(u"INFO  [App] log file: "_s + log.logPath()));
    EXPECT_TRUE(text.contains(u"INFO  [App] capture directory: "_s + home.path() +
                              u"/.local/share/Norvane/captures"_s));
}

TEST_F(NorvaneAppTest, AnInstallerOverrideThatIsNoPlainAddressIsIgnoredWithOneWarning) {
    ScopedEnv env;
    env.set("NORVANE_UV_INSTALLER_URL", "http://127.0.0.1:9/install.sh; rm -rf ~");
    NorvaneApp app(log);
    app.writeLaunchLines();
    const QString text = logText();
    EXPECT_EQ(
        text.count(u"WARN  [App] ignored NORVANE_UV_INSTALLER_URL: not a plain http or https address"_s), 1)
        << qPrintable(text);
    EXPECT_FALSE(text.contains(u"NORVANE_SITE_URL"_s));
}

TEST_F(NorvaneAppTest, QuitOnResultsWithNothingInProgressEndsAtOnce) {
    NorvaneApp app(log);
    AppStateTestAccess::setScreen(app.appState(), Screen::results);
    QSignalSpy terminate(&app, &NorvaneApp::terminateRequested);
    app.requestQuit();
    EXPECT_EQ(terminate.count(), 1);
    EXPECT_FALSE(app.showQuitConfirmation());
}

TEST_F(NorvaneAppTest, QuitWhileRunningAsksFirstAndTheDestructiveButtonQuits) {
    NorvaneApp app(log);
    AppStateTestAccess::setScreen(app.appState(), Screen::running);
    QSignalSpy terminate(&app, &NorvaneApp::terminateRequested);
    app.requestQuit();
    EXPECT_TRUE(app.showQuitConfirmation());
    EXPECT_EQ(terminate.count(), 0);
    EXPECT_EQ(app.quitAlert().title, u"A test is running"_s);
    app.cancelQuit();
    EXPECT_FALSE(app.showQuitConfirmation());
    EXPECT_EQ(terminate.count(), 0);
    app.requestQuit();
    app.confirmQuit();
    EXPECT_EQ(terminate.count(), 1);
    EXPECT_EQ(app.appState().pythonProcess().state(), PythonProcess::State::idle());
}

TEST_F(NorvaneAppTest, TerminationLogsWhatWasRunning) {
    NorvaneApp app(log);
    AppStateTestAccess::setScreen(app.appState(), Screen::finishing);
    app.handleTermination();
    app.handleTermination();
    const QString text = logText();
    EXPECT_EQ(text.count(u"app quit"_s), 1);
    EXPECT_TRUE(text.contains(u"INFO  [App] app quit capture_running=true screen=finishing"_s));
}

TEST_F(NorvaneAppTest, WakeIsLogged) {
    NorvaneApp app(log);
    app.handleWake();
    EXPECT_TRUE(logText().contains(u"INFO  [App] system wake detected"_s));
}

TEST_F(NorvaneAppTest, UvMissingShowsTheBootstrapScreenScansForCrashesAndRunsNoLaunchSweep) {
    if (QFileInfo::exists(u"/opt/homebrew/bin/uv"_s) || QFileInfo::exists(u"/usr/local/bin/uv"_s))
        GTEST_SKIP() << "a uv is installed system-wide";
    NorvaneApp app(log);
    int crashScans = 0;
    app.setCrashScan([&crashScans] { ++crashScans; });
    app.windowAppeared();
    EXPECT_EQ(app.appState().screen(), Screen::bootstrapping);
    EXPECT_EQ(crashScans, 1);
    EXPECT_EQ(Bootstrap::warmingTask(), nullptr) << "no warm-up without uv";
    QTest::qWait(50);
    EXPECT_FALSE(logText().contains(u"app-launch"_s));
    EXPECT_TRUE(logText().contains(u"INFO  [AppState] uv not found, starting with bootstrap screen"_s));
}

TEST_F(NorvaneAppLaunchTest, LaunchSweepWaitsForTheWarmUp) {
    NorvaneApp app(log);
    int crashScans = 0;
    app.setCrashScan([&crashScans] { ++crashScans; });
    app.windowAppeared();
    EXPECT_EQ(crashScans, 1);
    QPointer<WarmingTask> task = Bootstrap::warmingTask();
    ASSERT_TRUE(task);
    EXPECT_EQ(launchSweeps(), 0) << "the warm-up is still running";

    task->cancel();
    time.advance(Bootstrap::warmingPollSeconds);
    EXPECT_EQ(launchSweeps(), 1) << "the wait is over and the screen is still setup";
}

TEST_F(NorvaneAppLaunchTest, CaptureStartedWhileTheLaunchTaskWaitsRunsNoLaunchSweep) {
    NorvaneApp app(log);
    app.windowAppeared();
    QPointer<WarmingTask> task = Bootstrap::warmingTask();
    ASSERT_TRUE(task);

    app.appState().startCapture(CaptureConfig{});
    ASSERT_EQ(app.appState().screen(), Screen::running);
    EXPECT_TRUE(task->isCancelled()) << "the capture stops the warm-up";
    time.advance(Bootstrap::warmingPollSeconds);
    EXPECT_TRUE(task->hasEnded());
    EXPECT_EQ(launchSweeps(), 0);
    app.appState().pythonProcess().reset();
}

TEST_F(NorvaneAppLaunchTest, WakeWarmsTheCacheAfterFiveSecondsAndSweepsOnceTheWarmUpEnds) {
    NorvaneApp app(log);
    app.handleWake();
    time.advance(NorvaneApp::wakeDelaySeconds - 0.1);
    EXPECT_EQ(Bootstrap::warmingTask(), nullptr);
    time.advance(0.1);
    QPointer<WarmingTask> task = Bootstrap::warmingTask();
    ASSERT_TRUE(task);
    EXPECT_FALSE(logText().contains(u"(system-wake)"_s)) << "the sweep waits for the warm-up";

    task->cancel();
    time.advance(Bootstrap::warmingPollSeconds);
    EXPECT_TRUE(logText().contains(u"(system-wake)"_s));
}

TEST_F(NorvaneAppTest, WakeDuringACaptureStillIssuesTheWakeSweepFiveSecondsLater) {
    home.installFakeUv();
    NorvaneApp app(log);
    AppState& state = app.appState();
    state.startCapture(CaptureConfig{});
    // Real time for the tool to announce its capture; the virtual clock stands still meanwhile.
    ASSERT_TRUE(QTest::qWaitFor([&] { return state.captureId().has_value(); }, 20'000));
    ASSERT_EQ(state.screen(), Screen::running);
    ASSERT_EQ(state.pythonProcess().state(), PythonProcess::State::running());

    app.handleWake();
    const QString sweep = u"INFO  [AppState] upload sweep skipped (system-wake): capture in progress"_s;
    time.advance(4.9);
    EXPECT_FALSE(logText().contains(u"(system-wake)"_s)) << logText().toStdString();
    time.advance(0.1);
    // The wake also refills the package cache; the sweep follows once that child has ended.
    EXPECT_TRUE(QTest::qWaitFor([&] { return logText().contains(sweep); }, 20'000))
        << logText().toStdString();
    EXPECT_EQ(state.screen(), Screen::running);
    app.handleTermination();
}

// --- The version gate and the updater ---------------------------------------------------------------

class NorvaneAppGateTest : public NorvaneAppTest {
protected:
    // The application object on a gate for running version 1.0 under the given minimum.
    std::unique_ptr<NorvaneApp> launch(const char* minimum) {
        gate = gateOnRules(rulesDir.path(), u"1.0"_s, QByteArray(R"({"minimum":")") + minimum + R"("})", log);
        return std::make_unique<NorvaneApp>(log, services());
    }

    NorvaneApp::Services services() {
        return {[this]() -> VersionCheck& { return *gate; }, [this]() -> UpdateLogger& { return listener; }};
    }

    QTemporaryDir rulesDir;
    UpdateLogger listener{log};
    std::unique_ptr<VersionCheck> gate;
};

TEST_F(NorvaneAppGateTest, LaunchSettlesTheGateThenTakesTheUpdateListenerBeforeAnythingElse) {
    home.installFakeUv();
    QStringList taken;
    const NorvaneApp::Services services{[&]() -> VersionCheck& {
                                            taken.append(u"gate"_s);
                                            gate = gateOnRules(rulesDir.path(), u"1.0"_s,
                                                               R"({"minimum":"0.5"})", log);
                                            return *gate;
                                        },
                                        [&]() -> UpdateLogger& {
                                            taken.append(u"update listener"_s);
                                            return listener;
                                        }};
    NorvaneApp app(log, services);
    EXPECT_EQ(taken, (QStringList{u"gate"_s, u"update listener"_s}));
    EXPECT_EQ(&app.versionCheck(), gate.get());
    EXPECT_EQ(&app.updateLogger(), &listener);
    EXPECT_FALSE(logText().contains(u"[AppState]"_s)) << "the session is made on first use, later";

    app.writeLaunchLines();
    app.appState();
    const QString text = logText();
    const qsizetype verdict =
        text.indexOf(u"INFO  [VersionCheck] version check: running=1.0 >= minimum=0.5, ok"_s);
    const qsizetype launchLine = text.indexOf(u"INFO  [App] app launch version="_s);
    const qsizetype firstScreen =
        text.indexOf(u"INFO  [AppState] uv available, starting with setup screen"_s);
    ASSERT_GE(verdict, 0) << text.toStdString();
    EXPECT_LT(verdict, launchLine);
    EXPECT_LT(launchLine, firstScreen);
}

TEST_F(NorvaneAppGateTest, ByDefaultTakesTheSharedGateAndListener) {
    NorvaneApp app(log);
    EXPECT_EQ(&app.versionCheck(), &VersionCheck::shared());
    EXPECT_EQ(&app.updateLogger(), &UpdateLogger::shared());
}

TEST_F(NorvaneAppGateTest, BelowTheMinimumTheNoticeShowsUntilTheUserGoesOn) {
    const std::unique_ptr<NorvaneApp> app = launch("2.0");
    EXPECT_FALSE(app->bypassVersionCheck());
    EXPECT_TRUE(app->showsUpdateNotice());

    QSignalSpy bypass(app.get(), &NorvaneApp::bypassVersionCheckChanged);
    QSignalSpy notice(app.get(), &NorvaneApp::updateNoticeChanged);
    app->continuePastUpdateNotice();
    EXPECT_TRUE(app->bypassVersionCheck());
    EXPECT_FALSE(app->showsUpdateNotice());
    EXPECT_TRUE(gate->updateRequired()) << "going on past the notice doesn't open the gate";
    EXPECT_EQ(bypass.count(), 1);
    EXPECT_EQ(notice.count(), 1);

    app->continuePastUpdateNotice();
    EXPECT_EQ(bypass.count(), 1);
    EXPECT_EQ(notice.count(), 1);
}

TEST_F(NorvaneAppGateTest, AtOrAboveTheMinimumNoNoticeShows) {
    const std::unique_ptr<NorvaneApp> app = launch("1.0");
    EXPECT_FALSE(app->showsUpdateNotice());
    EXPECT_FALSE(app->bypassVersionCheck());
}

TEST_F(NorvaneAppGateTest, AMinimumRaisedDuringTheSessionBringsTheNoticeAtOnce) {
    const std::unique_ptr<NorvaneApp> app = launch("0.5");
    app->appState();
    QSignalSpy notice(app.get(), &NorvaneApp::updateNoticeChanged);
    ASSERT_TRUE(writeFileAt(gate->cachePath(), R"({"minimum":"1.1"})"));
    gate->loadCacheAndEvaluate(u"1.0"_s);
    EXPECT_EQ(notice.count(), 1);
    EXPECT_TRUE(app->showsUpdateNotice());
}

TEST_F(NorvaneAppGateTest, TheBypassIsNotKeptForTheNextLaunch) {
    launch("2.0")->continuePastUpdateNotice();
    const std::unique_ptr<NorvaneApp> next = launch("2.0");
    EXPECT_FALSE(next->bypassVersionCheck());
    EXPECT_TRUE(next->showsUpdateNotice());
}

TEST_F(NorvaneAppGateTest, TheUpdaterIsSetLaterAndForgottenWhenItGoes) {
    const std::unique_ptr<NorvaneApp> app = launch("0.5");
    EXPECT_EQ(app->updater(), nullptr);
    QSignalSpy changed(app.get(), &NorvaneApp::updaterChanged);
    auto updater = std::make_unique<StandInUpdater>();
    app->setUpdater(updater.get());
    EXPECT_EQ(app->updater(), updater.get());
    EXPECT_EQ(changed.count(), 1);
    app->setUpdater(updater.get());
    EXPECT_EQ(changed.count(), 1);
    updater.reset();
    EXPECT_EQ(app->updater(), nullptr);
}

TEST(NorvaneAppSettings, SettingThatCantBeWrittenLeavesOneWarnLine) {
    QTemporaryDir dir;
    FileLogger log(dir.filePath(u"logs"_s));
    NorvaneApp::logSettingsWriteFailures([&log]() -> FileLogger& { return log; });
    // A folder in the file's place: no one, root included, can rename a file over it.
    const QString path = dir.filePath(u"settings.conf"_s);
    ASSERT_TRUE(QDir().mkpath(path));
    Settings(path).setBool(Settings::autoUpload, false);
    Settings::onWriteFailed({});
    EXPECT_EQ(taggedLines(log, u"App"_s), QStringList{u"WARN  settings write failed: "_s + path});
}
