// The supervisor without a child: command line, environment, locations, and what it makes of the
// output, the standard error and the end of a run when they are played to it directly.

#include "subprocess/PythonProcess.h"

#include "base/Settings.h"
#include "base/VirtualClock.h"
#include "platform/Locations.h"
#include "platform/Platform.h"
#include "subprocess/ProcessTestSupport.h"
#include "subprocess/StdinCommand.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QCoreApplication>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QString deps = u"requests==2.33.1,aioquic==1.3.0,yt-dlp"_s;

class PythonProcessTest : public ::testing::Test {
protected:
    void SetUp() override {
        process.setOnEvent([this](const JSONEvent& event) { events.append(event); });
        process.setOnTerminated([this] { ++terminated; });
    }

    QStringList log() { return logEntries(logger); }

    TempHome home;
    VirtualClock clock;
    ScopedVirtualTime scope{clock};
    QTemporaryDir logDir;
    FileLogger logger{logDir.path()};
    PythonProcess process{logger};
    QList<JSONEvent> events;
    int terminated = 0;
};

} // namespace

// --- State --------------------------------------------------------------------------------------------

TEST(PythonProcessState, DescriptionsReadAsTheStateTable) {
    using State = PythonProcess::State;
    EXPECT_EQ(State::idle().description(), u"idle"_s);
    EXPECT_EQ(State::starting().description(), u"starting"_s);
    EXPECT_EQ(State::running().description(), u"running"_s);
    EXPECT_EQ(State::finishing().description(), u"finishing..."_s);
    EXPECT_EQ(State::completed().description(), u"completed"_s);
    EXPECT_EQ(State::failed(u"uv not found"_s).description(), u"failed: uv not found"_s);
    EXPECT_NE(State::failed(u"a"_s), State::failed(u"b"_s));
}

TEST_F(PythonProcessTest, StartsIdleWithNothingKept) {
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
    EXPECT_TRUE(process.rawLines().isEmpty());
    EXPECT_FALSE(process.latestEvent());
    EXPECT_TRUE(process.stderrOutput().isEmpty());
    EXPECT_FALSE(process.playwrightUnavailable());
    EXPECT_FALSE(process.processId());
}

// --- Command line -------------------------------------------------------------------------------------

TEST(PythonProcessArguments, EveryOptionalFieldInTheOrderOfTheTable) {
    CaptureConfig config;
    config.location = u"Hotel Lobby"_s;
    config.network = u"Guest WiFi"_s;
    config.durationString = u"1h30m"_s;
    config.privacy = UploadPrivacy::omit;
    config.profile = CaptureProfile::passive;
    EXPECT_EQ(PythonProcess::buildArguments(config, true, u"/c/wifi_capture_x.csv"_s, u"/repo/src"_s,
                                            u"linux/1.2.3"_s),
              (QStringList{u"run"_s,
                           u"--offline"_s,
                           u"--python"_s,
                           u"3.12"_s,
                           u"--with"_s,
                           deps + u",playwright==1.55.0"_s,
                           u"--directory"_s,
                           u"/repo/src"_s,
                           u"-m"_s,
                           u"norvane.cli"_s,
                           u"--json"_s,
                           u"-o"_s,
                           u"/c/wifi_capture_x.csv"_s,
                           u"--location"_s,
                           u"Hotel Lobby"_s,
                           u"--network"_s,
                           u"Guest WiFi"_s,
                           u"--duration"_s,
                           u"1h30m"_s,
                           u"--privacy"_s,
                           u"omit"_s,
                           u"--profile"_s,
                           u"passive"_s,
                           u"--client"_s,
                           u"linux/1.2.3"_s}));
}

TEST(PythonProcessArguments, NoOptionalFieldGivesTheFixedPartAndTheClient) {
    EXPECT_EQ(PythonProcess::buildArguments(CaptureConfig{}, false, u"/c/x.csv"_s, u"/src"_s, u"linux/dev"_s),
              (QStringList{u"run"_s, u"--offline"_s, u"--python"_s, u"3.12"_s, u"--with"_s, deps,
                           u"--directory"_s, u"/src"_s, u"-m"_s, u"norvane.cli"_s, u"--json"_s, u"-o"_s,
                           u"/c/x.csv"_s, u"--client"_s, u"linux/dev"_s}));
}

