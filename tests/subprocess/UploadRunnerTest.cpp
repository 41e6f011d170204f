// The upload runner on its own: its command line and environment, and real runs of the simulated
// upload tool.

#include "subprocess/UploadRunner.h"

#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "subprocess/PythonProcess.h"
#include "support/LoggedText.h"
#include "support/PumpUntil.h"
#include "support/SimulatorJournal.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QTest>

#include <signal.h>

using namespace Qt::StringLiterals;

namespace {

QStringList kinds(const QList<JSONEvent>& events) {
    QStringList names;
    for (const JSONEvent& event : events)
        names.append(QString(JSONEvent::kindName(event.kind())));
    return names;
}

} // namespace

TEST(UploadRunnerCommandLine, ArgumentsInTheirOrderWithoutPrivacy) {
    EXPECT_EQ(UploadRunner::buildArguments(u"/src"_s, u"/captures"_s),
              (QStringList{u"run"_s, u"--offline"_s, u"--python"_s, u"3.12"_s, u"--with"_s,
                           u"requests==2.33.1,boto3==1.42.84"_s, u"--directory"_s, u"/src"_s, u"-m"_s,
                           u"norvane.manage"_s, u"upload"_s, u"--json"_s, u"--dir"_s, u"/captures"_s}));
}

TEST(UploadRunnerCommandLine, EnvironmentAddsUnbufferedPathAndLogDirButNoWifiHelper) {
    TempHome home;
    QProcessEnvironment base;
    base.insert(u"PATH"_s, u"/usr/bin"_s);
    base.insert(u"KEEP"_s, u"me"_s);
    const QProcessEnvironment environment = UploadRunner::buildEnvironment(base);
    EXPECT_EQ(environment.value(u"PYTHONUNBUFFERED"_s), u"1"_s);
    EXPECT_EQ(environment.value(u"NORVANE_LOG_DIR"_s), Locations::logDir());
    EXPECT_EQ(environment.value(u"PATH"_s), PythonProcess::buildEnvironment(base).value(u"PATH"_s));
    EXPECT_TRUE(environment.value(u"PATH"_s).endsWith(u":/usr/bin"_s));
    EXPECT_EQ(environment.value(u"KEEP"_s), u"me"_s);
    EXPECT_FALSE(environment.contains(u"WIFI_INFO_PATH"_s));
}

class UploadRunnerTest : public ::testing::Test {
protected:
    TempHome home;
    QTemporaryDir logDir;
    FileLogger log{logDir.path()};
    QTemporaryDir captures;
    UploadRunner runner{log};
    QList<JSONEvent> events;
    QList<int> exits;

    void SetUp() override {
        qputenv("NORVANE_SIM_SPEED", "300");
        runner.setOnEvent([this](const JSONEvent& event) { events.append(event); });
        runner.setOnCompleted([this](int code) { exits.append(code); });
    }
    void TearDown() override {
        runner.cancel();
        qunsetenv("NORVANE_SIM_SPEED");
        qunsetenv("NORVANE_SIM_UPLOAD");
    }

    void capture(const QString& name) const {
        QFile file(captures.path() + u'/' + name);
        ASSERT_TRUE(file.open(QIODevice::WriteOnly));
        for (int row = 0; row < 500; ++row)
            file.write("2025-06-01T12:00:00Z,ping,1.1.1.1,12.5,0,1,,,,,\n");
    }

    bool runUntil(const std::function<bool()>& done) { return pumpUntil(done); }

    QString logText() { return loggedText(log); }

    QList<QJsonObject> journal() const { return simulatorJournal(defaultJournalPath(home.path())); }
};

TEST_F(UploadRunnerTest, MissingUvReportsExitOneAtOnce) {
    runner.run(captures.path());
    EXPECT_EQ(exits, QList<int>{1});
    EXPECT_FALSE(runner.hasProcess());
    EXPECT_TRUE(logText().contains(
        u"WARN  [UploadRunner] UploadRunner: uv not found, skipping pending upload check"_s));
}

TEST_F(UploadRunnerTest, UvThatCannotStartReportsExitOne) {
    QDir().mkpath(home.path() + u"/.local/bin"_s);
    QFile uv(home.path() + u"/.local/bin/uv"_s);
    ASSERT_TRUE(uv.open(QIODevice::WriteOnly));
    uv.write(QByteArray("\x7f\x01\x02\x03 not a program"));
    uv.close();
    uv.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    runner.run(captures.path());
    EXPECT_EQ(exits, QList<int>{1});
    EXPECT_FALSE(runner.hasProcess());
    EXPECT_TRUE(logText().contains(u"ERROR [UploadRunner] upload runner failed to start: "_s));
}

