#include "cli/AnalyzeVerb.h"

#include "support/CliRun.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTextStream>

using namespace Qt::StringLiterals;

namespace {

CliRun analyze(const QStringList& arguments) {
    return runVerb(runAnalyzeVerb, arguments);
}

const QString capture = u"analyze/wifi_capture_20260314T093000Z.csv"_s;

} // namespace

TEST(AnalyzeVerb, JsonOfARecordedCellularCaptureMatchesItsGoldenFile) {
    TempHome home;
    const CliRun run = analyze({testDataPath(capture), u"--json"_s});
    ASSERT_EQ(run.exitCode, 0) << run.err.toStdString();
    QFile expectedFile(testDataPath(u"analyze/wifi_capture_20260314T093000Z.expected.json"_s));
    ASSERT_TRUE(expectedFile.open(QIODevice::ReadOnly));
    const QJsonObject expected = QJsonDocument::fromJson(expectedFile.readAll()).object();
    const QJsonObject actual = QJsonDocument::fromJson(run.out.toUtf8()).object();
    EXPECT_EQ(actual, expected) << run.out.toStdString();
}

TEST(AnalyzeVerb, ReportsWhatTheCaptureHolds) {
    TempHome home;
    const QJsonObject result =
        QJsonDocument::fromJson(analyze({testDataPath(capture), u"--json"_s}).out.toUtf8()).object();
    EXPECT_EQ(result[u"location"_s].toString(), u"Gate 12"_s) << "from captures.json";
    EXPECT_EQ(result[u"network"_s].toString(), u"Hotspot"_s);
    EXPECT_EQ(result[u"blocked_targets"_s].toArray(), QJsonArray{u"tcp:8.8.8.8:853"_s});
    const QJsonArray figures = result[u"figures"_s].toArray();
    ASSERT_EQ(figures.size(), 5);
    QStringList titles;
    for (const QJsonValue& figure : figures)
        titles.append(figure[u"title"_s].toString());
    EXPECT_EQ(titles, (QStringList{u"RTT (P50)"_s, u"Packet Loss"_s, u"Download (P50)"_s, u"Upload (P50)"_s,
                                   u"Signal"_s}));
    EXPECT_FALSE(result[u"traceroute"_s].isNull());
    EXPECT_FALSE(result[u"traceroute"_s][u"hops"_s].toArray().isEmpty());
    EXPECT_FALSE(result[u"percentiles"_s].isNull());
    EXPECT_GT(result[u"loss_buckets"_s].toInt(), 0);
    EXPECT_EQ(result[u"quick_stats"_s].toObject().keys(),
              (QStringList{u"duration_min"_s, u"last_download_mbps"_s, u"last_upload_mbps"_s, u"loss_pct"_s,
                           u"median_latency_ms"_s}));
}

TEST(AnalyzeVerb, TextNamesTheVerdictAndTheBlockedTarget) {
    TempHome home;
    const CliRun run = analyze({testDataPath(capture)});
    ASSERT_EQ(run.exitCode, 0);
    EXPECT_TRUE(run.out.contains(u"\nVerdict: "_s));
    EXPECT_TRUE(run.out.contains(u"Blocked targets: tcp:8.8.8.8:853"_s));
    EXPECT_TRUE(run.out.contains(u"Traceroute: "_s));
}

TEST(AnalyzeVerb, UnreadableFileSaysSoAndFails) {
    TempHome home;
    const CliRun run = analyze({home.path() + u"/missing.csv"_s});
    EXPECT_EQ(run.exitCode, 1);
    EXPECT_EQ(run.err, u"Could not load CSV file\n"_s);
    EXPECT_TRUE(run.out.isEmpty());
}
