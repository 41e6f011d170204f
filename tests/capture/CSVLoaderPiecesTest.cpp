#include "capture/CSVLoader.h"

#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDateTime>
#include <QTemporaryDir>

#include <random>

using namespace Qt::StringLiterals;

// A capture read in many small pieces must come out exactly as one pass over the whole file gives it,
// whatever rows the cuts fall between.

namespace {

// Rows of every type, in a seeded random order, so that speed tests, traceroutes and session rows
// straddle the cuts; with CR LF ends, Unicode line ends and broken rows among them.
QByteArray mixedCapture(std::uint64_t seed, int rows) {
    std::mt19937_64 random(seed);
    auto below = [&random](int n) { return std::uniform_int_distribution<int>(0, n - 1)(random); };
    QByteArray out = "timestamp,type,target,value,lost,seq,hop_count,mbps,bytes,streams,details\n";
    const QDateTime start(QDate(2026, 3, 14), QTime(9, 30), Qt::UTC);
    const char* const probes[] = {"ping", "udp", "tcp", "http", "quic", "dns"};
    const char* const targets[] = {"1.1.1.1", "8.8.8.8", "192.168.1.1", "www.example.com"};
    for (int i = 0; i < rows; ++i) {
        const QByteArray ts = start.addMSecs(qint64(i) * 250).toString(Qt::ISODateWithMs).toLatin1();
        const QByteArray n = QByteArray::number(i);
        const QByteArray value = QByteArray::number(1 + below(4000) / 10.0);
        switch (below(40)) {
        case 0:
            out += ts + ",throughput_down,speed.example," + value + ",0," + n + ",," + value + ",1000,4,\n";
            break;
        case 1:
        case 2:
            out += ts + ",throughput_up,speed.example," + value + ",0," + n + ",," + value + ",1000,4,\n";
            break;
        case 3:
            out += ts + ",wifi,wlan0,-" + QByteArray::number(40 + below(40)) + ",0," + n + ",,,,,ssid=Net" +
                   QByteArray::number(below(3)) + " channel=36\n";
            break;
        case 4:
            out += ts + ",traceroute,1.1.1.1,,0," + n + "," + QByteArray::number(below(5)) +
                   ",,,,h1=192.168.1.1(1.5ms) h2=10.0.0." + QByteArray::number(below(9)) + "(" + value +
                   "ms) first_hop=192.168.1.1\n";
            break;
        case 5:
            out += ts + ",session_start,linux/dev,,0," + n + ",,,,,capture_id=cap-" + n + "\n";
            break;
        case 6:
            out += ts + ",session_end,linux/dev,,0," + n + ",,,,,duration=" + value + "s\n";
            break;
        case 7:
            out += ts + ",throughput_observed,en0,,0," + n + ",,,,,dl_mbps=" + value + " ul_mbps=1.5\n";
            break;
        case 8:
            out += ts + ",ping,1.1.1.1," + value + ",0," + n + ",,,,,\r\n";
            break;
        case 9:
            out += ts + ",udp,8.8.8.8:53," + value + ",0," + n + ",,,,,\xE2\x80\xA8";
            out += "not,a,row\n";
            break;
        case 10:
            out += "broken row\n\n";
            break;
        case 11:
            out += ts + ",throughput_down,speed.example,,0," + n + ",,oops,1000,4,\n";
            break;
        default: {
            const bool lost = below(20) == 0;
            out += ts + "," + probes[below(6)] + "," + targets[below(4)] + "," + (lost ? "" : value) + "," +
                   (lost ? "1" : "0") + "," + n + ",,,,,\n";
            break;
        }
        }
    }
    return out;
}

void expectSameCapture(const CSVLoader::LoadedCapture& pieces, const CSVLoader::LoadedCapture& whole) {
    EXPECT_EQ(pieces.latencyPoints, whole.latencyPoints);
    EXPECT_EQ(pieces.throughputPoints, whole.throughputPoints);
    EXPECT_EQ(pieces.rssiHistory, whole.rssiHistory);
    EXPECT_EQ(pieces.traceroutePoints, whole.traceroutePoints);
    EXPECT_EQ(pieces.speedTestRanges, whole.speedTestRanges);
    EXPECT_EQ(pieces.observedThroughputPoints, whole.observedThroughputPoints);
    EXPECT_EQ(pieces.location, whole.location);
    EXPECT_EQ(pieces.network, whole.network);
    EXPECT_EQ(pieces.ssid, whole.ssid);
    EXPECT_EQ(pieces.captureId, whole.captureId);
    EXPECT_EQ(pieces.captureDate, whole.captureDate);
    EXPECT_EQ(pieces.durationSec, whole.durationSec);
    EXPECT_EQ(pieces.sampleCount, whole.sampleCount);
    EXPECT_EQ(pieces.csvFile, whole.csvFile);
    EXPECT_EQ(pieces.lastDownloadMbps, whole.lastDownloadMbps);
    EXPECT_EQ(pieces.lastUploadMbps, whole.lastUploadMbps);
    EXPECT_EQ(pieces.lastRSSI, whole.lastRSSI);
}

} // namespace