TEST_F(UploadRunnerTest, SuccessRunRecordsTheCommandLineAndEnvironment) {
    home.installFakeUv();
    capture(u"wifi_capture_20250601T120000Z.csv"_s);
    runner.run(captures.path());
    ASSERT_TRUE(runner.hasProcess());
    ASSERT_TRUE(runUntil([&] { return !exits.isEmpty(); }));
    EXPECT_EQ(exits, QList<int>{0});
    EXPECT_FALSE(runner.hasProcess());
    const QStringList seen = kinds(events);
    ASSERT_FALSE(seen.isEmpty());
    EXPECT_EQ(seen.first(), u"uploadStart"_s);
    EXPECT_TRUE(seen.contains(u"uploadProgress"_s));
    EXPECT_TRUE(seen.contains(u"uploadComplete"_s));
    EXPECT_EQ(seen.last(), u"uploadSummary"_s);

    const QList<QJsonObject> entries = journal();
    ASSERT_EQ(entries.size(), 1);
    const QJsonObject entry = entries.first();
    EXPECT_EQ(entry[u"kind"_s].toString(), u"upload"_s);
    QStringList argv;
    for (const QJsonValue& value : entry[u"argv"_s].toArray())
        argv.append(value.toString());
    EXPECT_EQ(argv, UploadRunner::buildArguments(PythonProcess::pythonSourceRoot(), captures.path()));
    EXPECT_FALSE(argv.contains(u"--privacy"_s));
    const QJsonObject env = entry[u"env"_s].toObject();
    EXPECT_EQ(env[u"PYTHONUNBUFFERED"_s].toString(), u"1"_s);
    EXPECT_EQ(env[u"NORVANE_LOG_DIR"_s].toString(), Locations::logDir());
    EXPECT_TRUE(env[u"PATH"_s].toString().startsWith(u"/opt/homebrew/bin:/usr/local/bin:"_s));
    EXPECT_FALSE(env.contains(u"WIFI_INFO_PATH"_s));

    const QString text = logText();
    EXPECT_TRUE(text.contains(u"INFO  [UploadRunner] upload runner launched pid="_s));
    EXPECT_TRUE(text.contains(u" dir="_s + captures.path()));
    EXPECT_TRUE(text.contains(u"INFO  [UploadRunner] upload runner terminated exit=0"_s));
}

TEST_F(UploadRunnerTest, CrashReportsItsExitCodeAndLogsStderr) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_UPLOAD", "crash");
    capture(u"wifi_capture_20250601T120000Z.csv"_s);
    runner.run(captures.path());
    ASSERT_TRUE(runUntil([&] { return !exits.isEmpty(); }));
    EXPECT_EQ(exits, QList<int>{1});
    EXPECT_FALSE(kinds(events).contains(u"uploadSummary"_s));
    const QString text = logText();
    EXPECT_TRUE(text.contains(u"DEBUG [UploadRunner] upload stderr: "_s));
    EXPECT_TRUE(text.contains(u"upload runner terminated exit=1"_s));
}

TEST_F(UploadRunnerTest, SecondRunWhileOneIsHeldDoesNothing) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_UPLOAD", "hang");
    capture(u"wifi_capture_20250601T120000Z.csv"_s);
    runner.run(captures.path());
    const std::optional<qint64> pid = runner.processId();
    ASSERT_TRUE(pid);
    runner.run(captures.path());
    EXPECT_EQ(runner.processId(), pid);
    ASSERT_TRUE(runUntil([&] { return !events.isEmpty(); }));
    EXPECT_EQ(journal().size(), 1);
}

TEST_F(UploadRunnerTest, CancelEndsTheChildAndReportsNothing) {
    home.installFakeUv();
    qputenv("NORVANE_SIM_UPLOAD", "hang");
    capture(u"wifi_capture_20250601T120000Z.csv"_s);
    runner.run(captures.path());
    ASSERT_TRUE(runUntil([&] { return !events.isEmpty(); }));
    const qint64 pid = *runner.processId();
    runner.cancel();
    EXPECT_FALSE(runner.hasProcess());
    EXPECT_TRUE(logText().contains(u"INFO  [UploadRunner] upload runner cancelled"_s));
    // The released child is reaped by the event loop once it has gone.
    ASSERT_TRUE(runUntil([&] { return ::kill(pid_t(pid), 0) != 0; }));
    EXPECT_TRUE(exits.isEmpty());
}

TEST_F(UploadRunnerTest, CancelWithoutAChildIsQuiet) {
    runner.cancel();
    EXPECT_FALSE(logText().contains(u"upload runner cancelled"_s));
}

TEST_F(UploadRunnerTest, BrokenLinesAreDroppedAndGoodOnesDelivered) {
    runner.handleStandardOutput("not json\n{\"event\":\"upload_start\",\"total\":2}\n{\"event\":\"upload_");
    ASSERT_EQ(events.size(), 1);
    EXPECT_EQ(events.first().get<UploadStartEvent>()->total, 2);
    runner.handleStandardOutput("summary\",\"succeeded\":1,\"failed\":0}\n");
    ASSERT_EQ(events.size(), 2);
    EXPECT_EQ(events.last().kind(), JSONEvent::Kind::uploadSummary);
}
