#include "capture/SharedFigures.h"

#include "CaptureTestPrinters.h"
#include "base/VirtualClock.h"

#include <gtest/gtest.h>

#include <limits>
#include <vector>

using namespace Qt::StringLiterals;

TEST(Median, IsAbsentForAnEmptyList) {
    EXPECT_EQ(median({}), std::nullopt);
}

TEST(Median, OfTenAndTwentyIsFifteen) {
    EXPECT_EQ(median({10, 20}), 15.0);
}

TEST(Median, OddCountGivesTheMiddleOfTheSortedValues) {
    EXPECT_EQ(median({42}), 42.0);
    EXPECT_EQ(median({9, 1, 5}), 5.0);
    EXPECT_EQ(median({3, 3, 1, 7, 100}), 3.0);
}

TEST(Median, EvenCountGivesTheMeanOfTheTwoMiddleValues) {
    EXPECT_EQ(median({4, 1, 3, 2}), 2.5);
    EXPECT_EQ(median({-10, 10}), 0.0);
    EXPECT_EQ(median({1, 1, 2, 2, 2, 9}), 2.0);
}

TEST(Median, LeavesTheListAsItWas) {
    const QList<double> values = {5, 1, 4, 2, 3};
    const QList<double> copy = values;
    EXPECT_EQ(median(values), 3.0);
    EXPECT_EQ(values, copy);
}

TEST(Median, PassesOverValuesThatAreNotFiniteNumbers) {
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    constexpr double inf = std::numeric_limits<double>::infinity();
    EXPECT_EQ(median({nan}), std::nullopt);
    EXPECT_EQ(median({nan, inf, -inf}), std::nullopt);
    EXPECT_EQ(median({10, nan, 20, inf}), 15.0);
}

TEST(Median, MeanOfTwoHugeValuesStaysFinite) {
    const double big = std::numeric_limits<double>::max();
    EXPECT_EQ(median({big, big}), big);
}

namespace {

class FormatTimeAgo : public ::testing::Test {
protected:
    std::optional<QString> agoAt(qint64 seconds) { return formatTimeAgo(clock.now().addSecs(-seconds)); }

    VirtualClock clock;
    ScopedVirtualTime scope{clock};
};

} // namespace

TEST_F(FormatTimeAgo, IsAbsentWithoutADate) {
    EXPECT_EQ(formatTimeAgo(std::nullopt), std::nullopt);
}

TEST_F(FormatTimeAgo, FollowsItsTableAtEachBoundary) {
    struct Row {
        qint64 seconds;
        std::optional<QString> text;
    };
    const std::vector<Row> table = {
        {-60, std::nullopt},   {0, std::nullopt},     {29, std::nullopt},     {30, u"1m ago"_s},
        {89, u"1m ago"_s},     {90, u"2m ago"_s},     {149, u"2m ago"_s},     {150, u"3m ago"_s},
        {3569, u"59m ago"_s},  {3570, u">1h ago"_s},  {7169, u">1h ago"_s},   {7170, u">2h ago"_s},
        {10769, u">2h ago"_s}, {10770, u">3h ago"_s}, {86400, u">24h ago"_s},
    };
    for (const Row& row : table)
        EXPECT_EQ(agoAt(row.seconds), row.text) << row.seconds << " s";
}

TEST_F(FormatTimeAgo, ReadsTheInjectedClockAsItMoves) {
    const QDateTime measured = clock.now();
    EXPECT_EQ(formatTimeAgo(measured), std::nullopt);
    clock.jump(30);
    EXPECT_EQ(formatTimeAgo(measured), u"1m ago"_s);
    clock.jump(3540);
    EXPECT_EQ(formatTimeAgo(measured), u">1h ago"_s);
}

TEST(ParseYouTubeResolution, LabelsWidthByHeight) {
    EXPECT_EQ(parseYouTubeResolution(u"1920x1080"_s), u"1080p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"1280x720"_s), u"720p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"2560x1440"_s), u"1440p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"854x480p30"_s), u"480p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"4096x2159"_s), u"2159p"_s);
}

TEST(ParseYouTubeResolution, HeightOf2160OrMoreIs4K) {
    EXPECT_EQ(parseYouTubeResolution(u"3840x2160"_s), u"4K"_s);
    EXPECT_EQ(parseYouTubeResolution(u"7680x4320"_s), u"4K"_s);
}

TEST(ParseYouTubeResolution, ReadsTheHdQualityNames) {
    EXPECT_EQ(parseYouTubeResolution(u"hd720"_s), u"720p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"hd1080"_s), u"1080p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"hd2159"_s), u"2159p"_s);
    EXPECT_EQ(parseYouTubeResolution(u"hd2160"_s), u"4K"_s);
}

TEST(ParseYouTubeResolution, KeepsATextItCannotReadAsItStands) {
    for (const QString& text : {u""_s, u"large"_s, u"1080p"_s, u"hdready"_s, u"hd"_s, u"hd 720"_s, u"x1080"_s,
                                u"1920x"_s, u"640x360x2"_s, u"1920xabc"_s, u"HD720"_s})
        EXPECT_EQ(parseYouTubeResolution(text), text);
}
