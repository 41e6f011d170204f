#include "services/ConnectivityDiagnostics.h"

#include "base/ToolSearchPath.h"
#include "base/VirtualClock.h"
#include "services/FileLogger.h"
#include "support/LoggedText.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QProcessEnvironment>
#include <QSignalSpy>
#include <QTest>

#include <cerrno>
#include <memory>
#include <signal.h>

using namespace Qt::StringLiterals;

using Diagnostics = ConnectivityDiagnostics;
using Step = Diagnostics::Step;

namespace {

// --- Pure parts -----------------------------------------------------------------------------------

TEST(ConnectivityDiagnosticsParse, ReadsTheGatewayLineOfTheMacRouteOutput) {
    const QString output = u"   route to: default\ndestination: default\n       mask: default\n"
                           u"    gateway: 192.168.1.1\n  interface: en0\n"_s;
    EXPECT_EQ(Diagnostics::parseGateway(output), u"192.168.1.1"_s);
}

TEST(ConnectivityDiagnosticsParse, PassesOverInterfaceNamesAndIPv6Gateways) {
    EXPECT_EQ(Diagnostics::parseGateway(u"gateway: utun3\ngateway: fe80::1\n"_s), std::nullopt);
    EXPECT_EQ(Diagnostics::parseGateway(u"gateway: en0\n    gateway: 10.0.0.1\r\n"_s), u"10.0.0.1"_s);
}

TEST(ConnectivityDiagnosticsParse, RemovesEveryGatewayLabelFromTheLine) {
    EXPECT_EQ(Diagnostics::parseGateway(u"gateway: gateway:172.16.0.1"_s), u"172.16.0.1"_s);
}

TEST(ConnectivityDiagnosticsParse, NoGatewayLineMeansAbsent) {
    EXPECT_EQ(Diagnostics::parseGateway(QString()), std::nullopt);
    EXPECT_EQ(Diagnostics::parseGateway(u"route: writing to routing socket: not in table\n"_s), std::nullopt);
    EXPECT_EQ(Diagnostics::parseGateway(u"  gateway:   \n"_s), std::nullopt);
}

TEST(ConnectivityDiagnosticsParse, ReadsTheLinuxDefaultRoute) {
    EXPECT_EQ(Diagnostics::parseLinuxGateway(u"default via 192.168.1.1 dev wlan0 proto dhcp metric 600\n"_s),
              u"192.168.1.1"_s);
    EXPECT_EQ(Diagnostics::parseLinuxGateway(u"default dev ppp0 scope link\n"
                                             u"default via 10.1.2.3 dev eth0 metric 100\n"_s),
              u"10.1.2.3"_s);
}

TEST(ConnectivityDiagnosticsParse, LinuxRouteWithoutDottedNextHopIsAbsent) {
    EXPECT_EQ(Diagnostics::parseLinuxGateway(QString()), std::nullopt);
    EXPECT_EQ(Diagnostics::parseLinuxGateway(u"default dev wg0 scope link\n"_s), std::nullopt);
    EXPECT_EQ(Diagnostics::parseLinuxGateway(u"default via fe80::1 dev wlan0\n"_s), std::nullopt);
    EXPECT_EQ(Diagnostics::parseLinuxGateway(u"10.0.0.0/8 via 10.0.0.1 dev eth0\n"_s), std::nullopt);
}

TEST(ConnectivityDiagnosticsDecide, EachRowOfTheTable) {
    const QString gw = u"192.168.1.1"_s;
    const QString error = u"tool died"_s;
    // gateway answers, internet doesn't, gateway known
    EXPECT_EQ(Diagnostics::decide(gw, true, false, std::nullopt, error),
              Diagnostics::Verdict{Diagnostics::GatewayOnly{gw}});
    // gateway answers, internet doesn't, gateway absent
    EXPECT_EQ(Diagnostics::decide(std::nullopt, true, false, std::nullopt, error),
              Diagnostics::Verdict{Diagnostics::NoConnectivity{}});
    // nothing answers
    EXPECT_EQ(Diagnostics::decide(gw, false, false, std::nullopt, error),
              Diagnostics::Verdict{Diagnostics::NoConnectivity{}});
    // internet, no hijack
    EXPECT_EQ(Diagnostics::decide(gw, false, true, false, error),
              Diagnostics::Verdict{Diagnostics::InternetReachable{error}});
    // internet, hijack, no gateway: deliberately not a portal
    EXPECT_EQ(Diagnostics::decide(std::nullopt, true, true, true, error),
              Diagnostics::Verdict{Diagnostics::InternetReachable{error}});
    // internet, hijack, gateway known
    EXPECT_EQ(Diagnostics::decide(gw, false, true, true, error),
              Diagnostics::Verdict{Diagnostics::CaptivePortal{gw}});
}

TEST(ConnectivityDiagnosticsLog, VerdictLineHasTheLoggedForm) {
    EXPECT_EQ(
        Diagnostics::verdictLogLine(Diagnostics::CaptivePortal{u"192.168.1.1"_s}, u"192.168.1.1"_s, true,
                                    true),
        u"diagnostics verdict=captivePortal(gateway: \"192.168.1.1\") gateway=192.168.1.1 gwPing=true inet=true"_s);
    EXPECT_EQ(Diagnostics::verdictLogLine(Diagnostics::NoConnectivity{}, std::nullopt, false, false),
              u"diagnostics verdict=noConnectivity gateway=none gwPing=false inet=false"_s);
    EXPECT_EQ(
        Diagnostics::verdictLogLine(Diagnostics::GatewayOnly{u"10.0.0.1"_s}, u"10.0.0.1"_s, true, false),
        u"diagnostics verdict=gatewayOnly(gateway: \"10.0.0.1\") gateway=10.0.0.1 gwPing=true inet=false"_s);
}

TEST(ConnectivityDiagnosticsLog, AbsentGatewayPingPrintsFalse) {
    EXPECT_EQ(Diagnostics::verdictLogLine(Diagnostics::NoConnectivity{}, std::nullopt, std::nullopt, false),
              u"diagnostics verdict=noConnectivity gateway=none gwPing=false inet=false"_s);
}

TEST(ConnectivityDiagnosticsLog, ProcessErrorIsQuotedAndEscaped) {
    EXPECT_EQ(Diagnostics::describe(Diagnostics::InternetReachable{u"say \"hi\"\nnext"_s}),
              u"internetReachable(processError: \"say \\\"hi\\\"\\nnext\")"_s);
}

TEST(ConnectivityDiagnosticsPortalUrl, TakesTheHostFromTheEnvironmentAndAlwaysTheProbePath) {
    ScopedEnvironment env;
    env.set("NORVANE_PORTAL_PROBE_URL", "http://127.0.0.1:4567/generate_204?x=1");
    EXPECT_EQ(Diagnostics::portalProbeUrl(), QUrl(u"http://127.0.0.1:4567/hotspot-detect.html"_s));
    EXPECT_EQ(Diagnostics::portalRootUrl(), QUrl(u"http://127.0.0.1:4567/"_s));
}

// --- Whole runs on the fake ip and ping -----------------------------------------------------------

class ConnectivityDiagnosticsRun : public ::testing::Test {
protected:
    void SetUp() override {
        env.unset("NORVANE_SIM_GATEWAY");
        env.unset("NORVANE_SIM_PING");
        pingLogPath = home.path() + u"/pings.txt"_s;
        env.set("NORVANE_SIM_PING_LOG", pingLogPath.toUtf8());
        env.set("NORVANE_PORTAL_PROBE_URL", portal.url(u"/generate_204"_s).toString().toUtf8());
        portal.answerPage("<HTML><HEAD><TITLE>Success</TITLE></HEAD><BODY>Success</BODY></HTML>");
        log = std::make_unique<FileLogger>(home.path() + u"/logs"_s);
        // Without this the system's ping could answer: the fakes must be what the diagnosis finds.
        const QProcessEnvironment system = QProcessEnvironment::systemEnvironment();
        ASSERT_EQ(ToolSearchPath::findExecutable(u"ping"_s, system), home.path() + u"/.local/bin/ping"_s);
        ASSERT_EQ(ToolSearchPath::findExecutable(u"ip"_s, system), home.path() + u"/.local/bin/ip"_s);
    }

