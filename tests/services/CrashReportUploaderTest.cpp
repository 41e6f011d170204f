#include "services/CrashReportUploader.h"

#include "base/VirtualClock.h"
#include "support/LoggedText.h"
#include "support/PinnedFile.h"
#include "support/TestPaths.h"
#include "support/UploadServer.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QRandomGenerator>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTest>

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <thread>

#include <pthread.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <zlib.h>

using namespace Qt::StringLiterals;

namespace {

QByteArray randomBytes(QRandomGenerator& random, qsizetype size) {
    QByteArray bytes(size, Qt::Uninitialized);
    for (char& byte : bytes)
        byte = char(random.bounded(256));
    return bytes;
}

// zlib's own gzip reader, so that the member is judged by code other than ours.
std::optional<QByteArray> gunzipWithZlib(const QByteArray& member) {
    z_stream stream{};
    if (inflateInit2(&stream, 16 + MAX_WBITS) != Z_OK)
        return std::nullopt;
    QByteArray out;
    std::array<char, 16384> chunk{};
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(member.data()));
    stream.avail_in = static_cast<uInt>(member.size());
    int result = Z_OK;
    while (result == Z_OK) {
        stream.next_out = reinterpret_cast<Bytef*>(chunk.data());
        stream.avail_out = static_cast<uInt>(chunk.size());
        result = inflate(&stream, Z_NO_FLUSH);
        out.append(chunk.data(), qsizetype(chunk.size() - stream.avail_out));
    }
    const bool whole = result == Z_STREAM_END && stream.avail_in == 0;
    inflateEnd(&stream);
    return whole ? std::optional<QByteArray>(out) : std::nullopt;
}

} // namespace

TEST(CrashReportMatching, OurFirstLineMatchesByEitherName) {
    QTemporaryDir dir;
    EXPECT_TRUE(CrashReportUploader::matchesAppName(
        writeFile(dir, QStringLiteral("a.ips"), "{\"app_name\":\"Norvane\",\"name\":\"norvane\"}\n{}")));
    EXPECT_TRUE(CrashReportUploader::matchesAppName(
        writeFile(dir, QStringLiteral("b.ips"), "{\"name\":\"Norvane\",\"bug_type\":\"crash\"}\n")));
}

TEST(CrashReportMatching, OthersDoNotMatch) {
    QTemporaryDir dir;
    const std::pair<const char*, QByteArray> cases[] = {
        {"other-program", "{\"app_name\":\"Mail\",\"name\":\"Mail\"}\n{}"},
        {"other-case", "{\"app_name\":\"NORVANE\"}\n{}"},
        {"not-an-object", "[\"Norvane\"]\n{}"},
        {"not-json", "not json at all\n{\"app_name\":\"Norvane\"}"},
        // Our name only after the first line: the first line alone decides.
        {"name-in-body", "{\"app_name\":\"Mail\"}\n{\"app_name\":\"Norvane\",\"name\":\"Norvane\"}\n"},
        // A report without a line feed has no first line.
        {"no-line-feed", "{\"app_name\":\"Norvane\"}"},
    };
    for (const auto& [name, contents] : cases) {
        const QString file = writeFile(dir, QLatin1StringView(name) + u".ips", contents);
        EXPECT_FALSE(CrashReportUploader::matchesAppName(file)) << name;
    }
    EXPECT_FALSE(CrashReportUploader::matchesAppName(dir.filePath(QStringLiteral("missing.ips"))));
}

TEST(CrashReportChecksum, KnownValue) {
    EXPECT_EQ(CrashReportUploader::crc32("123456789"), 0xcbf43926u);
    EXPECT_EQ(CrashReportUploader::crc32(QByteArrayView()), 0u);
}

TEST(CrashReportChecksum, EqualsZlibOnRandomInputs) {
    QRandomGenerator random(4242);
    for (int i = 0; i < 300; ++i) {
        const QByteArray data = randomBytes(random, random.bounded(0, 5000));
        const auto expected = static_cast<std::uint32_t>(::crc32(
            ::crc32(0L, Z_NULL, 0), reinterpret_cast<const Bytef*>(data.constData()), uInt(data.size())));
        ASSERT_EQ(CrashReportUploader::crc32(data), expected) << "size " << data.size();
    }
}

