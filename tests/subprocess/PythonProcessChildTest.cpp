// The supervisor with real children: the tool simulator's fake `uv` in a throw-away home, found by the
// program's own search. The 30 s and 15 s timers run on a virtual clock; only the child's output
// arrives in real time, so the simulator runs at a high speed factor.

#include "subprocess/PythonProcess.h"

#include "base/VirtualClock.h"
#include "platform/Platform.h"
#include "subprocess/ProcessTestSupport.h"
#include "subprocess/StdinCommand.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>

#include <cstdio>

#include <signal.h>
#include <unistd.h>

using namespace Qt::StringLiterals;

namespace {

const QString deps = u"requests==2.33.1,aioquic==1.3.0,yt-dlp"_s;
const QString depsWithBrowser = deps + u",playwright==1.55.0"_s;
const QString stopTimedOut = u"Test timed out after stop. Partial results may be available."_s;
const QString notResponding = u"The capture tool started but is not responding. This may indicate a Python "
                              u"configuration issue — try reinstalling the app."_s;
const QString endedBySigterm = u"Test ended unexpectedly (exit 15). Partial results may be available."_s;

// Generous: the machine is shared, and nothing here waits for a timer of the program.
constexpr int childTimeoutMs = 60'000;

template <typename Predicate> bool waitFor(Predicate predicate, int timeoutMs = childTimeoutMs) {
    return QTest::qWaitFor(predicate, timeoutMs);
}

QString repoRoot() {
    return QDir::cleanPath(simulatorDir() + u"/../.."_s);
}

// Gone for good, or a zombie nobody has reaped yet: either way it no longer runs.
bool processRuns(qint64 pid) {
    if (!processExists(pid))
        return false;
    QFile stat(u"/proc/%1/stat"_s.arg(pid));
    if (!stat.open(QIODevice::ReadOnly))
        return false;
    const QByteArray text = stat.readAll();
    const qsizetype close = text.lastIndexOf(')');
    return close < 0 || text.mid(close + 2, 1) != "Z";
}

class PythonProcessChildTest : public ::testing::Test {
protected:
    void SetUp() override {
        home.installFakeUv();
        env.set("NORVANE_REPO_ROOT", repoRoot().toUtf8());
        env.set("NORVANE_SIM_SPEED", "50");
        env.set("NORVANE_SIM_SEED", "7");
        env.unset("NORVANE_SIM_SCENARIO");
        env.unset("NORVANE_SIM_RECORD");
        env.unset("NORVANE_SIM_FLOOD_COUNT");
        env.unset("WIFI_INFO_PATH");
        process.setOnEvent([this](const JSONEvent& event) { events.append(event); });
        process.setOnTerminated([this] { ++terminated; });
        QObject::connect(&process, &PythonProcess::rawLinesChanged, &process,
                         [this] { mostRawLines = std::max(mostRawLines, process.rawLines().size()); });
        QObject::connect(&process, &PythonProcess::stateChanged, &process, [this] {
            states.append(process.state());
            if (process.state() == PythonProcess::State::running()) {
                if (const auto pid = process.processId())
                    pids.append(*pid);
            }
        });
    }

    void TearDown() override {
        // No child outlives its test, and no QProcess is destroyed before its child is reaped.
        process.reset();
        for (qint64 pid : std::as_const(pids))
            EXPECT_TRUE(waitFor([pid] { return !processExists(pid); })) << "child " << pid << " left behind";
    }

    void scenario(const char* name) { env.set("NORVANE_SIM_SCENARIO", name); }

    QList<QJsonObject> invocations() const {
        QFile file(home.path() + u"/.norvane-sim/invocations.jsonl"_s);
        if (!file.open(QIODevice::ReadOnly))
            return {};
        QList<QJsonObject> result;
        for (const QByteArray& line : file.readAll().split('\n')) {
            if (!line.isEmpty())
                result.append(QJsonDocument::fromJson(line).object());
        }
        return result;
    }

    QStringList argvOf(const QJsonObject& invocation) const {
        QStringList argv;
        for (const QJsonValue& value : invocation.value(u"argv"_s).toArray())
            argv.append(value.toString());
        return argv;
    }

    int count(JSONEvent::Kind kind) const {
        return int(std::count_if(events.begin(), events.end(),
                                 [kind](const JSONEvent& e) { return e.kind() == kind; }));
    }

    bool waitForEvent(JSONEvent::Kind kind) {
        return waitFor([this, kind] { return count(kind) > 0; });
    }

    bool waitForEnd() {
        return waitFor([this] { return terminated > 0; });
    }

    QStringList log() { return logEntries(logger); }