    std::unique_ptr<Diagnostics> makeDiagnosis(double portalTimeout = Diagnostics::portalTimeoutSeconds) {
        auto diagnosis = std::make_unique<Diagnostics>(*log, portalTimeout);
        QObject::connect(diagnosis.get(), &Diagnostics::phaseChanged, diagnosis.get(),
                         [this, d = diagnosis.get()] { steps.append(d->phase().step); });
        return diagnosis;
    }

    // Runs to the end; returns false if the run never finished.
    bool runToEnd(Diagnostics& diagnosis, const QString& processError = u"tool failed"_s) {
        QSignalSpy finished(&diagnosis, &Diagnostics::runFinished);
        diagnosis.run(processError);
        return finished.count() == 1 || finished.wait(30'000);
    }

    // Waits, in real time but for the child only, until the run is at `step` with a probe process up
    // that is not `previous`. Earlier probes may still be running when the wait starts.
    bool waitForRunningProbe(Diagnostics& diagnosis, Step step, const QProcess* previous = nullptr) {
        return QTest::qWaitFor(
            [&] {
                QProcess* process = diagnosis.runningProcess();
                return diagnosis.phase().step == step && process && process != previous &&
                       process->state() == QProcess::Running;
            },
            30'000);
    }

    QStringList pings() const {
        QFile file(pingLogPath);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QString::fromUtf8(file.readAll()).split(u'\n', Qt::SkipEmptyParts);
    }

    QString logText() { return loggedText(*log); }

    TempHome home;
    VirtualClock clock;
    ScopedVirtualTime time{clock};
    ScopedEnvironment env;
    LoopbackHttpServer portal;
    std::unique_ptr<FileLogger> log;
    QString pingLogPath;
    QList<Step> steps;
};

TEST_F(ConnectivityDiagnosticsRun, EverythingAnsweringAndProbePageSaysSuccessMeansInternetReachable) {
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis, u"uv: boom"_s));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::InternetReachable{u"uv: boom"_s}));
    EXPECT_EQ(diagnosis->gateway(), u"192.168.1.1"_s);
    EXPECT_EQ(diagnosis->gatewayReachable(), true);
    EXPECT_EQ(diagnosis->internetReachable(), true);
    EXPECT_EQ(steps, (QList<Step>{Step::checkingGateway, Step::pingingGateway, Step::pingingInternet,
                                  Step::checkingPortal, Step::completed}));
    EXPECT_EQ(pings(), (QStringList{u"192.168.1.1"_s, u"1.1.1.1"_s}));
    EXPECT_TRUE(portal.requests().startsWith("GET /hotspot-detect.html HTTP/1.1\r\n"))
        << portal.requests().constData();
    EXPECT_TRUE(logText().contains(
        u"INFO  [Diagnostics] diagnostics verdict=internetReachable(processError: \"uv: boom\") "
        u"gateway=192.168.1.1 gwPing=true inet=true\n"_s))
        << logText().toStdString();
}

