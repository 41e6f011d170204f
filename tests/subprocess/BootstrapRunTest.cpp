// The first-run install and the background warm-up of the package cache: their states, words, log
// lines, command lines and environments, on real children through the simulator's fake uv and its
// loopback installer server.

#include "subprocess/Bootstrap.h"

#include "platform/Locations.h"
#include "platform/Platform.h"
#include "subprocess/PythonProcess.h"
#include "subprocess/WarmingTask.h"
#include "support/BootstrapSandbox.h"
#include "support/InstallerServer.h"
#include "support/SimulatorJournal.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFileInfo>
#include <QJsonObject>
#include <QPointer>
#include <QSignalSpy>
#include <QTest>

using namespace Qt::StringLiterals;

namespace {

const QString noInternet = u"No internet connection. Connect to a network and try again."_s;
const QString permissionDenied =
    u"Permission denied while installing tools. Try running the app as an administrator."_s;
const QString uvOther = u"Could not install uv package manager. See details below."_s;
const QString pythonConflict =
    u"Python version conflict. The app will download a compatible version — please retry."_s;
const QString packageConflict = u"Package dependency conflict. See details below."_s;
const QString sslError =
    u"SSL/certificate error — a corporate proxy may be blocking downloads. See details below."_s;
const QString depsOther = u"Could not install Python dependencies. See details below."_s;
const QString warmList = u"requests==2.33.1,boto3==1.42.84,aioquic==1.3.0,yt-dlp"_s;

} // namespace

inline void PrintTo(const Bootstrap::State& state, std::ostream* os) {
    *os << state.name().toStdString();
    if (state.isFailed())
        *os << ": " << state.message.toStdString();
}

// --- The failure sentences -------------------------------------------------------------------------

TEST(BootstrapClassifyUVError, FirstMatchingRowWinsAndCaseCounts) {
    EXPECT_EQ(Bootstrap::classifyUVError(u"curl: (6) Could not resolve host: example"_s), noInternet);
    EXPECT_EQ(Bootstrap::classifyUVError(u"curl: (7) Failed to connect to 127.0.0.1 port 9"_s), noInternet);
    EXPECT_EQ(Bootstrap::classifyUVError(u"mkdir: permission denied"_s), permissionDenied);
    EXPECT_EQ(Bootstrap::classifyUVError(u"mkdir: Permission denied"_s), permissionDenied);
    EXPECT_EQ(Bootstrap::classifyUVError(u"Failed to connect; Permission denied"_s), noInternet);
    EXPECT_EQ(Bootstrap::classifyUVError(u"PERMISSION DENIED"_s), uvOther);
    EXPECT_EQ(Bootstrap::classifyUVError(u"could not resolve host"_s), uvOther);
    EXPECT_EQ(Bootstrap::classifyUVError(QString()), uvOther);
}

TEST(BootstrapClassifyDepsError, FirstMatchingRowWinsAndCaseCounts) {
    EXPECT_EQ(Bootstrap::classifyDepsError(u"Python 3.9.6 does not satisfy the request"_s), pythonConflict);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"it does not satisfy the request"_s), depsOther)
        << "both words are needed for the first row";
    EXPECT_EQ(Bootstrap::classifyDepsError(u"No solution found when resolving"_s), packageConflict);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"Could not resolve host: pypi.org"_s), noInternet);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"Failed to connect to pypi.org"_s), noInternet);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"SSL handshake failed"_s), sslError);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"invalid peer certificate"_s), sslError);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"ssl CERTIFICATE"_s), depsOther);
    EXPECT_EQ(Bootstrap::classifyDepsError(u"something else"_s), depsOther);
}

TEST(BootstrapClassifyDepsError, SslWithNoSolutionGivesTheDependencyConflict) {
    EXPECT_EQ(Bootstrap::classifyDepsError(u"SSL: fine\n  × No solution found when resolving"_s),
              packageConflict);
}

// --- Command lines and starting values -------------------------------------------------------------

TEST(BootstrapCommandLine, InstallerPipesTheScriptIntoSh) {
    EXPECT_EQ(Bootstrap::installCommand(u"http://127.0.0.1:8/uv/install.sh"_s),
              u"curl -LsSf http://127.0.0.1:8/uv/install.sh | sh"_s);
}

