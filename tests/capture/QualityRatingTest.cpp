#include "capture/QualityRating.h"

#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <QSet>

#include <algorithm>
#include <cmath>
#include <limits>
#include <optional>
#include <vector>

using namespace Qt::StringLiterals;

namespace {

using Q = QualityRating;
constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Row {
    double value;
    Q expected;
};

template <typename Rate> void expectTable(const char* scale, const std::vector<Row>& table, Rate rate) {
    for (const Row& row : table) {
        SCOPED_TRACE(::testing::Message() << scale << " " << row.value);
        EXPECT_EQ(rate(row.value), std::optional<Q>(row.expected));
    }
}

} // namespace

TEST(QualityRating, CasesRunBestToWorstWithTheirWords) {
    const std::vector<QString> words = {u"Superior"_s, u"Excellent"_s, u"Good"_s,
                                        u"Fair"_s,     u"Impaired"_s,  u"Broken"_s};
    const auto cases = Q::allCases();
    ASSERT_EQ(cases.size(), words.size());
    for (size_t i = 0; i < cases.size(); ++i) {
        EXPECT_EQ(Q(cases[i]).position(), int(i));
        EXPECT_EQ(Q(cases[i]).rawValue(), words[i]);
    }
    EXPECT_EQ(cases.front(), Q::superior);
    EXPECT_EQ(cases.back(), Q::broken);
}

TEST(QualityRating, ColoursAreTheTabledRgbValues) {
    struct ColourRow {
        Q rating;
        RgbColor colour;
        const char* hex;
    };
    const std::vector<ColourRow> table = {
        {Q::superior, {50, 136, 189}, "#3288bd"}, {Q::excellent, {50, 136, 189}, "#3288bd"},
        {Q::good, {44, 160, 44}, "#2ca02c"},      {Q::fair, {212, 168, 0}, "#d4a800"},
        {Q::impaired, {214, 39, 40}, "#d62728"},  {Q::broken, {140, 140, 140}, "#8c8c8c"},
    };
    for (const ColourRow& row : table) {
        SCOPED_TRACE(row.rating.rawValue().toStdString());
        EXPECT_EQ(row.rating.color(), row.colour);
        EXPECT_EQ(row.rating.color().hexName(), QString::fromLatin1(row.hex));
    }
}

TEST(QualityRating, SuperiorAndExcellentShareOneBlue) {
    EXPECT_EQ(Q(Q::superior).color(), Q(Q::excellent).color());
    EXPECT_NE(Q(Q::broken).color(), Q(Q::impaired).color());
}

TEST(QualityRating, FromRawValueMatchesTheSixWordsExactly) {
    for (const Q::Value value : Q::allCases())
        EXPECT_EQ(Q::fromRawValue(Q(value).rawValue()), std::optional<Q>(value));
    for (const QString& text : {u"good"_s, u"GOOD"_s, u" Good"_s, u"Good "_s, u""_s, u"Okay"_s})
        EXPECT_EQ(Q::fromRawValue(text), std::nullopt) << text.toStdString();
}

TEST(QualityRating, OrderingFollowsPositionSoTheMaximumIsTheWorst) {
    EXPECT_LT(Q(Q::superior), Q(Q::excellent));
    EXPECT_LT(Q(Q::impaired), Q(Q::broken));
    EXPECT_LE(Q(Q::good), Q(Q::good));
    EXPECT_GE(Q(Q::fair), Q(Q::good));
    EXPECT_GT(Q(Q::broken), Q(Q::superior));
    const std::vector<Q> seen = {Q::good, Q::impaired, Q::excellent, Q::fair};
    EXPECT_EQ(*std::max_element(seen.begin(), seen.end()), Q::impaired);
}

TEST(QualityRating, HashGoesByTheRawValue) {
    for (const Q::Value value : Q::allCases())
        EXPECT_EQ(qHash(Q(value), 7), qHash(Q(value).rawValue(), 7));
    QSet<Q> set = {Q::good, Q::good, Q::fair};
    EXPECT_EQ(set.size(), 2);
    EXPECT_TRUE(set.contains(Q::fair));
}

