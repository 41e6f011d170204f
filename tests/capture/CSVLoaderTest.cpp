#include "capture/CSVLoader.h"

#include "CaptureTestPrinters.h"
#include "support/TestPaths.h"

#include <gtest/gtest.h>

#include <QDateTime>

using namespace Qt::StringLiterals;

namespace {

QString csvPath(const QString& name) {
    return testDataPath(u"csv/"_s + name);
}

std::optional<CSVLoader::LoadedCapture> load(const QString& name) {
    return CSVLoader::load(csvPath(name));
}

QDateTime utc(const QString& text) {
    return QDateTime::fromString(text, Qt::ISODateWithMs).toUTC();
}

QList<double> roundTrips(const CSVLoader::LoadedCapture& capture) {
    QList<double> values;
    for (const LatencyPoint& point : capture.latencyPoints)
        values.append(point.rttMs.value_or(-1));
    return values;
}

} // namespace

TEST(CSVLoader, HeaderAndFinalLineEndGiveAnEmptyCaptureNotNothing) {
    const auto capture = load(u"header_with_line_end.csv"_s);
    ASSERT_TRUE(capture.has_value());
    EXPECT_EQ(capture->sampleCount, 0);
    EXPECT_EQ(capture->durationSec, 0.0);
    EXPECT_TRUE(capture->latencyPoints.isEmpty());
    EXPECT_TRUE(capture->throughputPoints.isEmpty());
    EXPECT_FALSE(capture->captureId.has_value());
    EXPECT_EQ(capture->csvFile, csvPath(u"header_with_line_end.csv"_s));
}

TEST(CSVLoader, HeaderWithoutLineEndGivesNothing) {
    EXPECT_FALSE(load(u"header_without_line_end.csv"_s).has_value());
    EXPECT_EQ(CSVLoader::quickStats(csvPath(u"header_without_line_end.csv"_s)), CSVLoader::QuickStats{});
}

TEST(CSVLoader, CrLfLineEndsReadLikeLf) {
    const auto lf = load(u"rows_lf.csv"_s);
    const auto crlf = load(u"rows_crlf.csv"_s);
    ASSERT_TRUE(lf && crlf);
    EXPECT_EQ(crlf->sampleCount, 6);
    EXPECT_EQ(crlf->sampleCount, lf->sampleCount);
    EXPECT_EQ(crlf->latencyPoints, lf->latencyPoints);
    EXPECT_EQ(crlf->rssiHistory, lf->rssiHistory);
    EXPECT_EQ(crlf->captureId, lf->captureId);
    EXPECT_EQ(crlf->captureDate, lf->captureDate);
    EXPECT_EQ(crlf->durationSec, lf->durationSec);
    EXPECT_EQ(crlf->ssid, lf->ssid);
    EXPECT_EQ(crlf->ssid, u"Hotel-Guest"_s);
    EXPECT_EQ(CSVLoader::quickStats(csvPath(u"rows_crlf.csv"_s)),
              CSVLoader::quickStats(csvPath(u"rows_lf.csv"_s)));
}

TEST(CSVLoader, RowOfFourColumnsIsNotCountedButUnknownTypeWithFiveIs) {
    const auto capture = load(u"column_counts.csv"_s);
    ASSERT_TRUE(capture);
    // The 4-column ping is passed over; the "mystery" row and the 5-column ping count.
    EXPECT_EQ(capture->sampleCount, 2);
    ASSERT_EQ(capture->latencyPoints.size(), 1);
    EXPECT_EQ(capture->latencyPoints.first().rttMs, 11.0);
}

