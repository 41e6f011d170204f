#include "cli/CaptureVerbs.h"

#include "base/VirtualClock.h"
#include "support/CliRun.h"
#include "support/SimulatorJournal.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTextStream>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

// Counts the rows of a capture CSV by type, as the simulator wrote them.
QHash<QString, int> rowTypes(const QString& csvPath) {
    QHash<QString, int> counts;
    QFile file(csvPath);
    if (!file.open(QIODevice::ReadOnly))
        return counts;
    file.readLine();
    while (!file.atEnd()) {
        const QList<QByteArray> columns = file.readLine().split(',');
        if (columns.size() > 1)
            ++counts[QString::fromUtf8(columns[1])];
    }
    return counts;
}

} // namespace

TEST(CaptureVerb, TimedCaptureOnTheGoodScenarioReportsWhatTheToolSent) {
    TempHome home;
    home.installFakeUv();
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"NORVANE_SIM_SPEED"_s, u"300"_s);
    environment.insert(u"NORVANE_SIM_SCENARIO"_s, u"good"_s);
    const CliRun run = runCli({u"capture"_s, u"--duration"_s, u"5m"_s, u"--json"_s}, environment);
    EXPECT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = run.json();
    EXPECT_EQ(state[u"screen"_s].toString(), u"celebration"_s);
    EXPECT_EQ(state[u"process_state"_s].toString(), u"completed"_s);
    EXPECT_TRUE(state[u"error_message"_s].isNull());

    const QStringList captures = QDir(home.path() + u"/.local/share/Norvane/captures"_s)
                                     .entryList({u"wifi_capture_*.csv"_s}, QDir::Files);
    QStringList mainFiles;
    for (const QString& name : captures) {
        if (!name.endsWith(u"_throughput_raw.csv"_s))
            mainFiles.append(name);
    }
    ASSERT_EQ(mainFiles.size(), 1);
    const auto rows = rowTypes(home.path() + u"/.local/share/Norvane/captures/"_s + mainFiles[0]);
    const int latencyRows = rows.value(u"ping"_s) + rows.value(u"udp"_s) + rows.value(u"tcp"_s) +
                            rows.value(u"http"_s) + rows.value(u"quic"_s) + rows.value(u"dns"_s);
    const QJsonObject series = state[u"series"_s].toObject();
    EXPECT_GT(latencyRows, 0);
    EXPECT_EQ(series[u"latency_points"_s].toInt(), latencyRows);
    EXPECT_EQ(series[u"throughput_points"_s].toInt(),
              rows.value(u"throughput_down"_s) + rows.value(u"throughput_up"_s));
    EXPECT_EQ(series[u"traceroute_points"_s].toInt(), rows.value(u"traceroute"_s));
    EXPECT_EQ(series[u"cdn_throughput_points"_s].toInt(), rows.value(u"cdn_throughput"_s));
    EXPECT_FALSE(state[u"results"_s].toObject()[u"verdict"_s].toString().isEmpty());
}

TEST(CaptureVerb, SilentToolFailsAfterTheStartupWatchdog) {
    TempHome home;
    home.installFakeUv();
    qputenv("NORVANE_SIM_SCENARIO", "silent");
    VirtualClock time;
    ScopedVirtualTime scope(time);
    // Virtual seconds pass a thousand times faster than real ones while the verb's loop runs.
    QTimer driver;
    QObject::connect(&driver, &QTimer::timeout, [&time] { time.advance(1.0); });
    driver.start(1);
    const CliRun run = runVerb(runCaptureVerb, {u"--duration"_s, u"5m"_s, u"--json"_s});
    driver.stop();
    qunsetenv("NORVANE_SIM_SCENARIO");
    EXPECT_EQ(run.exitCode, 1);
    const QJsonObject state = run.json();
    EXPECT_EQ(state[u"screen"_s].toString(), u"diagnostics"_s);
    EXPECT_EQ(
        state[u"error_message"_s].toString(),
        u"The capture tool started but is not responding. This may indicate a Python configuration issue — "
        u"try reinstalling the app."_s);
}

// The environment of a quick simulated capture, with the given simulator settings on top.
QProcessEnvironment simulation(const QStringList& assignments) {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"NORVANE_SIM_SPEED"_s, u"300"_s);
    for (const QString& assignment : assignments)
        environment.insert(assignment.section(u'=', 0, 0), assignment.section(u'=', 1));
    return environment;
}

