#include "views/ScaledFont.h"

#include <gtest/gtest.h>

#include <QFontInfo>

namespace {

QFont pointFont(double points) {
    QFont font;
    font.setPointSizeF(points);
    return font;
}

QFont pixelFont(int pixels) {
    QFont font;
    font.setPixelSize(pixels);
    return font;
}

} // namespace

TEST(ScaledFont, ScalesABodyOfThirteenPointsToTheStatedSize) {
    EXPECT_DOUBLE_EQ(scaledFont(pointFont(13), 9.0 / 13.0, pointFont(6)).pointSizeF(), 9);
    EXPECT_DOUBLE_EQ(scaledFont(pointFont(13), 1.5, pointFont(6)).pointSizeF(), 19.5);
}

TEST(ScaledFont, KeepsTheScaleOnASmallerDesktopFontWhileItStaysReadable) {
    EXPECT_NEAR(scaledFont(pointFont(12), 9.0 / 13.0, pointFont(6)).pointSizeF(), 12 * 9.0 / 13.0, 1e-9);
}

TEST(ScaledFont, NeverGoesBelowTheSmallestReadableSize) {
    // Nine points against thirteen come to under seven on a ten-point desktop.
    EXPECT_DOUBLE_EQ(scaledFont(pointFont(10), 9.0 / 13.0, pointFont(8)).pointSizeF(), 8);
}

TEST(ScaledFont, ShrinkingNeverMakesAFontBelowTheFloorLarger) {
    EXPECT_DOUBLE_EQ(scaledFont(pointFont(7), 0.8, pointFont(8)).pointSizeF(), 7);
    EXPECT_DOUBLE_EQ(scaledFont(pointFont(7), 1.5, pointFont(8)).pointSizeF(), 10.5);
}

TEST(ScaledFont, PixelSizedFontsStayInPixels) {
    const QFont scaled = scaledFont(pixelFont(20), 0.5, pixelFont(4));
    EXPECT_EQ(scaled.pixelSize(), 10);
    EXPECT_LT(scaled.pointSizeF(), 0);
    EXPECT_EQ(scaledFont(pixelFont(20), 0.5, pixelFont(12)).pixelSize(), 12);
}

TEST(ScaledFont, AFloorInTheOtherUnitCountsAsWhatItComesToOnScreen) {
    const QFont floor = pixelFont(14);
    const QFont scaled = scaledFont(pointFont(20), 0.25, floor);
    EXPECT_DOUBLE_EQ(scaled.pointSizeF(), QFontInfo(floor).pointSizeF());
}

TEST(ScaledFont, TheDesktopsSmallestReadableFontIsTheFloorByDefault) {
    const double smallest = pointsOf(smallestReadableFont());
    ASSERT_GT(smallest, 0);
    EXPECT_NEAR(scaledFont(pointFont(smallest * 4), 0.1).pointSizeF(), smallest, 0.01);
}

TEST(ScaledFont, ASmallestSizeBelowTheBodyIsTheDesktopsOwn) {
    EXPECT_DOUBLE_EQ(smallestReadableFont(pointFont(7), pointFont(10)).pointSizeF(), 7);
}

TEST(ScaledFont, ADesktopThatNamesNoSmallerSizeStillAllowsCaptionsDownToEightPoints) {
    EXPECT_DOUBLE_EQ(smallestReadableFont(pointFont(10), pointFont(10)).pointSizeF(), 8);
    EXPECT_DOUBLE_EQ(smallestReadableFont(pointFont(12), pointFont(9)).pointSizeF(), 8);
    // A caption on a nine-point body then shrinks to the floor instead of staying at body size.
    EXPECT_DOUBLE_EQ(
        scaledFont(pointFont(9), 10.0 / 13.0, smallestReadableFont(pointFont(12), pointFont(9))).pointSizeF(),
        8);
}