TEST(PythonProcessArguments, EmptyLocationAndNetworkAreLeftOutWhileAnEmptyDurationPasses) {
    CaptureConfig config;
    config.location = QString();
    config.network = u""_s;
    config.durationString = u""_s;
    const QStringList arguments =
        PythonProcess::buildArguments(config, false, u"/x.csv"_s, u"/src"_s, u"c"_s);
    EXPECT_FALSE(arguments.contains(u"--location"_s));
    EXPECT_FALSE(arguments.contains(u"--network"_s));
    const qsizetype duration = arguments.indexOf(u"--duration"_s);
    ASSERT_GE(duration, 0);
    EXPECT_EQ(arguments.at(duration + 1), QString());
}

TEST(PythonProcessArguments, OnlyPrivacyOtherThanIncludeAndOnlyThePassiveProfileAreNamed) {
    CaptureConfig config;
    EXPECT_FALSE(
        PythonProcess::buildArguments(config, false, u"o"_s, u"s"_s, u"c"_s).contains(u"--privacy"_s));
    EXPECT_FALSE(
        PythonProcess::buildArguments(config, false, u"o"_s, u"s"_s, u"c"_s).contains(u"--profile"_s));
    config.privacy = UploadPrivacy::hash;
    const QStringList hashed = PythonProcess::buildArguments(config, false, u"o"_s, u"s"_s, u"c"_s);
    EXPECT_EQ(hashed.at(hashed.indexOf(u"--privacy"_s) + 1), u"hash"_s);
}

TEST(PythonProcessArguments, TheBrowserPinIsAddedOnlyWhenAsked) {
    EXPECT_EQ(PythonProcess::dependencyList(false), u"requests==2.33.1,aioquic==1.3.0,yt-dlp"_s);
    EXPECT_EQ(PythonProcess::dependencyList(true),
              u"requests==2.33.1,aioquic==1.3.0,yt-dlp,playwright==1.55.0"_s);
}

TEST(CaptureConfigValues, RawValuesAreExactAndListedInOrder) {
    EXPECT_EQ(rawValue(UploadPrivacy::include), u"include"_s);
    EXPECT_EQ(rawValue(UploadPrivacy::hash), u"hash"_s);
    EXPECT_EQ(rawValue(UploadPrivacy::omit), u"omit"_s);
    EXPECT_EQ(rawValue(CaptureProfile::active), u"active"_s);
    EXPECT_EQ(rawValue(CaptureProfile::passive), u"passive"_s);
    EXPECT_EQ(uploadPrivacyFromRawValue(u"hash"), UploadPrivacy::hash);
    EXPECT_FALSE(uploadPrivacyFromRawValue(u"Hash"));
    EXPECT_FALSE(uploadPrivacyFromRawValue(u" omit"));
    EXPECT_EQ(captureProfileFromRawValue(u"passive"), CaptureProfile::passive);
    EXPECT_FALSE(captureProfileFromRawValue(u"PASSIVE"));
    EXPECT_EQ(allUploadPrivacies[0], UploadPrivacy::include);
    EXPECT_EQ(allUploadPrivacies[2], UploadPrivacy::omit);
    EXPECT_EQ(allCaptureProfiles[1], CaptureProfile::passive);
}

TEST_F(PythonProcessTest, CsvPathIsInTheOutputFolderNamedByTheUTCTime) {
    const QDateTime moment(QDate(2026, 3, 14), QTime(23, 5, 9), Qt::OffsetFromUTC, -5 * 3600);
    EXPECT_EQ(PythonProcess::csvPath(u"/captures"_s, moment),
              u"/captures/wifi_capture_20260315T040509Z.csv"_s);
}

// --- Environment --------------------------------------------------------------------------------------

