#include "cli/VersionVerb.h"

#include "base/VirtualClock.h"
#include "platform/Platform.h"
#include "services/VersionCheck.h"
#include "support/CliRun.h"
#include "support/NetworkFakes.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QSignalSpy>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

// `version --check` in a throw-away home, with the web site on a loopback server (by default, a port
// on which nothing listens).
class VersionVerbCheck : public testing::Test {
protected:
    void SetUp() override {
        if (running == u"dev"_s)
            GTEST_SKIP() << "a build without a version number skips the version check";
    }

    void pointSiteAt(const QUrl& site) { env.set("NORVANE_SITE_URL", site.toString().toUtf8()); }

    QString cachePath() const { return home.path() + u"/.local/share/Norvane/version_check.json"_s; }

    void writeCache(const QByteArray& bytes) const { ASSERT_TRUE(writeFileAt(cachePath(), bytes)); }

    TempHome home;
    ScopedEnvironment env;
    const QString running = Platform::appVersion();
};

TEST_F(VersionVerbCheck, MinimumAboveThisVersionExitsThreeWithTheMessage) {
    LoopbackHttpServer server;
    const QByteArray rules =
        R"({"minimum": "999.0", "latest": "999.1", "message": "Norvane 999 fixes uploads."})";
    server.answerPage(rules);
    pointSiteAt(server.url());
    const CliRun run = runVerb(runVersionVerb, {u"--check"_s});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.out,
              u"running  %1\nminimum  999.0\nupdate required\nNorvane 999 fixes uploads.\n"_s.arg(running));
    EXPECT_TRUE(server.requests().startsWith("GET /download/version.json HTTP/1.1\r\n"));
    // The gate's own cache in the home folder, as the program keeps it.
    EXPECT_EQ(readFileAt(cachePath()), rules);
}

TEST_F(VersionVerbCheck, MinimumBelowThisVersionIsUpToDate) {
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "0.0.1", "latest": "999.0", "message": "Not shown."})");
    pointSiteAt(server.url());
    const CliRun run = runVerb(runVersionVerb, {u"--check"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, u"running  %1\nminimum  0.0.1\nup to date\n"_s.arg(running));
}

TEST_F(VersionVerbCheck, WithoutTheSiteTheCachedVerdictHolds) {
    writeCache(R"({"minimum": "999", "latest": "999"})");
    pointSiteAt(closedLoopbackUrl());
    const CliRun run = runVerb(runVersionVerb, {u"--check"_s});
    EXPECT_EQ(run.exitCode, 3);
    EXPECT_EQ(run.out, u"running  %1\nminimum  999\nupdate required\n"
                       u"A newer version is required. Please update.\n"_s.arg(running));
}

TEST_F(VersionVerbCheck, WithoutTheSiteOrACacheTheBundledRulesLetThisBuildRun) {
    QFile fallback(VersionCheck::defaultFallbackPath());
    ASSERT_TRUE(fallback.open(QIODevice::ReadOnly));
    const QString minimum =
        QJsonDocument::fromJson(fallback.readAll()).object().value(u"minimum"_s).toString();
    pointSiteAt(closedLoopbackUrl());
    const CliRun run = runVerb(runVersionVerb, {u"--check"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, u"running  %1\nminimum  %2\nup to date\n"_s.arg(running, minimum));
}

TEST_F(VersionVerbCheck, SilentSiteIsGivenUpAtTheFetchDeadline) {
    VirtualClock clock;
    ScopedVirtualTime virtualTime(clock);
    writeCache(R"({"minimum": "0.0.1", "latest": "0.0.1"})");
    LoopbackHttpServer server;
    server.neverAnswer();
    pointSiteAt(server.url());
    // Runs inside the verb's wait: once the site has the request, its ten seconds go by.
    QTimer advance;
    QObject::connect(&advance, &QTimer::timeout, [&] {
        if (server.connections() == 1) {
            advance.stop();
            clock.advance(VersionCheck::fetchTimeout);
        }
    });
    advance.start(1);
    const CliRun run = runVerb(runVersionVerb, {u"--check"_s});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, u"running  %1\nminimum  0.0.1\nup to date\n"_s.arg(running));
}

TEST_F(VersionVerbCheck, TheProgramExitsThreeWhenAnUpdateIsRequired) {
    LoopbackHttpServer server;
    server.answerPage(R"({"minimum": "999", "latest": "999"})");
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"NORVANE_SITE_URL"_s, server.url().toString());
    QProcess process;
    process.setProcessEnvironment(environment);
    QSignalSpy finished(&process, &QProcess::finished);
    // This test's event loop serves the site while the program waits for it.
    process.start(QStringLiteral(NORVANE_CLI_PATH), {u"version"_s, u"--check"_s});
    ASSERT_TRUE(finished.wait(60'000));
    EXPECT_EQ(process.exitCode(), 3) << process.readAllStandardError().constData();
    EXPECT_TRUE(QString::fromUtf8(process.readAllStandardOutput()).contains(u"\nupdate required\n"_s));
    EXPECT_EQ(server.connections(), 1);
}

TEST(VersionVerb, WithoutCheckPrintsTheVersionLineAndAsksNothing) {
    TempHome home;
    ScopedEnvironment env;
    env.set("NORVANE_SITE_URL", closedLoopbackUrl().toString().toUtf8());
    const CliRun run = runVerb(runVersionVerb, {});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(run.out, u"norvane-cli %1 (build %2, %3)\n"_s.arg(
                           Platform::appVersion(), Platform::buildNumber(), Platform::osVersion()));
    EXPECT_FALSE(QFile::exists(home.path() + u"/.local/share/Norvane/version_check.json"_s));
}

TEST(VersionVerb, UnknownArgumentShowsTheUsage) {
    const CliRun run = runVerb(runVersionVerb, {u"--frobnicate"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_EQ(run.err, u"Usage: norvane-cli version [--check]\n"_s);
    EXPECT_TRUE(run.out.isEmpty());
}

} // namespace