TEST(CrashReportGzip, WritesTheMemberHeaderAndTrailer) {
    const QByteArray data = QByteArrayLiteral("{\"version\":1,\"platform\":\"linux\"}");
    const std::optional<QByteArray> member = CrashReportUploader::gzip(data);
    ASSERT_TRUE(member);
    ASSERT_GT(member->size(), 18);
    EXPECT_EQ(member->first(10), QByteArray("\x1f\x8b\x08\x00\x00\x00\x00\x00\x00\x03", 10));
    const QByteArray trailer = member->last(8);
    const auto word = [&trailer](int at) {
        std::uint32_t value = 0;
        for (int i = 3; i >= 0; --i)
            value = (value << 8) | static_cast<unsigned char>(trailer[at + i]);
        return value;
    };
    EXPECT_EQ(word(0), CrashReportUploader::crc32(data));
    EXPECT_EQ(word(4), std::uint32_t(data.size()));
}

TEST(CrashReportGzip, ZlibsGzipReaderGetsBackTheInput) {
    QRandomGenerator random(77);
    const QByteArray text = QByteArray("line of a log that repeats\n").repeated(400);
    for (const QByteArray& data : {text, randomBytes(random, 3000), QByteArray("x")}) {
        const std::optional<QByteArray> member = CrashReportUploader::gzip(data);
        ASSERT_TRUE(member) << data.size();
        EXPECT_EQ(gunzipWithZlib(*member), data);
    }
}

TEST(CrashReportGzip, EmptyInputFails) {
    EXPECT_EQ(CrashReportUploader::gzip(QByteArrayView()), std::nullopt);
}

namespace {

QByteArray ourReport(const QByteArray& body = R"({"signal":{"name":"SIGSEGV","number":11},"backtrace":[]})") {
    return R"({"app_name":"Norvane","name":"norvane","app_version":"0.1.0","bug_type":"crash","pid":42})"
           "\n" +
           body;
}

QJsonObject parsed(const QByteArray& json) {
    return QJsonDocument::fromJson(json).object();
}

// A whole run against a loopback object store, with every path of the uploader in one temporary folder,
// the virtual clock for the object keys, and a sleeper that only writes the waits down.
class CrashUpload : public ::testing::Test {
protected:
    CrashUpload() {
        writeConfig(server.url());
        remake();
    }

    CrashReportUploader::Sources sources() const {
        CrashReportUploader::Sources paths;
        paths.configPath = dir.filePath(u"home/.norvane/r2.json"_s);
        paths.trackingPath = dir.filePath(u"support/uploaded_crashes.json"_s);
        paths.sentinelPath = dir.filePath(u"support/crash_upload_in_progress"_s);
        paths.reportsDir = dir.filePath(u"reports"_s);
        paths.logPath = dir.filePath(u"applog/linux-app.log"_s);
        paths.bundled = bundled;
        return paths;
    }
    void remake() {
        uploader.reset();
        uploader = std::make_unique<CrashReportUploader>(log, sources());
        uploader->setSleeper([this](double seconds) {
            sleeps.push_back(seconds);
            return true;
        });
    }

    void writeConfig(const QString& url, const QByteArray& id = "0123456789abcdef0123456789abcdef") {
        put(u"home/.norvane/r2.json"_s, R"({"upload_url":")" + url.toUtf8() +
                                            R"(","upload_token":"tok-123","uploader_id":")" + id + "\"}");
    }
    QString put(const QString& relative, const QByteArray& content) {
        const QString path = dir.filePath(relative);
        EXPECT_TRUE(writeFileAt(path, content)) << relative.toStdString();
        return path;
    }
    QString report(const QString& name, const QByteArray& content = ourReport()) {
        return put(u"reports/"_s + name, content);
    }

    QStringList uploadLines() { return taggedLines(log, QString::fromLatin1(CrashReportUploader::tag)); }
    QStringList tracked() const {
        QStringList names;
        for (const QJsonValue& value : QJsonDocument::fromJson(readFileAt(sources().trackingPath)).array())
            names.append(value.toString());
        return names;
    }
    // The payload of a received request, unpacked by zlib's own gzip reader.
    QJsonObject payload(qsizetype request) const {
        const std::optional<QByteArray> json = gunzipWithZlib(server.requests().value(request).body);
        EXPECT_TRUE(json);
        return parsed(json.value_or(QByteArray()));
    }
    QByteArray keyOf(qsizetype request) const {
        return server.requests().value(request).path.sliced(QByteArray("/upload/").size());
    }

    QTemporaryDir dir;
    FileLogger log{dir.filePath(u"logs"_s)};
    UploadServer server;
    VirtualClock clock;
    ScopedVirtualTime time{clock};
    CrashReportUploader::Defaults bundled;
    std::vector<double> sleeps;
    std::unique_ptr<CrashReportUploader> uploader;
};

} // namespace