QJsonObject uploadedJson(const TempHome& home) {
    QFile file(home.path() + u"/.norvane/uploaded.json"_s);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QJsonDocument::fromJson(file.readAll()).object();
}

TEST(CaptureVerb, FinishedCaptureWaitsForItsUploadAndReportsIt) {
    TempHome home;
    home.installFakeUv();
    const CliRun run = runCli({u"capture"_s, u"--duration"_s, u"5m"_s, u"--json"_s},
                              simulation({u"NORVANE_SIM_UPLOAD=success"_s}));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject upload = run.json()[u"upload"_s].toObject();
    EXPECT_EQ(upload[u"upload_total"_s].toInt(), 1);
    EXPECT_EQ(upload[u"upload_succeeded"_s].toInt(), 1);
    EXPECT_EQ(upload[u"upload_failed"_s].toInt(), 0);
    EXPECT_TRUE(upload[u"upload_done"_s].toBool());
    EXPECT_FALSE(upload[u"upload_in_progress"_s].toBool());
    EXPECT_FALSE(upload[u"upload_preparing"_s].toBool());
    EXPECT_TRUE(upload[u"pending_retry_at"_s].isNull());
    const QStringList uploaded = uploadedJson(home).keys();
    ASSERT_EQ(uploaded.size(), 1);
    EXPECT_TRUE(uploaded[0].startsWith(u"wifi_capture_"_s));
    EXPECT_FALSE(uploaded[0].contains(u"throughput_raw"_s));
}

TEST(CaptureVerb, UploadOutcomeIsToldInWords) {
    TempHome home;
    home.installFakeUv();
    const CliRun run =
        runCli({u"capture"_s, u"--duration"_s, u"5m"_s}, simulation({u"NORVANE_SIM_UPLOAD=success"_s}));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    EXPECT_TRUE(run.out.contains(u"\nUpload:\n1 file uploaded to R2\n"_s)) << run.out.toStdString();
}

TEST(CaptureVerb, FailedUploadReportsTheErrorAndTheNextAttempt) {
    TempHome home;
    home.installFakeUv();
    const CliRun run = runCli({u"capture"_s, u"--duration"_s, u"5m"_s, u"--json"_s},
                              simulation({u"NORVANE_SIM_UPLOAD=one-fails"_s}));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject upload = run.json()[u"upload"_s].toObject();
    EXPECT_EQ(upload[u"upload_failed"_s].toInt(), 1);
    EXPECT_TRUE(upload[u"upload_done"_s].toBool());
    ASSERT_EQ(upload[u"upload_errors"_s].toArray().size(), 1);
    EXPECT_TRUE(upload[u"upload_errors"_s].toArray()[0].toObject()[u"file"_s].toString().startsWith(
        u"wifi_capture_"_s));
    // The first rung of the retry ladder, a minute after the summary.
    const QDateTime retryAt =
        QDateTime::fromString(upload[u"pending_retry_at"_s].toString(), Qt::ISODateWithMs);
    ASSERT_TRUE(retryAt.isValid()) << upload[u"pending_retry_at"_s].toString().toStdString();
    EXPECT_NEAR(double(QDateTime::currentDateTimeUtc().secsTo(retryAt)), 60.0, 15.0);
    EXPECT_TRUE(uploadedJson(home).isEmpty());
}

TEST(CaptureVerb, NoUploadKeepsTheCaptureOnThisMachine) {
    TempHome home;
    home.installFakeUv();
    const QString record = home.path() + u"/invocations.jsonl"_s;
    const CliRun run = runCli({u"capture"_s, u"--duration"_s, u"5m"_s, u"--no-upload"_s, u"--json"_s},
                              simulation({u"NORVANE_SIM_RECORD="_s + record}));
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject upload = run.json()[u"upload"_s].toObject();
    EXPECT_TRUE(upload[u"upload_done"_s].toBool());
    EXPECT_EQ(upload[u"upload_total"_s].toInt(), 0);
    EXPECT_FALSE(QFile::exists(home.path() + u"/.norvane/uploaded.json"_s));
    QStringList kinds;
    for (const QJsonObject& entry : simulatorJournal(record))
        kinds.append(entry[u"kind"_s].toString());
    EXPECT_EQ(kinds, QStringList{u"capture"_s});
}

