// Files that no tool wrote: neither reader may crash, and each gives the result the rules give.

#include "capture/CSVLoader.h"
#include "capture/CaptureLibrary.h"

#include "CaptureDataTestSupport.h"
#include "CaptureTestPrinters.h"
#include "platform/Locations.h"
#include "services/FileLogger.h"
#include "support/TempHome.h"

#include <gtest/gtest.h>

#include <QDir>
#include <QRandomGenerator>
#include <QTemporaryDir>

using namespace Qt::StringLiterals;

namespace {

const QByteArray header = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n";
const QByteArray pingRow = "2026-01-02T03:04:05.000Z,ping,1.1.1.1,12.5,0,1,,,,,\n";

QByteArray randomBytes(int size, quint32 seed) {
    QByteArray bytes(size, Qt::Uninitialized);
    QRandomGenerator random(seed);
    for (char& byte : bytes)
        byte = static_cast<char>(random.bounded(256));
    return bytes;
}

QString logText() {
    FileLogger::shared().waitForIdle();
    return QString::fromUtf8(readFile(FileLogger::shared().logPath()));
}

} // namespace

class CaptureBadInput : public ::testing::Test {
protected:
    QTemporaryDir dir;
    QString write(const QString& name, const QByteArray& bytes) {
        const QString path = dir.filePath(name);
        EXPECT_TRUE(writeFile(path, bytes));
        return path;
    }
};

TEST_F(CaptureBadInput, RandomBytesAreNotUtf8AndGiveNothing) {
    const QByteArray bytes = randomBytes(256 * 1024, 7);
    ASSERT_FALSE(QByteArrayView(bytes).isValidUtf8());
    const QString path = write(u"random.csv"_s, bytes);
    EXPECT_FALSE(CSVLoader::load(path).has_value());
    EXPECT_EQ(CSVLoader::quickStats(path), CSVLoader::QuickStats{});
}

TEST_F(CaptureBadInput, TenMegabytesWithoutALineEndAreOneLineAndGiveNothing) {
    QByteArray bytes = header;
    bytes.chop(1);
    while (bytes.size() < 10 * 1024 * 1024)
        bytes += ",2026-01-02T03:04:05.000Z,ping,1.1.1.1,12.5,0,1";
    const QString path = write(u"long.csv"_s, bytes);
    EXPECT_FALSE(CSVLoader::load(path).has_value());
    EXPECT_EQ(CSVLoader::quickStats(path), CSVLoader::QuickStats{});
}

TEST_F(CaptureBadInput, ARowOfAThousandColumnsReadsItsFirstElevenOnly) {
    QByteArray ping = "2026-01-02T03:04:05.000Z,ping,1.1.1.1,12.5,0,1,,,,,";
    QByteArray wifi = "2026-01-02T03:04:06.000Z,wifi,wlan0,-50,0,2,,,,,ssid=Wide";
    for (int i = 0; i < 989; ++i) {
        ping += ",x";
        wifi += ",ssid=Other";
    }
    const QString path = write(u"wide.csv"_s, header + ping + '\n' + wifi + '\n');
    const auto capture = CSVLoader::load(path);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, 2);
    ASSERT_EQ(capture->latencyPoints.size(), 1);
    EXPECT_EQ(capture->latencyPoints.first().rttMs, 12.5);
    EXPECT_EQ(capture->ssid, u"Wide"_s);
    EXPECT_EQ(capture->lastRSSI, -50);
    EXPECT_EQ(CSVLoader::quickStats(path).medianLatencyMs, 12.5);
}

TEST_F(CaptureBadInput, NumbersThatAreNotFiniteOrDontFitArePassedOver) {
    const QString path = write(u"odd_numbers.csv"_s,
                               header + "2026-01-02T03:04:05.000Z,wifi,wlan0,inf,0,1,,,,,\n"
                                        "2026-01-02T03:04:06.000Z,wifi,wlan0,nan,0,2,,,,,\n"
                                        "2026-01-02T03:04:07.000Z,wifi,wlan0,1e300,0,3,,,,,\n"
                                        "2026-01-02T03:04:08.000Z,ping,1.1.1.1,1e999,0,4,,,,,\n"
                                        "2026-01-02T03:04:09.000Z,ping,1.1.1.1,+7.5,0,5,,,,,\n"
                                        "2026-01-02T03:04:10.000Z,traceroute,1.1.1.1,,0,6,99999999999,,,,\n");
    const auto capture = CSVLoader::load(path);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, 6);
    EXPECT_TRUE(capture->rssiHistory.isEmpty());
    EXPECT_FALSE(capture->lastRSSI.has_value());
    ASSERT_EQ(capture->latencyPoints.size(), 2);
    EXPECT_FALSE(capture->latencyPoints.at(0).rttMs.has_value());
    EXPECT_EQ(capture->latencyPoints.at(1).rttMs, 7.5);
    EXPECT_TRUE(capture->traceroutePoints.isEmpty());
}

