#include "capture/ResultsFormat.h"

#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <vector>

using namespace Qt::StringLiterals;
using namespace ResultsAnalysis;

namespace {

struct Row {
    double value;
    const char* text;
};

template <typename Format> void expectTexts(const std::vector<Row>& table, Format format) {
    for (const Row& row : table)
        EXPECT_EQ(format(row.value), QString::fromUtf8(row.text)) << row.value;
}

} // namespace

TEST(FormatMbps, OneDecimalBelowTenWholePartFromTen) {
    expectTexts({{0, "0.0"},
                 {0.04, "0.0"},
                 {2.25, "2.2"},
                 {9.94, "9.9"},
                 {9.96, "10.0"},
                 {10, "10"},
                 {10.96, "10"},
                 {99.9, "99"},
                 {150.5, "150"},
                 {1234.99, "1234"}},
                formatMbps);
}

TEST(FormatDuration, MinutesAndTwoDigitSeconds) {
    expectTexts({{0, "0m 00s"},
                 {5, "0m 05s"},
                 {59.99, "0m 59s"},
                 {60, "1m 00s"},
                 {125.9, "2m 05s"},
                 {3600, "60m 00s"},
                 {7322, "122m 02s"}},
                formatDuration);
}

TEST(FormatSpeedError, FirstMatchingReasonWins) {
    EXPECT_EQ(formatSpeedError(u"HTTP 429"_s), u"Rate limited"_s);
    EXPECT_EQ(formatSpeedError(u"403 Forbidden"_s), u"Rate limited"_s);
    EXPECT_EQ(formatSpeedError(u"429 after timeout"_s), u"Rate limited"_s);
    EXPECT_EQ(formatSpeedError(u"read timeout"_s), u"Timed out"_s);
    EXPECT_EQ(formatSpeedError(u"Read Timeout"_s), u"Test failed"_s);
    EXPECT_EQ(formatSpeedError(u""_s), u"Test failed"_s);
}

TEST(NetflixResLabel, StepsAtEightFourAndTwo) {
    expectTexts({{8, "~4K"},
                 {25, "~4K"},
                 {7.99, "~1080p"},
                 {4, "~1080p"},
                 {3.99, "~720p"},
                 {2, "~720p"},
                 {1.99, "~SD"},
                 {0, "~SD"}},
                netflixResLabel);
    EXPECT_EQ(netflixResolution(8), u"4K"_s);
}

TEST(YouTubeThroughputLabel, StepsAtNineFourOnePointSixAndZeroPointEight) {
    expectTexts({{9, "~4K"},
                 {8.99, "~1440p"},
                 {4, "~1440p"},
                 {3.99, "~1080p"},
                 {1.6, "~1080p"},
                 {1.59, "~720p"},
                 {0.8, "~720p"},
                 {0.79, "~SD"}},
                youtubeThroughputResLabel);
    EXPECT_EQ(youtubeThroughputResolution(1.6), u"1080p"_s);
}

TEST(FormatEta, SecondsUpToFiftyNineThenMinutesAndSeconds) {
    expectTexts(
        {{0, "0s"}, {7.9, "7s"}, {59, "59s"}, {59.9, "59s"}, {60, "1:00"}, {125.7, "2:05"}, {3600, "60:00"}},
        formatEta);
}

TEST(FormatBytes, KilobytesBelowOneMebibyteThenMegabytes) {
    EXPECT_EQ(formatBytes(0), u"0 KB"_s);
    EXPECT_EQ(formatBytes(1023), u"0 KB"_s);
    EXPECT_EQ(formatBytes(1536), u"1 KB"_s);
    EXPECT_EQ(formatBytes(1'048'575), u"1023 KB"_s);
    EXPECT_EQ(formatBytes(1'048'576), u"1.0 MB"_s);
    EXPECT_EQ(formatBytes(5'767'168), u"5.5 MB"_s);
    EXPECT_EQ(formatBytes(1'073'741'824), u"1024.0 MB"_s);
}
