// The headless browser's install and its offline check: command lines, environments, progress lines,
// log lines and outcomes, against the tool simulator's fake uv.

#include "subprocess/Bootstrap.h"

#include "base/VirtualClock.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
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

#include <memory>

using namespace Qt::StringLiterals;

namespace {

const QString checkProgram =
    u"from playwright.sync_api import sync_playwright; pw=sync_playwright().start(); "
    "b=pw.chromium.launch(headless=True); b.close(); pw.stop(); print('ok')"_s;

} // namespace

// --- Command lines and environments ----------------------------------------------------------------

TEST(BootstrapChromiumCommandLine, OfflineCheckRunsTheLaunchProgramWithTheBrowserPin) {
    EXPECT_EQ(Bootstrap::playwrightCheckProgram, checkProgram);
    EXPECT_EQ(Bootstrap::playwrightCheckArguments(),
              (QStringList{u"run"_s, u"--offline"_s, u"--python"_s, u"3.12"_s, u"--with"_s,
                           u"requests==2.33.1,aioquic==1.3.0,yt-dlp,playwright==1.55.0"_s, u"python"_s,
                           u"-c"_s, checkProgram}));
}

TEST(BootstrapChromiumCommandLine, InstallRunsPlaywrightsOwnInstallerOnline) {
    EXPECT_EQ(Bootstrap::chromiumInstallArguments(),
              (QStringList{u"run"_s, u"--python"_s, u"3.12"_s, u"--with"_s, u"playwright==1.55.0"_s,
                           u"python"_s, u"-m"_s, u"playwright"_s, u"install"_s, u"chromium"_s}));
}

