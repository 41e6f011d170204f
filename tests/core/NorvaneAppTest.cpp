#include "core/NorvaneApp.h"

#include "base/VirtualClock.h"
#include "core/AppState.h"
#include "core/QuitAlert.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/AppStateTestAccess.h"
#include "support/LoggedText.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
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
    EXPECT_TRUE(logText().contains(sweep)) << logText().toStdString();
    EXPECT_EQ(state.screen(), Screen::running);
    app.handleTermination();
}
