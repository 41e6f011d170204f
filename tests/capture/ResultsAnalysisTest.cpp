#include "capture/ResultsAnalysis.h"

#include "CaptureSamples.h"
#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace CaptureSamples;
using namespace ResultsAnalysis;

namespace {

using Q = QualityRating;

// Ten ping samples of one target with the given round trips.
QList<LatencyPoint> pings(const QList<double>& rtts, const QString& target = u"1.1.1.1"_s) {
    QList<LatencyPoint> points;
    for (qsizetype i = 0; i < rtts.size(); ++i)
        points.append(answered(double(i), u"ping"_s, target, rtts.at(i)));
    return points;
}

// By value: callers pass the temporary list of a single call.
ResultFigure figureTitled(const QList<ResultFigure>& figures, const QString& title) {
    for (const ResultFigure& figure : figures) {
        if (figure.title == title)
            return figure;
    }
    ADD_FAILURE() << "no figure " << title.toStdString();
    return {};
}

} // namespace

TEST(RealMedianRTT, UsesTheEndToEndFigureWhenPingsAreAnsweredOnTheWay) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({10, 20, 30});
    capture.stats.icmpProxied = true;
    capture.stats.e2eRttMs = 180;
    EXPECT_EQ(realMedianRTT(capture), 180.0);
}

TEST(RealMedianRTT, FallsBackToTheSamplesWhenTheEndToEndFigureIsAbsent) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({10, 20, 30});
    capture.stats.icmpProxied = true;
    EXPECT_EQ(realMedianRTT(capture), 20.0);
}

TEST(RealMedianRTT, IgnoresTheEndToEndFigureWithoutProxiedPings) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({10, 20, 30});
    capture.stats.e2eRttMs = 180;
    EXPECT_EQ(realMedianRTT(capture), 20.0);
}

TEST(RealMedianRTT, UsesUdpSamplesWhenThereAreNoPings) {
    CaptureSnapshot capture;
    capture.latencyPoints = {answered(0, u"udp"_s, u"a"_s, 40), answered(1, u"tcp"_s, u"a"_s, 5),
                             answered(2, u"udp"_s, u"a"_s, 60)};
    EXPECT_EQ(realMedianRTT(capture), 50.0);
}

TEST(RealMedianRTT, CountsOnlyPingsWhenBothPingAndUdpExist) {
    CaptureSnapshot capture;
    capture.latencyPoints = {answered(0, u"udp"_s, u"a"_s, 500), answered(1, u"ping"_s, u"a"_s, 30),
                             answered(2, u"udp"_s, u"a"_s, 500), answered(3, u"ping"_s, u"a"_s, 40)};
    EXPECT_EQ(realMedianRTT(capture), 35.0);
}

TEST(RealMedianRTT, OtherProbeTypesNeverCount) {
    CaptureSnapshot capture;
    capture.latencyPoints = {answered(0, u"tcp"_s, u"a"_s, 10), answered(1, u"http"_s, u"a"_s, 20)};
    EXPECT_EQ(realMedianRTT(capture), std::nullopt);
}

TEST(RealMedianRTT, LostSamplesHaveNoRoundTripToCount) {
    CaptureSnapshot capture;
    capture.latencyPoints = {lost(0, u"ping"_s, u"a"_s), answered(1, u"ping"_s, u"a"_s, 30),
                             lost(2, u"ping"_s, u"a"_s)};
    EXPECT_EQ(realMedianRTT(capture), 30.0);
    capture.latencyPoints = {lost(0, u"ping"_s, u"a"_s)};
    EXPECT_EQ(realMedianRTT(capture), std::nullopt);
}

TEST(RealLossPct, IsAbsentWithoutPingOrUdpSamples) {
    CaptureSnapshot capture;
    EXPECT_EQ(realLossPct(capture), std::nullopt);
    capture.latencyPoints = {lost(0, u"tcp"_s, u"a"_s)};
    EXPECT_EQ(realLossPct(capture), std::nullopt);
}

TEST(RealLossPct, CountsLostSamplesOfTheReferenceList) {
    CaptureSnapshot capture;
    capture.latencyPoints = {answered(0, u"ping"_s, u"a"_s, 10), lost(1, u"ping"_s, u"a"_s),
                             answered(2, u"ping"_s, u"a"_s, 10), answered(3, u"ping"_s, u"a"_s, 10),
                             lost(4, u"udp"_s, u"a"_s)};
    EXPECT_EQ(realLossPct(capture), 25.0);
}