TEST_F(CaptureBadInput, CapturesJsonThatIsNotAListOfEntriesIsIgnored) {
    const QString csv = write(u"wifi_capture_20260102T030405Z.csv"_s, header + pingRow);
    const QByteArray good =
        R"({"file": "wifi_capture_20260102T030405Z.csv", "location": "Hotel", "network_type": "Guest"})";
    const QList<QByteArray> variants = {
        "42",
        "{\"file\": \"wifi_capture_20260102T030405Z.csv\", \"location\": \"Hotel\"}",
        "[" + good + ", {\"location\": \"No file\"}]",
        "[" + good + ", 7]",
        "[" + good + ", {\"file\": 12}]",
        "[" + good + ", {\"file\": \"x.csv\", \"location\": 5}]",
        "[" + good + ",",
        "",
    };
    for (const QByteArray& json : variants) {
        ASSERT_TRUE(writeFile(dir.filePath(u"captures.json"_s), json));
        const auto capture = CSVLoader::load(csv);
        ASSERT_TRUE(capture) << json.constData();
        EXPECT_FALSE(capture->location.has_value()) << json.constData();
        EXPECT_FALSE(capture->network.has_value()) << json.constData();
        EXPECT_TRUE(CaptureLibrary::loadMetadata(dir.path()).isEmpty()) << json.constData();
        const QList<CaptureSummary> list =
            CaptureLibrary::loadCaptureSummaries(dir.path(), QDateTime::currentDateTimeUtc());
        ASSERT_EQ(list.size(), 1);
        EXPECT_EQ(list.first().location, QString()) << json.constData();
    }

    // The same file with only good elements is read, by both.
    ASSERT_TRUE(writeFile(dir.filePath(u"captures.json"_s), "[" + good + "]"));
    EXPECT_EQ(CSVLoader::load(csv)->location, u"Hotel"_s);
    EXPECT_EQ(
        CaptureLibrary::loadMetadata(dir.path()).value(u"wifi_capture_20260102T030405Z.csv"_s).networkType,
        u"Guest"_s);
}

TEST_F(CaptureBadInput, LoaderNeedsOnlyFileWhileTheLibraryNeedsLocationAndNetworkToo) {
    const QString csv = write(u"wifi_capture_20260102T030405Z.csv"_s, header + pingRow);
    ASSERT_TRUE(writeFile(
        dir.filePath(u"captures.json"_s),
        R"([{"file": "wifi_capture_20260102T030405Z.csv", "location": "Hotel", "network_type": null},
                              {"file": "other.csv"}])"));
    const auto capture = CSVLoader::load(csv);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->location, u"Hotel"_s);
    EXPECT_FALSE(capture->network.has_value());
    EXPECT_TRUE(CaptureLibrary::loadMetadata(dir.path()).isEmpty());
}

TEST(CaptureReadWarnings, LoadOfAFileThatCantBeReadWarnsWithItsPath) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        const QString missing = home.path() + u"/missing.csv"_s;
        EXPECT_FALSE(CSVLoader::load(missing).has_value());
        const QString log = logText();
        EXPECT_TRUE(log.contains(u"WARN  [CSV] CSV load failed: "_s + missing + u" error="_s))
            << qPrintable(log);
    });
}

TEST(CaptureReadWarnings, QuickStatsOfAFileThatCantBeReadWarnsAndGivesNoFigures) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        const QString missing = home.path() + u"/missing.csv"_s;
        EXPECT_EQ(CSVLoader::quickStats(missing), CSVLoader::QuickStats{});
        const QString log = logText();
        EXPECT_TRUE(log.contains(u"WARN  [CSV] CSV quickStats failed: "_s + missing + u" error="_s))
            << qPrintable(log);
    });
}

TEST(CaptureReadWarnings, TextThatIsNotUtf8WarnsLikeAnUnreadableFile) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        const QString path = home.path() + u"/latin1.csv"_s;
        EXPECT_TRUE(
            writeFile(path, header + "2026-01-02T03:04:05.000Z,wifi,wlan0,-50,0,1,,,,,ssid=Caf\xE9\n"));
        EXPECT_FALSE(CSVLoader::load(path).has_value());
        EXPECT_EQ(CSVLoader::quickStats(path), CSVLoader::QuickStats{});
        const QString log = logText();
        EXPECT_TRUE(log.contains(u"CSV load failed: "_s + path + u" error="_s)) << qPrintable(log);
        EXPECT_TRUE(log.contains(u"CSV quickStats failed: "_s + path + u" error="_s)) << qPrintable(log);
    });
}

TEST(CaptureReadWarnings, FewerThanTwoLinesAndBadRowsSayNothing) {
    EXPECT_IN_FRESH_PROCESS({
        TempHome home;
        const QString path = home.path() + u"/short.csv"_s;
        EXPECT_TRUE(writeFile(path, header.chopped(1)));
        EXPECT_FALSE(CSVLoader::load(path).has_value());
        const QString rows = home.path() + u"/rows.csv"_s;
        EXPECT_TRUE(writeFile(rows, header + "garbage\n2026-01-02T03:04:05Z,ping,x,y,z\n"));
        EXPECT_TRUE(CSVLoader::load(rows).has_value());
        EXPECT_FALSE(logText().contains(u"[CSV]"_s));
    });
}