TEST_F(ConnectivityDiagnosticsRun, NoDefaultRouteAndNoAnswerMeansNoConnectivityAfterTwoInternetPings) {
    env.set("NORVANE_SIM_GATEWAY", "none");
    env.set("NORVANE_SIM_PING", "none");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
    EXPECT_EQ(diagnosis->gateway(), std::nullopt);
    EXPECT_EQ(diagnosis->gatewayReachable(), false);
    EXPECT_EQ(diagnosis->internetReachable(), false);
    EXPECT_EQ(pings(), (QStringList{u"1.1.1.1"_s, u"8.8.8.8"_s}));
    EXPECT_EQ(steps, (QList<Step>{Step::checkingGateway, Step::pingingInternet, Step::completed}));
    EXPECT_EQ(portal.connections(), 0);
    EXPECT_TRUE(logText().contains(
        u"INFO  [Diagnostics] diagnostics verdict=noConnectivity gateway=none gwPing=false inet=false\n"_s));
}

TEST_F(ConnectivityDiagnosticsRun, GatewayAnswersButInternetDoesNotMeansGatewayOnly) {
    env.set("NORVANE_SIM_PING", "gateway-only");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::GatewayOnly{u"192.168.1.1"_s}));
    EXPECT_EQ(pings(), (QStringList{u"192.168.1.1"_s, u"1.1.1.1"_s, u"8.8.8.8"_s}));
    EXPECT_EQ(portal.connections(), 0);
    EXPECT_TRUE(
        logText().contains(u"diagnostics verdict=gatewayOnly(gateway: \"192.168.1.1\") gateway=192.168.1.1 "
                           u"gwPing=true inet=false"_s));
}