TEST(BootstrapCommandLine, WarmUpRunsOnlineWithTheUnionOfThePins) {
    EXPECT_EQ(Bootstrap::warmDependencyList(false), warmList);
    EXPECT_EQ(Bootstrap::warmDependencyList(true), warmList + u",playwright==1.55.0"_s);
    EXPECT_EQ(Bootstrap::warmArguments(u"a,b"_s),
              (QStringList{u"run"_s, u"--python"_s, u"3.12"_s, u"--with"_s, u"a,b"_s, u"python"_s, u"-c"_s,
                           u"print('deps ok')"_s}));
}

TEST(BootstrapInstallerUrl, BuildSettingUnlessTheEnvironmentNamesOne) {
    ScopedEnv env;
    env.unset("NORVANE_UV_INSTALLER_URL");
    EXPECT_EQ(Platform::uvInstallerUrl(), u"https://astral.sh/uv/install.sh"_s);
    EXPECT_TRUE(Platform::uvInstallerUrl().endsWith(u"/uv/install.sh"_s));
    env.set("NORVANE_UV_INSTALLER_URL", "http://127.0.0.1:5/uv/install.sh");
    EXPECT_EQ(Platform::uvInstallerUrl(), u"http://127.0.0.1:5/uv/install.sh"_s);
}

TEST(BootstrapState, StartsCheckingWithTheSetupMessageAndNoDetail) {
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    Bootstrap bootstrap(log);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::checking());
    EXPECT_EQ(bootstrap.progressMessage(), u"Checking setup..."_s);
    EXPECT_FALSE(bootstrap.diagnosticDetail());
}

// --- Runs on real children -------------------------------------------------------------------------

