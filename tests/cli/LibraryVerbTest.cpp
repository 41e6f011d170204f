#include "support/CliRun.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>

using namespace Qt::StringLiterals;

namespace {

QByteArray readAll(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

void write(const QString& path, const QByteArray& bytes) {
    QFile file(path);
    ASSERT_TRUE(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
    file.write(bytes);
}

QStringList lines(const QString& text) {
    return text.split(u'\n', Qt::SkipEmptyParts);
}

const QString newest = u"wifi_capture_20250601T120000Z.csv"_s;

} // namespace

class LibraryVerbTest : public ::testing::Test {
protected:
    TempHome home;
    QString folder = home.path() + u"/library"_s;

    void SetUp() override {
        QDir().mkpath(folder);
        const QDir data(testDataPath(u"library/basic"_s));
        for (const QString& name : data.entryList(QDir::Files))
            QFile::copy(data.filePath(name), folder + u'/' + name);
    }
};

TEST_F(LibraryVerbTest, ListsTheCapturesWithThePickersColumnsAndTexts) {
    const CliRun run = runCli({u"library"_s, folder});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QStringList rows = lines(run.out);
    ASSERT_EQ(rows.size(), 5) << qPrintable(run.out);
    EXPECT_EQ(rows.first().simplified(), u"Date Duration Location Network DL UL Latency Loss"_s);
    EXPECT_TRUE(rows.at(1).contains(u"Hotel Lobby"_s)) << qPrintable(run.out);
    EXPECT_TRUE(rows.at(1).simplified().endsWith(u"12m Hotel Lobby Guest WiFi 187 42 25 ms 25.0%"_s))
        << qPrintable(rows.at(1));
    EXPECT_TRUE(rows.at(2).simplified().endsWith(u"10m Airport Gate 12 Cellular --- --- 80 ms 0.0%"_s))
        << qPrintable(rows.at(2));
    EXPECT_TRUE(rows.at(3).simplified().endsWith(u"--- --- --- --- ---"_s)) << qPrintable(rows.at(3));
    EXPECT_EQ(rows.at(4), u"3 captures"_s);
}

TEST_F(LibraryVerbTest, JsonGivesTheSummaryFieldsInSnakeCase) {
    const CliRun run = runCli({u"library"_s, folder, u"--json"_s});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QJsonDocument document = QJsonDocument::fromJson(run.out.toUtf8());
    ASSERT_TRUE(document.isArray()) << qPrintable(run.out);
    const QJsonArray list = document.array();
    ASSERT_EQ(list.size(), 3);

    const QJsonObject first = list.at(0).toObject();
    EXPECT_EQ(first.keys(),
              (QStringList{u"csv_path"_s, u"date_time_display"_s, u"download_mbps"_s, u"duration_min"_s,
                           u"id"_s, u"location"_s, u"loss_pct"_s, u"median_latency_ms"_s, u"network"_s,
                           u"timestamp"_s, u"upload_mbps"_s}));
    EXPECT_EQ(first.value("csv_path"_L1).toString(), folder + u'/' + newest);
    EXPECT_EQ(first.value("timestamp"_L1).toString(), u"2025-06-01T12:00:00Z"_s);
    EXPECT_EQ(first.value("location"_L1).toString(), u"Hotel Lobby"_s);
    EXPECT_EQ(first.value("network"_L1).toString(), u"Guest WiFi"_s);
    EXPECT_EQ(first.value("duration_min"_L1).toDouble(), 12.0);
    EXPECT_EQ(first.value("median_latency_ms"_L1).toDouble(), 25.0);
    EXPECT_EQ(first.value("loss_pct"_L1).toDouble(), 25.0);
    EXPECT_EQ(first.value("download_mbps"_L1).toDouble(), 187.9);
    EXPECT_EQ(first.value("upload_mbps"_L1).toDouble(), 42.6);
    EXPECT_FALSE(QUuid::fromString(first.value("id"_L1).toString()).isNull());

    const QJsonObject untitled = list.at(2).toObject();
    EXPECT_TRUE(untitled.value("timestamp"_L1).isNull()); // the distant past
    EXPECT_FALSE(untitled.value("date_time_display"_L1).toString().isEmpty());
    EXPECT_TRUE(untitled.value("median_latency_ms"_L1).isNull());
    EXPECT_TRUE(untitled.value("duration_min"_L1).isNull());
    EXPECT_EQ(untitled.value("location"_L1).toString(), QString());
}

TEST_F(LibraryVerbTest, FilterShowsTheMatchingRowsAndCountsThemAgainstAll) {
    const CliRun run = runCli({u"library"_s, folder, u"--filter"_s, u"cellULAR"_s});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QStringList rows = lines(run.out);
    ASSERT_EQ(rows.size(), 3) << qPrintable(run.out);
    EXPECT_TRUE(rows.at(1).contains(u"Airport Gate 12"_s));
    EXPECT_EQ(rows.at(2), u"1 of 3 captures"_s);

    const CliRun json = runCli({u"library"_s, folder, u"--json"_s, u"--filter=lobby"_s});
    EXPECT_EQ(QJsonDocument::fromJson(json.out.toUtf8()).array().size(), 1);
}

TEST_F(LibraryVerbTest, UsesAndRefreshesTheStatsCacheAsThePickerDoes) {
    const QString cachePath = folder + u"/.stats_cache.json"_s;
    ASSERT_EQ(runCli({u"library"_s, folder}).exitCode, 0);
    QJsonObject cache = QJsonDocument::fromJson(readAll(cachePath)).object();
    ASSERT_EQ(cache.size(), 3);
    EXPECT_EQ(cache.value(newest).toObject().value("medianLatencyMs"_L1).toDouble(), 25.0);

    // A cached figure for a file of the same size is believed.
    QJsonObject entry = cache.value(newest).toObject();
    entry.insert("lastDownloadMbps"_L1, 999.0);
    cache.insert(newest, entry);
    write(cachePath, QJsonDocument(cache).toJson());
    EXPECT_TRUE(lines(runCli({u"library"_s, folder}).out).at(1).contains(u" 999 "_s));

    // A grown file is scanned again and the cache rewritten.
    QFile csv(folder + u'/' + newest);
    ASSERT_TRUE(csv.open(QIODevice::Append));
    csv.write("2025-06-01T12:12:40.000Z,throughput_down,speed.example,,0,9,,201.5,,6,\n");
    csv.close();
    const QStringList rows = lines(runCli({u"library"_s, folder}).out);
    EXPECT_TRUE(rows.at(1).contains(u" 201 "_s)) << qPrintable(rows.at(1));
    EXPECT_EQ(QJsonDocument::fromJson(readAll(cachePath))
                  .object()
                  .value(newest)
                  .toObject()
                  .value("fileSize"_L1)
                  .toInteger(),
              QFileInfo(folder + u'/' + newest).size());
}

TEST_F(LibraryVerbTest, DeleteRemovesTheCaptureWithItsSideFileMetadataAndCacheEntry) {
    ASSERT_EQ(runCli({u"library"_s, folder}).exitCode, 0);
    const CliRun run = runCli({u"library"_s, folder, u"--delete"_s, newest});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QStringList rows = lines(run.out);
    EXPECT_EQ(rows.first(), u"Deleted "_s + newest);
    EXPECT_EQ(rows.last(), u"2 captures"_s);
    EXPECT_FALSE(QFileInfo::exists(folder + u'/' + newest));
    EXPECT_FALSE(QFileInfo::exists(folder + u"/wifi_capture_20250601T120000Z_throughput_raw.csv"_s));
    const QJsonArray entries = QJsonDocument::fromJson(readAll(folder + u"/captures.json"_s)).array();
    ASSERT_EQ(entries.size(), 2);
    EXPECT_EQ(entries.at(0).toObject().value("capture_id"_L1).toString(), u"lib-2"_s); // unknown keys stay
    EXPECT_FALSE(
        QJsonDocument::fromJson(readAll(folder + u"/.stats_cache.json"_s)).object().contains(newest));
}

TEST_F(LibraryVerbTest, DeleteByPathWorksToo) {
    const CliRun run = runCli({u"library"_s, folder, u"--json"_s, u"--delete"_s, folder + u'/' + newest});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    EXPECT_EQ(QJsonDocument::fromJson(run.out.toUtf8()).array().size(), 2);
    EXPECT_FALSE(QFileInfo::exists(folder + u'/' + newest));
}

TEST_F(LibraryVerbTest, DeleteOfACaptureThatIsNotListedFails) {
    const CliRun run = runCli({u"library"_s, folder, u"--delete"_s, u"notes.txt"_s});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_TRUE(run.err.contains(u"no capture named 'notes.txt'"_s)) << qPrintable(run.err);
    EXPECT_TRUE(QFileInfo::exists(folder + u"/notes.txt"_s));
}

TEST_F(LibraryVerbTest, FolderWithoutCapturesShowsTheEmptyState) {
    const QString empty = home.path() + u"/empty"_s;
    QDir().mkpath(empty);
    const CliRun run = runCli({u"library"_s, empty});
    EXPECT_EQ(run.exitCode, 0);
    EXPECT_EQ(lines(run.out),
              (QStringList{u"No captures found"_s,
                           u"Run a test first, or check the capture directory in Settings"_s}));
    EXPECT_EQ(runCli({u"library"_s, empty, u"--json"_s}).out.trimmed(), u"[\n]"_s);
}

TEST_F(LibraryVerbTest, WithoutAFolderListsTheCaptureFolder) {
    const QString captures = home.path() + u"/.local/share/Norvane/captures"_s;
    QDir().mkpath(captures);
    QFile::copy(folder + u'/' + newest, captures + u'/' + newest);
    const CliRun run = runCli({u"library"_s, u"--json"_s});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QJsonArray list = QJsonDocument::fromJson(run.out.toUtf8()).array();
    ASSERT_EQ(list.size(), 1);
    EXPECT_EQ(list.at(0).toObject().value("csv_path"_L1).toString(), captures + u'/' + newest);
}

TEST_F(LibraryVerbTest, UnreadableCsvIsListedWithoutFiguresAndWarnedInTheLog) {
    write(folder + u"/wifi_capture_20260101T000000Z.csv"_s, "timestamp\n\xFF\xFE\n");
    const CliRun run = runCli({u"library"_s, folder});
    ASSERT_EQ(run.exitCode, 0) << qPrintable(run.err);
    const QStringList rows = lines(run.out);
    ASSERT_EQ(rows.size(), 6);
    EXPECT_TRUE(rows.at(1).simplified().endsWith(u"--- --- --- --- ---"_s)) << qPrintable(rows.at(1));
    const QString log =
        QString::fromUtf8(readAll(home.path() + u"/.local/state/Norvane/logs/linux-app.log"_s));
    EXPECT_TRUE(log.contains(u"WARN  [CSV] CSV quickStats failed: "_s + folder +
                             u"/wifi_capture_20260101T000000Z.csv error="_s))
        << qPrintable(log);
}

TEST_F(LibraryVerbTest, BadArgumentsAreRefusedWithUsage) {
    for (const QStringList& arguments :
         {QStringList{u"library"_s, u"--frobnicate"_s}, QStringList{u"library"_s, folder, u"--filter"_s},
          QStringList{u"library"_s, folder, folder}}) {
        const CliRun run = runCli(arguments);
        EXPECT_EQ(run.exitCode, 2) << qPrintable(arguments.join(u' '));
        EXPECT_TRUE(run.err.contains(u"Usage: norvane-cli library"_s)) << qPrintable(run.err);
    }
}

TEST_F(LibraryVerbTest, HelpNamesTheVerb) {
    const CliRun run = runCli({u"--help"_s});
    EXPECT_TRUE(run.out.contains(u"\n  library [DIR] [--json] [--filter TEXT] [--delete FILE]"_s))
        << qPrintable(run.out);
}