TEST_F(ConnectivityDiagnosticsRun, KnownGatewaySilentAndNoInternetMeansNoConnectivity) {
    env.set("NORVANE_SIM_GATEWAY", "10.9.8.7");
    env.set("NORVANE_SIM_PING", "none");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->gateway(), u"10.9.8.7"_s);
    EXPECT_EQ(diagnosis->gatewayReachable(), false);
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
}

TEST_F(ConnectivityDiagnosticsRun, GatewayIgnoringIcmpWhileInternetAnswersLeavesItToThePortalCheck) {
    env.set("NORVANE_SIM_PING", "1.1.1.1,8.8.8.8");
    portal.answerPage("<html><body>Please log in to Hotel WiFi</body></html>");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->gatewayReachable(), false);
    EXPECT_EQ(diagnosis->internetReachable(), true);
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
    EXPECT_EQ(portal.connections(), 1);
}

TEST_F(ConnectivityDiagnosticsRun, FirstResolverBlockedSecondOpenMeansInternetReachable) {
    env.set("NORVANE_SIM_PING", "192.168.1.1,8.8.8.8");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis, QString()));
    EXPECT_EQ(diagnosis->internetReachable(), true);
    EXPECT_EQ(pings(), (QStringList{u"192.168.1.1"_s, u"1.1.1.1"_s, u"8.8.8.8"_s}));
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::InternetReachable{QString()}));
}

TEST_F(ConnectivityDiagnosticsRun, LoginPageInReplyMeansCaptivePortal) {
    portal.answerPage("<html><head><title>Sign in</title></head><body>Accept the terms</body></html>");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
    EXPECT_TRUE(
        logText().contains(u"diagnostics verdict=captivePortal(gateway: \"192.168.1.1\") gateway=192.168.1.1 "
                           u"gwPing=true inet=true"_s));
}

TEST_F(ConnectivityDiagnosticsRun, HttpStatusIsNotLookedAtOnlyTheBody) {
    portal.answer(LoopbackHttpServer::response(404, "Not Found", "Success"));
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::InternetReachable{u"tool failed"_s}));
}

TEST_F(ConnectivityDiagnosticsRun, UndecodableBodyCountsAsEmptyAndSoAsPortal) {
    portal.answerPage(QByteArray("Success \xff\xfe\xfd", 11));
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
}

TEST_F(ConnectivityDiagnosticsRun, ProbePageThatCannotBeFetchedWhilePingWorksMeansCaptivePortal) {
    env.set("NORVANE_PORTAL_PROBE_URL", closedLoopbackUrl().toString().toUtf8());
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] portal check failed: "_s))
        << logText().toStdString();
}

TEST_F(ConnectivityDiagnosticsRun, ProbePageThatNeverAnswersTimesOutAsCaptivePortal) {
    // The time-out is shortened from 5 s so that the test stays quick; the server holds the connection.
    portal.neverAnswer();
    auto diagnosis = makeDiagnosis(0.3);
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(portal.connections(), 1);
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] portal check failed: "_s));
}

