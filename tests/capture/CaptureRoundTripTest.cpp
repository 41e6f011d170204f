// Captures written by the tool simulator read back with what the simulator said it wrote: its event
// stream names every probe, speed test and traceroute as it writes the matching row.

#include "capture/CSVLoader.h"
#include "capture/CaptureLibrary.h"

#include "CaptureTestPrinters.h"
#include "support/TempHome.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QProcessEnvironment>

#include <cmath>

using namespace Qt::StringLiterals;

namespace {

const QStringList latencyTypes = {u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"quic"_s, u"dns"_s};

struct SimulatedCapture {
    QString csvPath;
    QList<QJsonObject> events;
    QString error;
};

// Plays one capture of the simulator at a high speed factor and keeps its events.
SimulatedCapture runSimulator(const QString& home, const QString& scenario, const QString& duration,
                              const QStringList& extra = {}) {
    SimulatedCapture run;
    run.csvPath = home + u"/captures/wifi_capture_20260102T030405Z.csv"_s;
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(u"HOME"_s, home);
    environment.insert(u"NORVANE_SIM_SCENARIO"_s, scenario);
    environment.insert(u"NORVANE_SIM_SPEED"_s, u"1200"_s);
    environment.insert(u"NORVANE_SIM_SEED"_s, u"11"_s);
    process.setProcessEnvironment(environment);
    process.setWorkingDirectory(home);
    QStringList arguments = {simulatorDir() + u"/uv"_s,
                             u"run"_s,
                             u"--offline"_s,
                             u"--python"_s,
                             u"3.12"_s,
                             u"--with"_s,
                             u"requests==2.33.1,aioquic==1.3.0,yt-dlp"_s,
                             u"--directory"_s,
                             home,
                             u"-m"_s,
                             u"norvane.cli"_s,
                             u"--json"_s,
                             u"-o"_s,
                             run.csvPath,
                             u"--location"_s,
                             u"Round Trip Hotel"_s,
                             u"--network"_s,
                             u"Hotel WiFi"_s,
                             u"--duration"_s,
                             duration};
    arguments += extra;
    arguments += {u"--client"_s, u"linux/dev"_s};
    process.start(u"python3"_s, arguments);
    if (!process.waitForFinished(120'000)) {
        process.kill();
        process.waitForFinished();
        run.error = u"the simulator did not finish"_s;
        return run;
    }
    const QList<QByteArray> lines = process.readAllStandardOutput().split('\n');
    for (const QByteArray& line : lines) {
        const QJsonDocument document = QJsonDocument::fromJson(line);
        if (document.isObject())
            run.events.append(document.object());
    }
    if (process.exitCode() != 0)
        run.error = QString::fromUtf8(process.readAllStandardError());
    return run;
}

QList<QJsonObject> eventsNamed(const SimulatedCapture& run, const QString& name) {
    QList<QJsonObject> found;
    for (const QJsonObject& event : run.events) {
        if (event.value("event"_L1).toString() == name)
            found.append(event);
    }
    return found;
}

QDateTime eventTime(const QJsonObject& event) {
    return QDateTime::fromString(event.value("ts"_L1).toString(), Qt::ISODateWithMs).toUTC();
}

// Everything the events say about the capture, checked against what the loader read from the CSV.
void expectLoadMatchesEvents(const SimulatedCapture& run) {
    ASSERT_TRUE(run.error.isEmpty()) << qPrintable(run.error);
    const QList<QJsonObject> complete = eventsNamed(run, u"complete"_s);
    ASSERT_EQ(complete.size(), 1);
    const QJsonObject info = eventsNamed(run, u"info"_s).value(0);

    const auto capture = CSVLoader::load(run.csvPath);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, complete.first().value("samples"_L1).toInt());
    EXPECT_NEAR(capture->durationSec, complete.first().value("duration_sec"_L1).toDouble(), 0.051);
    EXPECT_EQ(capture->captureId, info.value("capture_id"_L1).toString());
    EXPECT_EQ(capture->ssid, info.value("ssid"_L1).toString());
    EXPECT_EQ(capture->location, u"Round Trip Hotel"_s);
    EXPECT_EQ(capture->network, u"Hotel WiFi"_s);

    // Latency: one point per probe event, in the same order, with the same figures.
    QList<LatencyPoint> expectedLatency;
    QList<ObservedThroughputPoint> expectedObserved;
    for (const QJsonObject& probe : eventsNamed(run, u"probe"_s)) {
        const QString type = probe.value("type"_L1).toString();
        if (latencyTypes.contains(type)) {
            const QJsonValue rtt = probe.value("rtt_ms"_L1);
            expectedLatency.append(
                {eventTime(probe), rtt.isDouble() ? std::optional(rtt.toDouble()) : std::nullopt,
                 probe.value("loss"_L1).toBool(), type, probe.value("target"_L1).toString()});
        } else if (type == u"throughput_observed"_s) {
            expectedObserved.append({eventTime(probe), probe.value("dl_mbps"_L1).toDouble(),
                                     probe.value("ul_mbps"_L1).toDouble()});
        }
    }
    ASSERT_EQ(capture->latencyPoints.size(), expectedLatency.size());
    for (qsizetype i = 0; i < expectedLatency.size(); ++i)
        ASSERT_EQ(capture->latencyPoints.at(i), expectedLatency.at(i)) << "latency point " << i;
    EXPECT_EQ(capture->observedThroughputPoints, expectedObserved);

    // Speed tests: each result with a rate is a point under the simulator's own test number; a
    // download and the upload after it make one range.
    QList<ThroughputPoint> expectedThroughput;
    QList<SpeedTestRange> expectedRanges;
    std::optional<QDateTime> pendingStart;
    for (const QJsonObject& result : eventsNamed(run, u"throughput_result"_s)) {
        if (result.contains("error"_L1))
            continue;
        const bool download = result.value("direction"_L1).toString() == u"download"_s;
        const int testNum = result.value("test_num"_L1).toInt();
        expectedThroughput.append({testNum, result.value("mbps"_L1).toDouble(),
                                   result.value("direction"_L1).toString(),
                                   result.value("target"_L1).toString(), eventTime(result)});
        if (download) {
            pendingStart = eventTime(result);
        } else if (pendingStart) {
            expectedRanges.append({*pendingStart, eventTime(result), u"download"_s, testNum});
            pendingStart.reset();
        }
    }
    EXPECT_EQ(capture->throughputPoints, expectedThroughput);
    EXPECT_EQ(capture->speedTestRanges, expectedRanges);

    // Traceroutes: the hop count, and every hop that has a time (a "*" hop has none and no item).
    const QList<QJsonObject> routes = eventsNamed(run, u"traceroute_result"_s);
    ASSERT_EQ(capture->traceroutePoints.size(), routes.size());
    for (qsizetype i = 0; i < routes.size(); ++i) {
        const TraceroutePoint& point = capture->traceroutePoints.at(i);
        EXPECT_EQ(point.hopCount, routes.at(i).value("hop_count"_L1).toInt());
        EXPECT_EQ(point.target, routes.at(i).value("target"_L1).toString());
        QList<QPair<int, QString>> expectedHops;
        const QJsonArray hops = routes.at(i).value("hops"_L1).toArray();
        for (const QJsonValue& hop : hops) {
            if (hop.toObject().contains("rtt_ms"_L1))
                expectedHops.append(
                    {hop.toObject().value("hop"_L1).toInt(), hop.toObject().value("ip"_L1).toString()});
        }
        QList<QPair<int, QString>> hopsRead;
        for (const HopDetail& hop : point.hops) {
            hopsRead.append({hop.hop, hop.ip});
            EXPECT_TRUE(hop.rttMs && hop.deltaMs && *hop.deltaMs >= 0);
        }
        EXPECT_EQ(hopsRead, expectedHops) << "traceroute " << i;
        EXPECT_EQ(point.firstHop, hops.first().toObject().value("ip"_L1).toString());
    }

    // The fast scan agrees on what it shares with the full read.
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(run.csvPath);
    qsizetype pings = 0;
    qsizetype lost = 0;
    for (const LatencyPoint& point : capture->latencyPoints) {
        if (point.probeType == u"ping"_s) {
            ++pings;
            lost += point.loss ? 1 : 0;
        }
    }
    if (pings > 0) {
        EXPECT_DOUBLE_EQ(*stats.lossPct, 100.0 * double(lost) / double(pings));
    }
    EXPECT_NEAR(*stats.durationMin * 60.0, capture->durationSec, 1e-9);
}

} // namespace