class BootstrapRunTest : public BootstrapSandbox {
protected:
    void TearDown() override {
        // No warm-up may outlive its test: stop the last one and wait for its child.
        if (QPointer<WarmingTask> task = Bootstrap::warmingTask()) {
            task->cancel();
            clock.advance(Bootstrap::warmingPollSeconds);
            EXPECT_TRUE(QTest::qWaitFor([&task] { return task.isNull(); }, 20'000));
        }
    }

    struct Seen {
        QList<Bootstrap::State> states;
        QStringList messages;
    };

    // Runs the install to its end and notes every state and progress line on the way.
    Seen runToEnd(Bootstrap& bootstrap) {
        auto seen = std::make_shared<Seen>();
        QObject watcher;
        QObject::connect(&bootstrap, &Bootstrap::stateChanged, &watcher,
                         [seen, &bootstrap] { seen->states.append(bootstrap.state()); });
        QObject::connect(&bootstrap, &Bootstrap::progressMessageChanged, &watcher,
                         [seen, &bootstrap] { seen->messages.append(bootstrap.progressMessage()); });
        waitForRun(bootstrap, [&bootstrap] { bootstrap.run(); });
        return *seen;
    }

    QList<QJsonObject> journal() const { return simulatorJournal(defaultJournalPath(home.path())); }

    QString uvPath() const { return home.path() + u"/.local/bin/uv"_s; }

    void putChromiumInCache() const {
        ASSERT_TRUE(QDir().mkpath(Locations::playwrightCacheDir() + u"/chromium-1187"_s));
    }

    QString toolsPath() const {
        return u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:"_s +
               qEnvironmentVariable("PATH", u"/usr/bin:/bin"_s);
    }
};

TEST_F(BootstrapRunTest, WithUvOnlyInstallingDepsIsSeenAndTheDownloadTextNeverShows) {
    home.installFakeUv();
    Bootstrap bootstrap(log);
    const Seen seen = runToEnd(bootstrap);
    EXPECT_EQ(seen.states,
              (QList<Bootstrap::State>{Bootstrap::State::installingDeps(), Bootstrap::State::ready()}))
        << "checking is the starting state and so no change";
    EXPECT_EQ(seen.messages, (QStringList{u"Checking for uv..."_s,
                                          u"Installing Python and dependencies (2 of 2)..."_s, u"Ready"_s}));
    EXPECT_FALSE(seen.messages.contains(u"Downloading tools (1 of 2)..."_s));
    EXPECT_FALSE(bootstrap.diagnosticDetail());
    EXPECT_EQ(logEntries(log), (QStringList{u"INFO  [Bootstrap] bootstrap starting"_s,
                                            u"DEBUG [Bootstrap] uv found at "_s + uvPath(),
                                            u"DEBUG [Bootstrap] uv found at "_s + uvPath(),
                                            u"INFO  [Bootstrap] warming dependencies..."_s,
                                            u"INFO  [Bootstrap] warming deps (playwright=false)"_s,
                                            u"INFO  [Bootstrap] bootstrap complete (0.0s)"_s}));
}

TEST_F(BootstrapRunTest, WithoutUvTheLoopbackInstallerPutsUvInPlaceAndTheRunEndsReady) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    InstallerServer server;
    ASSERT_FALSE(server.url().isEmpty());
    env.set("NORVANE_UV_INSTALLER_URL", server.url().toUtf8());
    Bootstrap bootstrap(log);
    const Seen seen = runToEnd(bootstrap);
    EXPECT_EQ(seen.states,
              (QList<Bootstrap::State>{Bootstrap::State::installingUV(), Bootstrap::State::installingDeps(),
                                       Bootstrap::State::ready()}));
    EXPECT_EQ(seen.messages, (QStringList{u"Checking for uv..."_s, u"Downloading tools (1 of 2)..."_s,
                                          u"Installing Python and dependencies (2 of 2)..."_s, u"Ready"_s}));
    EXPECT_TRUE(QFileInfo(uvPath()).isExecutable());
    EXPECT_EQ(logEntries(log), (QStringList{u"INFO  [Bootstrap] bootstrap starting"_s,
                                            u"WARN  [Bootstrap] uv not found in candidate paths"_s,
                                            u"INFO  [Bootstrap] installing uv..."_s,
                                            u"INFO  [Bootstrap] uv installed (0.0s)"_s,
                                            u"DEBUG [Bootstrap] uv found at "_s + uvPath(),
                                            u"INFO  [Bootstrap] warming dependencies..."_s,
                                            u"INFO  [Bootstrap] warming deps (playwright=false)"_s,
                                            u"INFO  [Bootstrap] bootstrap complete (0.0s)"_s}));
    const QList<QJsonObject> entries = journal();
    ASSERT_EQ(entries.size(), 1) << "the installed uv ran the dependency install";
    EXPECT_EQ(entries[0].value(u"kind"_s).toString(), u"warmup"_s);
}

TEST_F(BootstrapRunTest, InstallThatCannotConnectSaysNoInternetAndKeepsCurlsOwnOutput) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    // Port 9 on loopback: nothing listens there, so curl can't connect.
    env.set("NORVANE_UV_INSTALLER_URL", "http://127.0.0.1:9/uv/install.sh");
    ConsoleCapture console;
    Bootstrap bootstrap(log);
    const Seen seen = runToEnd(bootstrap);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(noInternet));
    ASSERT_TRUE(bootstrap.diagnosticDetail());
    EXPECT_TRUE(bootstrap.diagnosticDetail()->contains(u"curl: (7) Failed to connect to 127.0.0.1 port 9"_s))
        << bootstrap.diagnosticDetail()->toStdString();
    EXPECT_FALSE(seen.states.contains(Bootstrap::State::installingDeps()));
    EXPECT_EQ(bootstrap.progressMessage(), u"Downloading tools (1 of 2)..."_s) << "a failure leaves the line";
    EXPECT_TRUE(logEntries(log).contains(u"ERROR [Bootstrap] uv install failed (0.0s): "_s + noInternet));
    EXPECT_TRUE(console.messages().join(u'\n').contains(u"[bootstrap] uv install failed: curl: (7)"_s));
    EXPECT_FALSE(QFileInfo::exists(uvPath()));
}

TEST_F(BootstrapRunTest, InstallDeniedPermissionSaysSo) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    InstallerServer server;
    ASSERT_FALSE(server.url().isEmpty());
    env.set("NORVANE_UV_INSTALLER_URL", server.url().toUtf8());
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:install-permission");
    Bootstrap bootstrap(log);
    runToEnd(bootstrap);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(permissionDenied));
    ASSERT_TRUE(bootstrap.diagnosticDetail());
    EXPECT_TRUE(bootstrap.diagnosticDetail()->contains(u"Permission denied"_s));
}