    QString expectedCsv() const {
        return home.path() + u"/.local/share/Norvane/captures/wifi_capture_20260314T093000Z.csv"_s;
    }

    TempHome home;
    ScopedEnv env;
    VirtualClock clock;
    ScopedVirtualTime scope{clock};
    QTemporaryDir logDir;
    FileLogger logger{logDir.path()};
    PythonProcess process{logger};
    QList<JSONEvent> events;
    QList<qint64> pids;
    QList<PythonProcess::State> states;
    qsizetype mostRawLines = 0;
    int terminated = 0;
};

} // namespace

// --- Command line and environment as the tool receives them --------------------------------------------

TEST_F(PythonProcessChildTest, TheToolReceivesEveryOptionalArgumentInOrder) {
    scenario("silent");
    CaptureConfig config;
    config.location = u"Hotel Lobby, 3rd floor"_s;
    config.network = u"Guest WiFi"_s;
    config.durationString = u"5m"_s;
    config.privacy = UploadPrivacy::hash;
    config.profile = CaptureProfile::passive;
    process.launch(config, true);
    ASSERT_EQ(process.state(), PythonProcess::State::running());
    ASSERT_TRUE(waitFor([this] { return !invocations().isEmpty(); }));

    const QJsonObject invocation = invocations().constFirst();
    EXPECT_EQ(invocation.value(u"kind"_s).toString(), u"capture"_s);
    EXPECT_EQ(argvOf(invocation), (QStringList{u"run"_s,
                                               u"--offline"_s,
                                               u"--python"_s,
                                               u"3.12"_s,
                                               u"--with"_s,
                                               depsWithBrowser,
                                               u"--directory"_s,
                                               repoRoot() + u"/src"_s,
                                               u"-m"_s,
                                               u"norvane.cli"_s,
                                               u"--json"_s,
                                               u"-o"_s,
                                               expectedCsv(),
                                               u"--location"_s,
                                               u"Hotel Lobby, 3rd floor"_s,
                                               u"--network"_s,
                                               u"Guest WiFi"_s,
                                               u"--duration"_s,
                                               u"5m"_s,
                                               u"--privacy"_s,
                                               u"hash"_s,
                                               u"--profile"_s,
                                               u"passive"_s,
                                               u"--client"_s,
                                               u"linux/"_s + Platform::appVersion()}));
    EXPECT_EQ(QFileInfo(invocation.value(u"executable"_s).toString()).fileName(), u"uv"_s);
    EXPECT_EQ(process.pendingRetryConfig(), config);

    const QStringList entries = log();
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] launching subprocess (playwright=true)"_s));
    EXPECT_TRUE(
        entries.contains(u"DEBUG [PythonProcess] uv found at "_s + home.path() + u"/.local/bin/uv"_s));
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] starting subprocess uv="_s + home.path() +
                                 u"/.local/bin/uv output="_s + expectedCsv()));
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] subprocess launched pid="_s +
                                 QString::number(*process.processId())));
}

TEST_F(PythonProcessChildTest, TheToolReceivesOnlyTheFixedArgumentsWithoutOptionalFields) {
    scenario("silent");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitFor([this] { return !invocations().isEmpty(); }));
    const QJsonObject invocation = invocations().constFirst();
    EXPECT_EQ(invocation.value(u"kind"_s).toString(), u"capture"_s);
    EXPECT_EQ(argvOf(invocation),
              (QStringList{u"run"_s, u"--offline"_s, u"--python"_s, u"3.12"_s, u"--with"_s, deps,
                           u"--directory"_s, repoRoot() + u"/src"_s, u"-m"_s, u"norvane.cli"_s, u"--json"_s,
                           u"-o"_s, expectedCsv(), u"--client"_s, u"linux/"_s + Platform::appVersion()}));
    EXPECT_FALSE(process.pendingRetryConfig());
}

TEST_F(PythonProcessChildTest, TheToolsEnvironmentHasTheCaptureVariablesAndNoHelperPath) {
    scenario("silent");
    env.set("WIFI_INFO_PATH", "/inherited/wifi_info");
    const QString originalPath = qEnvironmentVariable("PATH");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitFor([this] { return !invocations().isEmpty(); }));
    const QJsonObject childEnv = invocations().constFirst().value(u"env"_s).toObject();
    EXPECT_EQ(childEnv.value(u"PYTHONUNBUFFERED"_s).toString(), u"1"_s);
    EXPECT_EQ(childEnv.value(u"PATH"_s).toString(),
              u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:"_s + originalPath);
    EXPECT_EQ(childEnv.value(u"NORVANE_LOG_DIR"_s).toString(), home.path() + u"/.local/state/Norvane/logs"_s);
    EXPECT_FALSE(childEnv.contains(u"WIFI_INFO_PATH"_s));
    EXPECT_EQ(childEnv.value(u"HOME"_s).toString(), home.path())
        << "the rest is the program's own environment";
    EXPECT_EQ(childEnv.value(u"NORVANE_SIM_SCENARIO"_s).toString(), u"silent"_s);
    // No working folder is set: the child starts in ours.
    EXPECT_EQ(invocations().constFirst().value(u"cwd"_s).toString(), QDir::currentPath());
}