TEST(BootstrapChromiumCommandLine, CheckEnvironmentAddsUnbufferedOutputAndTheToolsPath) {
    TempHome home;
    QProcessEnvironment base;
    base.insert(u"PATH"_s, u"/usr/bin"_s);
    base.insert(u"KEEP"_s, u"me"_s);
    const QProcessEnvironment environment = Bootstrap::dependencyRunEnvironment(base);
    EXPECT_EQ(environment.value(u"PYTHONUNBUFFERED"_s), u"1"_s);
    EXPECT_EQ(environment.value(u"PATH"_s),
              u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:/usr/bin"_s);
    EXPECT_EQ(environment.value(u"KEEP"_s), u"me"_s);
    EXPECT_FALSE(environment.contains(u"NORVANE_LOG_DIR"_s)) << "only the capture gets the tool's log folder";
}

TEST(BootstrapChromiumCommandLine, InstallEnvironmentReplacesOnlyThePath) {
    TempHome home;
    QProcessEnvironment base;
    base.insert(u"KEEP"_s, u"me"_s);
    const QProcessEnvironment environment = Bootstrap::chromiumInstallEnvironment(base);
    EXPECT_EQ(environment.value(u"PATH"_s),
              u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:/usr/bin:/bin"_s)
        << "no PATH at all counts as /usr/bin:/bin";
    EXPECT_EQ(environment.value(u"KEEP"_s), u"me"_s);
    EXPECT_FALSE(environment.contains(u"PYTHONUNBUFFERED"_s));
    EXPECT_EQ(environment.keys().size(), 2);
}

// --- Progress lines --------------------------------------------------------------------------------

TEST(ChromiumInstallProgress, LineWithoutAPercentageGivesNothingButDownloadsAreCounted) {
    ChromiumInstallProgress progress;
    EXPECT_FALSE(progress.feed(u"Downloading Chromium 140 from https://example.invalid/c.zip"_s));
    EXPECT_EQ(progress.downloadsAnnounced(), 1);
    EXPECT_FALSE(progress.feed(u"Chromium downloaded to /tmp/x"_s));
    EXPECT_FALSE(progress.feed(u"|■■■■| 10% of 173.7 MB"_s)) << "only MiB sizes count";
    EXPECT_FALSE(progress.feed(u" Downloading FFMPEG"_s)) << "the word must begin the line";
    EXPECT_EQ(progress.downloadsAnnounced(), 1);
}

TEST(ChromiumInstallProgress, PercentageBeforeAnyDownloadShowsAsTheFirst) {
    ChromiumInstallProgress progress;
    EXPECT_EQ(progress.feed(u"|■| 10% of 173.7 MiB"_s), u"(1/3) Downloading video test components… 10%"_s);
}

TEST(ChromiumInstallProgress, FirstDownloadWalksThroughItsThreeMessages) {
    ChromiumInstallProgress progress;
    progress.feed(u"Downloading Chromium"_s);
    EXPECT_EQ(progress.feed(u"|■■| 29% of 173.7 MiB"_s), u"(1/3) Downloading video test components… 29%"_s);
    EXPECT_EQ(progress.feed(u"|■■■| 30% of 173.7 MiB"_s),
              u"(1/3) No login needed — we measure what viewers see… 30%"_s);
    EXPECT_EQ(progress.feed(u"|■■■| 59% of 173.7 MiB"_s),
              u"(1/3) No login needed — we measure what viewers see… 59%"_s);
    EXPECT_EQ(progress.feed(u"|■■■■■■| 60% of 173.7 MiB"_s),
              u"(1/3) A lightweight browser plays a YouTube clip… 60%"_s);
    EXPECT_EQ(progress.feed(u"|■■■■■■■■■■| 100% of 173.7 MiB"_s),
              u"(1/3) A lightweight browser plays a YouTube clip… 100%"_s);
}

TEST(ChromiumInstallProgress, SecondDownloadHasItsOwnMessages) {
    ChromiumInstallProgress progress;
    progress.feed(u"Downloading Chromium"_s);
    progress.feed(u"Downloading FFMPEG"_s);
    EXPECT_EQ(progress.feed(u"10% of 2.3 MiB"_s),
              u"(2/3) YouTube Stats for Nerds, captured automatically… 10%"_s);
    EXPECT_EQ(progress.feed(u"30% of 2.3 MiB"_s),
              u"(2/3) Soon you'll know if this network can handle 4K… 30%"_s);
    EXPECT_EQ(progress.feed(u"80% of 2.3 MiB"_s),
              u"(2/3) You'll see real video quality, not just speed tests… 80%"_s);
}

TEST(ChromiumInstallProgress, LastDownloadIsAlmostThereFromEightyPercent) {
    ChromiumInstallProgress progress;
    for (int i = 0; i < 3; ++i)
        progress.feed(u"Downloading part"_s);
    EXPECT_EQ(progress.feed(u"79% of 104.5 MiB"_s),
              u"(3/3) You'll see real video quality, not just speed tests… 79%"_s);
    EXPECT_EQ(progress.feed(u"80% of 104.5 MiB"_s), u"(3/3) Almost there… 80%"_s);
    progress.feed(u"Downloading an extra"_s);
    EXPECT_EQ(progress.feed(u"90% of 1.0 MiB"_s),
              u"(4/3) You'll see real video quality, not just speed tests… 90%"_s)
        << "a fourth download is counted as it comes and is no longer the last one";
}

TEST(ChromiumInstallProgress, PercentageThatDoesNotFitCountsAsZeroButShowsItsDigits) {
    ChromiumInstallProgress progress;
    EXPECT_EQ(progress.feed(u"99999999999999999999% of 1 MiB"_s),
              u"(1/3) Downloading video test components… 99999999999999999999%"_s);
}

TEST(ChromiumInstallProgress, BlanksAroundOfMayBeAnyWhiteSpace) {
    ChromiumInstallProgress progress;
    EXPECT_EQ(progress.feed(u"70%\tof  1.5 MiB"_s),
              u"(1/3) A lightweight browser plays a YouTube clip… 70%"_s);
}

TEST(ChromiumInstallProgress, MessageTableFirstRowThatHoldsWins) {
    EXPECT_EQ(ChromiumInstallProgress::message(3, 3, 80), u"Almost there…"_s);
    EXPECT_EQ(ChromiumInstallProgress::message(3, 3, 79),
              u"You'll see real video quality, not just speed tests…"_s);
    EXPECT_EQ(ChromiumInstallProgress::message(2, 2, 95),
              u"You'll see real video quality, not just speed tests…"_s);
    EXPECT_EQ(ChromiumInstallProgress::message(0, 1, 80), u"A lightweight browser plays a YouTube clip…"_s);
}

// --- Runs against the simulator --------------------------------------------------------------------

class BootstrapChromiumRunTest : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    QObject context;

    void SetUp() override {
        qputenv("NORVANE_SIM_SPEED", "200");
        qunsetenv("NORVANE_SIM_BOOTSTRAP");
    }
    void TearDown() override {
        qunsetenv("NORVANE_SIM_SPEED");
        qunsetenv("NORVANE_SIM_BOOTSTRAP");
    }

    // A uv of the test's own, in the place the program looks first.
    void writeUv(const QString& script) const {
        const QString bin = home.path() + u"/.local/bin"_s;
        ASSERT_TRUE(QDir().mkpath(bin));
        QFile uv(bin + u"/uv"_s);
        ASSERT_TRUE(uv.open(QIODevice::WriteOnly));
        uv.write(script.toUtf8());
        uv.close();
        uv.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    void putChromiumInCache() const {
        ASSERT_TRUE(QDir().mkpath(Locations::playwrightCacheDir() + u"/chromium-1187"_s));
    }

    static bool runUntil(const std::function<bool()>& done, int limitMs = 20'000) {
        QElapsedTimer real;
        real.start();
        while (!done()) {
            if (real.elapsed() > limitMs)
                return false;
            QTest::qWait(5);
        }
        return true;
    }

    // Lets the event loop run a while, for the answers that must not come.
    static void settle() { QTest::qWait(50); }

    QList<QJsonObject> journal() const { return simulatorJournal(defaultJournalPath(home.path())); }

    static QStringList argv(const QJsonObject& entry) { return journalArguments(entry); }

    std::optional<bool> verify() {
        std::optional<bool> answer;
        Bootstrap::verifyPlaywrightOffline(
            &context, [&answer](bool ok) { answer = ok; }, log);
        EXPECT_FALSE(answer) << "the answer never comes inside the call";
        EXPECT_TRUE(runUntil([&answer] { return answer.has_value(); }));
        return answer;
    }

    struct InstallRun {
        QStringList progress;
        std::optional<Bootstrap::ChromiumInstallOutcome> outcome;
        QStringList progressAfterOutcome;
    };

    InstallRun install() {
        auto run = std::make_shared<InstallRun>();
        Bootstrap::installChromium(
            &context,
            [run](const QString& line) {
                if (run->outcome)
                    run->progressAfterOutcome.append(line);
                else
                    run->progress.append(line);
            },
            [run](const Bootstrap::ChromiumInstallOutcome& outcome) { run->outcome = outcome; }, log);
        EXPECT_FALSE(run->outcome) << "the outcome never comes inside the call";
        EXPECT_TRUE(runUntil([run] { return run->outcome.has_value(); }));
        settle();
        return *run;
    }
};

TEST_F(BootstrapChromiumRunTest, CheckWithoutBrowserInTheCacheIsFalseAndStartsNothing) {
    home.installFakeUv();
    EXPECT_EQ(verify(), false);
    EXPECT_TRUE(journal().isEmpty());
}

TEST_F(BootstrapChromiumRunTest, CheckWithoutUvIsFalse) {
    putChromiumInCache();
    EXPECT_EQ(verify(), false);
    EXPECT_TRUE(loggedText(log).contains(u"uv not found"_s));
}

TEST_F(BootstrapChromiumRunTest, CheckPassesWhenTheBrowserStartsOffline) {
    home.installFakeUv();
    putChromiumInCache();
    EXPECT_EQ(verify(), true);
    EXPECT_TRUE(loggedText(log).contains(u"INFO  [Bootstrap] playwright offline verification passed"_s));

    const QList<QJsonObject> entries = journal();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].value(u"kind"_s).toString(), u"verifybrowser"_s);
    EXPECT_EQ(argv(entries[0]), Bootstrap::playwrightCheckArguments());
    const QJsonObject env = entries[0].value(u"env"_s).toObject();
    EXPECT_EQ(env.value(u"PYTHONUNBUFFERED"_s).toString(), u"1"_s);
    EXPECT_TRUE(env.value(u"PATH"_s).toString().startsWith(u"/opt/homebrew/bin:/usr/local/bin:"_s +
                                                           home.path() + u"/.local/bin:"_s));
}