TEST(QualityRating, EveryRatingIsAbsentWithoutAValue) {
    EXPECT_EQ(Q::rateLatency(std::nullopt, false), std::nullopt);
    EXPECT_EQ(Q::rateLatency(std::nullopt, true), std::nullopt);
    EXPECT_EQ(Q::rateDownload(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateUpload(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateLoss(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateSignal(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateNetflix(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateYouTubeResolution(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateYouTubeThroughput(std::nullopt), std::nullopt);
    EXPECT_EQ(Q::rateBufferHealth(std::nullopt), std::nullopt);
}

TEST(QualityRating, TerrestrialLatencyBoundsAreStrict) {
    expectTable("latency",
                {{-5, Q::superior},
                 {0, Q::superior},
                 {19.99, Q::superior},
                 {20, Q::excellent},
                 {49.99, Q::excellent},
                 {50, Q::good},
                 {99.99, Q::good},
                 {100, Q::fair},
                 {199.99, Q::fair},
                 {200, Q::impaired},
                 {499.99, Q::impaired},
                 {500, Q::broken},
                 {5000, Q::broken},
                 {infinity, Q::broken},
                 {notANumber, Q::broken}},
                [](double v) { return Q::rateLatency(v, false); });
}

TEST(QualityRating, GeostationaryLatencyBoundsAreInclusiveAndStartAtGood) {
    expectTable("geo latency",
                {{5, Q::good},
                 {0, Q::good},
                 {700, Q::good},
                 {700.01, Q::fair},
                 {900, Q::fair},
                 {900.01, Q::impaired},
                 {1200, Q::impaired},
                 {1200.01, Q::broken},
                 {infinity, Q::broken},
                 {notANumber, Q::broken}},
                [](double v) { return Q::rateLatency(v, true); });
}

TEST(QualityRating, DownloadBoundsAreInclusive) {
    expectTable("download",
                {{1000, Q::superior},
                 {200, Q::superior},
                 {199.99, Q::excellent},
                 {100, Q::excellent},
                 {99.99, Q::good},
                 {25, Q::good},
                 {24.99, Q::fair},
                 {12, Q::fair},
                 {11.99, Q::impaired},
                 {3, Q::impaired},
                 {2.99, Q::broken},
                 {0, Q::broken},
                 {notANumber, Q::broken}},
                [](double v) { return Q::rateDownload(v); });
}

TEST(QualityRating, UploadBoundsAreInclusive) {
    expectTable("upload",
                {{100, Q::superior},
                 {99.99, Q::excellent},
                 {25, Q::excellent},
                 {24.99, Q::good},
                 {3, Q::good},
                 {2.99, Q::fair},
                 {1, Q::fair},
                 {0.99, Q::impaired},
                 {0.5, Q::impaired},
                 {0.49, Q::broken},
                 {0, Q::broken},
                 {notANumber, Q::broken}},
                [](double v) { return Q::rateUpload(v); });
}

TEST(QualityRating, LossBoundsAreStrict) {
    expectTable("loss",
                {{0, Q::superior},
                 {0.099, Q::superior},
                 {0.1, Q::excellent},
                 {0.499, Q::excellent},
                 {0.5, Q::good},
                 {0.999, Q::good},
                 {1, Q::fair},
                 {4.99, Q::fair},
                 {5, Q::impaired},
                 {9.99, Q::impaired},
                 {10, Q::broken},
                 {100, Q::broken},
                 {notANumber, Q::broken}},
                [](double v) { return Q::rateLoss(v); });
}

TEST(QualityRating, SignalHasFourStepsAndZeroAndAboveAreExcellent) {
    struct SignalRow {
        int dBm;
        Q expected;
    };
    const std::vector<SignalRow> table = {
        {5, Q::excellent},
        {0, Q::excellent},
        {-50, Q::excellent},
        {-51, Q::good},
        {-67, Q::good},
        {-68, Q::fair},
        {-70, Q::fair},
        {-71, Q::impaired},
        {-100, Q::impaired},
        {std::numeric_limits<int>::min(), Q::impaired},
        {std::numeric_limits<int>::max(), Q::excellent},
    };
    for (const SignalRow& row : table)
        EXPECT_EQ(Q::rateSignal(row.dBm), std::optional<Q>(row.expected)) << row.dBm;
}

TEST(QualityRating, NetflixJumpsFromSuperiorToGoodAndNeverBreaks) {
    expectTable("netflix",
                {{8, Q::superior},
                 {7.99, Q::good},
                 {4, Q::good},
                 {3.99, Q::fair},
                 {2, Q::fair},
                 {1.99, Q::impaired},
                 {0, Q::impaired},
                 {notANumber, Q::impaired}},
                [](double v) { return Q::rateNetflix(v); });
}

TEST(QualityRating, YouTubeThroughputHasFiveSteps) {
    expectTable("youtube throughput",
                {{20, Q::superior},
                 {19.99, Q::excellent},
                 {4, Q::excellent},
                 {3.99, Q::good},
                 {1.6, Q::good},
                 {1.59, Q::fair},
                 {0.8, Q::fair},
                 {0.79, Q::impaired},
                 {0, Q::impaired},
                 {notANumber, Q::impaired}},
                [](double v) { return Q::rateYouTubeThroughput(v); });
}

TEST(QualityRating, BufferHealthHasFiveSteps) {
    expectTable("buffer",
                {{10, Q::superior},
                 {9.99, Q::excellent},
                 {5, Q::excellent},
                 {4.99, Q::good},
                 {2, Q::good},
                 {1.99, Q::fair},
                 {1, Q::fair},
                 {0.99, Q::impaired},
                 {0, Q::impaired},
                 {notANumber, Q::impaired}},
                [](double v) { return Q::rateBufferHealth(v); });
}

TEST(QualityRating, YouTubeResolutionRatesByHeightAndNeverSuperior) {
    struct ResolutionRow {
        QString text;
        Q expected;
    };
    const std::vector<ResolutionRow> table = {
        {u"3840x2160"_s, Q::excellent}, {u"1920x1080"_s, Q::excellent}, {u"1920x1079"_s, Q::good},
        {u"1280x720"_s, Q::good},       {u"1280x719"_s, Q::fair},       {u"854x480"_s, Q::fair},
        {u"854x479"_s, Q::impaired},    {u"1080p"_s, Q::impaired},      {u""_s, Q::impaired},
        {u"hd1080"_s, Q::impaired},
    };
    for (const ResolutionRow& row : table)
        EXPECT_EQ(Q::rateYouTubeResolution(row.text), std::optional<Q>(row.expected))
            << row.text.toStdString();
}

TEST(QualityRating, ResolutionHeightReadsOnlyWidthXHeight) {
    struct HeightRow {
        QString text;
        qint64 height;
    };
    const std::vector<HeightRow> table = {
        {u"1920x1080"_s, 1080},
        {u"854x480p30"_s, 480},
        {u"1080p"_s, 0},
        {u"x1080"_s, 0},
        {u"1920x"_s, 0},
        {u"640x360x2"_s, 0},
        {u"1920xx1080"_s, 1080},       // empty pieces are dropped
        {u"1920X1080"_s, 0},           // only the lower-case letter splits
        {u"1920x 1080"_s, 0},          // no leading number
        {u"1920x١٠٨٠"_s, 0},           // Arabic-Indic digits are numbers but don't parse
        {u"1920x1080½"_s, 0},          // a fraction character joins the run and spoils it
        {u"1920x1080\U0001D7D8"_s, 0}, // so does a digit outside the basic plane
        {u"1920x99999999999999999999"_s, 0},
        {u"1x9223372036854775807"_s, std::numeric_limits<qint64>::max()},
    };
    for (const HeightRow& row : table)
        EXPECT_EQ(Q::parseResolutionHeight(row.text), row.height) << row.text.toStdString();
}

TEST(QualityRating, GeoMeansTheLiveLatencyIsAbove400) {
    EXPECT_FALSE(Q::isGeo(std::nullopt));
    EXPECT_FALSE(Q::isGeo(400.0));
    EXPECT_TRUE(Q::isGeo(400.01));
    CaptureStats stats;
    EXPECT_FALSE(Q::isGeo(stats));
    stats.latencyMs = 401;
    EXPECT_TRUE(Q::isGeo(stats));
}

TEST(QualityRating, WorstOfDropsAbsentRatingsAndDefaultsToGood) {
    EXPECT_EQ(Q::worstOf({}), Q::good);
    EXPECT_EQ(Q::worstOf({std::nullopt, std::nullopt, std::nullopt, std::nullopt}), Q::good);
    EXPECT_EQ(Q::worstOf({std::nullopt, Q::fair, std::nullopt, Q::excellent}), Q::fair);
    EXPECT_EQ(Q::worstOf({Q::superior, std::nullopt, std::nullopt, std::nullopt}), Q::superior);
    EXPECT_EQ(Q::worstOf({Q::broken, Q::superior, Q::good, Q::impaired}), Q::broken);
}

TEST(QualityRatingExplanation, NoFiguresAtAllAreWithinNormalRange) {
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, std::nullopt, std::nullopt, false),
              u"all metrics within normal range"_s);
}

TEST(QualityRatingExplanation, GoodOrBetterEverywhereIsWithinNormalRange) {
    EXPECT_EQ(Q::explanation(99.9, 0.99, 25, 3, false), u"all metrics within normal range"_s);
}

TEST(QualityRatingExplanation, GeoLatencyOf650WithGoodFiguresIsWithinNormalRange) {
    EXPECT_EQ(Q::explanation(650, 0, 30, 5, true), u"all metrics within normal range"_s);
}

TEST(QualityRatingExplanation, NamesTheLossWithOneDecimal) {
    EXPECT_EQ(Q::explanation(150, 6, std::nullopt, std::nullopt, false),
              u"packet loss was 6.0% during testing"_s);
    EXPECT_EQ(Q::explanation(std::nullopt, 12.34, std::nullopt, std::nullopt, false),
              u"packet loss was 12.3% during testing"_s);
}

TEST(QualityRatingExplanation, NamesTheLatencyAsAWholeNumber) {
    EXPECT_EQ(Q::explanation(600, 0, std::nullopt, std::nullopt, false), u"median latency was 600ms"_s);
    EXPECT_EQ(Q::explanation(199.9, std::nullopt, std::nullopt, std::nullopt, false),
              u"median latency was 199ms"_s);
}

TEST(QualityRatingExplanation, NamesTheDownloadTruncatedToAWholeNumber) {
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, 11.9, std::nullopt, false),
              u"download speed was 11 Mbps"_s);
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, 2.99, std::nullopt, false),
              u"download speed was 2 Mbps"_s);
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, 0.5, std::nullopt, false),
              u"download speed was 0 Mbps"_s);
}

