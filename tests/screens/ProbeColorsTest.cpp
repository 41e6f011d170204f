#include "screens/ProbeColors.h"

#include "screens/ResultsPalette.h"

#include <gtest/gtest.h>

using namespace Qt::StringLiterals;
using namespace ProbeColors;

TEST(ProbeColors, TheSixGivenColoursAndGray) {
    EXPECT_EQ(probeColor(u"ping"_s).hexName(), u"#3b82f6"_s);
    EXPECT_EQ(probeColor(u"udp"_s).hexName(), u"#f97316"_s);
    EXPECT_EQ(probeColor(u"tcp"_s).hexName(), u"#10b981"_s);
    EXPECT_EQ(probeColor(u"http"_s).hexName(), u"#8b5cf6"_s);
    EXPECT_EQ(probeColor(u"dns"_s).hexName(), u"#ec4899"_s);
    EXPECT_EQ(probeColor(u"quic"_s).hexName(), u"#06b6d4"_s);
    const RgbColor gray = probeColor(u"cf_speed"_s);
    EXPECT_EQ(gray.red, gray.green);
    EXPECT_NEAR(gray.blue, gray.red, 8);
    EXPECT_EQ(probeColor(u"PING"_s), gray) << "probe types are matched exactly";
}

TEST(ProbeColors, TcpIsGreenAndUdpOrangeInEveryChart) {
    EXPECT_EQ(probeColor(u"tcp"_s), (RgbColor{16, 185, 129}));
    EXPECT_EQ(probeColor(u"udp"_s), (RgbColor{249, 115, 22}));
}

TEST(ProbeColors, NoProbeSharesTheSpeedTestsAmberOrTheLossRed) {
    for (const QString& type : knownProbeTypes()) {
        EXPECT_NE(probeColor(type), ResultsPalette::speedTestColor()) << type.toStdString();
        EXPECT_NE(probeColor(type), ResultsPalette::lossColor()) << type.toStdString();
    }
}

TEST(ProbeColors, EachKnownTypeHasItsLegendName) {
    EXPECT_EQ(knownProbeTypes(),
              (QStringList{u"ping"_s, u"udp"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s}));
    QStringList labels;
    for (const QString& type : knownProbeTypes())
        labels.append(probeLabel(type));
    EXPECT_EQ(labels, (QStringList{u"ICMP"_s, u"UDP"_s, u"TCP"_s, u"HTTP"_s, u"DNS"_s, u"QUIC"_s}));
    EXPECT_EQ(probeLabel(u"cf_speed"_s), u"cf_speed"_s);
}