TEST_F(PythonProcessTest, EnvironmentSetsUnbufferedOutputThePathAndTheLogFolder) {
    QProcessEnvironment base;
    base.insert(u"PATH"_s, u"/usr/bin:/bin:/sbin"_s);
    base.insert(u"LANG"_s, u"C.UTF-8"_s);
    base.insert(u"PYTHONUNBUFFERED"_s, u"0"_s);
    base.insert(u"WIFI_INFO_PATH"_s, u"/somewhere/else"_s);
    const QProcessEnvironment environment = PythonProcess::buildEnvironment(base);
    EXPECT_EQ(environment.value(u"PYTHONUNBUFFERED"_s), u"1"_s);
    EXPECT_EQ(environment.value(u"PATH"_s),
              u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:/usr/bin:/bin:/sbin"_s);
    EXPECT_EQ(environment.value(u"NORVANE_LOG_DIR"_s), home.path() + u"/.local/state/Norvane/logs"_s);
    EXPECT_EQ(environment.value(u"NORVANE_LOG_DIR"_s), Locations::logDir());
    EXPECT_EQ(environment.value(u"LANG"_s), u"C.UTF-8"_s) << "the rest is the program's own environment";
    // No helper next to the test program: the variable is left out, even when we inherited one.
    ASSERT_FALSE(PythonProcess::bundledWifiInfoPath());
    EXPECT_FALSE(environment.contains(u"WIFI_INFO_PATH"_s));
}

TEST_F(PythonProcessTest, EnvironmentWithoutAPathFallsBackToTheSystemFolders) {
    const QProcessEnvironment environment = PythonProcess::buildEnvironment(QProcessEnvironment());
    EXPECT_EQ(environment.value(u"PATH"_s),
              u"/opt/homebrew/bin:/usr/local/bin:"_s + home.path() + u"/.local/bin:/usr/bin:/bin"_s);
}

// --- Locations ----------------------------------------------------------------------------------------

TEST_F(PythonProcessTest, OutputDirectoryIsTheSettingWhenSetOtherwiseTheDefault) {
    EXPECT_EQ(PythonProcess::outputDirectory(), home.path() + u"/.local/share/Norvane/captures"_s);
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), QString());
    EXPECT_EQ(PythonProcess::outputDirectory(), home.path() + u"/.local/share/Norvane/captures"_s);
    const QString chosen = home.path() + u"/elsewhere/deep"_s;
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), chosen);
    EXPECT_EQ(PythonProcess::outputDirectory(), chosen);
    EXPECT_FALSE(QFileInfo::exists(chosen));
    EXPECT_EQ(PythonProcess::ensureOutputDirectory(), chosen);
    EXPECT_TRUE(QFileInfo(chosen).isDir());
}

TEST_F(PythonProcessTest, EnsureOutputDirectoryIgnoresAFailureToCreate) {
    const QString blocker = home.path() + u"/file"_s;
    writeExecutable(blocker, "not a folder");
    Settings().setString(QString::fromLatin1(Settings::captureDirectory), blocker + u"/captures"_s);
    EXPECT_EQ(PythonProcess::ensureOutputDirectory(), blocker + u"/captures"_s);
}

TEST_F(PythonProcessTest, PythonSourceRootFollowsTheRepositoryVariableThenTheProgramPath) {
    ScopedEnv env;
    env.set("NORVANE_REPO_ROOT", "/work/checkout");
    EXPECT_EQ(PythonProcess::pythonSourceRoot(), u"/work/checkout/src"_s);
    env.unset("NORVANE_REPO_ROOT");
    const QString program = QFileInfo(QCoreApplication::arguments().value(0)).absolutePath();
    EXPECT_EQ(PythonProcess::pythonSourceRoot(), QDir::cleanPath(program + u"/../../.."_s) + u"/src"_s);
}

TEST_F(PythonProcessTest, FindUVTakesTheFirstExecutableCandidateAndSaysSo) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    EXPECT_FALSE(PythonProcess::findUV(logger));
    EXPECT_EQ(log().constLast(), u"WARN  [PythonProcess] uv not found in any candidate path"_s);

    const QString uv = home.path() + u"/.local/bin/uv"_s;
    writeExecutable(uv, "#!/bin/sh\n");
    EXPECT_EQ(PythonProcess::findUV(logger), uv);
    EXPECT_EQ(log().constLast(), u"DEBUG [PythonProcess] uv found at "_s + uv);
}

TEST_F(PythonProcessTest, FindUVPassesOverAFileThatIsNotExecutableAndAFolder) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    const QString uv = home.path() + u"/.local/bin/uv"_s;
    QDir().mkpath(uv);
    EXPECT_FALSE(PythonProcess::findUV(logger));
    QDir().rmdir(uv);
    QFile file(uv);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly));
    file.close();
    file.setPermissions(QFile::ReadOwner | QFile::WriteOwner);
    EXPECT_FALSE(PythonProcess::findUV(logger));
}