TEST(QualityRatingExplanation, NamesTheUploadWithOneDecimal) {
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, std::nullopt, 0.44, false),
              u"upload speed was 0.4 Mbps"_s);
    EXPECT_EQ(Q::explanation(10, 0, 300, 2.96, false), u"upload speed was 3.0 Mbps"_s);
}

TEST(QualityRatingExplanation, NamesOnlyAFigureAtTheWorstRating) {
    // Loss is fair, download impaired: the download is the one to blame.
    EXPECT_EQ(Q::explanation(10, 2, 5, 50, false), u"download speed was 5 Mbps"_s);
}

TEST(QualityRatingExplanation, OnATieTheEarlierRowWins) {
    // loss and latency both impaired: only the loss is told
    EXPECT_EQ(Q::explanation(300, 6, std::nullopt, std::nullopt, false),
              u"packet loss was 6.0% during testing"_s);
    // latency and download both broken: the latency
    EXPECT_EQ(Q::explanation(600, 0, 1, std::nullopt, false), u"median latency was 600ms"_s);
    // download and upload both broken: the download
    EXPECT_EQ(Q::explanation(std::nullopt, std::nullopt, 2, 0.1, false), u"download speed was 2 Mbps"_s);
}

TEST(QualityRatingExplanation, BelowNormalFallbackIsNeverNeededForRealFigures) {
    // "some metrics were below normal" is the text for a worst rating that no figure carries. Every
    // rating comes from a present value, so across all boundary values one figure is always named.
    const std::vector<std::optional<double>> latencies = {std::nullopt, 10, 20, 100, 200, 500, 650, 1300};
    const std::vector<std::optional<double>> losses = {std::nullopt, 0, 0.5, 1, 5, 10};
    const std::vector<std::optional<double>> downloads = {std::nullopt, 1, 3, 12, 25, 200};
    const std::vector<std::optional<double>> uploads = {std::nullopt, 0.1, 0.5, 1, 3, 100};
    int belowNormal = 0;
    for (const bool geo : {false, true}) {
        for (const auto& latency : latencies) {
            for (const auto& loss : losses) {
                for (const auto& download : downloads) {
                    for (const auto& upload : uploads) {
                        const QString text = Q::explanation(latency, loss, download, upload, geo);
                        const bool normal =
                            Q::worstOf({Q::rateLatency(latency, geo), Q::rateLoss(loss),
                                        Q::rateDownload(download), Q::rateUpload(upload)}) <= Q::good;
                        EXPECT_EQ(text == u"all metrics within normal range"_s, normal) << text.toStdString();
                        if (text == u"some metrics were below normal"_s)
                            ++belowNormal;
                    }
                }
            }
        }
    }
    EXPECT_EQ(belowNormal, 0);
}
