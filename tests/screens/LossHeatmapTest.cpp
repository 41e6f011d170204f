#include "screens/LossHeatmap.h"

#include "screens/ResultsPalette.h"

#include <gtest/gtest.h>

#include <QDateTime>

using namespace Qt::StringLiterals;
using namespace LossHeatmap;

namespace {

const QDateTime start = QDateTime::fromString(u"2026-03-14T09:30:00.000Z"_s, Qt::ISODateWithMs);

QDateTime at(double seconds) {
    return start.addMSecs(qint64(seconds * 1000));
}

double ms(double seconds) {
    return double(at(seconds).toMSecsSinceEpoch());
}

LatencyPoint sample(double seconds, bool lost, const QString& type = u"ping"_s,
                    const QString& target = u"1.1.1.1"_s) {
    return LatencyPoint{at(seconds), lost ? std::nullopt : std::optional<double>(20), lost, type, target};
}

QStringList labelsOf(const Frame& frame) {
    QStringList labels;
    for (const Row& row : frame.rows)
        labels.append(row.label);
    return labels;
}

} // namespace

TEST(LossHeatmapWords, TitleScaleAndKeys) {
    EXPECT_EQ(title(), u"Loss Heatmap"_s);
    EXPECT_EQ(scaleLowText(), u"0%"_s);
    EXPECT_EQ(scaleHighText(), u"100%"_s);
    EXPECT_EQ(blockedKeyText(), u"Blocked"_s);
    EXPECT_EQ(blockedRowText(), u"BLOCKED"_s);
    EXPECT_EQ(color(), ResultsPalette::lossColor());
}

TEST(LossHeatmapWords, RowsAreNamedAsTheLegendNamesThem) {
    EXPECT_EQ(protocolLabel(u"ping"_s), u"ICMP"_s);
    EXPECT_EQ(protocolLabel(u"quic"_s), u"QUIC"_s);
    EXPECT_EQ(protocolLabel(u"udp"_s), u"UDP"_s);
    EXPECT_EQ(protocolLabel(u"cf_speed"_s), u"cf_speed"_s);
}

TEST(LossHeatmapWords, OneBlockedTargetIsSingular) {
    EXPECT_EQ(excludedText({u"tcp:10.0.0.9:443"_s}), u"Blocked target excluded: tcp:10.0.0.9:443"_s);
}

TEST(LossHeatmapWords, MoreBlockedTargetsArePluralAndJoined) {
    EXPECT_EQ(excludedText({u"dns:9.9.9.9"_s, u"tcp:10.0.0.9:443"_s}),
              u"Blocked targets excluded: dns:9.9.9.9, tcp:10.0.0.9:443"_s);
    EXPECT_EQ(excludedText({}), std::nullopt);
}

TEST(LossHeatmapCells, OpacityRunsFromATenthToEightTenths) {
    EXPECT_DOUBLE_EQ(cellOpacity(0), 0.1);
    EXPECT_DOUBLE_EQ(cellOpacity(0.5), 0.45);
    EXPECT_DOUBLE_EQ(cellOpacity(1), 0.8);
    EXPECT_EQ(lowestOpacity, 0.1);
    EXPECT_EQ(highestOpacity, 0.8);
}

TEST(LossHeatmapCells, ACellPerTenSecondBucketAlongTheWholeCapture) {
    QList<LatencyPoint> points;
    for (int s = 0; s <= 100; ++s)
        points.append(sample(s, s == 15 || s == 16 || s == 95));
    const Frame frame = LossHeatmap::frame(points);
    EXPECT_EQ(frame.startMs, ms(0));
    EXPECT_EQ(frame.endMs, ms(100));
    EXPECT_EQ(frame.startText, at(0).toLocalTime().toString(u"HH:mm:ss"_s));
    EXPECT_EQ(frame.endText, at(100).toLocalTime().toString(u"HH:mm:ss"_s));
    ASSERT_EQ(frame.rows.size(), 1);
    const Row& row = frame.rows.first();
    EXPECT_EQ(row.label, u"ICMP"_s);
    ASSERT_EQ(row.cells.size(), 2);
    EXPECT_EQ(row.cells[0], (Cell{0.1, 0.2, cellOpacity(0.2)}));
    EXPECT_EQ(row.cells[1], (Cell{0.9, 1.0, cellOpacity(0.1)}));
}