TEST_F(ConnectivityDiagnosticsRun, ProbePageThatTricklesIsCutOffFiveSecondsAfterTheRequest) {
    // A byte a second never lets the wait for the next byte run out; only the whole request's deadline,
    // on the virtual clock, ends the check. Its body would say "Success" if it were ever whole.
    const QByteArray body = "<HTML><BODY>Success</BODY></HTML>";
    portal.trickle("HTTP/1.1 200 OK\r\nContent-Type: text/html\r\nContent-Length: " +
                       QByteArray::number(body.size()) + "\r\n\r\n",
                   body);
    auto diagnosis = makeDiagnosis();
    QSignalSpy finished(diagnosis.get(), &Diagnostics::runFinished);
    diagnosis->run(u"tool failed"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return portal.trickledBytes() >= 2; }, 30'000));
    ASSERT_EQ(diagnosis->phase().step, Step::checkingPortal);

    clock.advance(4.9);
    EXPECT_EQ(finished.count(), 0);
    EXPECT_EQ(diagnosis->phase().step, Step::checkingPortal);

    clock.advance(0.1);
    ASSERT_TRUE(finished.count() == 1 || finished.wait(30'000));
    EXPECT_LT(portal.trickledBytes(), body.size());
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::CaptivePortal{u"192.168.1.1"_s}));
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] portal check failed: "_s))
        << logText().toStdString();
}

TEST_F(ConnectivityDiagnosticsRun, HijackWithoutGatewayIsStillInternetReachable) {
    env.set("NORVANE_SIM_GATEWAY", "none");
    portal.answerPage("<html>login</html>");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->phase(),
              Diagnostics::Phase::completed(Diagnostics::InternetReachable{u"tool failed"_s}));
    EXPECT_EQ(portal.connections(), 1);
}

