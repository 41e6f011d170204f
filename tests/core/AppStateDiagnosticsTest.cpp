#include "core/AppState.h"

#include "base/VirtualClock.h"
#include "services/ConnectivityDiagnostics.h"
#include "services/FileLogger.h"
#include "services/NetworkMonitor.h"
#include "support/AppStateTestAccess.h"
#include "support/LoggedText.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cerrno>
#include <signal.h>

using namespace Qt::StringLiterals;

namespace {

using Diagnostics = ConnectivityDiagnostics;

// The fake ip and ping of the home answer; the portal check meets a closed loopback port.
class AppStateDiagnosticsTest : public ::testing::Test {
protected:
    void SetUp() override {
        env.unset("NORVANE_SIM_GATEWAY");
        env.set("NORVANE_SIM_PING", "none");
    }

    QString logText() { return loggedText(log); }

    TempHome home;
    ScopedEnvironment env;
    VirtualClock time;
    ScopedVirtualTime scope{time};
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
};

TEST_F(AppStateDiagnosticsTest, EnteringDiagnosticsRunsANewDiagnosisFromTheEventLoop) {
    AppState state(log);
    QSignalSpy changed(&state, &AppState::diagnosticsChanged);
    state.enterDiagnostics(u"uv: boom"_s);
    Diagnostics* diagnosis = state.diagnostics();
    ASSERT_NE(diagnosis, nullptr);
    EXPECT_EQ(changed.count(), 1);
    EXPECT_EQ(state.screen(), AppState::Screen::diagnostics);
    // Not yet: the screen shows its first phase before the probes start.
    EXPECT_EQ(diagnosis->phase().step, Diagnostics::Step::idle);

    QSignalSpy finished(diagnosis, &Diagnostics::runFinished);
    ASSERT_TRUE(finished.wait(30'000));
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
    EXPECT_TRUE(
        logText().contains(u"INFO  [Diagnostics] diagnostics verdict=noConnectivity gateway=192.168.1.1 "
                           u"gwPing=false inet=false\n"_s))
        << logText().toStdString();
}

TEST_F(AppStateDiagnosticsTest, EnteringAgainKeepsTheDiagnosisThatRuns) {
    AppState state(log);
    state.enterDiagnostics(u"first"_s);
    Diagnostics* first = state.diagnostics();
    state.enterDiagnostics(u"second"_s);
    EXPECT_EQ(state.diagnostics(), first);
}

TEST_F(AppStateDiagnosticsTest, DismissingCancelsTheRunningProbeAndDropsTheDiagnosis) {
    env.set("NORVANE_SIM_PING", "hang");
    AppState state(log);
    state.enterDiagnostics(u"boom"_s);
    QPointer<Diagnostics> diagnosis = state.diagnostics();
    ASSERT_TRUE(QTest::qWaitFor(
        [&] {
            return diagnosis->phase().step == Diagnostics::Step::pingingGateway &&
                   diagnosis->runningProcess() && diagnosis->runningProcess()->state() == QProcess::Running;
        },
        30'000));
    const auto pid = static_cast<pid_t>(diagnosis->runningProcess()->processId());

    state.dismissDiagnostics();
    EXPECT_EQ(state.diagnostics(), nullptr);
    EXPECT_EQ(state.screen(), AppState::Screen::setup);
    // Gone at once, and the hanging ping, which would sleep for a minute, with it.
    EXPECT_TRUE(diagnosis.isNull());
    EXPECT_TRUE(QTest::qWaitFor([&] { return ::kill(pid, 0) == -1 && errno == ESRCH; }, 30'000));
    EXPECT_FALSE(logText().contains(u"diagnostics verdict="_s));
}

TEST_F(AppStateDiagnosticsTest, NewCaptureDropsTheDiagnosisToo) {
    AppState state(log);
    state.enterDiagnostics(u"boom"_s);
    ASSERT_NE(state.diagnostics(), nullptr);
    state.newCapture();
    EXPECT_EQ(state.diagnostics(), nullptr);
}

TEST_F(AppStateDiagnosticsTest, ReturningNetworkRunsTheReconnectStep) {
    NetworkMonitor monitor(log);
    AppState state(log, &monitor);
    EXPECT_EQ(monitor.reconnectHandlerCount(), 1);
    AppStateTestAccess::setUploadFailed(state, 1);
    monitor.handle(false);
    monitor.handle(true);
    EXPECT_TRUE(logText().contains(u"INFO  [AppState] network reconnected — running upload sweep\n"_s))
        << logText().toStdString();
    EXPECT_TRUE(logText().contains(u"upload sweep starting (network-reconnect)"_s));
    state.cancelUploadRunner();
}

TEST_F(AppStateDiagnosticsTest, HandlerOfAGoneSessionDoesNothing) {
    NetworkMonitor monitor(log);
    {
        AppState state(log, &monitor);
        AppStateTestAccess::setUploadFailed(state, 1);
    }
    monitor.handle(false);
    monitor.handle(true);
    EXPECT_TRUE(logText().contains(u"firing 1 reconnect handler(s)"_s));
    EXPECT_FALSE(logText().contains(u"network reconnected"_s));
}

} // namespace