TEST_F(CrashUpload, NewReportGoesOutAsOneGzippedPutWithTheThreeHeaders) {
    report(u"norvane-2026-03-14-093000-42.ips"_s);
    put(u"applog/linux-app.log"_s, "first line\nsecond line\n");

    const CrashReportUploader::RunOutcome outcome = uploader->run();

    EXPECT_TRUE(outcome.nothingFailed());
    EXPECT_EQ(outcome.uploaded, 1);
    ASSERT_EQ(server.requests().size(), 1);
    const ReceivedRequest& request = server.requests().first();
    EXPECT_EQ(request.method, "PUT");
    EXPECT_EQ(request.path, "/upload/diagnostics/0123456789abcdef0123456789abcdef/"
                            "20260314T093000Z_crash_norvane-2026-03-14-093000-42.json.gz");
    EXPECT_EQ(request.headers.value("authorization"), "Bearer tok-123");
    EXPECT_EQ(request.headers.value("content-type"), "application/octet-stream");
    EXPECT_EQ(request.headers.value("content-length"), QByteArray::number(request.body.size()));
    EXPECT_TRUE(request.body.startsWith("\x1f\x8b\x08"));

    const QJsonObject sent = payload(0);
    utsname system{};
    ASSERT_EQ(uname(&system), 0);
    EXPECT_EQ(sent[u"version"_s].toInt(), 1);
    EXPECT_EQ(sent[u"platform"_s].toString(), u"linux"_s);
    EXPECT_EQ(sent[u"os_version"_s].toString(), u"Linux "_s + QString::fromUtf8(system.release));
    EXPECT_TRUE(QRegularExpression(uR"(^\S+ \(\S+\)$)"_s).match(sent[u"app_version"_s].toString()).hasMatch())
        << sent[u"app_version"_s].toString().toStdString();
    EXPECT_EQ(sent[u"uploader_id"_s].toString(), u"0123456789abcdef0123456789abcdef"_s);
    EXPECT_EQ(sent[u"ips_filename"_s].toString(), u"norvane-2026-03-14-093000-42.ips"_s);
    EXPECT_EQ(sent[u"log_tail"_s].toString(), u"first line\nsecond line\n"_s);
    const QJsonObject crash = sent[u"crash_report"_s].toObject();
    EXPECT_EQ(crash[u"app_name"_s].toString(), u"Norvane"_s);
    EXPECT_EQ(crash[u"pid"_s].toInt(), 42);
    EXPECT_EQ(crash[u"crash_body"_s].toObject()[u"signal"_s].toObject()[u"name"_s].toString(), u"SIGSEGV"_s);
    EXPECT_FALSE(crash.contains(u"crash_body_raw"_s));

    EXPECT_EQ(uploadLines(),
              QStringList({u"INFO  Found 1 new crash report(s)"_s,
                           u"INFO  Uploaded crash report: norvane-2026-03-14-093000-42.ips"_s}));
    EXPECT_EQ(tracked(), QStringList{u"norvane-2026-03-14-093000-42.ips"_s});
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
}

TEST_F(CrashUpload, SentinelIsThereWhileTheRunUploads) {
    report(u"norvane-a.ips"_s);
    bool sentinelDuringUpload = false;
    server.onRequest(
        [&](const ReceivedRequest&) { sentinelDuringUpload = QFileInfo::exists(sources().sentinelPath); });
    uploader->run();
    EXPECT_TRUE(sentinelDuringUpload);
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
}

TEST_F(CrashUpload, TrackingFileIsSortedAndASecondRunSendsNothing) {
    report(u"norvane-c.ips"_s);
    report(u"norvane-a.ips"_s);
    put(u"reports/sub/norvane-b.ips"_s, ourReport());
    uploader->run();
    EXPECT_EQ(server.requests().size(), 3);
    const QJsonDocument file = QJsonDocument::fromJson(readFileAt(sources().trackingPath));
    EXPECT_EQ(file.array(), QJsonArray({u"norvane-a.ips"_s, u"norvane-b.ips"_s, u"norvane-c.ips"_s}));

    const CrashReportUploader::RunOutcome again = uploader->run();
    EXPECT_EQ(server.requests().size(), 3);
    EXPECT_EQ(again.newReports, 0);
    EXPECT_TRUE(again.nothingFailed());
}