TEST_F(PythonProcessTest, ChromiumInstalledNeedsAChromiumDashEntryInTheBrowserCache) {
    const QString cache = home.path() + u"/.cache/ms-playwright"_s;
    EXPECT_FALSE(chromiumInstalled()) << "a missing cache folder is no error";
    QDir().mkpath(cache + u"/chromium_headless_shell-1187"_s);
    QDir().mkpath(cache + u"/ffmpeg-1011"_s);
    EXPECT_FALSE(chromiumInstalled()) << "chromium with an underscore doesn't count";
    QDir().mkpath(cache + u"/chromium-1187"_s);
    EXPECT_TRUE(chromiumInstalled());
}

// --- Standard output ----------------------------------------------------------------------------------

TEST_F(PythonProcessTest, AnEmptyLineOnStandardOutputProducesNoRawLine) {
    process.handleStandardOutput("\n\n{\"event\":\"status\",\"elapsed_sec\":1}\n\n");
    EXPECT_EQ(process.rawLines(), QStringList{u"{\"event\":\"status\",\"elapsed_sec\":1}"_s});
    EXPECT_EQ(events.size(), 1);
}

TEST_F(PythonProcessTest, TwoEventsInOneBlockAndAThirdSplitOverTwoBlocksArriveAsThreeInOrder) {
    process.handleStandardOutput(
        "{\"event\":\"status\",\"elapsed_sec\":1}\n{\"event\":\"status\",\"elapsed_sec\":2}"
        "\n{\"event\":\"status\",\"elap");
    EXPECT_EQ(events.size(), 2);
    process.handleStandardOutput("sed_sec\":3}\n");
    ASSERT_EQ(events.size(), 3);
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(events[i].get<StatusEvent>()->elapsedSec, i + 1.0);
    EXPECT_EQ(process.rawLines().size(), 3);
}

TEST_F(PythonProcessTest, BytesThatAreNotUTF8LoseOnlyTheirOwnLine) {
    process.handleStandardOutput("{\"event\":\"status\",\"elapsed_sec\":1}\n\xff\xfe garbage \x80\n"
                                 "{\"event\":\"status\",\"elapsed_sec\":2}\n");
    EXPECT_EQ(events.size(), 2);
    EXPECT_EQ(process.rawLines().size(), 2);
}

TEST_F(PythonProcessTest, ALineThatDoesNotDecodeIsKeptAsRawLineAndOnlyWrittenToTheConsole) {
    ConsoleCapture console;
    process.processLine(u"{\"event\":\"status\",\"elapsed_sec\":1}"_s);
    const std::optional<JSONEvent> before = process.latestEvent();
    process.processLine(u"Traceback? no, just a print"_s);
    process.processLine(u"{\"event\":\"complete\",\"samples\":10.5,\"csv_file\":\"x\",\"duration_sec\":1}"_s);
    EXPECT_EQ(process.rawLines().size(), 3);
    EXPECT_EQ(events.size(), 1);
    EXPECT_TRUE(process.latestEvent() == before);
    EXPECT_FALSE(process.receivedComplete()) << "a broken complete is no complete";
    EXPECT_TRUE(console.messages().contains(u"non-JSON stdout: Traceback? no, just a print"_s));
    EXPECT_TRUE(console.messages().contains(
        u"non-JSON stdout: {\"event\":\"complete\",\"samples\":10.5,\"csv_file\":\"x\",\"duration_sec\":1}"_s));
}

