#include "screens/ResultsPalette.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;

TEST(ResultsPaletteTest, EachProtocolHasItsOwnColourAndOthersAreGrey) {
    EXPECT_EQ(ResultsPalette::probeColor(u"ping"_s), (RgbColor{59, 130, 246}));
    EXPECT_EQ(ResultsPalette::probeColor(u"tcp"_s), (RgbColor{249, 115, 22}));
    EXPECT_EQ(ResultsPalette::probeColor(u"http"_s), (RgbColor{139, 92, 246}));
    EXPECT_EQ(ResultsPalette::probeColor(u"dns"_s), (RgbColor{236, 72, 153}));
    EXPECT_EQ(ResultsPalette::probeColor(u"quic"_s), (RgbColor{6, 182, 212}));
    EXPECT_EQ(ResultsPalette::probeColor(u"udp"_s), (RgbColor{16, 185, 129}));
    EXPECT_EQ(ResultsPalette::probeColor(u"cf_speed"_s), ResultsPalette::probeColor(u"PING"_s));
    EXPECT_NE(ResultsPalette::probeColor(u"cf_speed"_s), ResultsPalette::probeColor(u"ping"_s));
}

TEST(ResultsPaletteTest, TheLegendListsSevenKeysInItsOrder) {
    const QList<ResultsPalette::LegendEntry> legend = ResultsPalette::latencyLegend();
    QStringList labels;
    QStringList keys;
    for (const auto& entry : legend) {
        labels.append(entry.label);
        keys.append(entry.key);
    }
    EXPECT_EQ(labels,
              (QStringList{u"ICMP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s, u"loss"_s, u"Speed Test"_s}));
    EXPECT_EQ(keys,
              (QStringList{u"ping"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s, u"loss"_s, u"speedtest"_s}));
    EXPECT_EQ(legend[5].color, ResultsPalette::lossColor());
    EXPECT_EQ(legend[6].color, ResultsPalette::speedTestColor());
    EXPECT_EQ(ResultsPalette::downloadColor(), (RgbColor{16, 185, 129}));
    EXPECT_EQ(ResultsPalette::uploadColor(), (RgbColor{59, 130, 246}));
    EXPECT_EQ(ResultsPalette::lossColor(), (RgbColor{239, 68, 68}));
}