TEST_F(CrashUpload, ReportsAreLookedForOneFolderDeepWithTheExactExtensionAndASizeLimit) {
    report(u"norvane-root.ips"_s);
    put(u"reports/Retired/norvane-sub.ips"_s, ourReport());
    put(u"reports/Retired/deeper/norvane-deep.ips"_s, ourReport());
    report(u"norvane-upper.IPS"_s);
    report(u"norvane-other.crash"_s);
    report(u"norvane-large.ips"_s, ourReport(QByteArray(CrashReportUploader::maxReportBytes, ' ')));
    report(u"norvane-limit.ips"_s, ourReport().leftJustified(CrashReportUploader::maxReportBytes, ' '));

    QStringList names;
    for (const QString& path : uploader->findCrashReports())
        names.append(QFileInfo(path).fileName());
    EXPECT_EQ(names, QStringList({u"norvane-limit.ips"_s, u"norvane-root.ips"_s, u"norvane-sub.ips"_s}));
}

TEST_F(CrashUpload, ServerBusyFourTimesSleepsFiveFifteenThirtyThenWarnsOnce) {
    server.answer({503, 503, 503, 503});
    report(u"norvane-a.ips"_s);

    const CrashReportUploader::RunOutcome outcome = uploader->run();

    EXPECT_EQ(server.requests().size(), 4);
    EXPECT_EQ(sleeps, (std::vector<double>{5, 15, 30}));
    const QString key = QString::fromUtf8(keyOf(0));
    EXPECT_EQ(uploadLines(), QStringList({u"INFO  Found 1 new crash report(s)"_s,
                                          u"WARN  Crash upload HTTP 503 for "_s + key}));
    EXPECT_FALSE(outcome.nothingFailed());
    EXPECT_TRUE(tracked().isEmpty());
}

TEST_F(CrashUpload, TooManyRequestsIsRetriedAfterTheFirstDelay) {
    server.answer({429, 200});
    report(u"norvane-a.ips"_s);
    EXPECT_TRUE(uploader->run().nothingFailed());
    EXPECT_EQ(server.requests().size(), 2);
    EXPECT_EQ(sleeps, std::vector<double>{5});
    EXPECT_EQ(tracked(), QStringList{u"norvane-a.ips"_s});
}

TEST_F(CrashUpload, UnauthorizedIsNotRetriedAndTheReportStaysUnsent) {
    server.answer({401, 200});
    report(u"norvane-a.ips"_s);

    EXPECT_FALSE(uploader->run().nothingFailed());
    EXPECT_EQ(server.requests().size(), 1);
    EXPECT_TRUE(sleeps.empty());
    EXPECT_EQ(uploadLines(),
              QStringList({u"INFO  Found 1 new crash report(s)"_s,
                           u"WARN  Crash upload HTTP 401 for "_s + QString::fromUtf8(keyOf(0))}));
    EXPECT_TRUE(tracked().isEmpty());

    // The next run tries it again.
    EXPECT_TRUE(uploader->run().nothingFailed());
    EXPECT_EQ(server.requests().size(), 2);
    EXPECT_EQ(tracked(), QStringList{u"norvane-a.ips"_s});
}

TEST_F(CrashUpload, ConnectionThatNeverWorksIsRetriedThenLoggedAsAFailureOfTheReport) {
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost, 0);
    const QString url = u"http://127.0.0.1:%1"_s.arg(closed.serverPort());
    closed.close();
    writeConfig(url);
    report(u"norvane-a.ips"_s);
    report(u"norvane-b.ips"_s);

    const CrashReportUploader::RunOutcome outcome = uploader->run();

    EXPECT_EQ(sleeps, (std::vector<double>{5, 15, 30, 5, 15, 30}));
    const QStringList lines = uploadLines();
    ASSERT_EQ(lines.size(), 3) << lines.join(u'\n').toStdString();
    EXPECT_TRUE(lines[1].startsWith(u"ERROR Failed to process norvane-a.ips: "_s)) << lines[1].toStdString();
    EXPECT_TRUE(lines[2].startsWith(u"ERROR Failed to process norvane-b.ips: "_s)) << lines[2].toStdString();
    EXPECT_GT(lines[1].size(), QStringLiteral("ERROR Failed to process norvane-a.ips: ").size());
    EXPECT_EQ(outcome.uploaded, 0);
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
}

TEST_F(CrashUpload, EmptyLogGivesAnEmptyLogTail) {
    report(u"norvane-a.ips"_s);
    EXPECT_EQ(uploader->readLogTail(), QString());
    put(u"applog/linux-app.log"_s, QByteArray());
    uploader->run();
    const QJsonObject sent = payload(0);
    ASSERT_TRUE(sent[u"log_tail"_s].isString());
    EXPECT_EQ(sent[u"log_tail"_s].toString(), QString());
}

