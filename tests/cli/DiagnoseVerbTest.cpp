#include "support/CliRun.h"
#include "support/NetworkFakes.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

// The real norvane-cli in a sandbox home made by the demo's own script, with the fake ip and ping and
// a loopback portal server. The child runs while this test's event loop serves the portal page.
class DiagnoseVerbTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        QProcess sandbox;
        sandbox.start(u"bash"_s, {simulatorDir() + u"/../../scripts/make-sandbox.sh"_s, home.path()});
        ASSERT_TRUE(sandbox.waitForFinished(30'000));
        ASSERT_EQ(sandbox.exitCode(), 0) << sandbox.readAllStandardError().constData();
        ASSERT_TRUE(QFileInfo(home.path() + u"/.local/bin/ping"_s).isExecutable());
        ASSERT_TRUE(QFileInfo(home.path() + u"/.local/bin/ip"_s).isExecutable());
        portal.answerPage("<HTML><BODY>Success</BODY></HTML>");
    }

    CliRun diagnose(const QStringList& simulation) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"NORVANE_PORTAL_PROBE_URL"_s, portal.url().toString());
        for (const QString& assignment : simulation)
            environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));

        QProcess process;
        process.setProcessEnvironment(environment);
        QSignalSpy finished(&process, &QProcess::finished);
        process.start(QStringLiteral(NORVANE_CLI_PATH), {u"diagnose"_s});
        finished.wait(60'000);
        return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
                QString::fromUtf8(process.readAllStandardError())};
    }

    QTemporaryDir home;
    LoopbackHttpServer portal;
};

TEST_F(DiagnoseVerbTest, WorkingNetworkPrintsNetworkLooksFine) {
    const CliRun run = diagnose({u"NORVANE_SIM_PING=all"_s});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.startsWith(u"Your network looks fine\n"_s)) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(u"This is usually fixed by updating or relaunching the app."_s));
    EXPECT_EQ(portal.connections(), 1);
}

TEST_F(DiagnoseVerbTest, LoginPagePrintsCaptivePortal) {
    portal.answerPage("<html>Sign in to the cabin network</html>");
    const CliRun run = diagnose({u"NORVANE_SIM_PING=all"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith(u"Captive portal detected\n"_s)) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(u"Portal check        hijacked"_s)) << run.out.toStdString();
}

TEST_F(DiagnoseVerbTest, GatewayOnlyPrintsNoInternetWithTheGateway) {
    const CliRun run = diagnose({u"NORVANE_SIM_PING=gateway-only"_s, u"NORVANE_SIM_GATEWAY=172.20.0.1"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith(u"Connected to WiFi, but no internet\n"_s)) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(u"(gateway 172.20.0.1)"_s));
    EXPECT_TRUE(run.out.contains(u"  - The network is down or overloaded\n"_s));
    EXPECT_EQ(portal.connections(), 0);
}

TEST_F(DiagnoseVerbTest, NothingAnsweringPrintsNoNetwork) {
    const CliRun run = diagnose({u"NORVANE_SIM_PING=none"_s, u"NORVANE_SIM_GATEWAY=none"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.startsWith(u"No network connection detected\n"_s)) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(u"Network gateway     none"_s));
}

TEST_F(DiagnoseVerbTest, VerdictIsLoggedInTheSandboxHome) {
    diagnose({u"NORVANE_SIM_PING=none"_s, u"NORVANE_SIM_GATEWAY=none"_s});
    QFile log(home.path() + u"/.local/state/Norvane/logs/linux-app.log"_s);
    ASSERT_TRUE(log.open(QIODevice::ReadOnly));
    EXPECT_TRUE(
        QString::fromUtf8(log.readAll())
            .contains(u"INFO  [Diagnostics] diagnostics verdict=noConnectivity gateway=none gwPing=false "
                      u"inet=false"_s));
}

} // namespace