TEST_F(PythonProcessTest, RawLinesKeepTheNewestTenThousand) {
    for (int i = 0; i < 10'001; ++i)
        process.processLine(u"{\"event\":\"tick\",\"n\":%1}"_s.arg(i));
    ASSERT_EQ(process.rawLines().size(), 10'000);
    EXPECT_EQ(process.rawLines().constFirst(), u"{\"event\":\"tick\",\"n\":1}"_s);
    EXPECT_EQ(process.rawLines().constLast(), u"{\"event\":\"tick\",\"n\":10000}"_s);
    EXPECT_EQ(events.size(), 10'001);
}

TEST_F(PythonProcessTest, AnUnknownEventIsDeliveredAndKeptAsTheLatest) {
    QSignalSpy latest(&process, &PythonProcess::latestEventChanged);
    process.processLine(u"{\"event\":\"quantum_entanglement_probe\",\"qubits\":3}"_s);
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(events[0].kind(), JSONEvent::Kind::unknown);
    ASSERT_TRUE(process.latestEvent());
    EXPECT_EQ(process.latestEvent()->kind(), JSONEvent::Kind::unknown);
    EXPECT_EQ(latest.count(), 1);
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
}

TEST_F(PythonProcessTest, InfoWithALogFileNamesItInTheLog) {
    process.processLine(u"{\"event\":\"info\",\"log_file\":\"/logs/norvane-cli-1.log\"}"_s);
    process.processLine(u"{\"event\":\"info\"}"_s);
    EXPECT_EQ(log(),
              QStringList{u"INFO  [PythonProcess] Python diagnostic log at /logs/norvane-cli-1.log"_s});
    EXPECT_EQ(events.size(), 2);
}

TEST_F(PythonProcessTest, AFatalErrorFailsWithTheMessageAsItStandsAndANonFatalOneChangesNothing) {
    process.processLine(u"{\"event\":\"error\",\"message\":\"retrying DNS\",\"fatal\":false}"_s);
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
    process.processLine(u"{\"event\":\"error\",\"message\":\"Wi-Fi interface gone\",\"fatal\":true}"_s);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(u"Wi-Fi interface gone"_s));
    EXPECT_EQ(log(),
              QStringList{u"ERROR [PythonProcess] fatal error from subprocess: Wi-Fi interface gone"_s});
    EXPECT_EQ(events.size(), 2) << "both errors reach the listener";
}

TEST_F(PythonProcessTest, CompleteMarksTheRunAndMovesToFinishing) {
    process.processLine(
        u"{\"event\":\"complete\",\"samples\":12,\"csv_file\":\"/c/x.csv\",\"duration_sec\":3.5}"_s);
    EXPECT_TRUE(process.receivedComplete());
    EXPECT_EQ(process.state(), PythonProcess::State::finishing());
    EXPECT_EQ(log(), QStringList{u"INFO  [PythonProcess] subprocess complete event received"_s});
}

TEST_F(PythonProcessTest, AFirstStatusWhileStartingConfirmsTheRun) {
    std::optional<PythonProcess::State> afterStatus;
    QObject::connect(&process, &PythonProcess::stateChanged, &process, [this, &afterStatus] {
        if (process.state() == PythonProcess::State::starting() && !afterStatus) {
            process.processLine(u"{\"event\":\"status\",\"elapsed_sec\":0.5}"_s);
            afterStatus = process.state();
        }
    });
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(afterStatus);
    EXPECT_EQ(*afterStatus, PythonProcess::State::running());
    EXPECT_TRUE(log().contains(u"INFO  [PythonProcess] subprocess confirmed running (first status event)"_s));
    // A status at any other time confirms nothing.
    process.reset();
    process.processLine(u"{\"event\":\"status\",\"elapsed_sec\":0.5}"_s);
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
}

// --- Standard error -----------------------------------------------------------------------------------

TEST_F(PythonProcessTest, StderrLinesHoldFiftyEntriesAfterFiftyOneBlocks) {
    for (int i = 1; i <= 51; ++i)
        process.handleStandardError(QByteArray(QByteArray("block ") + QByteArray::number(i) + "\n"));
    ASSERT_EQ(process.stderrLines().size(), 50);
    EXPECT_EQ(process.stderrLines().constFirst(), u"block 2"_s);
    EXPECT_EQ(process.stderrLines().constLast(), u"block 51"_s);
    EXPECT_TRUE(process.stderrOutput().startsWith(u"block 2\nblock 3\n"_s));
    EXPECT_TRUE(process.stderrOutput().endsWith(u"\nblock 51"_s));
}

TEST_F(PythonProcessTest, EachStderrBlockIsOneEntryTrimmedOfLineBreaksAndLogged) {
    ConsoleCapture console;
    QSignalSpy changed(&process, &PythonProcess::stderrOutputChanged);
    process.handleStandardError("\r\n  Traceback (most recent call last):\n  File \"x\"\n\n");
    process.handleStandardError("\xff\xfe not text\n");
    process.handleStandardError("RuntimeError: boom\r\n");
    EXPECT_EQ(process.stderrLines(), (QStringList{u"  Traceback (most recent call last):\n  File \"x\""_s,
                                                  u"RuntimeError: boom"_s}));
    EXPECT_EQ(process.stderrOutput(),
              u"  Traceback (most recent call last):\n  File \"x\"\nRuntimeError: boom"_s);
    EXPECT_EQ(changed.count(), 2);
    EXPECT_TRUE(console.messages().contains(u"RuntimeError: boom"_s));
    const QStringList entries = log();
    EXPECT_EQ(entries.constFirst(), u"DEBUG [PythonStderr]   Traceback (most recent call last):"_s);
    EXPECT_EQ(entries.constLast(), u"DEBUG [PythonStderr] RuntimeError: boom"_s);
}

// --- End of a run ---------------------------------------------------------------------------------------

TEST_F(PythonProcessTest, WithCompleteReceivedExitCodeOneStillGivesCompleted) {
    process.processLine(u"{\"event\":\"complete\",\"samples\":1,\"csv_file\":\"x\",\"duration_sec\":1}"_s);
    process.handleTermination(1);
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_EQ(terminated, 1);
    EXPECT_EQ(log().constLast(), u"INFO  [PythonProcess] subprocess terminated normally exit=1"_s);
}

TEST_F(PythonProcessTest, CompleteAfterAFatalErrorOverwritesTheFailure) {
    process.processLine(u"{\"event\":\"error\",\"message\":\"gone\",\"fatal\":true}"_s);
    process.processLine(u"{\"event\":\"complete\",\"samples\":1,\"csv_file\":\"x\",\"duration_sec\":1}"_s);
    process.handleTermination(3);
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
}

TEST_F(PythonProcessTest, ExitZeroWithoutCompleteIsCompletedAndSaysSo) {
    process.handleTermination(0);
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
    EXPECT_EQ(log(),
              QStringList{u"INFO  [PythonProcess] subprocess terminated exit=0 (no complete event)"_s});
    EXPECT_EQ(terminated, 1);
}

TEST_F(PythonProcessTest, AFatalErrorFollowedByExitZeroEndsCompletedAndTheMessageIsLost) {
    process.processLine(u"{\"event\":\"error\",\"message\":\"gone\",\"fatal\":true}"_s);
    process.handleTermination(0);
    EXPECT_EQ(process.state(), PythonProcess::State::completed());
}

TEST_F(PythonProcessTest, ANonZeroExitWithoutCompleteFailsWithTheClassifiedSentenceAndLogsStderr) {
    process.handleStandardError("Traceback (most recent call last):\n");
    process.handleStandardError("RuntimeError: scheduler lost\n");
    process.processLine(u"{\"event\":\"error\",\"message\":\"gone\",\"fatal\":true}"_s);
    process.handleTermination(1);
    const QString sentence = u"Test failed (exit 1): RuntimeError: scheduler lost"_s;
    EXPECT_EQ(process.state(), PythonProcess::State::failed(sentence))
        << "the classified text replaces the fatal one";
    EXPECT_EQ(terminated, 1);
    EXPECT_TRUE(logText(logger).contains(u"ERROR [PythonProcess] subprocess terminated exit=1 error="_s +
                                         sentence + u"\n"_s));
    EXPECT_TRUE(logText(logger).contains(
        u"ERROR [PythonProcess] stderr:\nTraceback (most recent call last):\nRuntimeError: scheduler lost\n"_s));
}

TEST_F(PythonProcessTest, AFailureWithAnEmptyStderrWritesNoStderrLine) {
    process.handleTermination(2);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(
                                   u"Test ended unexpectedly (exit 2). Partial results may be available."_s));
    EXPECT_FALSE(logText(logger).contains(u"stderr:"_s));
}

TEST_F(PythonProcessTest, TheRetryNeedsAConfigKeptForIt) {
    // Without a browser run in progress there is nothing to retry: the failure stands.
    process.handleStandardError("Because playwright==1.55.0 was not found in the cache\n");
    process.handleTermination(2);
    EXPECT_TRUE(process.state().isFailed());
    EXPECT_FALSE(process.triedWithoutPlaywright());
    EXPECT_EQ(terminated, 1);
}

// --- Launch, stop, commands, reset -----------------------------------------------------------------------

TEST_F(PythonProcessTest, LaunchWithoutUvFailsWithTheInstallSentenceAndStaysFailed) {
    if (systemUvExists())
        GTEST_SKIP() << "a uv is installed system-wide";
    ScopedEnv env;
    env.set("NORVANE_UV_INSTALLER_URL", "http://127.0.0.1:9/uv/install.sh");
    QSignalSpy stateChanges(&process, &PythonProcess::stateChanged);
    CaptureConfig config;
    config.location = u"Lobby"_s;
    process.launch(config, true);
    EXPECT_EQ(process.state(), PythonProcess::State::failed(
                                   u"uv not found. Run: curl -LsSf http://127.0.0.1:9/uv/install.sh | sh"_s));
    EXPECT_EQ(stateChanges.count(), 2) << "starting, then failed";
    EXPECT_EQ(process.pendingRetryConfig(), config) << "kept from step 4, before uv is looked for";
    EXPECT_EQ(log(), (QStringList{u"INFO  [PythonProcess] launching subprocess (playwright=true)"_s,
                                  u"WARN  [PythonProcess] uv not found in any candidate path"_s,
                                  u"ERROR [PythonProcess] uv not found, cannot start capture"_s}));
    EXPECT_TRUE(QFileInfo(home.path() + u"/.local/share/Norvane/captures"_s).isDir())
        << "the output folder is made before uv is looked for";

    // Only idle lets a launch proceed.
    process.launch(config, false);
    EXPECT_TRUE(process.state().isFailed());
    EXPECT_EQ(log().size(), 3);
    EXPECT_EQ(terminated, 0);
}

TEST_F(PythonProcessTest, ASpawnThatFailsLeavesTheStateFailedWithTheReason) {
    writeExecutable(home.path() + u"/.local/bin/uv"_s, "#!/nonexistent/interpreter\n");
    process.launch(CaptureConfig{}, false);
    ASSERT_TRUE(process.state().isFailed());
    EXPECT_TRUE(process.state().message.startsWith(u"Failed to start: "_s))
        << qPrintable(process.state().message);
    const QString reason = process.state().message.mid(17);
    EXPECT_FALSE(reason.isEmpty());
    EXPECT_EQ(log().constLast(), u"ERROR [PythonProcess] subprocess failed to start: "_s + reason);
    EXPECT_FALSE(process.isStartupWatchdogArmed());
    process.reset();
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
}

TEST_F(PythonProcessTest, StopOnAStoppedProcessDoesNothingAndArmsNoTimer) {
    process.stop();
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
    EXPECT_FALSE(process.isFinishingTimerArmed());
    EXPECT_EQ(clock.activeTimerCount(), 0);
    EXPECT_TRUE(log().isEmpty());
}

TEST_F(PythonProcessTest, ACommandWithoutARunningChildIsDroppedInSilence) {
    process.sendCommand(StdinCommand::speedTest);
    process.sendEndMeta(-60, 12.0, 0.0, 20.0, true);
    EXPECT_TRUE(log().isEmpty());
}

TEST_F(PythonProcessTest, ResetForgetsTheRun) {
    process.handleStandardError("some error\n");
    process.processLine(u"{\"event\":\"complete\",\"samples\":1,\"csv_file\":\"x\",\"duration_sec\":1}"_s);
    process.handleTermination(0);
    ASSERT_EQ(process.state(), PythonProcess::State::completed());
    QSignalSpy rawLines(&process, &PythonProcess::rawLinesChanged);
    QSignalSpy stderrOutput(&process, &PythonProcess::stderrOutputChanged);
    QSignalSpy latest(&process, &PythonProcess::latestEventChanged);
    process.reset();
    EXPECT_EQ(process.state(), PythonProcess::State::idle());
    EXPECT_TRUE(process.rawLines().isEmpty());
    EXPECT_FALSE(process.latestEvent());
    EXPECT_FALSE(process.receivedComplete());
    EXPECT_TRUE(process.stderrLines().isEmpty());
    EXPECT_TRUE(process.stderrOutput().isEmpty());
    EXPECT_FALSE(process.pendingRetryConfig());
    EXPECT_FALSE(process.triedWithoutPlaywright());
    EXPECT_FALSE(process.playwrightUnavailable());
    EXPECT_EQ(rawLines.count(), 1);
    EXPECT_EQ(stderrOutput.count(), 1);
    EXPECT_EQ(latest.count(), 1);
    EXPECT_EQ(terminated, 1) << "reset itself reports no end";
}