TEST_F(CrashUpload, LogTailIsTheLastTwoHundredLinesOfThePreviousAndPresentLog) {
    QByteArray previous;
    for (int i = 1; i <= 150; ++i)
        previous += "old " + QByteArray::number(i) + '\n';
    QByteArray present;
    for (int i = 1; i <= 99; ++i)
        present += "new " + QByteArray::number(i) + '\n';
    put(u"applog/linux-app.log.1"_s, previous);
    put(u"applog/linux-app.log"_s, present.chopped(1));
    // Older backups are no part of the tail.
    put(u"applog/linux-app.log.2"_s, "never read\n");

    // 151 pieces of the backup (its last line feed leaves an empty one) and 99 of the present log.
    const QStringList lines = uploader->readLogTail().split(u'\n');
    ASSERT_EQ(lines.size(), 200);
    EXPECT_EQ(lines.first(), u"old 51"_s);
    EXPECT_EQ(lines[99], u"old 150"_s);
    EXPECT_EQ(lines[100], QString());
    EXPECT_EQ(lines.last(), u"new 99"_s);

    // A backup that isn't UTF-8 is left out; the present log still counts.
    put(u"applog/linux-app.log.1"_s, "caf\xc3 broken\n");
    EXPECT_EQ(uploader->readLogTail(), QString::fromUtf8(present.chopped(1)));
}

TEST_F(CrashUpload, CorruptedTrackingFileSendsEveryReportAgain) {
    report(u"norvane-a.ips"_s);
    report(u"norvane-b.ips"_s);
    for (const QByteArray& corrupted : {QByteArray("not json"), QByteArray(R"(["norvane-a.ips", 3])"),
                                        QByteArray(R"({"norvane-a.ips":true})")}) {
        put(u"support/uploaded_crashes.json"_s, corrupted);
        const qsizetype before = server.requests().size();
        uploader->run();
        EXPECT_EQ(server.requests().size() - before, 2) << corrupted.toStdString();
        EXPECT_EQ(tracked(), QStringList({u"norvane-a.ips"_s, u"norvane-b.ips"_s}));
    }
}

TEST_F(CrashUpload, BlanksInTheNameBecomeUnderscoresInTheKeyOnly) {
    const QString name = u"Norvane Helper 2026-03-14 093000.ips"_s;
    report(name);
    uploader->run();
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_TRUE(keyOf(0).endsWith("_crash_Norvane_Helper_2026-03-14_093000.json.gz"))
        << keyOf(0).toStdString();
    EXPECT_EQ(payload(0)[u"ips_filename"_s].toString(), name);
    EXPECT_EQ(tracked(), QStringList{name});
    EXPECT_EQ(uploadLines().last(), u"INFO  Uploaded crash report: "_s + name);
}