TEST(RealLossPct, UsesUdpSamplesWhenThereAreNoPings) {
    CaptureSnapshot capture;
    capture.latencyPoints = {lost(0, u"udp"_s, u"a"_s), answered(1, u"udp"_s, u"a"_s, 10),
                             lost(2, u"tcp"_s, u"a"_s)};
    EXPECT_EQ(realLossPct(capture), 50.0);
}

TEST(RealLossPct, LeavesBlockedTargetsOut) {
    CaptureSnapshot capture;
    for (int i = 0; i < 10; ++i)
        capture.latencyPoints.append(lost(i, u"ping"_s, u"blocked.example"_s));
    for (int i = 0; i < 10; ++i) {
        capture.latencyPoints.append(i == 0 ? lost(i, u"ping"_s, u"1.1.1.1"_s)
                                            : answered(i, u"ping"_s, u"1.1.1.1"_s, 20));
    }
    EXPECT_EQ(realLossPct(capture), 10.0);
}

TEST(RealLossPct, IsAbsentRatherThanHundredWhenAllTargetsAreBlocked) {
    // Each target answered once in fifty: each is a candidate, and each has the other as a sibling
    // that got through, so both are blocked and nothing is left to count.
    CaptureSnapshot capture;
    for (const QString& target : {u"a"_s, u"b"_s}) {
        for (int i = 0; i < 50; ++i) {
            capture.latencyPoints.append(i == 0 ? answered(i, u"ping"_s, target, 20)
                                                : lost(i, u"ping"_s, target));
        }
    }
    EXPECT_EQ(realLossPct(capture), std::nullopt);
}

TEST(MedianSpeeds, TakeTheMedianOfEachDirection) {
    CaptureSnapshot capture;
    capture.throughputPoints = {speed(1, u"download"_s, 10), speed(2, u"download"_s, 30),
                                speed(1, u"upload"_s, 4),    speed(2, u"upload"_s, 5),
                                speed(3, u"upload"_s, 90),   speed(3, u"sideways"_s, 1000)};
    EXPECT_EQ(medianDownload(capture), 20.0);
    EXPECT_EQ(medianUpload(capture), 5.0);
    EXPECT_EQ(medianDownload(CaptureSnapshot()), std::nullopt);
}

TEST(NetflixMedian, TakesOnlyTheNetflixTarget) {
    CaptureSnapshot capture;
    capture.cdnThroughputPoints = {
        {u"netflix_oca"_s, 6, at(0)}, {u"akamai"_s, 100, at(1)}, {u"netflix_oca"_s, 10, at(2)}};
    EXPECT_EQ(netflixMedianMbps(capture), 8.0);
    capture.cdnThroughputPoints = {{u"akamai"_s, 100, at(1)}};
    EXPECT_EQ(netflixMedianMbps(capture), std::nullopt);
}

TEST(Verdict, IsGoodWithoutAnyFigure) {
    CaptureSnapshot capture;
    EXPECT_EQ(quality(capture), Q::good);
    EXPECT_EQ(qualityExplanation(capture), u"all metrics within normal range"_s);
}

TEST(Verdict, IsTheWorstOfLatencyLossAndTheLastSpeeds) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({10, 12, 14});
    capture.stats.downloadMbps = 250;
    capture.stats.uploadMbps = 0.7;
    EXPECT_EQ(quality(capture), Q::impaired);
    EXPECT_EQ(qualityExplanation(capture), u"upload speed was 0.7 Mbps"_s);
}

TEST(Verdict, ReadsTheLastDownloadWhileTheCardReadsTheMedian) {
    CaptureSnapshot capture;
    capture.throughputPoints = {speed(1, u"download"_s, 18), speed(2, u"download"_s, 20),
                                speed(3, u"download"_s, 150)};
    capture.stats.downloadMbps = 150;
    const ResultFigure card = figureTitled(summaryFigures(capture), u"Download (P50)"_s);
    EXPECT_EQ(card.value, u"20 Mbps"_s);
    EXPECT_EQ(card.rating, Q::fair); // 20 Mbps is at least 12 and below 25
    EXPECT_EQ(quality(capture), Q::excellent);
    EXPECT_GT(*card.rating, quality(capture));
}

TEST(Verdict, DownloadCardOfTwentyFiveIsGoodWhileTheVerdictIsExcellent) {
    CaptureSnapshot capture;
    capture.throughputPoints = {speed(1, u"download"_s, 25), speed(2, u"download"_s, 25),
                                speed(3, u"download"_s, 150)};
    capture.stats.downloadMbps = 150;
    EXPECT_EQ(figureTitled(summaryFigures(capture), u"Download (P50)"_s).rating, Q::good);
    EXPECT_EQ(quality(capture), Q::excellent);
}