TEST_F(BootstrapChromiumRunTest, FailingCheckIsFalseAndLogsItsOutput) {
    home.installFakeUv();
    putChromiumInCache();
    qputenv("NORVANE_SIM_BOOTSTRAP", "verify-fail");
    EXPECT_EQ(verify(), false);
    EXPECT_TRUE(loggedText(log).contains(
        u"WARN  [Bootstrap] playwright offline verification failed: "
        u"playwright._impl._errors.TargetClosedError: "
        "Browser.new_page: Target page, context or browser has been closed (simulated)"_s));
}

TEST_F(BootstrapChromiumRunTest, FailingCheckLogsOnlyTheFirstTwoHundredCharactersOfItsOutput) {
    writeUv(u"#!/bin/sh\nprintf 'x%.0s' $(seq 1 150)\nprintf 'y%.0s' $(seq 1 150) >&2\nexit 3\n"_s);
    putChromiumInCache();
    EXPECT_EQ(verify(), false);
    EXPECT_TRUE(loggedText(log).contains(u"WARN  [Bootstrap] playwright offline verification failed: "_s +
                                         QString(150, u'x') + QString(50, u'y') + u'\n'))
        << "standard output and error both count as output";
}

TEST_F(BootstrapChromiumRunTest, HangingCheckTimesOutAfterThirtySecondsAndIsStopped) {
    home.installFakeUv();
    putChromiumInCache();
    qputenv("NORVANE_SIM_BOOTSTRAP", "verify-hang");
    VirtualClock clock;
    ScopedVirtualTime virtualTime(clock);

    std::optional<bool> answer;
    Bootstrap::verifyPlaywrightOffline(
        &context, [&answer](bool ok) { answer = ok; }, log);
    ASSERT_TRUE(runUntil([this] { return journal().size() == 1; })) << "the check has started";
    const qint64 pid = journal()[0].value(u"pid"_s).toInteger();

    clock.advance(29.9);
    settle();
    EXPECT_FALSE(answer);
    clock.advance(0.1);
    ASSERT_TRUE(runUntil([&answer] { return answer.has_value(); }));
    EXPECT_EQ(answer, false);
    EXPECT_TRUE(loggedText(log).contains(u"WARN  [Bootstrap] playwright offline verification timed out"_s));
    EXPECT_TRUE(runUntil([pid] { return QDir(u"/proc/"_s + QString::number(pid)).exists() == false; }))
        << "the hanging child got SIGTERM";
    EXPECT_FALSE(loggedText(log).contains(u"verification failed"_s)) << "only the first outcome counts";
}