TEST_F(BootstrapRunTest, InstallThatLeavesNoUvFailsWithoutDetail) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    serveInstallerScript("echo 'everything is fine'\n");
    Bootstrap bootstrap(log);
    runToEnd(bootstrap);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(
                                     u"uv was installed but could not be found. Try restarting the app."_s));
    EXPECT_FALSE(bootstrap.diagnosticDetail());
    EXPECT_TRUE(logEntries(log).contains(u"ERROR [Bootstrap] uv installed but not found on disk"_s));
}

TEST_F(BootstrapRunTest, InstallerScriptThatFailsGivesItsOutputAsDetail) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    serveInstallerScript("echo 'checksum mismatch'\nexit 3\n");
    Bootstrap bootstrap(log);
    runToEnd(bootstrap);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(uvOther));
    EXPECT_EQ(bootstrap.diagnosticDetail(), u"checksum mismatch\n"_s);
}

TEST_F(BootstrapRunTest, EachDependencyFailureGivesItsSentenceAndTheOutputAsDetail) {
    home.installFakeUv();
    const QList<std::pair<QByteArray, QString>> rows = {{"deps-python-conflict", pythonConflict},
                                                        {"deps-no-solution", packageConflict},
                                                        {"deps-resolve-host", noInternet},
                                                        {"deps-connect", noInternet},
                                                        {"deps-ssl", sslError},
                                                        {"deps-certificate", sslError},
                                                        {"deps-other", depsOther},
                                                        {"deps-ssl-no-solution", packageConflict}};
    for (const auto& [behaviour, sentence] : rows) {
        SCOPED_TRACE(behaviour.toStdString());
        env.set("NORVANE_SIM_BOOTSTRAP", "stderr:" + behaviour);
        Bootstrap bootstrap(log);
        runToEnd(bootstrap);
        EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(sentence));
        ASSERT_TRUE(bootstrap.diagnosticDetail());
        EXPECT_EQ(Bootstrap::classifyDepsError(*bootstrap.diagnosticDetail()), sentence)
            << "the detail is the output that decided: " << bootstrap.diagnosticDetail()->toStdString();
    }
    EXPECT_TRUE(
        logEntries(log).contains(u"ERROR [Bootstrap] deps install failed (0.0s): "_s + pythonConflict));
}

TEST_F(BootstrapRunTest, NewRunClearsTheDiagnosticDetail) {
    home.installFakeUv();
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-other");
    Bootstrap bootstrap(log);
    runToEnd(bootstrap);
    ASSERT_TRUE(bootstrap.diagnosticDetail());

    env.unset("NORVANE_SIM_BOOTSTRAP");
    QSignalSpy finished(&bootstrap, &Bootstrap::runFinished);
    bootstrap.run();
    EXPECT_FALSE(bootstrap.diagnosticDetail()) << "cleared as the run starts";
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::installingDeps());
    ASSERT_TRUE(finished.wait(60'000));
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::ready());
    EXPECT_FALSE(bootstrap.diagnosticDetail());
}

TEST_F(BootstrapRunTest, DependencyInstallRunsOnlineWithTheWarmListAndTheToolsEnvironment) {
    home.installFakeUv();
    for (const bool withBrowser : {false, true}) {
        SCOPED_TRACE(withBrowser ? "browser in the cache" : "no browser");
        if (withBrowser)
            putChromiumInCache();
        Bootstrap bootstrap(log);
        runToEnd(bootstrap);
        ASSERT_EQ(bootstrap.state(), Bootstrap::State::ready());
        const QJsonObject entry = journal().constLast();
        EXPECT_EQ(journalArguments(entry),
                  Bootstrap::warmArguments(withBrowser ? warmList + u",playwright==1.55.0"_s : warmList));
        EXPECT_FALSE(journalArguments(entry).contains(u"--offline"_s));
        const QJsonObject childEnv = entry.value(u"env"_s).toObject();
        EXPECT_EQ(childEnv.value(u"PYTHONUNBUFFERED"_s).toString(), u"1"_s);
        EXPECT_EQ(childEnv.value(u"PATH"_s).toString(), toolsPath());
        EXPECT_EQ(childEnv.value(u"HOME"_s).toString(), home.path()) << "the rest is the program's own";
        EXPECT_TRUE(logEntries(log).contains(u"INFO  [Bootstrap] warming deps (playwright="_s +
                                             (withBrowser ? u"true)"_s : u"false)"_s)));
    }
}