// --- A good run ---------------------------------------------------------------------------------------

TEST_F(PythonProcessChildTest, SigintLeadsToCompleteAndCompleted) {
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEvent(JSONEvent::Kind::info));
    EXPECT_EQ(events.constFirst().kind(), JSONEvent::Kind::info);
    EXPECT_FALSE(process.isStartupWatchdogArmed()) << "info ends the watchdog";

    process.sendEndMeta(-61, 42.66, 2.25, 18.04, true);
    process.sendCommand(StdinCommand::note(u"by the window"_s));
    // The tool echoes the note; by then it has read the ENDMETA line that came before it.
    ASSERT_TRUE(waitForEvent(JSONEvent::Kind::note));
    const auto note = std::find_if(events.begin(), events.end(),
                                   [](const JSONEvent& e) { return e.kind() == JSONEvent::Kind::note; });
    EXPECT_EQ(note->get<NoteEvent>()->text, u"by the window"_s);

    const qint64 pid = *process.processId();
    process.stop();
    EXPECT_EQ(process.state(), PythonProcess::State::finishing());
    EXPECT_TRUE(process.isFinishingTimerArmed());
    ASSERT_TRUE(waitForEnd());

    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_EQ(terminated, 1);
    EXPECT_TRUE(process.receivedComplete());
    EXPECT_EQ(events.constLast().kind(), JSONEvent::Kind::complete);
    EXPECT_FALSE(process.isFinishingTimerArmed());
    EXPECT_EQ(process.rawLines().size(), events.size()) << "every line of a good run decodes";

    const QString csv = events.constLast().get<CompleteEvent>()->csvFile;
    EXPECT_EQ(csv, expectedCsv());
    QFile file(csv);
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    const QByteArray content = file.readAll();
    EXPECT_TRUE(content.contains("endmeta_rssi_dbm=-61")) << "ENDMETA reached the tool";
    EXPECT_TRUE(content.contains("endmeta_upload_speed_mbps=42.7"));
    EXPECT_TRUE(content.contains("endmeta_packet_loss_pct=2.3"));
    // A whole number goes over the wire as 18, and the tool writes it back the same way.
    EXPECT_TRUE(QString::fromUtf8(content).contains(QRegularExpression(u"endmeta_latency_ms=18(\\s|$)"_s)));
    EXPECT_TRUE(content.contains("endmeta_gateway_reachable=true"));

    const QStringList entries = log();
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] sent stdin command: NOTE by the window"_s));
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] stop requested, sending SIGINT to pid="_s +
                                 QString::number(pid)));
    EXPECT_TRUE(entries.contains(u"INFO  [PythonProcess] subprocess complete event received"_s));
    EXPECT_EQ(entries.constLast(), u"INFO  [PythonProcess] subprocess terminated normally exit=0"_s);
}

TEST_F(PythonProcessChildTest, ACommandAfterTheChildHasEndedIsDroppedInSilence) {
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEvent(JSONEvent::Kind::info));
    process.stop();
    ASSERT_TRUE(waitForEnd());
    const qsizetype lines = log().size();
    process.sendCommand(StdinCommand::speedTest);
    process.stop();
    EXPECT_EQ(log().size(), lines);
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_FALSE(process.isFinishingTimerArmed());
}

TEST_F(PythonProcessChildTest, AnExitWithoutCompleteIsCompleted) {
    scenario("exit-without-complete");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_EQ(count(JSONEvent::Kind::complete), 0);
    EXPECT_EQ(log().constLast(), u"INFO  [PythonProcess] subprocess terminated exit=0 (no complete event)"_s);
}

// --- Timers -------------------------------------------------------------------------------------------

TEST_F(PythonProcessChildTest, AToolThatIgnoresSigintFailsFifteenVirtualSecondsAfterTheStop) {
    scenario("hang-on-stop");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEvent(JSONEvent::Kind::info));
    process.stop();
    ASSERT_EQ(process.state(), PythonProcess::State::finishing());

    clock.advance(14.9);
    EXPECT_EQ(process.state(), PythonProcess::State::finishing());
    EXPECT_TRUE(process.isChildRunning());
    clock.advance(0.1);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(stopTimedOut));
    EXPECT_EQ(log().constLast(), u"WARN  [PythonProcess] 15s timeout, force-killing subprocess"_s);

    // Our own SIGTERM ends it; the user reads why we ended it, not the signal's number.
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(terminated, 1);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(stopTimedOut));
}

