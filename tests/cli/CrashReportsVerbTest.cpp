#include "support/CliRun.h"
#include "support/SimulatorJournal.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"
#include "support/UploadServer.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <csignal>

#include <sys/resource.h>

using namespace Qt::StringLiterals;

namespace {

// Gone, or a zombie that nobody has reaped yet: either way it runs no more.
bool processEnded(qint64 pid) {
    const QByteArray stat = readFileAt(u"/proc/%1/stat"_s.arg(pid));
    if (stat.isEmpty())
        return true;
    const qsizetype close = stat.lastIndexOf(')');
    return close >= 0 && stat.mid(close + 2, 1) == "Z";
}

// The program's environment in the temporary home. ASan's own handlers would answer the fatal signals
// before the program's handler, so under `make asan` they are switched off for the child.
QProcessEnvironment childEnvironment() {
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    const QString sanitizer = environment.value(u"ASAN_OPTIONS"_s);
    environment.insert(u"ASAN_OPTIONS"_s,
                       (sanitizer.isEmpty() ? QString() : sanitizer + u':') +
                           u"handle_segv=0:handle_sigbus=0:handle_sigfpe=0:handle_sigill=0:handle_abort=0"_s);
    environment.insert(u"NORVANE_SITE_URL"_s, u"http://127.0.0.1:9"_s);
    return environment;
}

// `norvane-cli` in the background, so that this thread's event loop keeps serving loopback servers.
CliRun runCliServed(const QStringList& arguments) {
    QProcess process;
    process.setProcessEnvironment(childEnvironment());
    process.start(QStringLiteral(NORVANE_CLI_PATH), arguments);
    EXPECT_TRUE(QTest::qWaitFor([&process] { return process.state() == QProcess::NotRunning; }, 60'000));
    return {process.exitCode(), QString::fromUtf8(process.readAllStandardOutput()),
            QString::fromUtf8(process.readAllStandardError())};
}

struct CrashedCapture {
    QProcess::ExitStatus exitStatus = QProcess::NormalExit;
    qint64 toolPid = 0;
    QString csvPath;
    qsizetype csvSizeAtCrash = 0;
};

// Starts a long capture on the simulator, waits until the tool writes its CSV, and kills the program
// with a real SIGSEGV.
CrashedCapture crashCaptureMidRun(const TempHome& home) {
    CrashedCapture crash;
    home.installFakeUv();
    QProcessEnvironment environment = childEnvironment();
    environment.insert(u"NORVANE_SIM_SCENARIO"_s, u"good"_s);
    environment.insert(u"NORVANE_SIM_SPEED"_s, u"20"_s);
    QProcess cli;
    cli.setProcessEnvironment(environment);
    // No core file from a crash on purpose.
    cli.setChildProcessModifier([] {
        const rlimit noCore{0, 0};
        setrlimit(RLIMIT_CORE, &noCore);
    });
    cli.start(QStringLiteral(NORVANE_CLI_PATH), {u"capture"_s, u"--duration"_s, u"1h"_s, u"--no-upload"_s});

    const QString journal = defaultJournalPath(home.path());
    const QDir captures(home.path() + u"/.local/share/Norvane/captures"_s);
    const bool running = QTest::qWaitFor(
        [&] {
            for (const QJsonObject& entry : simulatorJournal(journal)) {
                if (entry[u"kind"_s].toString() == u"capture"_s)
                    crash.toolPid = entry[u"pid"_s].toInteger();
            }
            const QStringList csvs = captures.entryList({u"wifi_capture_*.csv"_s}, QDir::Files);
            for (const QString& name : csvs) {
                if (!name.endsWith(u"_throughput_raw.csv"_s))
                    crash.csvPath = captures.filePath(name);
            }
            return crash.toolPid > 0 && !crash.csvPath.isEmpty() && readFileAt(crash.csvPath).count('\n') > 3;
        },
        60'000);
    EXPECT_TRUE(running) << "the capture never got going";
    crash.csvSizeAtCrash = readFileAt(crash.csvPath).size();
    ::kill(pid_t(cli.processId()), SIGSEGV);
    EXPECT_TRUE(cli.waitForFinished(30'000));
    crash.exitStatus = cli.exitStatus();
    return crash;
}

QStringList reportNames(const TempHome& home) {
    return QDir(home.path() + u"/.local/state/Norvane/DiagnosticReports"_s)
        .entryList({u"*.ips"_s}, QDir::Files, QDir::Name);
}

// The body that the server received, decoded by Python's gzip module rather than by anything of ours.
QJsonObject decodedByPython(const QByteArray& body) {
    QTemporaryDir dir;
    const QString path = dir.filePath(u"body.gz"_s);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(body);
    file.close();
    QProcess python;
    python.start(
        u"python3"_s,
        {u"-c"_s, u"import gzip, sys; sys.stdout.buffer.write(gzip.open(sys.argv[1]).read())"_s, path});
    EXPECT_TRUE(python.waitForFinished(30'000));
    EXPECT_EQ(python.exitCode(), 0) << python.readAllStandardError().toStdString();
    QJsonParseError error{};
    const QJsonDocument document = QJsonDocument::fromJson(python.readAllStandardOutput(), &error);
    EXPECT_EQ(error.error, QJsonParseError::NoError) << error.errorString().toStdString();
    return document.object();
}

void writeUploadConfig(const TempHome& home, const QString& url) {
    const QJsonObject config{{u"upload_url"_s, url},
                             {u"upload_token"_s, u"test-token"_s},
                             {u"uploader_id"_s, u"00112233445566778899aabbccddeeff"_s},
                             {u"config_version"_s, 2}};
    ASSERT_TRUE(writeFileAt(home.path() + u"/.norvane/r2.json"_s, QJsonDocument(config).toJson()));
}

} // namespace

TEST(CrashReportsVerb, CaptureKilledBySegfaultLeavesNoToolBehindAndKeepsItsCsv) {
    TempHome home;
    const CrashedCapture crash = crashCaptureMidRun(home);
    EXPECT_EQ(crash.exitStatus, QProcess::CrashExit);
    ASSERT_GT(crash.toolPid, 0);
    EXPECT_TRUE(QTest::qWaitFor([&crash] { return processEnded(crash.toolPid); }, 30'000))
        << "the measurement tool outlived the program";
    ASSERT_FALSE(crash.csvPath.isEmpty());
    const QByteArray csv = readFileAt(crash.csvPath);
    EXPECT_GE(csv.size(), crash.csvSizeAtCrash);
    EXPECT_GT(csv.count('\n'), 3);
    EXPECT_EQ(reportNames(home).size(), 1);
}

TEST(CrashReportsVerb, ReportOfARealCrashIsSentOnceToTheObjectStore) {
    TempHome home;
    const CrashedCapture crash = crashCaptureMidRun(home);
    EXPECT_EQ(crash.exitStatus, QProcess::CrashExit);

    const QStringList names = reportNames(home);
    ASSERT_EQ(names.size(), 1);
    const QString name = names.first();
    EXPECT_TRUE(name.startsWith(u"norvane-cli-"_s)) << name.toStdString();
    const QByteArray report = readFileAt(home.path() + u"/.local/state/Norvane/DiagnosticReports/"_s + name);
    const qsizetype lineEnd = report.indexOf('\n');
    ASSERT_GT(lineEnd, 0);
    EXPECT_EQ(QJsonDocument::fromJson(report.first(lineEnd)).object()[u"app_name"_s].toString(),
              u"Norvane"_s);
    EXPECT_TRUE(QJsonDocument::fromJson(report.sliced(lineEnd + 1)).isObject());

    const CliRun listed = runCliServed({u"crash-reports"_s});
    EXPECT_EQ(listed.exitCode, 0);
    EXPECT_TRUE(listed.out.startsWith(u"pending  "_s)) << listed.out.toStdString();
    EXPECT_TRUE(listed.out.contains(name));

    UploadServer server;
    writeUploadConfig(home, server.url());
    const CliRun upload = runCliServed({u"crash-reports"_s, u"--upload"_s});
    EXPECT_EQ(upload.exitCode, 0) << upload.out.toStdString() << upload.err.toStdString();
    EXPECT_TRUE(upload.out.contains(u"Sent 1 of 1 new crash report(s)."_s)) << upload.out.toStdString();
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().headers.value("authorization"), "Bearer test-token");

    const QJsonObject payload = decodedByPython(server.requests().first().body);
    EXPECT_EQ(payload[u"version"_s].toInt(), 1);
    EXPECT_EQ(payload[u"platform"_s].toString(), u"linux"_s);
    EXPECT_TRUE(payload[u"os_version"_s].toString().startsWith(u"Linux "_s));
    EXPECT_EQ(payload[u"uploader_id"_s].toString(), u"00112233445566778899aabbccddeeff"_s);
    EXPECT_EQ(payload[u"ips_filename"_s].toString(), name);
    EXPECT_TRUE(payload[u"log_tail"_s].toString().contains(u"[AppState]"_s));
    const QJsonObject crashReport = payload[u"crash_report"_s].toObject();
    EXPECT_EQ(crashReport[u"app_name"_s].toString(), u"Norvane"_s);
    EXPECT_EQ(crashReport[u"name"_s].toString(), u"norvane-cli"_s);
    EXPECT_EQ(crashReport[u"bug_type"_s].toString(), u"crash"_s);
    const QJsonObject signal = crashReport[u"crash_body"_s].toObject()[u"signal"_s].toObject();
    EXPECT_EQ(signal[u"name"_s].toString(), u"SIGSEGV"_s);
    EXPECT_EQ(signal[u"number"_s].toInt(), SIGSEGV);

    const QJsonArray tracked =
        QJsonDocument::fromJson(readFileAt(home.path() + u"/.local/share/Norvane/uploaded_crashes.json"_s))
            .array();
    EXPECT_EQ(tracked, QJsonArray{name});

    const CliRun again = runCliServed({u"crash-reports"_s, u"--upload"_s});
    EXPECT_EQ(again.exitCode, 0);
    EXPECT_TRUE(again.out.contains(u"No new crash reports to send."_s)) << again.out.toStdString();
    EXPECT_TRUE(again.out.contains(u"sent     "_s)) << again.out.toStdString();
    EXPECT_EQ(server.requests().size(), 1);
}

TEST(CrashReportsVerb, FailedUploadExitsOneAndLeavesTheReportPending) {
    TempHome home;
    ASSERT_TRUE(writeFileAt(home.path() +
                                u"/.local/state/Norvane/DiagnosticReports/norvane-2026-03-14-093000-7.ips"_s,
                            "{\"app_name\":\"Norvane\",\"name\":\"norvane\"}\n{}"));
    UploadServer server({403});
    writeUploadConfig(home, server.url());

    const CliRun upload = runCliServed({u"crash-reports"_s, u"--upload"_s});
    EXPECT_EQ(upload.exitCode, 1);
    EXPECT_TRUE(upload.out.contains(u"Sent 0 of 1 new crash report(s)."_s)) << upload.out.toStdString();
    EXPECT_TRUE(upload.out.contains(u"pending  "_s)) << upload.out.toStdString();
    EXPECT_EQ(server.requests().size(), 1);
}

TEST(CrashReportsVerb, UnknownArgumentIsRefusedWithUsage) {
    const CliRun run = runCli({u"crash-reports"_s, u"--send"_s});
    EXPECT_EQ(run.exitCode, 2);
    EXPECT_TRUE(run.err.contains(u"Usage: norvane-cli crash-reports [--upload]"_s)) << run.err.toStdString();
}