TEST(LossHeatmapRows, ProtocolsInTheStripsOrderWithTheirHeight) {
    QList<LatencyPoint> points;
    for (int s = 0; s < 30; ++s) {
        points.append(sample(s, false, u"dns"_s));
        points.append(sample(s + 0.2, s == 4, u"tcp"_s));
        points.append(sample(s + 0.4, false, u"ping"_s));
    }
    const Frame frame = LossHeatmap::frame(points);
    EXPECT_EQ(labelsOf(frame), (QStringList{u"ICMP"_s, u"TCP"_s, u"DNS"_s}));
    EXPECT_EQ(frame.height(), 3 * 28 + 20);
    EXPECT_FALSE(frame.showsBlockedKey);
    EXPECT_EQ(frame.excludedText, std::nullopt);
    EXPECT_TRUE(frame.rows[0].cells.isEmpty());
    EXPECT_EQ(frame.rows[1].cells.size(), 1);
}

TEST(LossHeatmapRows, ABlockedTargetIsLeftOutOfItsRowAndNamedBelow) {
    QList<LatencyPoint> points;
    for (int s = 0; s < 30; ++s) {
        points.append(sample(s, false, u"tcp"_s, u"1.1.1.1:443"_s));
        points.append(sample(s + 0.5, true, u"tcp"_s, u"10.0.0.9:443"_s));
        points.append(sample(s + 0.7, false, u"ping"_s));
    }
    const Frame frame = LossHeatmap::frame(points);
    ASSERT_EQ(frame.rows.size(), 2);
    EXPECT_FALSE(frame.rows[1].blocked) << "another tcp target answered";
    EXPECT_TRUE(frame.rows[1].cells.isEmpty()) << "the blocked target's losses don't paint the row";
    EXPECT_EQ(frame.excludedText, u"Blocked target excluded: tcp:10.0.0.9:443"_s);
    EXPECT_FALSE(frame.showsBlockedKey);
}

TEST(LossHeatmapRows, ABlockedProtocolIsABlockedRowAfterTheOthers) {
    LossStrip strip;
    strip.rows = {{u"ping"_s, false, {{at(10), at(20), 0.5}}}, {u"dns"_s, false, {}}, {u"quic"_s, true, {}}};
    strip.blockedTargets = {u"quic:a:443"_s, u"quic:b:443"_s};
    const Frame frame = LossHeatmap::frame(strip, ms(0), 100);
    EXPECT_EQ(labelsOf(frame), (QStringList{u"ICMP"_s, u"DNS"_s, u"QUIC"_s}));
    EXPECT_TRUE(frame.rows[2].blocked);
    EXPECT_TRUE(frame.rows[2].cells.isEmpty());
    EXPECT_TRUE(frame.showsBlockedKey);
    EXPECT_EQ(frame.excludedText, u"Blocked targets excluded: quic:a:443, quic:b:443"_s);
    EXPECT_EQ(frame.rows[0].cells, (QList<Cell>{{0.1, 0.2, cellOpacity(0.5)}}));
    EXPECT_EQ(blockedOpacity, 0.15);
}

TEST(LossHeatmapWords, TheEndsOfALongCaptureReadToTheMinute) {
    EXPECT_EQ(endTimeText(ms(3600), 7200), at(3600).toLocalTime().toString(u"HH:mm"_s));
    EXPECT_EQ(endTimeText(ms(3600), 599), at(3600).toLocalTime().toString(u"HH:mm:ss"_s));
}

TEST(LossHeatmapRows, NoPointsNoRows) {
    const Frame frame = LossHeatmap::frame(QList<LatencyPoint>{});
    EXPECT_TRUE(frame.rows.isEmpty());
    EXPECT_EQ(frame.excludedText, std::nullopt);
}

TEST(LossHeatmapColumns, EachColumnTakesTheStrongestCellItTouches) {
    const Row row{u"ping"_s, u"ICMP"_s, false, {{0.0, 0.1, 0.3}, {0.1, 0.2, 0.6}, {0.52, 0.53, 0.4}}};
    const QList<double> columns = columnOpacities(row, 10);
    EXPECT_EQ(columns, (QList<double>{0.3, 0.6, 0, 0, 0, 0.4, 0, 0, 0, 0}));
    EXPECT_TRUE(columnOpacities(row, 0).isEmpty());
}

TEST(LossHeatmapColumns, ManyCellsInFewColumns) {
    Row row{u"ping"_s, u"ICMP"_s, false, {}};
    for (int i = 0; i < 1000; ++i)
        row.cells.append({i / 1000.0, (i + 1) / 1000.0, i == 777 ? 0.8 : 0.1});
    const QList<double> columns = columnOpacities(row, 4);
    EXPECT_EQ(columns, (QList<double>{0.1, 0.1, 0.1, 0.8}));
}