TEST_F(PythonProcessChildTest, ASilentToolFailsAsNotRespondingAfterThirtyVirtualSeconds) {
    scenario("silent");
    process.launch(CaptureConfig{}, false);
    ASSERT_EQ(process.state(), PythonProcess::State::running());
    ASSERT_TRUE(process.isStartupWatchdogArmed());

    clock.advance(29.9);
    EXPECT_EQ(process.state(), PythonProcess::State::running());
    clock.advance(0.1);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(notResponding));
    EXPECT_EQ(log().constLast(),
              u"WARN  [PythonProcess] 30s startup watchdog fired — no events received, killing subprocess"_s);

    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(terminated, 1);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(notResponding));
}

TEST_F(PythonProcessChildTest, AToolQuietForThirtySecondsWhileUvBuildsItsEnvironmentIsKilled) {
    // slow-start stays silent for 40 s of its own time; at speed 1 the watchdog comes first.
    scenario("slow-start");
    env.set("NORVANE_SIM_SPEED", "1");
    process.launch(CaptureConfig{}, false);
    clock.advance(30.0);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(notResponding));
    ASSERT_TRUE(waitForEnd());
    EXPECT_TRUE(events.isEmpty());
    EXPECT_EQ(process.state(), PythonProcess::State::failed(notResponding));
}

TEST_F(PythonProcessChildTest, AStatusBeforeInfoLeavesTheWatchdogArmedButItThenFindsAnEventAndDoesNothing) {
    scenario("silent");
    process.launch(CaptureConfig{}, false);
    process.processLine(u"{\"event\":\"status\",\"elapsed_sec\":0.5}"_s);
    EXPECT_TRUE(process.isStartupWatchdogArmed());
    clock.advance(30.0);
    EXPECT_EQ(process.state(), PythonProcess::State::running());
    EXPECT_TRUE(process.isChildRunning());
    EXPECT_FALSE(log().join(u'\n').contains(u"watchdog"_s));
}

// --- Failures -----------------------------------------------------------------------------------------

TEST_F(PythonProcessChildTest, AChildKilledWithSigkillGivesTheSignalNineSentence) {
    scenario("stderr:killed");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEnd());
    const QString sentence =
        u"Test was killed by the system (signal 9). This can happen if the Mac went to sleep."_s;
    EXPECT_EQ(process.state(), PythonProcess::State::failed(sentence));
    EXPECT_TRUE(log().contains(u"ERROR [PythonProcess] subprocess terminated exit=9 error="_s + sentence));
}

TEST_F(PythonProcessChildTest, AFatalErrorEventFollowedByExitZeroEndsCompleted) {
    // The simulator's tools exit 1 after a fatal error; this one exits 0 on its own after 8 s, and the
    // fatal event is played into its stream right after its first event.
    scenario("exit-without-complete");
    process.setOnEvent([this](const JSONEvent& event) {
        events.append(event);
        if (event.kind() == JSONEvent::Kind::info)
            process.processLine(u"{\"event\":\"error\",\"message\":\"radio gone\",\"fatal\":true}"_s);
    });
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEnd());
    EXPECT_TRUE(states.contains(PythonProcess::State::failed(u"radio gone"_s)));
    EXPECT_EQ(process.state(), PythonProcess::State::completed()) << "the fatal message is lost on exit 0";
}

TEST_F(PythonProcessChildTest, AFatalErrorEventFollowedByAFailedExitTakesTheClassifiedSentence) {
    scenario("fatal-error");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEnd());
    const QString fatal = u"Wi-Fi interface wlan0 disappeared; cannot continue the capture"_s;
    EXPECT_TRUE(states.contains(PythonProcess::State::failed(fatal)));
    EXPECT_EQ(process.state(),
              PythonProcess::State::failed(u"Test failed (exit 1): norvane.cli: fatal: "_s + fatal));
    EXPECT_TRUE(log().contains(u"ERROR [PythonProcess] fatal error from subprocess: "_s + fatal));
}

struct StderrScenario {
    const char* scenario;
    int exitCode;
    const char* sentence;
};

class PythonProcessFailureTable : public PythonProcessChildTest,
                                  public ::testing::WithParamInterface<StderrScenario> {};