TEST(Verdict, GeoScaleFollowsTheLiveLatencyNotTheMedian) {
    CaptureSnapshot capture;
    capture.stats.icmpProxied = true;
    capture.stats.e2eRttMs = 650;
    capture.stats.latencyMs = 401;
    EXPECT_TRUE(isGeo(capture));
    EXPECT_EQ(quality(capture), Q::good);
    EXPECT_EQ(figureTitled(summaryFigures(capture), u"RTT (P50)"_s).rating, Q::good);

    capture.stats.latencyMs = 400;
    EXPECT_FALSE(isGeo(capture));
    EXPECT_EQ(quality(capture), Q::broken);
    EXPECT_EQ(figureTitled(summaryFigures(capture), u"RTT (P50)"_s).rating, Q::broken);
    EXPECT_EQ(qualityExplanation(capture), u"median latency was 650ms"_s);
}

TEST(Verdict, MedianOfSamplesIsRatedOnTheGeoScaleToo) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({640, 650, 660});
    capture.stats.latencyMs = 401;
    EXPECT_EQ(quality(capture), Q::good);
    capture.stats.latencyMs = 400;
    EXPECT_EQ(quality(capture), Q::broken);
}

TEST(Verdict, ExplanationNamesTheLossBeforeTheLatency) {
    CaptureSnapshot capture;
    capture.latencyPoints = {answered(0, u"ping"_s, u"a"_s, 300), lost(1, u"ping"_s, u"a"_s)};
    for (int i = 2; i < 16; ++i)
        capture.latencyPoints.append(answered(i, u"ping"_s, u"a"_s, 300));
    // 1 lost of 16 is 6.25%: impaired, as is a median of 300 ms.
    EXPECT_EQ(quality(capture), Q::impaired);
    EXPECT_EQ(qualityExplanation(capture), u"packet loss was 6.2% during testing"_s);
}

TEST(SummaryFigures, ReadDashesAndNoRatingsForAnEmptyCapture) {
    const QList<ResultFigure> figures = summaryFigures(CaptureSnapshot());
    ASSERT_EQ(figures.size(), 5);
    const QStringList titles = {u"RTT (P50)"_s, u"Packet Loss"_s, u"Download (P50)"_s, u"Upload (P50)"_s,
                                u"Signal"_s};
    for (qsizetype i = 0; i < figures.size(); ++i) {
        EXPECT_EQ(figures[i].title, titles[i]);
        EXPECT_EQ(figures[i].value, u"---"_s);
        EXPECT_EQ(figures[i].rating, std::nullopt);
        EXPECT_EQ(figures[i].ratingQualifier, std::nullopt);
        EXPECT_EQ(figures[i].subtitle, std::nullopt);
    }
}

TEST(SummaryFigures, ShowTheHeadlineFiguresInTheirFormats) {
    CaptureSnapshot capture;
    capture.latencyPoints = pings({23.2, 23.9, 24.5});
    capture.latencyPoints.append(lost(9, u"ping"_s, u"1.1.1.1"_s));
    capture.throughputPoints = {speed(1, u"download"_s, 9.96), speed(1, u"upload"_s, 42.7)};
    capture.stats.rssi = -60;
    const QList<ResultFigure> figures = summaryFigures(capture);
    EXPECT_EQ(figures[0],
              (ResultFigure{u"RTT (P50)"_s, u"23 ms"_s, Q::excellent, std::nullopt, std::nullopt}));
    EXPECT_EQ(figures[1],
              (ResultFigure{u"Packet Loss"_s, u"25.0%"_s, Q::broken, std::nullopt, std::nullopt}));
    EXPECT_EQ(figures[2],
              (ResultFigure{u"Download (P50)"_s, u"10.0 Mbps"_s, Q::impaired, std::nullopt, std::nullopt}));
    EXPECT_EQ(figures[3],
              (ResultFigure{u"Upload (P50)"_s, u"42 Mbps"_s, Q::excellent, std::nullopt, std::nullopt}));
    EXPECT_EQ(figures[4], (ResultFigure{u"Signal"_s, u"-60 dBm"_s, Q::good, std::nullopt, std::nullopt}));
}

TEST(SummaryFigures, RttCardCarriesTheGeoBadge) {
    CaptureSnapshot capture;
    capture.stats.latencyMs = 620;
    EXPECT_EQ(figureTitled(summaryFigures(capture), u"RTT (P50)"_s).ratingQualifier, u"GEO"_s);
    capture.stats.latencyMs = 380;
    EXPECT_EQ(figureTitled(summaryFigures(capture), u"RTT (P50)"_s).ratingQualifier, std::nullopt);
}

