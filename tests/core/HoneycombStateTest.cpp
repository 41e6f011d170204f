#include "core/HoneycombState.h"

#include <gtest/gtest.h>

#include <QSignalSpy>

#include <algorithm>
#include <cmath>
#include <numeric>

TEST(HoneycombState, StartsEmptyWithItsDefaults) {
    HoneycombState state;
    EXPECT_TRUE(state.cells().isEmpty());
    EXPECT_EQ(state.filledCount(), 0);
    EXPECT_EQ(state.generation(), 0);
    EXPECT_EQ(state.targetFillSeconds(), 300);
    EXPECT_EQ(state.hexRadius(), 8);
    EXPECT_EQ(state.label(), QStringLiteral("0 samples"));
}

TEST(HoneycombState, FillBeforeTheFirstLayoutPaintsNothing) {
    HoneycombState state;
    state.fillNext(QualityRating::good, false);
    EXPECT_EQ(state.filledCount(), 0);
    EXPECT_TRUE(state.cells().isEmpty());
}

TEST(HoneycombState, GridRowsAndColumnsFollowTheHexPitch) {
    // r = 10 on 40 x 30: rows at y = 10, 25, 40 (40 <= 30 + 10), not 55.
    const QList<HexCell> cells = HoneycombState::gridCells(10, 40, 30);
    const double pitch = 10 * std::sqrt(3.0);
    const double half = pitch / 2;
    QList<double> rowY;
    for (const HexCell& cell : cells) {
        if (!rowY.contains(cell.y))
            rowY.append(cell.y);
    }
    EXPECT_EQ(rowY, (QList<double>{10, 25, 40}));
    // Even rows start at h, odd rows are shifted right by h; columns continue while x <= width + h.
    EXPECT_DOUBLE_EQ(cells[0].x, half);
    const auto firstOdd =
        std::find_if(cells.begin(), cells.end(), [](const HexCell& c) { return c.y == 25; });
    ASSERT_NE(firstOdd, cells.end());
    EXPECT_DOUBLE_EQ(firstOdd->x, 2 * half);
    for (const HexCell& cell : cells)
        EXPECT_LE(cell.x, 40 + half);
    // Row 0: x = 8.66, 25.98, 43.30 (<= 48.66) -> 3 cells; row 1: 17.32, 34.64 (51.96 > 48.66) -> 2.
    EXPECT_EQ(std::count_if(cells.begin(), cells.end(), [](const HexCell& c) { return c.y == 10; }), 3);
    EXPECT_EQ(std::count_if(cells.begin(), cells.end(), [](const HexCell& c) { return c.y == 25; }), 2);
}

TEST(HoneycombState, PickRadiusTakesTheCountNearestTheTarget) {
    const double width = 600;
    const double height = 50;
    for (const double radius : {5.0, 6.0, 7.0, 8.0, 9.0, 10.0}) {
        const auto count = HoneycombState::gridCells(radius, width, height).size();
        EXPECT_EQ(HoneycombState::pickRadius(int(count), width, height), radius) << radius;
    }
}

TEST(HoneycombState, VeryNarrowStripTakesTheRadiusThatHoldsTheMostCells) {
    // Four pixels wide: one cell in each even row only. Radius 5 holds 4 cells, 6 to 8 hold 3, 9 and
    // 10 hold 2; every count is far below the target, so the largest count is the nearest.
    EXPECT_EQ(HoneycombState::gridCells(5, 4, 50).size(), 4);
    EXPECT_EQ(HoneycombState::gridCells(10, 4, 50).size(), 2);
    EXPECT_EQ(HoneycombState::pickRadius(300, 4, 50), 5);
    // With a target below every count, the largest radius is nearest.
    EXPECT_EQ(HoneycombState::pickRadius(1, 4, 50), 9) << "9 and 10 tie at 2 cells; the smaller wins";
}

TEST(HoneycombState, EqualDistanceTakesTheSmallerRadius) {
    // Find two consecutive candidates whose counts differ by an even number and aim between them.
    const double width = 700;
    const double height = 50;
    const auto r9 = HoneycombState::gridCells(9, width, height).size();
    const auto r10 = HoneycombState::gridCells(10, width, height).size();
    ASSERT_EQ((r9 - r10) % 2, 0) << r9 << " " << r10;
    EXPECT_EQ(HoneycombState::pickRadius(int((r9 + r10) / 2), width, height), 9);
}

TEST(HoneycombState, LayoutResetsCountsAndShufflesAFullPermutation) {
    HoneycombState state;
    state.layoutCells(600, 50);
    ASSERT_FALSE(state.cells().isEmpty());
    QList<int> order = state.fillOrder();
    std::sort(order.begin(), order.end());
    QList<int> expected(state.cells().size());
    std::iota(expected.begin(), expected.end(), 0);
    EXPECT_EQ(order, expected);
    EXPECT_EQ(state.fillIndex(), 0);
    for (const HexCell& cell : state.cells())
        EXPECT_FALSE(cell.quality.has_value());
}

TEST(HoneycombState, FillPaintsTheNextCellOfTheOrder) {
    HoneycombState state;
    state.layoutCells(200, 50);
    QSignalSpy spy(&state, &HoneycombState::changed);
    const int first = state.fillOrder()[0];
    state.fillNext(QualityRating::fair, true);
    EXPECT_EQ(state.cells()[first].quality, QualityRating::fair);
    EXPECT_TRUE(state.cells()[first].isSpeedTest);
    EXPECT_EQ(state.filledCount(), 1);
    EXPECT_EQ(state.fillIndex(), 1);
    EXPECT_EQ(spy.count(), 1);
    EXPECT_EQ(state.label(), QStringLiteral("1 samples"));
}

TEST(HoneycombState, CallAfterTheStripIsFullFadesAllAndPaintsOneFreshCell) {
    HoneycombState state;
    state.layoutCells(120, 50);
    const auto count = state.cells().size();
    for (qsizetype i = 0; i < count; ++i)
        state.fillNext(QualityRating::good, true);
    EXPECT_EQ(state.generation(), 0);
    state.fillNext(QualityRating::broken, false);
    EXPECT_EQ(state.generation(), 1);
    EXPECT_EQ(state.filledCount(), count + 1);
    EXPECT_EQ(state.label(), QStringLiteral("%1 samples · gen 2").arg(count + 1));
    int fresh = 0;
    for (const HexCell& cell : state.cells()) {
        ASSERT_TRUE(cell.quality.has_value());
        EXPECT_FALSE(cell.isSpeedTest) << "a fade clears the speed-test mark";
        if (!cell.faded) {
            ++fresh;
            EXPECT_EQ(cell.quality, QualityRating::broken);
        } else {
            EXPECT_EQ(cell.quality, QualityRating::good);
        }
    }
    EXPECT_EQ(fresh, 1);
}

TEST(HoneycombState, NewLayoutLosesEveryPaintedCell) {
    HoneycombState state;
    state.layoutCells(200, 50);
    state.fillNext(QualityRating::good, false);
    state.layoutCells(300, 50);
    EXPECT_EQ(state.filledCount(), 0);
    EXPECT_EQ(state.generation(), 0);
    for (const HexCell& cell : state.cells())
        EXPECT_FALSE(cell.quality.has_value());
}

TEST(HoneycombState, TargetFillSecondsSteersTheRadius) {
    HoneycombState few;
    few.setTargetFillSeconds(60);
    few.layoutCells(600, 50);
    HoneycombState many;
    many.setTargetFillSeconds(360);
    many.layoutCells(600, 50);
    EXPECT_GT(few.hexRadius(), many.hexRadius());
}