TEST_P(PythonProcessFailureTable, TheToolsStderrBecomesTheSentenceOfItsRow) {
    scenario(GetParam().scenario);
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitForEnd());
    const QString sentence = QString::fromUtf8(GetParam().sentence);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(sentence));
    EXPECT_TRUE(log().contains(u"ERROR [PythonProcess] subprocess terminated exit="_s +
                               QString::number(GetParam().exitCode) + u" error="_s + sentence));
    if (!process.stderrOutput().isEmpty()) {
        EXPECT_TRUE(logText(logger).contains(u"ERROR [PythonProcess] stderr:\n"_s + process.stderrOutput()));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Simulator, PythonProcessFailureTable,
    ::testing::Values(
        StderrScenario{"stderr:python-conflict", 2,
                       "Python version conflict — the system Python is too old. Reinstall the app to fix."},
        StderrScenario{"stderr:no-solution", 1,
                       "Package dependency error. Check your internet connection and retry."},
        StderrScenario{
            "stderr:not-in-cache", 1,
            "Dependencies need updating — this can happen after an app update. Please connect to the "
            "internet and reopen the app."},
        StderrScenario{
            "stderr:offline-network", 2,
            "Dependencies need updating — this can happen after an app update. Please connect to the "
            "internet and reopen the app."},
        StderrScenario{"stderr:no-module", 1, "Missing Python module 'norvane'. Try reinstalling the app."},
        StderrScenario{"stderr:no-module-unquoted", 1,
                       "Missing Python module 'unknown'. Try reinstalling the app."},
        StderrScenario{"stderr:permission-denied", 1,
                       "Permission denied — the capture tool could not access a required resource."},
        StderrScenario{"stderr:permission-denied-lower", 2,
                       "Permission denied — the capture tool could not access a required resource."},
        StderrScenario{"stderr:address-in-use", 1,
                       "A network port is already in use. Close other network tools and retry."},
        StderrScenario{
            "stderr:last-line", 1,
            "Test failed (exit 1): norvane.cli: giving up: sample queue overflow (4096 pending samples)"},
        StderrScenario{"stderr:blank", 2,
                       "Test ended unexpectedly (exit 2). Partial results may be available."},
        StderrScenario{"crash", 1,
                       "Test failed (exit 1): RuntimeError: simulated crash: probe scheduler lost its "
                       "event loop"}),
    [](const ::testing::TestParamInfo<StderrScenario>& info) {
        std::string name = info.param.scenario;
        for (char& c : name) {
            if (!std::isalnum(static_cast<unsigned char>(c)))
                c = '_';
        }
        return name;
    });

// --- The retry without the browser ---------------------------------------------------------------------

TEST_F(PythonProcessChildTest, TheBrowserRetryRelaunchesOnceWithoutThePinAndEndsOnce) {
    scenario("browser-missing");
    QSignalSpy unavailable(&process, &PythonProcess::playwrightUnavailableChanged);
    CaptureConfig config;
    config.location = u"Gate 12"_s;
    process.launch(config, true);
    ASSERT_TRUE(waitForEvent(JSONEvent::Kind::info)) << "the second run plays a good capture";
    EXPECT_EQ(terminated, 0) << "the user sees one unbroken capture";
    EXPECT_TRUE(process.triedWithoutPlaywright());
    EXPECT_TRUE(process.playwrightUnavailable());
    EXPECT_EQ(unavailable.count(), 1);
    EXPECT_FALSE(process.pendingRetryConfig());
    EXPECT_TRUE(process.stderrOutput().contains(u"playwright==1.55.0 was not found in the cache"_s));

    const QList<QJsonObject> runs = invocations();
    ASSERT_EQ(runs.size(), 2);
    const QStringList first = argvOf(runs[0]);
    QStringList second = argvOf(runs[1]);
    EXPECT_EQ(first.at(5), depsWithBrowser);
    EXPECT_EQ(second.at(5), deps);
    second[5] = depsWithBrowser;
    EXPECT_EQ(first, second) << "the same config, only without the browser pin";
    EXPECT_TRUE(log().contains(u"WARN  [PythonProcess] playwright not cached — retrying without it"_s));
    EXPECT_TRUE(log().contains(u"INFO  [PythonProcess] launching subprocess (playwright=false)"_s));

    process.stop();
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    ASSERT_EQ(pids.size(), 2);
    ASSERT_TRUE(waitFor([this] { return !processExists(pids[0]) && !processExists(pids[1]); }));
    EXPECT_EQ(terminated, 1);
    EXPECT_EQ(invocations().size(), 2) << "at most one retry";
}