TEST_F(CrashUpload, NoReportsFolderDoesNothingAndLogsNothing) {
    const CrashReportUploader::RunOutcome outcome = uploader->run();
    EXPECT_TRUE(outcome.nothingFailed());
    EXPECT_TRUE(server.requests().isEmpty());
    EXPECT_TRUE(uploadLines().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
    EXPECT_FALSE(QFileInfo::exists(sources().trackingPath));
}

TEST_F(CrashUpload, AnotherProgramsReportIsNeitherFoundNorSent) {
    report(u"Mail-2026-03-14-093000.ips"_s,
           "{\"app_name\":\"Mail\",\"name\":\"Mail\"}\n{\"app_name\":\"Norvane\"}");
    report(u"norvane-a.ips"_s);
    uploader->run();
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(payload(0)[u"ips_filename"_s].toString(), u"norvane-a.ips"_s);
}

// The rest of another program's report may be anything, however long: reading it at all would wait here
// for the writer to close the pipe, which it does only after the answer came.
TEST_F(CrashUpload, AnotherProgramsReportIsNeverReadPastItsFirstLine) {
    const QString fifo = dir.filePath(u"other.ips"_s);
    ASSERT_EQ(mkfifo(QFile::encodeName(fifo).constData(), 0600), 0);
    std::atomic<bool> answered = false;
    std::atomic<bool> restWritten = false;
    std::thread writer([&] {
        // The reader has gone by the time the rest is written: that write must fail, not kill the test.
        sigset_t pipeSignal;
        sigemptyset(&pipeSignal);
        sigaddset(&pipeSignal, SIGPIPE);
        pthread_sigmask(SIG_BLOCK, &pipeSignal, nullptr);
        QFile pipe(fifo);
        if (!pipe.open(QIODevice::WriteOnly | QIODevice::Unbuffered))
            return;
        pipe.write("{\"app_name\":\"Mail\"}\n");
        // Safety net only: a reader that waits for the rest gets it after a while, and fails below.
        for (int i = 0; i < 100 && !answered; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        restWritten = true;
        pipe.write("{\"app_name\":\"Norvane\"}\n");
    });
    const bool matched = CrashReportUploader::matchesAppName(fifo);
    const bool waitedForTheRest = restWritten;
    answered = true;
    writer.join();
    EXPECT_FALSE(matched);
    EXPECT_FALSE(waitedForTheRest);
}

TEST_F(CrashUpload, UnparsableBodyIsSentAsRawText) {
    report(u"norvane-a.ips"_s, ourReport("Thread 0 crashed:\n0 ??? 0x10 {not json"));
    uploader->run();
    const QJsonObject crash = payload(0)[u"crash_report"_s].toObject();
    EXPECT_EQ(crash[u"crash_body_raw"_s].toString(), u"Thread 0 crashed:\n0 ??? 0x10 {not json"_s);
    EXPECT_FALSE(crash.contains(u"crash_body"_s));
    EXPECT_EQ(crash[u"bug_type"_s].toString(), u"crash"_s);
}

TEST_F(CrashUpload, ReportWithoutALineFeedIsNeverSent) {
    report(u"norvane-a.ips"_s, R"({"app_name":"Norvane","name":"norvane"})");
    EXPECT_TRUE(uploader->findCrashReports().isEmpty());
    uploader->run();
    EXPECT_TRUE(server.requests().isEmpty());
}

TEST_F(CrashUpload, SentinelFromACrashedRunSkipsOneRunOnly) {
    report(u"norvane-a.ips"_s);
    put(u"support/crash_upload_in_progress"_s, QByteArray());

    const CrashReportUploader::RunOutcome skipped = uploader->run();
    EXPECT_EQ(skipped.ending, CrashReportUploader::RunOutcome::Ending::skippedForSentinel);
    EXPECT_FALSE(skipped.nothingFailed());
    EXPECT_TRUE(server.requests().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
    EXPECT_EQ(uploadLines(),
              QStringList{u"WARN  Crash upload sentinel found — skipping (previous upload crashed)"_s});

    EXPECT_TRUE(uploader->run().nothingFailed());
    EXPECT_EQ(server.requests().size(), 1);
}

TEST_F(CrashUpload, MissingConfigIsProvisionedFromTheBundledDefaultsWithOwnerOnlyAccess) {
    QFile::remove(sources().configPath);
    QDir(dir.filePath(u"home"_s)).removeRecursively();
    bundled = {server.url(), u"bundled-token"_s};
    remake();
    report(u"norvane-a.ips"_s);

    EXPECT_TRUE(uploader->run().nothingFailed());

    const QJsonObject config = parsed(readFileAt(sources().configPath));
    EXPECT_EQ(config[u"upload_url"_s].toString(), server.url());
    EXPECT_EQ(config[u"upload_token"_s].toString(), u"bundled-token"_s);
    EXPECT_EQ(config[u"config_version"_s].toInt(), 2);
    const QString id = config[u"uploader_id"_s].toString();
    EXPECT_TRUE(QRegularExpression(u"^[0-9a-f]{32}$"_s).match(id).hasMatch()) << id.toStdString();
    struct stat info {};
    ASSERT_EQ(stat(QFile::encodeName(sources().configPath).constData(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    EXPECT_EQ(uploadLines().first(), u"INFO  Auto-provisioned R2 config (uploader_id=%1)"_s.arg(id));

    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(server.requests().first().headers.value("authorization"), "Bearer bundled-token");
    EXPECT_TRUE(keyOf(0).startsWith(QByteArray("diagnostics/" + id.toUtf8() + '/')));

    // Once written, the file is what later runs use.
    uploader->run();
    EXPECT_EQ(parsed(readFileAt(sources().configPath))[u"uploader_id"_s].toString(), id);
}

TEST_F(CrashUpload, ConfigWithoutUploaderIdIsWrittenAnew) {
    put(u"home/.norvane/r2.json"_s, R"({"upload_url":"http://127.0.0.1:9","upload_token":"old"})");
    QFile::setPermissions(sources().configPath, QFileDevice::ReadOwner | QFileDevice::WriteOwner |
                                                    QFileDevice::ReadOther | QFileDevice::ReadGroup);
    bundled = {server.url(), u"bundled-token"_s};
    remake();

    const std::optional<CrashReportUploader::R2Config> config = uploader->loadConfig();
    ASSERT_TRUE(config);
    EXPECT_EQ(config->uploadURL, server.url());
    EXPECT_EQ(config->uploaderId.size(), 32);
    const QJsonObject file = parsed(readFileAt(sources().configPath));
    EXPECT_EQ(file[u"uploader_id"_s].toString(), config->uploaderId);
    EXPECT_EQ(file[u"upload_token"_s].toString(), u"bundled-token"_s);
    EXPECT_EQ(QFileInfo(sources().configPath).permissions() &
                  (QFileDevice::ReadOther | QFileDevice::ReadGroup),
              QFileDevice::Permissions());
}

// A crash or a full disk in the middle of a write must leave the old file whole: both files the uploader
// owns are written beside their place and renamed over the old one.
TEST_F(CrashUpload, ConfigAndTrackingFileAreReplacedInsteadOfRewritten) {
    const QByteArray oldConfig = R"({"upload_url":"http://127.0.0.1:9","upload_token":"old"})";
    put(u"home/.norvane/r2.json"_s, oldConfig);
    const PinnedFile config(sources().configPath);
    ASSERT_TRUE(config.pinned());
    bundled = {server.url(), u"bundled-token"_s};
    remake();
    ASSERT_TRUE(uploader->loadConfig());
    EXPECT_EQ(config.bytes(), oldConfig);
    EXPECT_EQ(parsed(readFileAt(sources().configPath))[u"upload_token"_s].toString(), u"bundled-token"_s);

    uploader->saveUploadedSet({u"norvane-a.ips"_s});
    const QByteArray oldTracking = readFileAt(sources().trackingPath);
    const PinnedFile tracking(sources().trackingPath);
    ASSERT_TRUE(tracking.pinned());
    uploader->saveUploadedSet({u"norvane-a.ips"_s, u"norvane-b.ips"_s});
    EXPECT_EQ(tracking.bytes(), oldTracking);
    EXPECT_EQ(uploader->loadUploadedSet(), (QSet<QString>{u"norvane-a.ips"_s, u"norvane-b.ips"_s}));
}

TEST_F(CrashUpload, TrackingFileThatCantBeWrittenIsLogged) {
    // A folder in the file's place: no one, root included, can rename a file over it.
    ASSERT_TRUE(QDir().mkpath(sources().trackingPath));
    uploader->saveUploadedSet({u"norvane-a.ips"_s});
    ASSERT_FALSE(uploadLines().isEmpty());
    EXPECT_TRUE(uploadLines().last().startsWith(u"WARN  uploaded_crashes.json write failed: "_s))
        << uploadLines().last().toStdString();
    EXPECT_TRUE(QFileInfo(sources().trackingPath).isDir());
}

TEST_F(CrashUpload, UnconfiguredBuildLogsWhyAndSendsNothing) {
    QFile::remove(sources().configPath);
    report(u"norvane-a.ips"_s);

    const CrashReportUploader::RunOutcome outcome = uploader->run();
    EXPECT_EQ(outcome.ending, CrashReportUploader::RunOutcome::Ending::notConfigured);
    EXPECT_TRUE(server.requests().isEmpty());
    EXPECT_FALSE(QFileInfo::exists(sources().configPath));
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
    EXPECT_EQ(
        uploadLines(),
        QStringList{u"ERROR Bundled default_r2.json missing or invalid; cannot provision crash uploader"_s});
}

TEST(CrashUploadDefaults, BundledResourceHoldsBothTexts) {
    QFile resource(u":/norvane/default_r2.json"_s);
    ASSERT_TRUE(resource.open(QIODevice::ReadOnly));
    const QJsonObject object = QJsonDocument::fromJson(resource.readAll()).object();
    EXPECT_TRUE(object[u"upload_url"_s].isString());
    EXPECT_TRUE(object[u"upload_token"_s].isString());
    EXPECT_EQ(CrashReportUploader::bundledDefaults().uploadURL, object[u"upload_url"_s].toString());
}

TEST(CrashUploadDefaults, AnythingMissingReadsAsEmpty) {
    const auto both = CrashReportUploader::parseDefaults(R"({"upload_url":"https://u","upload_token":"t"})");
    EXPECT_EQ(both.uploadURL, u"https://u"_s);
    EXPECT_EQ(both.uploadToken, u"t"_s);
    const auto noToken = CrashReportUploader::parseDefaults(R"({"upload_url":"https://u","upload_token":7})");
    EXPECT_EQ(noToken.uploadURL, u"https://u"_s);
    EXPECT_EQ(noToken.uploadToken, QString());
    const auto broken = CrashReportUploader::parseDefaults("{\"upload_url\":");
    EXPECT_EQ(broken.uploadURL, QString());
}

TEST_F(CrashUpload, EventGoesOutWithItsDetailsOverTheTabledKeys) {
    report(u"norvane-a.ips"_s);
    uploader->uploadEvent(
        u"update_failed"_s,
        {{u"error"_s, u"signature mismatch"_s}, {u"platform"_s, u"test"_s}, {u"attempt"_s, 2}});

    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(keyOf(0),
              "diagnostics/0123456789abcdef0123456789abcdef/20260314T093000Z_event_update_failed.json.gz");
    const QJsonObject sent = payload(0);
    EXPECT_EQ(sent[u"version"_s].toInt(), 1);
    EXPECT_EQ(sent[u"event_type"_s].toString(), u"update_failed"_s);
    EXPECT_EQ(sent[u"platform"_s].toString(), u"test"_s);
    EXPECT_EQ(sent[u"error"_s].toString(), u"signature mismatch"_s);
    EXPECT_EQ(sent[u"attempt"_s].toInt(), 2);
    EXPECT_EQ(sent[u"timestamp"_s].toString(), u"2026-03-14T09:30:00Z"_s);
    EXPECT_EQ(sent[u"uploader_id"_s].toString(), u"0123456789abcdef0123456789abcdef"_s);
    EXPECT_TRUE(sent.contains(u"app_version"_s));
    EXPECT_TRUE(sent.contains(u"os_version"_s));
    EXPECT_EQ(uploadLines(), QStringList{u"INFO  Uploaded event: update_failed"_s});
    // Events keep out of the reports' bookkeeping.
    EXPECT_FALSE(QFileInfo::exists(sources().trackingPath));
}

TEST_F(CrashUpload, RefusedEventIsNotRetried) {
    server.answer({403});
    uploader->uploadEvent(u"update_failed"_s, {});
    EXPECT_EQ(server.requests().size(), 1);
    EXPECT_FALSE(uploadLines().contains(u"INFO  Uploaded event: update_failed"_s));
}

TEST_F(CrashUpload, BackgroundScanRunsAgainAfterAMinuteAndFindsALateReport) {
    report(u"norvane-a.ips"_s);
    uploader->setSleeper([this](double seconds) {
        sleeps.push_back(seconds);
        // The system's report of the crash arrives while the first run's results are in.
        report(u"norvane-late.ips"_s);
        return true;
    });
    uploader->scanAndUpload();
    ASSERT_TRUE(QTest::qWaitFor([this] { return uploader->idle(); }, 20'000));
    EXPECT_EQ(sleeps, std::vector<double>{60});
    ASSERT_EQ(server.requests().size(), 2);
    EXPECT_EQ(payload(0)[u"ips_filename"_s].toString(), u"norvane-a.ips"_s);
    EXPECT_EQ(payload(1)[u"ips_filename"_s].toString(), u"norvane-late.ips"_s);
}

TEST_F(CrashUpload, BackgroundEventReturnsAtOnceAndIsSent) {
    uploader->sendEvent(u"update_failed"_s, {{u"error"_s, u"x"_s}});
    ASSERT_TRUE(QTest::qWaitFor([this] { return uploader->idle(); }, 20'000));
    ASSERT_EQ(server.requests().size(), 1);
    EXPECT_EQ(payload(0)[u"error"_s].toString(), u"x"_s);
}

TEST_F(CrashUpload, QuittingDuringTheMinuteBetweenRunsEndsTheWaitAtOnce) {
    std::atomic<bool> asleep = false;
    std::optional<bool> sleptThrough;
    uploader->setSleeper([this, &asleep, &sleptThrough](double seconds) {
        asleep = true;
        sleptThrough = uploader->sleepUnlessStopping(seconds);
        return *sleptThrough;
    });
    uploader->scanAndUpload();
    ASSERT_TRUE(QTest::qWaitFor([&asleep] { return bool(asleep); }, 20'000));
    uploader->shutdown();
    EXPECT_TRUE(uploader->idle());
    EXPECT_EQ(sleptThrough, false);
}

TEST_F(CrashUpload, QuittingDuringAnUploadAbortsItAndLeavesNoSentinel) {
    server.hold();
    report(u"norvane-a.ips"_s);
    uploader->scanAndUpload();
    ASSERT_TRUE(QTest::qWaitFor([this] { return !server.requests().isEmpty(); }, 20'000));
    uploader.reset();
    EXPECT_FALSE(QFileInfo::exists(sources().sentinelPath));
    EXPECT_TRUE(tracked().isEmpty());
    // No retry of the aborted upload, and no second run: the test's sleeper would have let both go on.
    EXPECT_EQ(sleeps, std::vector<double>{60});
    EXPECT_EQ(uploadLines(), QStringList{u"INFO  Found 1 new crash report(s)"_s});
}