TEST(CaptureVerb, FailedCaptureIsExplainedByTheDiagnosis) {
    TempHome home;
    home.installFakeUv();
    const CliRun run = runCli({u"capture"_s, u"--duration"_s, u"5m"_s},
                              simulation({u"NORVANE_SIM_SCENARIO=crash"_s, u"NORVANE_SIM_PING=none"_s}));
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.out.contains(u"\nCapture failed: Test failed (exit 1)"_s)) << run.out.toStdString();
    EXPECT_TRUE(run.out.contains(
        u"\n\nNo network connection detected\n\nYour computer doesn't appear to be connected to "
        u"a network. Check that WiFi is enabled and you're connected to an access point.\n"_s))
        << run.out.toStdString();
}

TEST(CaptureVerb, FailedCaptureCarriesTheVerdictInItsJson) {
    TempHome home;
    home.installFakeUv();
    const CliRun run =
        runCli({u"capture"_s, u"--duration"_s, u"5m"_s, u"--json"_s},
               simulation({u"NORVANE_SIM_SCENARIO=crash"_s, u"NORVANE_SIM_PING=gateway-only"_s}));
    EXPECT_EQ(run.exitCode, 1);
    const QJsonObject state = run.json();
    EXPECT_EQ(state[u"screen"_s].toString(), u"diagnostics"_s);
    const QJsonObject diagnosis = state[u"diagnosis"_s].toObject();
    EXPECT_EQ(diagnosis[u"verdict"_s].toString(), u"gatewayOnly(gateway: \"192.168.1.1\")"_s);
    EXPECT_EQ(diagnosis[u"headline"_s].toString(), u"Connected to WiFi, but no internet"_s);
    EXPECT_EQ(diagnosis[u"gateway"_s].toString(), u"192.168.1.1"_s);
    EXPECT_TRUE(diagnosis[u"gateway_reachable"_s].toBool());
    EXPECT_FALSE(diagnosis[u"internet_reachable"_s].toBool());
    // No upload follows a failed capture.
    EXPECT_EQ(state[u"upload"_s].toObject()[u"upload_total"_s].toInt(), 0);
}

TEST(CaptureVerb, UnknownDurationIsAUsageError) {
    TempHome home;
    const CliRun run = runVerb(runCaptureVerb, {u"--duration"_s, u"7m"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(u"--duration takes one of 5m, 10m, 15m, 30m, 1h, 3h"_s));
}

TEST(ReplayVerb, FlakyStreamReportsTheBlockedTarget) {
    TempHome home;
    const CliRun run =
        runVerb(runReplayVerb, {testDataPath(u"events/cellular-capture.jsonl"_s), u"--json"_s});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    const QJsonObject state = run.json();
    EXPECT_EQ(state[u"dropped_lines"_s].toInt(), 0);
    EXPECT_TRUE(state[u"blocked_probes"_s].toArray().contains(u"tcp:8.8.8.8:853"_s)) << run.out.toStdString();
    EXPECT_GT(state[u"series"_s].toObject()[u"latency_points"_s].toInt(), 0);
}

TEST(ReplayVerb, BrokenLinesAreCountedAndChangeNothingElse) {
    TempHome home;
    QFile original(testDataPath(u"events/cellular-capture.jsonl"_s));
    ASSERT_TRUE(original.open(QIODevice::ReadOnly));
    const QList<QByteArray> lines = original.readAll().split('\n');
    QByteArray broken;
    int inserted = 0;
    for (qsizetype i = 0; i < lines.size(); ++i) {
        broken += lines[i] + '\n';
        if (i % 50 == 25) {
            broken += (i % 100 == 25) ? QByteArray("{\"event\":\"probe\",\"type\":")
                                      : QByteArray("\xff\xfe garbage");
            broken += '\n';
            ++inserted;
        }
    }
    const QString copy = home.path() + u"/broken.jsonl"_s;
    QFile out(copy);
    ASSERT_TRUE(out.open(QIODevice::WriteOnly));
    out.write(broken);
    out.close();

    QJsonObject clean = runVerb(runReplayVerb, {original.fileName(), u"--json"_s}).json();
    QJsonObject dirty = runVerb(runReplayVerb, {copy, u"--json"_s}).json();
    EXPECT_EQ(dirty[u"dropped_lines"_s].toInt(), inserted);
    clean.remove(u"dropped_lines"_s);
    dirty.remove(u"dropped_lines"_s);
    EXPECT_EQ(clean, dirty);
}