TEST(CSVLoaderPieces, ACaptureReadInPiecesEqualsTheCaptureReadInOnePass) {
    QTemporaryDir dir;
    for (const std::uint64_t seed : {1u, 2u, 3u}) {
        const QString path = writeFile(dir, u"capture.csv"_s, mixedCapture(seed, 4000));
        const std::optional<CSVLoader::LoadedCapture> whole = CSVLoader::load(path, 0);
        ASSERT_TRUE(whole);
        ASSERT_GT(whole->speedTestRanges.size(), 10);
        for (const qint64 pieceSize : {1, 97, 1000, 6000, 50'000}) {
            SCOPED_TRACE(pieceSize);
            const std::optional<CSVLoader::LoadedCapture> pieces = CSVLoader::load(path, pieceSize);
            ASSERT_TRUE(pieces);
            expectSameCapture(*pieces, *whole);
            EXPECT_EQ(CSVLoader::quickStats(path, pieceSize), CSVLoader::quickStats(path, 0));
        }
    }
}

TEST(CSVLoaderPieces, EveryRecordedCaptureReadsTheSameInTinyPieces) {
    for (const QString& name :
         {u"csv/every_row_type.csv"_s, u"csv/rows_crlf.csv"_s, u"csv/unicode_newlines.csv"_s,
          u"csv/two_downloads_one_upload.csv"_s, u"csv/upload_first.csv"_s, u"csv/quick_stats.csv"_s,
          u"results-charts/good.csv"_s}) {
        SCOPED_TRACE(name.toStdString());
        const std::optional<CSVLoader::LoadedCapture> whole = CSVLoader::load(testDataPath(name), 0);
        const std::optional<CSVLoader::LoadedCapture> pieces = CSVLoader::load(testDataPath(name), 1);
        ASSERT_EQ(pieces.has_value(), whole.has_value());
        if (whole)
            expectSameCapture(*pieces, *whole);
        EXPECT_EQ(CSVLoader::quickStats(testDataPath(name), 1), CSVLoader::quickStats(testDataPath(name), 0));
    }
}

TEST(CSVLoaderPieces, TextThatIsNotUtf8InALaterPieceFailsTheWholeLoad) {
    QTemporaryDir dir;
    QByteArray content = mixedCapture(7, 500);
    content += "2026-03-14T09:31:00.000Z,ping,1.1.1.1,\xC3(,0,1,,,,,\n";
    content += mixedCapture(8, 100).mid(80);
    const QString path = writeFile(dir, u"broken.csv"_s, content);
    EXPECT_FALSE(CSVLoader::load(path, 0));
    EXPECT_FALSE(CSVLoader::load(path, 1000));
    EXPECT_EQ(CSVLoader::quickStats(path, 1000), CSVLoader::QuickStats{});
}