TEST_F(ConnectivityDiagnosticsRun, CancelDuringPingTerminatesTheChildAndLeavesThePhaseWithoutVerdict) {
    env.set("NORVANE_SIM_PING", "hang");
    auto diagnosis = makeDiagnosis();
    QSignalSpy finished(diagnosis.get(), &Diagnostics::runFinished);
    diagnosis->run(u"tool failed"_s);
    ASSERT_TRUE(waitForRunningProbe(*diagnosis, Step::pingingGateway));
    const qint64 pid = diagnosis->runningProcess()->processId();

    diagnosis->cancel();
    EXPECT_TRUE(diagnosis->isCancelled());
    EXPECT_EQ(diagnosis->runningProcess(), nullptr);
    // The fake ping would hang for a minute; finishing at all means it was terminated.
    ASSERT_TRUE(finished.wait(30'000));
    EXPECT_EQ(::kill(static_cast<pid_t>(pid), 0), -1);
    EXPECT_EQ(errno, ESRCH);
    EXPECT_EQ(diagnosis->phase(), (Diagnostics::Phase{Step::pingingGateway, std::nullopt}));
    EXPECT_EQ(pings(), QStringList{u"192.168.1.1"_s});
    EXPECT_EQ(portal.connections(), 0);
    EXPECT_FALSE(logText().contains(u"diagnostics verdict="_s));
}

TEST_F(ConnectivityDiagnosticsRun, CancelDuringPortalCheckIgnoresItsAnswer) {
    portal.neverAnswer();
    auto diagnosis = makeDiagnosis(0.3);
    QSignalSpy finished(diagnosis.get(), &Diagnostics::runFinished);
    diagnosis->run(u"tool failed"_s);
    ASSERT_TRUE(QTest::qWaitFor([&] { return portal.connections() == 1; }, 30'000));
    ASSERT_EQ(diagnosis->phase().step, Step::checkingPortal);
    diagnosis->cancel();
    ASSERT_TRUE(finished.count() == 1 || finished.wait(30'000));
    EXPECT_EQ(diagnosis->phase(), (Diagnostics::Phase{Step::checkingPortal, std::nullopt}));
    EXPECT_FALSE(logText().contains(u"diagnostics verdict="_s));
}

TEST_F(ConnectivityDiagnosticsRun, GatewayWatchdogEndsAHangingRouteQueryAfterTwoSeconds) {
    env.set("NORVANE_SIM_GATEWAY", "hang");
    env.set("NORVANE_SIM_PING", "none");
    auto diagnosis = makeDiagnosis();
    QSignalSpy finished(diagnosis.get(), &Diagnostics::runFinished);
    diagnosis->run(u"tool failed"_s);
    ASSERT_TRUE(waitForRunningProbe(*diagnosis, Step::checkingGateway));
    QProcess* query = diagnosis->runningProcess();

    clock.advance(1.9);
    EXPECT_EQ(diagnosis->runningProcess(), query);
    EXPECT_EQ(query->state(), QProcess::Running);
    EXPECT_EQ(diagnosis->phase().step, Step::checkingGateway);

    clock.advance(0.1);
    EXPECT_EQ(diagnosis->runningProcess(), nullptr);
    ASSERT_TRUE(finished.wait(30'000));
    EXPECT_EQ(diagnosis->gateway(), std::nullopt);
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
}

TEST_F(ConnectivityDiagnosticsRun, PingWatchdogCountsAHangingPingAsNoAnswerAfterThreeSeconds) {
    env.set("NORVANE_SIM_GATEWAY", "none");
    env.set("NORVANE_SIM_PING", "hang");
    auto diagnosis = makeDiagnosis();
    QSignalSpy finished(diagnosis.get(), &Diagnostics::runFinished);
    diagnosis->run(u"tool failed"_s);

    ASSERT_TRUE(waitForRunningProbe(*diagnosis, Step::pingingInternet));
    QProcess* first = diagnosis->runningProcess();
    clock.advance(2.9);
    EXPECT_EQ(first->state(), QProcess::Running);
    clock.advance(0.1);
    ASSERT_TRUE(waitForRunningProbe(*diagnosis, Step::pingingInternet, first));
    clock.advance(3.0);
    ASSERT_TRUE(finished.wait(30'000));

    EXPECT_EQ(pings(), (QStringList{u"1.1.1.1"_s, u"8.8.8.8"_s}));
    EXPECT_EQ(diagnosis->internetReachable(), false);
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
}

TEST_F(ConnectivityDiagnosticsRun, MissingRouteToolIsLoggedAndMeansNoGateway) {
    QFile::remove(home.path() + u"/.local/bin/ip"_s);
    // Keep the system's ip out of reach as well; the fake ping needs nothing from PATH.
    env.set("PATH", "/nonexistent");
    env.set("NORVANE_SIM_PING", "none");
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->gateway(), std::nullopt);
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] gateway detection failed: "_s))
        << logText().toStdString();
}

TEST_F(ConnectivityDiagnosticsRun, PingThatFailsToLaunchIsLoggedAndCountsAsNoAnswer) {
    const QString fakePing = home.path() + u"/.local/bin/ping"_s;
    QFile::remove(fakePing);
    QFile broken(fakePing);
    ASSERT_TRUE(broken.open(QIODevice::WriteOnly));
    broken.write("#!/nonexistent/interpreter\n");
    broken.close();
    broken.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);

    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    EXPECT_EQ(diagnosis->gatewayReachable(), false);
    EXPECT_EQ(diagnosis->phase(), Diagnostics::Phase::completed(Diagnostics::NoConnectivity{}));
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] ping 192.168.1.1 failed to launch: "_s))
        << logText().toStdString();
    EXPECT_TRUE(logText().contains(u"DEBUG [Diagnostics] ping 8.8.8.8 failed to launch: "_s));
}

TEST_F(ConnectivityDiagnosticsRun, OneInstanceServesOneRun) {
    auto diagnosis = makeDiagnosis();
    ASSERT_TRUE(runToEnd(*diagnosis));
    const Diagnostics::Phase done = diagnosis->phase();
    diagnosis->run(u"again"_s);
    EXPECT_FALSE(diagnosis->isRunning());
    EXPECT_EQ(diagnosis->phase(), done);
}

} // namespace