TEST(SummaryFigures, SpeedCardsFallBackToTheLastRate) {
    CaptureSnapshot capture;
    capture.stats.downloadMbps = 55.5;
    capture.stats.uploadMbps = 0.3;
    const QList<ResultFigure> figures = summaryFigures(capture);
    EXPECT_EQ(figures[2].value, u"55 Mbps"_s);
    EXPECT_EQ(figures[2].rating, Q::good);
    EXPECT_EQ(figures[3].value, u"0.3 Mbps"_s);
    EXPECT_EQ(figures[3].rating, Q::broken);
}

TEST(SummaryFigures, FailedSpeedTestReadsFailedWithTheReason) {
    struct Row {
        QString error;
        QString detail;
    };
    const std::vector<Row> table = {
        {u"HTTP 429 Too Many Requests"_s, u"Rate limited"_s},
        {u"status 403"_s, u"Rate limited"_s},
        {u"connect timeout after 10s"_s, u"Timed out"_s},
        {u"Timeout"_s, u"Test failed"_s}, // the match is case-sensitive
        {u"connection reset"_s, u"Test failed"_s},
    };
    for (const Row& row : table) {
        CaptureSnapshot capture;
        capture.stats.downloadError = row.error;
        capture.stats.uploadError = row.error;
        const QList<ResultFigure> figures = summaryFigures(capture);
        for (const ResultFigure& card : {figures[2], figures[3]}) {
            EXPECT_EQ(card.value, u"Failed"_s);
            EXPECT_EQ(card.subtitle, row.detail) << row.error.toStdString();
            EXPECT_EQ(card.rating, std::nullopt);
        }
    }
}

TEST(SummaryFigures, ErrorIsNotShownWhenAFigureExists) {
    CaptureSnapshot capture;
    capture.stats.downloadMbps = 30;
    capture.stats.downloadError = u"timeout"_s;
    const ResultFigure card = figureTitled(summaryFigures(capture), u"Download (P50)"_s);
    EXPECT_EQ(card.value, u"30 Mbps"_s);
    EXPECT_EQ(card.subtitle, std::nullopt);
}

TEST(VideoFigures, NoVideoMeasurementMeansNoVideoSection) {
    CaptureSnapshot capture;
    capture.cdnThroughputPoints = {{u"akamai"_s, 80, at(0)}};
    capture.youtubeAutoStallCount = 0; // a figure on its own doesn't make a section
    EXPECT_FALSE(hasVideoData(capture));
}

TEST(VideoFigures, AnyOfNetflixAbrOrSegmentsMakesVideoData) {
    CaptureSnapshot netflix;
    netflix.cdnThroughputPoints = {{u"netflix_oca"_s, 8, at(0)}};
    EXPECT_TRUE(hasVideoData(netflix));
    CaptureSnapshot abr;
    abr.youtubeAbrResolution = u"1920x1080"_s;
    EXPECT_TRUE(hasVideoData(abr));
    CaptureSnapshot segments;
    segments.youtubeSegmentMbps = {3.5};
    EXPECT_TRUE(hasVideoData(segments));
}

TEST(VideoFigures, ShowEachMeasuredFigureInOrder) {
    CaptureSnapshot capture;
    capture.cdnThroughputPoints = {{u"netflix_oca"_s, 7.99, at(0)}};
    capture.youtubeAbrResolution = u"3840x2160"_s;
    capture.youtubeSegmentMbps = {50};
    capture.youtubeAutoStallCount = 1;
    capture.youtubeStartupTimeMs = 2500;
    capture.youtubeColdFirstFrameResolution = u"1280x720"_s;
    capture.youtubeAutoBufferHealthS = 7.3;
    capture.youtubeAutoBufferTrend = u"growing"_s;
    const QList<ResultFigure> figures = videoFigures(capture);
    const QList<ResultFigure> expected = {
        {u"Netflix"_s, u"8.0 Mbps"_s, Q::good, std::nullopt, u"~1080p"_s},
        {u"YouTube"_s, u"4K"_s, Q::excellent, std::nullopt, std::nullopt},
        {u"Stalls"_s, u"1"_s, Q::fair, std::nullopt, std::nullopt},
        {u"Startup"_s, u"2.5s"_s, Q::good, std::nullopt, u"first 720p frame"_s},
        {u"Buffer"_s, u"7.3s"_s, Q::excellent, std::nullopt, u"↗"_s},
    };
    EXPECT_EQ(figures, expected);
}