TEST_F(PythonProcessChildTest, AFailedRetryIsClassifiedOnTheStderrOfBothRuns) {
    scenario("browser-missing");
    // When the first run gives way, make the second one crash.
    QObject::connect(&process, &PythonProcess::stateChanged, &process, [this] {
        if (process.state() == PythonProcess::State::idle() && process.triedWithoutPlaywright())
            env.set("NORVANE_SIM_SCENARIO", "crash");
    });
    process.launch(CaptureConfig{}, true);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(terminated, 1);
    EXPECT_TRUE(process.stderrOutput().contains(u"playwright==1.55.0 was not found in the cache"_s));
    EXPECT_TRUE(process.stderrOutput().contains(u"RuntimeError: simulated crash"_s));
    // The first run's text wins: it trips an earlier row than the crash's last line.
    EXPECT_EQ(process.state(), PythonProcess::State::failed(
                                   u"Dependencies need updating — this can happen after an app update. "
                                   u"Please connect to the internet and reopen the app."_s));
    EXPECT_EQ(invocations().size(), 2);
}

TEST_F(PythonProcessChildTest, WhenTheSpawnOfTheRetryFailsTheStateIsFailedAndNoEndIsReported) {
    scenario("browser-missing");
    const QString uv = home.path() + u"/.local/bin/uv"_s;
    QObject::connect(&process, &PythonProcess::stateChanged, &process, [this, uv] {
        if (process.state() == PythonProcess::State::idle() && process.triedWithoutPlaywright()) {
            QFile::remove(uv);
            QFile broken(uv);
            if (broken.open(QIODevice::WriteOnly)) {
                broken.write("#!/nonexistent/interpreter\n");
                broken.close();
                broken.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
            }
        }
    });
    process.launch(CaptureConfig{}, true);
    ASSERT_TRUE(waitFor([this] { return process.state().isFailed(); }));
    EXPECT_TRUE(process.state().message.startsWith(u"Failed to start: "_s))
        << qPrintable(process.state().message);
    ASSERT_EQ(pids.size(), 1);
    ASSERT_TRUE(waitFor([this] { return !processExists(pids[0]); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(terminated, 0);
}

TEST_F(PythonProcessChildTest, AnEventOfTheFirstRunKeepsTheRetrysWatchdogFromFiring) {
    scenario("silent");
    process.launch(CaptureConfig{}, true);
    ASSERT_EQ(process.state(), PythonProcess::State::running());
    process.processLine(u"{\"event\":\"info\",\"ssid\":\"Cafe\"}"_s);
    process.handleStandardError("error: Because playwright==1.55.0 was not found in the cache\n");
    const qint64 first = *process.processId();
    ::kill(static_cast<pid_t>(first), SIGKILL);
    ASSERT_TRUE(waitFor([this] { return pids.size() == 2; })) << "the retry starts";
    EXPECT_TRUE(process.triedWithoutPlaywright());
    ASSERT_TRUE(process.latestEvent());
    EXPECT_EQ(process.latestEvent()->kind(), JSONEvent::Kind::info);

    clock.advance(30.0);
    EXPECT_EQ(process.state(), PythonProcess::State::running());
    EXPECT_TRUE(process.isChildRunning());
    EXPECT_EQ(terminated, 0);
}

// --- Reset ----------------------------------------------------------------------------------------------

TEST_F(PythonProcessChildTest, ResetEndsTheChildAndItsLateEndLeavesTheCleanSupervisorFailed) {
    scenario("silent");
    process.launch(CaptureConfig{}, false);
    const qint64 pid = *process.processId();
    process.reset();
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
    EXPECT_FALSE(process.processId());
    EXPECT_EQ(clock.activeTimerCount(), 0);
    ASSERT_TRUE(waitFor([pid] { return !processExists(pid); })) << "killed and reaped";
    EXPECT_EQ(process.state(), PythonProcess::State::failed(endedBySigterm));
    EXPECT_EQ(terminated, 1);
}

TEST_F(PythonProcessChildTest, TheEndOfAResetChildDoesNotTouchTheNextRun) {
    scenario("silent");
    process.launch(CaptureConfig{}, false);
    const qint64 old = *process.processId();
    process.reset();
    process.launch(CaptureConfig{}, false);
    ASSERT_EQ(process.state(), PythonProcess::State::running());
    ASSERT_TRUE(waitFor([old] { return !processExists(old); }));
    QCoreApplication::processEvents();
    EXPECT_EQ(process.state(), PythonProcess::State::running());
    EXPECT_TRUE(process.isStartupWatchdogArmed());
    EXPECT_EQ(terminated, 0);
}

TEST_F(PythonProcessChildTest, AResetFromAListenerDropsTheRestOfTheRunsOutput) {
    int afterReset = 0;
    bool didReset = false;
    process.setOnEvent([this, &afterReset, &didReset](const JSONEvent& event) {
        events.append(event);
        if (didReset) {
            ++afterReset;
        } else if (event.kind() == JSONEvent::Kind::status) {
            didReset = true;
            process.reset();
        }
    });
    process.launch(CaptureConfig{}, false);
    ASSERT_EQ(pids.size(), 1);
    ASSERT_TRUE(waitFor([this] { return !processExists(pids[0]); }));
    EXPECT_TRUE(didReset);
    EXPECT_EQ(afterReset, 0);
    EXPECT_TRUE(process.rawLines().isEmpty());
    EXPECT_FALSE(process.latestEvent());
    // The killed child's own end still reaches the supervisor it left behind.
    EXPECT_EQ(process.state(), PythonProcess::State::failed(endedBySigterm));
    EXPECT_EQ(terminated, 1);
    process.setOnEvent({});
}

TEST_F(PythonProcessChildTest, DestroyingTheSupervisorWithALiveChildEndsTheChild) {
    scenario("silent");
    qint64 pid = 0;
    {
        PythonProcess owner(logger);
        owner.launch(CaptureConfig{}, false);
        ASSERT_EQ(owner.state(), PythonProcess::State::running());
        pid = *owner.processId();
    }
    EXPECT_TRUE(waitFor([pid] { return !processExists(pid); }));
}

// --- Floods and garbage -------------------------------------------------------------------------------

TEST_F(PythonProcessChildTest, AHundredThousandFloodEventsAllArriveInOrder) {
    scenario("flood");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(waitFor([this] { return terminated > 0; }, 240'000));
    EXPECT_EQ(process.state(), PythonProcess::State::completed());

    ASSERT_EQ(events.size(), 100'002) << "info, the flood, complete";
    EXPECT_EQ(events.constFirst().kind(), JSONEvent::Kind::info);
    EXPECT_EQ(events.constLast().kind(), JSONEvent::Kind::complete);
    const QString gateway = *events.constFirst().get<InfoEvent>()->gateway;
    // The flood's own pattern: a status every 20th event, probes cycling over seven targets, every
    // timestamp one millisecond after the one before.
    const QStringList targets{gateway,          u"1.1.1.1"_s,         u"8.8.8.8"_s, u"1.1.1.1:53"_s,
                              u"1.1.1.1:443"_s, u"www.gstatic.com"_s, u"1.1.1.1"_s};
    QString previousTs;
    double previousElapsed = -1;
    int outOfOrder = 0;
    for (int i = 0; i < 100'000; ++i) {
        const JSONEvent& event = events[i + 1];
        if (i % 20 == 0) {
            const StatusEvent* status = event.get<StatusEvent>();
            if (!status || status->elapsedSec <= previousElapsed)
                ++outOfOrder;
            else
                previousElapsed = status->elapsedSec;
        } else {
            const ProbeEvent* probe = event.get<ProbeEvent>();
            if (!probe || probe->target != targets[i % 7] || probe->ts <= previousTs)
                ++outOfOrder;
            else
                previousTs = probe->ts;
        }
    }
    EXPECT_EQ(outOfOrder, 0);
    EXPECT_EQ(process.rawLines().size(), 10'000);
    EXPECT_EQ(mostRawLines, 10'000);
    EXPECT_TRUE(process.rawLines().constLast().startsWith(u"{\"event\":\"complete\""_s));
}

TEST_F(PythonProcessChildTest, BrokenAndNonUTF8LinesCostOnlyThemselves) {
    scenario("garbage");
    env.set("NORVANE_SIM_SPEED", "20");
    ConsoleCapture console;
    CaptureConfig config;
    config.durationString = u"16s"_s;
    process.launch(config, false);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_EQ(events.constLast().kind(), JSONEvent::Kind::complete);

    const QStringList raw = process.rawLines();
    const QStringList nonJson = console.messages().filter(QRegularExpression(u"^non-JSON stdout: "_s));
    // Every line that reached rawLines either decoded or was reported as not JSON, and nothing else.
    EXPECT_EQ(raw.size(), events.size() + nonJson.size());
    for (const char* broken :
         {"[1,2,3]", "\"just a string\"", "null", "{\"event\":42}",
          "{\"event\":\"error\",\"message\":\"no fatal flag\"}",
          "{\"event\":\"status\",\"elapsed_sec\":\"12\"}", "{\"event\":\"status\",\"elapsed_sec\":NaN}",
          "Traceback? no, just a stray print from a library"}) {
        const QString line = QString::fromUtf8(broken);
        EXPECT_TRUE(raw.contains(line)) << broken;
        EXPECT_TRUE(nonJson.contains(u"non-JSON stdout: "_s + line)) << broken;
    }
    EXPECT_TRUE(raw.contains(u"\r"_s)) << "a lone carriage return is a line of its own";
    EXPECT_FALSE(raw.contains(QString())) << "empty lines are dropped";
    for (const QString& line : raw)
        EXPECT_FALSE(line.contains(QChar::ReplacementCharacter)) << "non-UTF-8 lines are dropped, not mended";
    EXPECT_FALSE(raw.filter(u"garbage"_s).size() > 0);
    EXPECT_FALSE(raw.filter(u"\"text\":\"caf"_s).size() > 0);

    // The lines around the garbage still arrive: the unknown event, the CR LF status and the null rtt.
    EXPECT_GE(count(JSONEvent::Kind::unknown), 1);
    EXPECT_TRUE(std::any_of(raw.begin(), raw.end(), [](const QString& line) {
        return line.startsWith(u"{\"event\":\"status\""_s) && line.endsWith(u'\r') &&
               JSONEvent::decode(line.toUtf8()).has_value();
    }));
    EXPECT_TRUE(std::any_of(events.begin(), events.end(), [](const JSONEvent& e) {
        return e.kind() == JSONEvent::Kind::probe && e.get<ProbeEvent>()->loss && !e.get<ProbeEvent>()->rttMs;
    }));
}

TEST_F(PythonProcessChildTest, AOneMebibyteLineArrivesWhole) {
    scenario("long-line");
    env.set("NORVANE_SIM_SPEED", "20");
    CaptureConfig config;
    config.durationString = u"5s"_s;
    process.launch(config, false);
    ASSERT_TRUE(waitForEnd());
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    const auto longest =
        std::max_element(process.rawLines().begin(), process.rawLines().end(),
                         [](const QString& a, const QString& b) { return a.size() < b.size(); });
    ASSERT_NE(longest, process.rawLines().end());
    EXPECT_GE(longest->size(), 1 << 20);
    const auto decoded = JSONEvent::decode(longest->toUtf8());
    ASSERT_TRUE(decoded);
    EXPECT_EQ(decoded->kind(), JSONEvent::Kind::status);
    EXPECT_EQ(process.rawLines().size(), events.size());
}

// --- The program dies abruptly --------------------------------------------------------------------------

TEST(PythonProcessParentDeath, TheToolIsEndedWhenTheProgramDiesAbruptly) {
    if (qEnvironmentVariableIsSet("NORVANE_TEST_DIE_WITH_CHILD")) {
        // The program that crashes: it starts a tool that only SIGTERM ends, says which, and dies by
        // SIGKILL, so that no destructor, reset or handler of ours runs.
        QTemporaryDir logs;
        FileLogger logger(logs.path());
        PythonProcess process(logger);
        process.launch(CaptureConfig{}, false);
        if (const auto pid = process.processId()) {
            std::printf("tool-pid=%lld\n", static_cast<long long>(*pid));
            std::fflush(stdout);
        }
        ::kill(::getpid(), SIGKILL);
    }

    TempHome home;
    home.installFakeUv();
    ScopedEnv env;
    env.set("NORVANE_REPO_ROOT", repoRoot().toUtf8());
    env.set("NORVANE_SIM_SCENARIO", "silent");
    env.set("NORVANE_TEST_DIE_WITH_CHILD", "1");
    env.set("NORVANE_TEST_HOME", home.path().toUtf8());
    QProcess program;
    program.setProgram(QCoreApplication::applicationFilePath());
    program.setArguments(
        {u"--gtest_filter=PythonProcessParentDeath.TheToolIsEndedWhenTheProgramDiesAbruptly"_s});
    program.start();
    ASSERT_TRUE(waitFor([&program] { return program.state() == QProcess::NotRunning; }));
    EXPECT_EQ(program.exitStatus(), QProcess::CrashExit);
    EXPECT_EQ(program.exitCode(), SIGKILL);

    const QByteArray output = program.readAllStandardOutput();
    const qsizetype at = output.indexOf("tool-pid=");
    ASSERT_GE(at, 0) << output.constData();
    const qint64 tool = output.mid(at + 9, output.indexOf('\n', at) - at - 9).toLongLong();
    ASSERT_GT(tool, 0);
    EXPECT_TRUE(waitFor([tool] { return !processRuns(tool); })) << "tool " << tool << " outlived the program";
    if (processRuns(tool))
        ::kill(static_cast<pid_t>(tool), SIGKILL);
}
