#include "views/ChartMarkers.h"

#include <gtest/gtest.h>

#include <QImage>
#include <QLineSeries>

#include <cmath>
#include <numbers>

namespace {

// The ink of a marker in square points: each pixel's opacity, over the pixels of one point.
double inkArea(const QImage& marker) {
    const QImage image = marker.convertToFormat(QImage::Format_ARGB32);
    double sum = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            sum += qAlpha(image.pixel(x, y)) / 255.0;
    }
    return sum / (image.devicePixelRatio() * image.devicePixelRatio());
}

} // namespace

TEST(ChartMarkers, ASizeIsTheAreaOfTheRoundMark) {
    EXPECT_DOUBLE_EQ(ChartMarkers::sideOfArea(std::numbers::pi), 2);
    EXPECT_NEAR(ChartMarkers::sideOfArea(10), 3.57, 0.01);
    EXPECT_NEAR(ChartMarkers::sideOfArea(12), 3.91, 0.01);
    EXPECT_NEAR(ChartMarkers::sideOfArea(20), 5.05, 0.01);
    EXPECT_EQ(ChartMarkers::sideOfArea(-1), 0);
}

TEST(ChartMarkers, ASeriesOfDotsCarriesTheInkOfItsArea) {
    QLineSeries series;
    ChartMarkers::showMarks(&series, ChartMarkers::Shape::dot, Qt::black, 100, 4);
    EXPECT_EQ(series.pen().style(), Qt::NoPen);
    EXPECT_DOUBLE_EQ(series.markerSize(), ChartMarkers::sideOfArea(100));
    const QImage marker = series.lightMarker();
    ASSERT_FALSE(marker.isNull());
    EXPECT_NEAR(marker.width() / marker.devicePixelRatio(), series.markerSize(), 0.25);
    EXPECT_NEAR(inkArea(marker), 100, 5);
}

TEST(ChartMarkers, ACrossFillsTheSquareOfItsAreaWithLessInk) {
    QLineSeries dots;
    QLineSeries crosses;
    ChartMarkers::showMarks(&dots, ChartMarkers::Shape::dot, Qt::black, 100, 4);
    ChartMarkers::showMarks(&crosses, ChartMarkers::Shape::cross, Qt::black, 100, 4);
    EXPECT_EQ(crosses.markerSize(), dots.markerSize());
    const QImage cross = crosses.lightMarker().convertToFormat(QImage::Format_ARGB32);
    // Ink at the centre and near the corners, none in the middle of an edge.
    const int side = cross.width();
    EXPECT_GT(qAlpha(cross.pixel(side / 2, side / 2)), 200);
    EXPECT_GT(qAlpha(cross.pixel(side / 8, side / 8)), 100);
    EXPECT_EQ(qAlpha(cross.pixel(side / 2, 1)), 0);
    EXPECT_LT(inkArea(crosses.lightMarker()), inkArea(dots.lightMarker()));
}

TEST(ChartMarkers, TranslucentMarksKeepTheirOpacity) {
    QLineSeries series;
    QColor faint(Qt::blue);
    faint.setAlphaF(0.4f);
    ChartMarkers::showMarks(&series, ChartMarkers::Shape::dot, faint, 100, 2);
    const QImage marker = series.lightMarker().convertToFormat(QImage::Format_ARGB32);
    const int middle = marker.width() / 2;
    EXPECT_NEAR(qAlpha(marker.pixel(middle, middle)), 0.4 * 255, 2);
}