TEST_F(BootstrapChromiumRunTest, CheckThatCannotLaunchIsFalse) {
    // An executable whose interpreter doesn't exist: found as uv, but exec fails.
    writeUv(u"#!/nonexistent/interpreter\n"_s);
    putChromiumInCache();
    EXPECT_EQ(verify(), false);
    EXPECT_TRUE(
        loggedText(log).contains(u"WARN  [Bootstrap] playwright offline verification failed to launch: "_s));
}

TEST_F(BootstrapChromiumRunTest, CheckAnswersNobodyOnceItsAskerIsGone) {
    home.installFakeUv();
    putChromiumInCache();
    auto asker = std::make_unique<QObject>();
    bool answered = false;
    Bootstrap::verifyPlaywrightOffline(
        asker.get(), [&answered](bool) { answered = true; }, log);
    asker.reset();
    ASSERT_TRUE(runUntil([this] { return loggedText(log).contains(u"verification passed"_s); }))
        << "the check still runs to its end";
    settle();
    EXPECT_FALSE(answered);
}

TEST_F(BootstrapChromiumRunTest, InstallWithoutUvSaysSoAndStartsNothing) {
    const InstallRun run = install();
    ASSERT_TRUE(run.outcome);
    EXPECT_EQ(run.outcome->kind, Bootstrap::ChromiumInstallOutcome::Kind::uvNotFound);
    EXPECT_TRUE(run.progress.isEmpty());
}

