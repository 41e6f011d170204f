// `norvane-cli setup`, the real program in a sandbox home, with the installer served on loopback.

#include "support/CliRun.h"
#include "support/InstallerServer.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QFileInfo>
#include <QJsonObject>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString noInternet = u"No internet connection. Connect to a network and try again."_s;

class SetupVerbTest : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(home.isValid());
        if (QFileInfo::exists(u"/opt/homebrew/bin/uv"_s) || QFileInfo::exists(u"/usr/local/bin/uv"_s))
            GTEST_SKIP() << "a uv is installed system-wide";
    }

    CliRun setup(const QString& installerUrl, const QStringList& arguments = {}) {
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        for (const char* name : {"XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME", "XDG_CONFIG_HOME",
                                 "NORVANE_SIM_BOOTSTRAP"})
            environment.remove(QString::fromLatin1(name));
        environment.insert(u"HOME"_s, home.path());
        environment.insert(u"NORVANE_UV_INSTALLER_URL"_s, installerUrl);
        environment.insert(u"NORVANE_SIM_SPEED"_s, u"200"_s);
        return runCli(QStringList{u"setup"_s} + arguments, environment);
    }

    QString uvPath() const { return home.path() + u"/.local/bin/uv"_s; }

    QTemporaryDir home;
};

} // namespace

TEST_F(SetupVerbTest, WithoutUvInstallsItFromTheLoopbackServerAndPrintsEachStep) {
    InstallerServer server;
    ASSERT_FALSE(server.url().isEmpty());
    ASSERT_FALSE(QFileInfo::exists(uvPath()));
    const CliRun run = setup(server.url());
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_EQ(run.out, u"Checking for uv...\nDownloading tools (1 of 2)...\n"
                       "Installing Python and dependencies (2 of 2)...\nReady\n"_s);
    EXPECT_TRUE(run.err.isEmpty()) << run.err.toStdString();
    EXPECT_TRUE(QFileInfo(uvPath()).isExecutable());
}

TEST_F(SetupVerbTest, ClosedLoopbackPortExitsOneWithTheSentenceAndCurlsOutput) {
    // Nothing listens on port 9 of loopback.
    const CliRun run = setup(u"http://127.0.0.1:9/uv/install.sh"_s);
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.out, u"Checking for uv...\nDownloading tools (1 of 2)...\n"_s);
    // The console line of the failed step comes first; the report follows it.
    EXPECT_TRUE(run.err.contains(u'\n' + noInternet +
                                 u"\nDetails:\ncurl: (7) Failed to connect to 127.0.0.1 port 9"_s))
        << run.err.toStdString();
    EXPECT_TRUE(run.err.endsWith(u'\n'));
    EXPECT_FALSE(QFileInfo::exists(uvPath()));
}

TEST_F(SetupVerbTest, JsonReportsTheFailureInOneObject) {
    const CliRun run = setup(u"http://127.0.0.1:9/uv/install.sh"_s, {u"--json"_s});
    EXPECT_EQ(run.exitCode, 1);
    const QJsonObject report = run.json();
    EXPECT_EQ(report.value(u"state"_s).toString(), u"failed"_s);
    EXPECT_EQ(report.value(u"message"_s).toString(), noInternet);
    EXPECT_TRUE(report.value(u"detail"_s).toString().contains(u"curl: (7)"_s));
    EXPECT_TRUE(report.value(u"seconds"_s).isDouble());
    EXPECT_TRUE(run.out.trimmed().startsWith(u'{')) << "nothing but the object";
}

TEST_F(SetupVerbTest, JsonReportsReadyWithoutDetail) {
    InstallerServer server;
    ASSERT_FALSE(server.url().isEmpty());
    const CliRun run = setup(server.url(), {u"--json"_s});
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject report = run.json();
    EXPECT_EQ(report.value(u"state"_s).toString(), u"ready"_s);
    EXPECT_EQ(report.value(u"message"_s).toString(), u"Ready"_s);
    EXPECT_TRUE(report.value(u"detail"_s).isNull());
    EXPECT_GE(report.value(u"seconds"_s).toDouble(-1), 0.0);
}

TEST_F(SetupVerbTest, UnknownArgumentIsRefused) {
    const CliRun run = setup(u"http://127.0.0.1:9/uv/install.sh"_s, {u"--fast"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(u"unexpected argument '--fast'"_s));
    EXPECT_TRUE(run.out.isEmpty());
}
