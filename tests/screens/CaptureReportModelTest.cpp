#include "screens/CaptureReportModel.h"
#include "screens/ResultsLatencyChart.h"

#include <gtest/gtest.h>


using namespace Qt::StringLiterals;
using namespace CaptureReportModel;

namespace {

QDateTime localNoon() {
    return QDateTime(QDate(2026, 3, 14), QTime(12, 0));
}

} // namespace

TEST(CaptureReportFileName, NamesTheLocationAndTheDate) {
    EXPECT_EQ(suggestedFileName(u"Hotel Aurora, room 412"_s, localNoon()),
              u"Norvane Hotel Aurora, room 412 2026-03-14.pdf"_s);
}

TEST(CaptureReportFileName, LeavesOutWhatIsMissing) {
    EXPECT_EQ(suggestedFileName(std::nullopt, localNoon()), u"Norvane 2026-03-14.pdf"_s);
    EXPECT_EQ(suggestedFileName(u"  "_s, std::nullopt), u"Norvane.pdf"_s);
    EXPECT_EQ(suggestedFileName(u"Gate 12"_s, QDateTime()), u"Norvane Gate 12.pdf"_s);
}

TEST(CaptureReportFileName, CharactersThatFileSystemsRefuseBecomeDashes) {
    EXPECT_EQ(suggestedFileName(u"Lab 3/4: \"east\""_s, std::nullopt), u"Norvane Lab 3-4- -east-.pdf"_s);
}

TEST(CaptureReportTimeline, AShortCaptureIsOneRowOfTheScreensWindow) {
    const QList<ClosedRange> rows = timelineRows(1000, 120, 300);
    ASSERT_EQ(rows.size(), 1);
    EXPECT_EQ(rows[0], (ClosedRange{1000, 1000 + 300'000}));
}

TEST(CaptureReportTimeline, RowsFollowEachOtherAtTheScreensWindowUntilTheLimit) {
    const QList<ClosedRange> rows = timelineRows(0, 1000, 300);
    ASSERT_EQ(rows.size(), 4);
    for (qsizetype i = 1; i < rows.size(); ++i)
        EXPECT_EQ(rows[i].lowerBound, rows[i - 1].upperBound);
    EXPECT_GE(rows.last().upperBound, 1000'000);
}

TEST(CaptureReportTimeline, DaysOfCaptureStillFitTheMostRows) {
    const double seconds = 52.9 * 3600;
    const QList<ClosedRange> rows = timelineRows(0, seconds, 300);
    ASSERT_EQ(rows.size(), maxTimelineRows);
    EXPECT_NEAR(rows.last().upperBound, seconds * 1000, 1);
    EXPECT_DOUBLE_EQ(rows[0].upperBound - rows[0].lowerBound, seconds * 1000 / maxTimelineRows);
}

TEST(CaptureReportTimeline, NothingToShowHasNoRows) {
    EXPECT_TRUE(timelineRows(0, 0, 300).isEmpty());
}

TEST(CaptureReportFooter, NamesVersionFileAndPage) {
    EXPECT_EQ(footer(u"1.2.0"_s, u"wifi_capture.csv"_s, 2, 3),
              u"Norvane 1.2.0 \u00b7 wifi_capture.csv \u00b7 Page 2 of 3"_s);
    EXPECT_EQ(footer(u"dev"_s, QString(), 1, 1), u"Norvane dev \u00b7 Page 1 of 1"_s);
}

TEST(ResultsLatencyChartThinning, KeepsOneMarkPerCellOfEachSeries) {
    ResultsLatencyChart::Frame frame;
    frame.xDomain = {0, 100};
    frame.yDomain = {0, 10};
    frame.dots = {{u"ping"_s, {}, {{1, 1}, {2, 1.5}, {60, 1}, {61, 9}}}, {u"tcp"_s, {}, {{1, 1}}}};
    frame.losses = {{5, 9}, {6, 9}, {95, 9}};
    const ResultsLatencyChart::Frame thinned = ResultsLatencyChart::thinnedToGrid(frame, 10, 5);
    // (1,1) and (2,1.5) share a cell; (60,1) and (61,9) don't. Another series keeps its own marks.
    EXPECT_EQ(thinned.dots[0].points, (QList<QPointF>{{1, 1}, {60, 1}, {61, 9}}));
    EXPECT_EQ(thinned.dots[1].points, (QList<QPointF>{{1, 1}}));
    EXPECT_EQ(thinned.losses, (QList<QPointF>{{5, 9}, {95, 9}}));
    EXPECT_EQ(thinned.xDomain, frame.xDomain);
}

TEST(ResultsLatencyChartThinning, AFrameOfAnyLengthComesFromTheWholeCapture) {
    QList<LatencyPoint> points;
    const QDateTime start = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    for (int second = 0; second < 3600; ++second)
        points.append(LatencyPoint{start.addSecs(second), 20.0 + second % 7, false, u"ping"_s, u"1.1.1.1"_s});
    const ResultsLatencyChart::Timeline timeline(points, {});
    const double from = timeline.startMs();
    const ResultsLatencyChart::Frame hour = timeline.frame(ClosedRange{from, from + 3600'000}, {});
    EXPECT_EQ(hour.dots.value(0).points.size(), 3600);
    // The screen's window holds only its own few minutes.
    EXPECT_LT(timeline.frame(0, {}).dots.value(0).points.size(), 3600);
}
