#include "screens/ResultsPalette.h"

#include "screens/ProbeColors.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

namespace {

QStringList labelsOf(const QList<ResultsPalette::LegendEntry>& legend) {
    QStringList labels;
    for (const auto& entry : legend)
        labels.append(entry.label);
    return labels;
}

} // namespace

TEST(ResultsPaletteTest, TheLegendListsSevenKeysInItsOrder) {
    const QList<ResultsPalette::LegendEntry> legend = ResultsPalette::latencyLegend();
    QStringList keys;
    for (const auto& entry : legend)
        keys.append(entry.key);
    EXPECT_EQ(labelsOf(legend),
              (QStringList{u"ICMP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s, u"loss"_s, u"Speed Test"_s}));
    EXPECT_EQ(keys,
              (QStringList{u"ping"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s, u"loss"_s, u"speedtest"_s}));
    EXPECT_EQ(legend[5].color, ResultsPalette::lossColor());
    EXPECT_EQ(legend[6].color, ResultsPalette::speedTestColor());
    EXPECT_EQ(ResultsPalette::downloadColor(), (RgbColor{16, 185, 129}));
    EXPECT_EQ(ResultsPalette::uploadColor(), (RgbColor{59, 130, 246}));
    EXPECT_EQ(ResultsPalette::lossColor(), (RgbColor{239, 68, 68}));
}

TEST(ResultsPaletteTest, TheLegendsProbeDotsHaveTheColoursOfEveryChart) {
    for (const ResultsPalette::LegendEntry& entry : ResultsPalette::latencyLegend({u"udp"_s, u"x"_s})) {
        if (entry.key != u"loss" && entry.key != u"speedtest")
            EXPECT_EQ(entry.color, ProbeColors::probeColor(entry.key)) << entry.key.toStdString();
    }
    EXPECT_EQ(ResultsPalette::latencyLegend()[1].color, (RgbColor{16, 185, 129})) << "TCP is green";
}

TEST(ResultsPaletteTest, EveryProbeTypeWithPointsHasALegendDot) {
    const QList<ResultsPalette::LegendEntry> legend =
        ResultsPalette::latencyLegend({u"ping"_s, u"udp"_s, u"tcp"_s, u"cf_speed"_s});
    EXPECT_EQ(labelsOf(legend), (QStringList{u"ICMP"_s, u"UDP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s,
                                             u"cf_speed"_s, u"loss"_s, u"Speed Test"_s}));
    EXPECT_EQ(legend[1].key, u"udp"_s);
    EXPECT_EQ(legend[1].color, (RgbColor{249, 115, 22}));
    EXPECT_EQ(legend[6].key, u"cf_speed"_s);
    EXPECT_EQ(legend[6].color, ProbeColors::probeColor(u"cf_speed"_s));
}