TEST_F(BootstrapRunTest, DependencyInstallThatCannotLaunchSaysWhy) {
    writeExecutable(uvPath(), "#!/nonexistent/interpreter\n");
    ConsoleCapture console;
    Bootstrap bootstrap(log);
    runToEnd(bootstrap);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::failed(depsOther));
    ASSERT_TRUE(bootstrap.diagnosticDetail());
    EXPECT_TRUE(bootstrap.diagnosticDetail()->startsWith(u"Failed to launch uv: "_s));
    EXPECT_TRUE(console.messages().join(u'\n').contains(u"[bootstrap] failed to run uv: "_s));
}

TEST_F(BootstrapRunTest, ReplacedRunReportsNothingOfItsOwn) {
    home.installFakeUv();
    env.set("NORVANE_SIM_BOOTSTRAP", "stderr:deps-other");
    Bootstrap bootstrap(log);
    QSignalSpy finished(&bootstrap, &Bootstrap::runFinished);
    bootstrap.run();
    env.unset("NORVANE_SIM_BOOTSTRAP");
    bootstrap.run();
    ASSERT_TRUE(finished.wait(60'000));
    QTest::qWait(300);
    EXPECT_EQ(finished.count(), 1);
    EXPECT_EQ(bootstrap.state(), Bootstrap::State::ready()) << "the failure of the first run doesn't count";
}

// --- The background warm-up ------------------------------------------------------------------------

TEST_F(BootstrapRunTest, WarmUpWithoutUvStartsNothing) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    Bootstrap::warmCacheInBackground(log);
    EXPECT_EQ(Bootstrap::warmingTask(), nullptr);
    bool ran = false;
    QObject context;
    Bootstrap::afterWarmingTask(&context, [&ran] { ran = true; });
    EXPECT_TRUE(ran) << "nothing to wait for";
}

TEST_F(BootstrapRunTest, WarmUpRunsTheWarmCommandAndLogsItsSuccess) {
    home.installFakeUv();
    for (const bool withBrowser : {false, true}) {
        SCOPED_TRACE(withBrowser ? "browser in the cache" : "no browser");
        if (withBrowser)
            putChromiumInCache();
        Bootstrap::warmCacheInBackground(log);
        QPointer<WarmingTask> task = Bootstrap::warmingTask();
        ASSERT_TRUE(task);
        QSignalSpy ended(task.data(), &WarmingTask::ended);
        ASSERT_TRUE(ended.wait(30'000));
        EXPECT_TRUE(QTest::qWaitFor([&task] { return task.isNull(); }, 10'000))
            << "it cleans up after itself";

        const QJsonObject entry = journal().constLast();
        EXPECT_EQ(entry.value(u"kind"_s).toString(), u"warmup"_s);
        EXPECT_EQ(journalArguments(entry),
                  Bootstrap::warmArguments(withBrowser ? warmList + u",playwright==1.55.0"_s : warmList));
        const QJsonObject childEnv = entry.value(u"env"_s).toObject();
        EXPECT_EQ(childEnv.value(u"PYTHONUNBUFFERED"_s).toString(), u"1"_s);
        EXPECT_EQ(childEnv.value(u"PATH"_s).toString(), toolsPath());
    }
    const QStringList entries = logEntries(log);
    EXPECT_TRUE(entries.contains(u"INFO  [Bootstrap] dep warming started (playwright=false)"_s));
    EXPECT_TRUE(entries.contains(u"INFO  [Bootstrap] dep warming started (playwright=true)"_s));
    EXPECT_EQ(entries.count(u"INFO  [Bootstrap] dep warming succeeded"_s), 2);
}

TEST_F(BootstrapRunTest, FailedWarmUpLogsItsExitAndTheStartOfItsOutput) {
    writeExecutable(uvPath(),
                    "#!/bin/sh\nprintf 'x%.0s' $(seq 1 150)\nprintf 'y%.0s' $(seq 1 150) >&2\nexit 3\n");
    Bootstrap::warmCacheInBackground(log);
    QPointer<WarmingTask> task = Bootstrap::warmingTask();
    ASSERT_TRUE(task);
    QSignalSpy ended(task.data(), &WarmingTask::ended);
    ASSERT_TRUE(ended.wait(30'000));
    EXPECT_TRUE(logEntries(log).contains(u"WARN  [Bootstrap] dep warming failed (exit 3): "_s +
                                         QString(150, u'x') + QString(50, u'y')));
}

TEST_F(BootstrapRunTest, WarmUpThatCannotLaunchLogsWhyAndEnds) {
    writeExecutable(uvPath(), "#!/nonexistent/interpreter\n");
    Bootstrap::warmCacheInBackground(log);
    EXPECT_TRUE(QTest::qWaitFor([] { return Bootstrap::warmingTask() == nullptr; }, 10'000));
    EXPECT_TRUE(logText(log).contains(u"WARN  [Bootstrap] dep warming failed to launch: "_s));
    bool ran = false;
    QObject context;
    Bootstrap::afterWarmingTask(&context, [&ran] { ran = true; });
    EXPECT_TRUE(ran);
}

TEST_F(BootstrapRunTest, SecondWarmUpCancelsTheFirstWhoseChildIsGoneAtTheNextHalfSecond) {
    home.installFakeUv();
    env.set("NORVANE_SIM_SPEED", "1");
    env.set("NORVANE_SIM_BOOTSTRAP", "slow");
    Bootstrap::warmCacheInBackground(log);
    QPointer<WarmingTask> first = Bootstrap::warmingTask();
    ASSERT_TRUE(first);
    ASSERT_TRUE(QTest::qWaitFor([this] { return journal().size() == 1; }, 20'000)) << "the first child runs";
    const qint64 pid = journal()[0].value(u"pid"_s).toInteger();

    bool waiterRan = false;
    QObject waiter;
    Bootstrap::afterWarmingTask(&waiter, [&waiterRan] { waiterRan = true; });
    QSignalSpy firstEnded(first.data(), &WarmingTask::ended);

    Bootstrap::warmCacheInBackground(log);
    EXPECT_NE(Bootstrap::warmingTask(), first.data());
    ASSERT_TRUE(first);
    EXPECT_TRUE(first->isCancelled());
    clock.advance(Bootstrap::warmingPollSeconds - 0.1);
    QTest::qWait(100);
    EXPECT_TRUE(processExists(pid)) << "the first child runs until the task's next look";
    EXPECT_EQ(firstEnded.count(), 0);
    EXPECT_FALSE(waiterRan);

    clock.advance(0.1);
    EXPECT_EQ(firstEnded.count(), 1);
    EXPECT_TRUE(waiterRan) << "a wait on the cancelled task ends with it";
    EXPECT_TRUE(QTest::qWaitFor([pid] { return !processExists(pid); }, 10'000)) << "SIGTERM ended the child";
    EXPECT_EQ(logEntries(log).count(u"INFO  [Bootstrap] dep warming cancelled, terminating subprocess"_s), 1);
    EXPECT_FALSE(logText(log).contains(u"dep warming failed"_s)) << "a cancelled task reports nothing more";
}

TEST_F(BootstrapRunTest, CaptureLaunchCancelsTheWarmUp) {
    home.installFakeUv();
    env.set("NORVANE_SIM_SPEED", "1");
    env.set("NORVANE_SIM_BOOTSTRAP", "slow");
    Bootstrap::warmCacheInBackground(log);
    QPointer<WarmingTask> task = Bootstrap::warmingTask();
    ASSERT_TRUE(task);

    PythonProcess process(log);
    process.launch(CaptureConfig{}, false);
    EXPECT_TRUE(task->isCancelled());
    clock.advance(Bootstrap::warmingPollSeconds);
    EXPECT_TRUE(task->hasEnded());
    process.reset();
}