TEST(CaptureRoundTrip, GoodCaptureLoadsWhatTheSimulatorWrote) {
    TempHome home;
    const SimulatedCapture run = runSimulator(home.path(), u"good"_s, u"10m"_s);
    expectLoadMatchesEvents(run);
    const auto capture = CSVLoader::load(run.csvPath);
    ASSERT_TRUE(capture);
    // Enough of everything that the comparison means something.
    EXPECT_GT(capture->latencyPoints.size(), 1000);
    EXPECT_GE(capture->speedTestRanges.size(), 2);
    EXPECT_GE(capture->traceroutePoints.size(), 2);
    EXPECT_FALSE(capture->rssiHistory.isEmpty());
}

TEST(CaptureRoundTrip, CellularCaptureWithLossAndAFailedUploadLoadsWhatTheSimulatorWrote) {
    TempHome home;
    const SimulatedCapture run = runSimulator(home.path(), u"cellular"_s, u"10m"_s);
    expectLoadMatchesEvents(run);
    const auto capture = CSVLoader::load(run.csvPath);
    ASSERT_TRUE(capture);
    const auto lostPoints = std::count_if(capture->latencyPoints.begin(), capture->latencyPoints.end(),
                                          [](const LatencyPoint& point) { return point.loss; });
    EXPECT_GT(lostPoints, 0);
}