TEST(VideoFigures, YouTubeFallsBackToTheSegmentMedian) {
    CaptureSnapshot capture;
    capture.youtubeSegmentMbps = {1, 2, 12};
    const QList<ResultFigure> figures = videoFigures(capture);
    ASSERT_EQ(figures.size(), 1);
    EXPECT_EQ(figures[0], (ResultFigure{u"YouTube"_s, u"2.0 Mbps"_s, Q::good, std::nullopt, u"~1080p"_s}));
}

TEST(VideoFigures, SegmentLabelFollowsItsSteps) {
    struct Row {
        double mbps;
        const char* label;
    };
    for (const Row& row : std::vector<Row>{{9, "~4K"},
                                           {8.99, "~1440p"},
                                           {4, "~1440p"},
                                           {3.99, "~1080p"},
                                           {1.6, "~1080p"},
                                           {1.59, "~720p"},
                                           {0.8, "~720p"},
                                           {0.79, "~SD"}}) {
        CaptureSnapshot capture;
        capture.youtubeSegmentMbps = {row.mbps};
        EXPECT_EQ(videoFigures(capture).first().subtitle, QString::fromUtf8(row.label)) << row.mbps;
    }
}

TEST(VideoFigures, StallsAreExcellentFairOrImpaired) {
    for (const auto& [count, rating] : std::vector<std::pair<int, Q>>{
             {0, Q::excellent}, {1, Q::fair}, {2, Q::impaired}, {9, Q::impaired}}) {
        CaptureSnapshot capture;
        capture.youtubeAutoStallCount = count;
        EXPECT_EQ(figureTitled(videoFigures(capture), u"Stalls"_s).rating, rating) << count;
    }
}

TEST(VideoFigures, StartupReadsMillisecondsBelowOneSecond) {
    struct Row {
        double ms;
        const char* value;
        Q rating;
    };
    for (const Row& row : std::vector<Row>{{450.7, "450ms", Q::excellent},
                                           {999.9, "999ms", Q::excellent},
                                           {1000, "1.0s", Q::excellent},
                                           {1999, "2.0s", Q::excellent},
                                           {2000, "2.0s", Q::good},
                                           {3999, "4.0s", Q::good},
                                           {4000, "4.0s", Q::fair},
                                           {5999, "6.0s", Q::fair},
                                           {6000, "6.0s", Q::impaired}}) {
        CaptureSnapshot capture;
        capture.youtubeStartupTimeMs = row.ms;
        const ResultFigure startup = figureTitled(videoFigures(capture), u"Startup"_s);
        EXPECT_EQ(startup.value, QString::fromLatin1(row.value)) << row.ms;
        EXPECT_EQ(startup.rating, row.rating) << row.ms;
        EXPECT_EQ(startup.subtitle, u"time to play"_s);
    }
}

TEST(VideoFigures, AdvertisementLeavesTheStartupUnrated) {
    CaptureSnapshot capture;
    capture.youtubeStartupTimeMs = 800;
    capture.youtubeAdSeen = true;
    EXPECT_EQ(figureTitled(videoFigures(capture), u"Startup"_s).rating, std::nullopt);
}

TEST(VideoFigures, StartupSubtitleNeedsAPieceOfTheFirstFrameResolution) {
    CaptureSnapshot capture;
    capture.youtubeStartupTimeMs = 800;
    capture.youtubeColdFirstFrameResolution = u"x"_s;
    EXPECT_EQ(figureTitled(videoFigures(capture), u"Startup"_s).subtitle, u"time to play"_s);
    capture.youtubeColdFirstFrameResolution = u"1080"_s;
    EXPECT_EQ(figureTitled(videoFigures(capture), u"Startup"_s).subtitle, u"first 1080p frame"_s);
}

TEST(VideoFigures, BufferTrendArrows) {
    struct Row {
        std::optional<QString> trend;
        std::optional<QString> arrow;
    };
    for (const Row& row : std::vector<Row>{{u"growing"_s, u"↗"_s},
                                           {u"stable"_s, u"→"_s},
                                           {u"draining"_s, u"↘"_s},
                                           {u"Growing"_s, std::nullopt},
                                           {std::nullopt, std::nullopt}}) {
        CaptureSnapshot capture;
        capture.youtubeAutoBufferHealthS = 0.5;
        capture.youtubeAutoBufferTrend = row.trend;
        const ResultFigure buffer = figureTitled(videoFigures(capture), u"Buffer"_s);
        EXPECT_EQ(buffer.subtitle, row.arrow);
        EXPECT_EQ(buffer.value, u"0.5s"_s);
        EXPECT_EQ(buffer.rating, Q::impaired);
    }
}
