#include "capture/Contrast.h"

#include "CaptureTestPrinters.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr RgbColor white{255, 255, 255};
constexpr RgbColor black{0, 0, 0};

// The colour that `atLeast` gives reaches the minimum without overshooting it, and lies on the way
// from `colour` to `end`: every channel moves towards it or stays.
void expectLeastChangeTowards(RgbColor colour, RgbColor background, double minimum, RgbColor end) {
    ASSERT_LT(Contrast::ratio(colour, background), minimum);
    const RgbColor changed = Contrast::atLeast(colour, background, minimum);
    SCOPED_TRACE(changed.hexName().toStdString());
    EXPECT_GE(Contrast::ratio(changed, background), minimum);
    EXPECT_LT(Contrast::ratio(changed, background), minimum + 0.1);
    const auto between = [](int from, int value, int to) {
        return std::min(from, to) <= value && value <= std::max(from, to);
    };
    EXPECT_TRUE(between(colour.red, changed.red, end.red));
    EXPECT_TRUE(between(colour.green, changed.green, end.green));
    EXPECT_TRUE(between(colour.blue, changed.blue, end.blue));
}

} // namespace

TEST(Contrast, LuminanceRunsFromBlackToWhite) {
    EXPECT_DOUBLE_EQ(Contrast::relativeLuminance(black), 0.0);
    EXPECT_DOUBLE_EQ(Contrast::relativeLuminance(white), 1.0);
    // Green weighs most, blue least.
    EXPECT_NEAR(Contrast::relativeLuminance({0, 255, 0}), 0.7152, 1e-9);
    EXPECT_NEAR(Contrast::relativeLuminance({0, 0, 255}), 0.0722, 1e-9);
    // Mid grey is far darker than half, because the channels are linearised first.
    EXPECT_NEAR(Contrast::relativeLuminance({128, 128, 128}), 0.2159, 1e-4);
}

TEST(Contrast, RatioIsSymmetricFromOneToTwentyOne) {
    EXPECT_DOUBLE_EQ(Contrast::ratio(black, white), 21.0);
    EXPECT_DOUBLE_EQ(Contrast::ratio(white, black), 21.0);
    EXPECT_DOUBLE_EQ(Contrast::ratio({50, 136, 189}, {50, 136, 189}), 1.0);
    // The grey that just misses body text on white, and the one that just reaches it.
    EXPECT_LT(Contrast::ratio({0x77, 0x77, 0x77}, white), Contrast::textMinimum);
    EXPECT_GE(Contrast::ratio({0x76, 0x76, 0x76}, white), Contrast::textMinimum);
}

TEST(Contrast, OverBlendsTowardsTheBackground) {
    EXPECT_EQ(Contrast::over(white, 0.5, black), (RgbColor{128, 128, 128}));
    EXPECT_EQ(Contrast::over({10, 20, 30}, 1.0, white), (RgbColor{10, 20, 30}));
    EXPECT_EQ(Contrast::over({10, 20, 30}, 0.0, white), white);
    EXPECT_EQ(Contrast::over({10, 20, 30}, 7.0, white), (RgbColor{10, 20, 30}));
}

TEST(Contrast, AColourThatReadsIsKept) {
    const RgbColor red{214, 39, 40};
    EXPECT_EQ(Contrast::atLeast(red, white, Contrast::textMinimum), red);
    EXPECT_EQ(Contrast::atLeast(black, white, 21.0), black);
}

TEST(Contrast, ADarkBackgroundGetsTheLeastTintThatReads) {
    const RgbColor blue{50, 136, 189};
    expectLeastChangeTowards(blue, {0x2a, 0x2b, 0x2e}, Contrast::textMinimum, white);
}

TEST(Contrast, ALightBackgroundGetsTheLeastShadeThatReads) {
    const RgbColor yellow{212, 168, 0};
    expectLeastChangeTowards(yellow, white, Contrast::markMinimum, black);
}

TEST(Contrast, AColourDarkerThanADarkBackgroundCrossesItToReach) {
    const RgbColor window{0x30, 0x30, 0x30};
    const RgbColor lighter = Contrast::atLeast(black, window, Contrast::markMinimum);
    EXPECT_GE(Contrast::ratio(lighter, window), Contrast::markMinimum);
    EXPECT_GT(Contrast::relativeLuminance(lighter), Contrast::relativeLuminance(window));
}

TEST(Contrast, AnOutOfReachRatioGivesTheFarEnd) {
    const RgbColor grey{0x76, 0x76, 0x76};
    EXPECT_EQ(Contrast::atLeast(grey, grey, 21.0), black);
}