TEST(CaptureRoundTrip, PassiveCaptureLoadsItsObservedThroughput) {
    TempHome home;
    const SimulatedCapture run =
        runSimulator(home.path(), u"passive"_s, u"10m"_s, {u"--profile"_s, u"passive"_s});
    expectLoadMatchesEvents(run);
    const auto capture = CSVLoader::load(run.csvPath);
    ASSERT_TRUE(capture);
    EXPECT_FALSE(capture->observedThroughputPoints.isEmpty());
}

TEST(CaptureRoundTrip, SimulatedCaptureIsListedWithItsMetadataAndFigures) {
    TempHome home;
    const SimulatedCapture run = runSimulator(home.path(), u"good"_s, u"5m"_s);
    ASSERT_TRUE(run.error.isEmpty()) << qPrintable(run.error);
    const QList<CaptureSummary> list =
        CaptureLibrary::loadCaptureSummaries(home.path() + u"/captures"_s, QDateTime::currentDateTimeUtc());
    ASSERT_EQ(list.size(), 1); // the side file of the speed tests isn't listed
    const CaptureSummary& summary = list.first();
    EXPECT_EQ(summary.location, u"Round Trip Hotel"_s);
    EXPECT_EQ(summary.network, u"Hotel WiFi"_s);
    EXPECT_EQ(summary.timestamp, QDateTime(QDate(2026, 1, 2), QTime(3, 4, 5), Qt::UTC));
    EXPECT_NEAR(*summary.durationMin, 5.0, 0.01);
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(run.csvPath);
    EXPECT_EQ(summary.medianLatencyMs, stats.medianLatencyMs);
    EXPECT_EQ(summary.downloadMbps, stats.lastDownloadMbps);
    EXPECT_TRUE(summary.downloadMbps.has_value());
}