TEST(CSVLoader, TimestampWithoutFractionIsPassedOverByLoadButUsedByQuickStats) {
    const auto capture = load(u"timestamp_without_fraction.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, 1);
    EXPECT_EQ(roundTrips(*capture), QList<double>{20.0});

    // Both rows count here: the sorted times are 20 and 30, and the median is the upper one.
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(csvPath(u"timestamp_without_fraction.csv"_s));
    EXPECT_EQ(stats.medianLatencyMs, 30.0);
    EXPECT_EQ(stats.lossPct, 0.0);
}

TEST(CSVLoader, QuickStatsMedianOfAnEvenCountIsTheUpperMiddleValue) {
    // 10, 20, 30, 40 in the file's own order 40, 10, 30, 20: 30, where an average would give 25.
    EXPECT_EQ(CSVLoader::quickStats(csvPath(u"four_pings.csv"_s)).medianLatencyMs, 30.0);
}

TEST(CSVLoader, QuickStatsCountsOnlyPingsAndKeepsTheLastDuration) {
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(csvPath(u"quick_stats.csv"_s));
    EXPECT_EQ(stats.medianLatencyMs, 12.5); // 7 and 12.5; the unreadable time and the udp row don't count
    EXPECT_EQ(stats.lossPct, 25.0);         // one of four pings
    EXPECT_EQ(stats.durationMin, 1.5);      // a later session_end without a duration changes nothing
    EXPECT_FALSE(stats.lastDownloadMbps.has_value());
    EXPECT_FALSE(stats.lastUploadMbps.has_value());
}

TEST(CSVLoader, QuickStatsDropsRatesOfPointOneAndBelowWhileLoadKeepsThem) {
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(csvPath(u"throughput_threshold.csv"_s));
    EXPECT_EQ(stats.lastDownloadMbps, 55.5);
    EXPECT_EQ(stats.lastUploadMbps, 12.25);
    EXPECT_FALSE(stats.medianLatencyMs.has_value());
    EXPECT_FALSE(stats.lossPct.has_value());

    const auto capture = load(u"throughput_threshold.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->lastDownloadMbps, 0.1);
    EXPECT_EQ(capture->lastUploadMbps, 0.05);
    EXPECT_EQ(capture->speedTestRanges.size(), 2);
}

TEST(CSVLoader, TwoDownloadsBeforeOneUploadGiveOneRangeFromTheSecond) {
    const auto capture = load(u"two_downloads_one_upload.csv"_s);
    ASSERT_TRUE(capture);
    ASSERT_EQ(capture->throughputPoints.size(), 3);
    const ThroughputPoint expected[] = {
        {1, 150.5, u"download"_s, u"speed.example"_s, utc(u"2026-01-02T03:04:05.000Z"_s)},
        {2, 160.25, u"download"_s, u"speed.example"_s, utc(u"2026-01-02T03:04:20.000Z"_s)},
        {2, 40.75, u"upload"_s, u"speed.example"_s, utc(u"2026-01-02T03:04:30.000Z"_s)},
    };
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(capture->throughputPoints.at(i), expected[i]) << "point " << i;
    ASSERT_EQ(capture->speedTestRanges.size(), 1);
    const SpeedTestRange range = capture->speedTestRanges.first();
    EXPECT_EQ(range.start, utc(u"2026-01-02T03:04:20.000Z"_s));
    EXPECT_EQ(range.end, utc(u"2026-01-02T03:04:30.000Z"_s));
    EXPECT_EQ(range.direction, u"download"_s);
    EXPECT_EQ(range.testNum, 2);
    EXPECT_EQ(capture->lastDownloadMbps, 160.25);
    EXPECT_EQ(capture->lastUploadMbps, 40.75);
}

TEST(CSVLoader, UploadFirstInTheFileHasTestNumberZeroAndMakesNoRange) {
    const auto capture = load(u"upload_first.csv"_s);
    ASSERT_TRUE(capture);
    ASSERT_EQ(capture->throughputPoints.size(), 2);
    EXPECT_EQ(capture->throughputPoints.at(0).direction, u"upload"_s);
    EXPECT_EQ(capture->throughputPoints.at(0).testNum, 0);
    EXPECT_EQ(capture->throughputPoints.at(1).testNum, 1);
    EXPECT_TRUE(capture->speedTestRanges.isEmpty());
}

TEST(CSVLoader, SessionEndDurationIsReadWithoutItsUnit) {
    const auto capture = load(u"session_end_duration.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_DOUBLE_EQ(capture->durationSec, 125.4);
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(csvPath(u"session_end_duration.csv"_s));
    ASSERT_TRUE(stats.durationMin.has_value());
    EXPECT_DOUBLE_EQ(*stats.durationMin, 125.4 / 60.0);
}

TEST(CSVLoader, UnreadableDurationFallsBackToTheSpanOfLatencyPointsInLoadAndIsAbsentInQuickStats) {
    const auto capture = load(u"session_end_bad_duration.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_DOUBLE_EQ(capture->durationSec, 30.25);
    EXPECT_FALSE(CSVLoader::quickStats(csvPath(u"session_end_bad_duration.csv"_s)).durationMin.has_value());
}

TEST(CSVLoader, HopDeltasNeverGoBelowZeroAndAHopWithoutTimeLeavesTheNextItsWholeTime) {
    const auto capture = load(u"hops.csv"_s);
    ASSERT_TRUE(capture);
    ASSERT_EQ(capture->traceroutePoints.size(), 1);
    const TraceroutePoint& route = capture->traceroutePoints.first();
    EXPECT_EQ(route.hopCount, 5);
    EXPECT_EQ(route.firstHop, u"192.168.1.1"_s);
    EXPECT_EQ(route.target, u"1.1.1.1"_s);
    EXPECT_EQ(route.date, utc(u"2026-01-02T03:04:05.000Z"_s));
    const QList<HopDetail> expected = {
        {1, u"192.168.1.1"_s, 2.5, 2.5},
        {2, u"10.0.0.1"_s, 15.0, 12.5},
        {3, u"10.0.0.2"_s, 9.5, 0.0},                   // hop 2 was slower
        {4, u"10.0.0.3"_s, std::nullopt, std::nullopt}, // "1.2.3" is no number
        {5, u"1.1.1.1"_s, 20.0, 20.0},                  // the hop before has no time
    };
    EXPECT_EQ(route.hops, expected);
}

TEST(CSVLoader, NetworkNameComesOnlyFromTheFirstWifiLine) {
    const auto capture = load(u"wifi_first_line_without_ssid.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_FALSE(capture->ssid.has_value());
    ASSERT_EQ(capture->rssiHistory.size(), 2);
    EXPECT_EQ(capture->lastRSSI, -61);
}

TEST(CSVLoader, FirstOfTwoCapturesJsonEntriesForTheFileWins) {
    const auto capture = load(u"duplicate_entries/wifi_capture_20260102T030405Z.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->location, u"First Hotel"_s);
    EXPECT_EQ(capture->network, u"Hotel WiFi"_s);
}

TEST(CSVLoader, CapturesJsonMissingLeavesLocationAndNetworkAbsent) {
    const auto capture = load(u"rows_lf.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_FALSE(capture->location.has_value());
    EXPECT_FALSE(capture->network.has_value());
}

TEST(CSVLoader, EveryUnicodeNewlineEndsALine) {
    // VT, FF, NEL, LS, PS and a lone CR each end a row, like LF.
    const auto capture = load(u"unicode_newlines.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, 7);
    EXPECT_EQ(roundTrips(*capture), (QList<double>{10, 11, 12, 13, 14, 15, 16}));
    EXPECT_EQ(capture->latencyPoints.at(5).target, u"caf\u00e9.example"_s);
}

TEST(CSVLoader, EachRowTypeFillsItsSeries) {
    const auto capture = load(u"every_row_type.csv"_s);
    ASSERT_TRUE(capture);
    EXPECT_EQ(capture->sampleCount, 18);
    EXPECT_EQ(capture->captureId, u"cap-1"_s);
    EXPECT_EQ(capture->captureDate, utc(u"2026-01-02T02:04:05.000Z"_s)); // written as 03:04:05+01:00
    EXPECT_EQ(capture->ssid, u"Lab-5G"_s);

    const QList<LatencyPoint> latency = {
        {utc(u"2026-01-02T02:04:06.000Z"_s), 2.5, false, u"ping"_s, u"192.168.1.1"_s},
        {utc(u"2026-01-02T02:04:06.100Z"_s), 18.0, false, u"udp"_s, u"1.1.1.1:53"_s},
        {utc(u"2026-01-02T02:04:06.200Z"_s), std::nullopt, true, u"tcp"_s, u"1.1.1.1:443"_s},
        {utc(u"2026-01-02T02:04:06.300Z"_s), 40.5, false, u"http"_s, u"www.example.com"_s},
        {utc(u"2026-01-02T02:04:06.400Z"_s), 22.0, false, u"quic"_s, u"quic.example:443"_s},
        {utc(u"2026-01-02T02:04:06.500Z"_s), 9.75, false, u"dns"_s, u"1.1.1.1"_s},
    };
    EXPECT_EQ(capture->latencyPoints, latency); // "PING" is not "ping"

    const QList<ObservedThroughputPoint> observed = {{utc(u"2026-01-02T02:04:07.000Z"_s), 3.5, 0.25}};
    EXPECT_EQ(capture->observedThroughputPoints, observed);

    ASSERT_EQ(capture->traceroutePoints.size(), 1); // the one without a hop count is passed over
    const TraceroutePoint& route = capture->traceroutePoints.first();
    EXPECT_EQ(route.hopCount, 3);
    EXPECT_EQ(route.firstHop, QString());
    EXPECT_EQ(route.hops, (QList<HopDetail>{{1, u"192.168.1.1"_s, 1.5, 1.5}})); // "h2=*" is no hop

    EXPECT_TRUE(capture->throughputPoints.isEmpty()); // a failed test has no rate
    EXPECT_FALSE(capture->lastDownloadMbps.has_value());

    const QList<RSSIPoint> rssi = {{utc(u"2026-01-02T02:04:05.100Z"_s), -52},
                                   {utc(u"2026-01-02T02:04:15.000Z"_s), -47}};
    EXPECT_EQ(capture->rssiHistory, rssi); // cut toward zero; the row without a value is passed over
    EXPECT_EQ(capture->lastRSSI, -47);
    EXPECT_DOUBLE_EQ(capture->durationSec, 0.5); // no session_end: the span of the latency points
}