TEST_F(BootstrapChromiumRunTest, InstallDownloadsThreeArchivesWithProgressAndPutsTheBrowserInTheCache) {
    home.installFakeUv();
    ASSERT_FALSE(chromiumInstalled());
    const InstallRun run = install();
    ASSERT_TRUE(run.outcome);
    EXPECT_EQ(run.outcome->kind, Bootstrap::ChromiumInstallOutcome::Kind::exited);
    EXPECT_EQ(run.outcome->exitCode, 0);
    EXPECT_TRUE(chromiumInstalled());

    // Ten progress bars for each of the three downloads.
    ASSERT_EQ(run.progress.size(), 30);
    EXPECT_EQ(run.progress.first(), u"(1/3) Downloading video test components… 10%"_s);
    EXPECT_EQ(run.progress[3], u"(1/3) No login needed — we measure what viewers see… 40%"_s);
    EXPECT_EQ(run.progress[10], u"(2/3) YouTube Stats for Nerds, captured automatically… 10%"_s);
    EXPECT_EQ(run.progress[26], u"(3/3) You'll see real video quality, not just speed tests… 70%"_s);
    EXPECT_EQ(run.progress.last(), u"(3/3) Almost there… 100%"_s);
    EXPECT_TRUE(run.progressAfterOutcome.isEmpty());

    const QList<QJsonObject> entries = journal();
    ASSERT_EQ(entries.size(), 1);
    EXPECT_EQ(entries[0].value(u"kind"_s).toString(), u"installbrowser"_s);
    EXPECT_EQ(argv(entries[0]), Bootstrap::chromiumInstallArguments());
    const QJsonObject env = entries[0].value(u"env"_s).toObject();
    EXPECT_TRUE(env.value(u"PATH"_s).toString().startsWith(u"/opt/homebrew/bin:/usr/local/bin:"_s +
                                                           home.path() + u"/.local/bin:"_s));
    EXPECT_EQ(env.contains(u"PYTHONUNBUFFERED"_s), qEnvironmentVariableIsSet("PYTHONUNBUFFERED"))
        << "the installer gets the application's environment as it is, bar PATH";
}

TEST_F(BootstrapChromiumRunTest, FailedInstallGivesTheExitCodeAndTheTrimmedStandardError) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_BOOTSTRAP", "browser-install-fail");
    const InstallRun run = install();
    ASSERT_TRUE(run.outcome);
    EXPECT_EQ(run.outcome->kind, Bootstrap::ChromiumInstallOutcome::Kind::exited);
    EXPECT_EQ(run.outcome->exitCode, 1);
    EXPECT_TRUE(run.outcome->standardError.startsWith(u"Error: Download failed: server returned code 503"_s));
    EXPECT_TRUE(
        run.outcome->standardError.endsWith(u"Error: Failed to download FFMPEG playwright build v1011"_s))
        << "trimmed: no line feed at the end";
    EXPECT_EQ(run.progress.size(), 15) << "ten bars of the first download, five of the second";
}

TEST_F(BootstrapChromiumRunTest, InstallThatCannotLaunchSaysWhy) {
    writeUv(u"#!/nonexistent/interpreter\n"_s);
    const InstallRun run = install();
    ASSERT_TRUE(run.outcome);
    EXPECT_EQ(run.outcome->kind, Bootstrap::ChromiumInstallOutcome::Kind::launchFailed);
    EXPECT_FALSE(run.outcome->launchError.isEmpty());
}
