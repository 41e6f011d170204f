#include "screens/ProbeColors.h"

#include <QList>

#include <cmath>

using namespace Qt::StringLiterals;

namespace ProbeColors {

namespace {

// Colours are given as sRGB fractions; the nearest 8-bit value of each channel is what gets drawn.
RgbColor fromUnit(double red, double green, double blue) {
    return {int(std::lround(red * 255)), int(std::lround(green * 255)), int(std::lround(blue * 255))};
}

struct ProbeStyle {
    QString type;
    QString label;
    RgbColor color;
};

const QList<ProbeStyle>& probeStyles() {
    static const QList<ProbeStyle> styles = {
        {u"ping"_s, u"ICMP"_s, fromUnit(0.231, 0.510, 0.965)},
        {u"udp"_s, u"UDP"_s, fromUnit(0.976, 0.451, 0.086)},
        {u"tcp"_s, u"TCP"_s, fromUnit(0.063, 0.725, 0.506)},
        {u"http"_s, u"HTTP"_s, fromUnit(0.545, 0.361, 0.965)},
        {u"dns"_s, u"DNS"_s, fromUnit(0.925, 0.282, 0.600)},
        {u"quic"_s, u"QUIC"_s, fromUnit(0.024, 0.714, 0.831)},
    };
    return styles;
}

const ProbeStyle* styleOf(const QString& probeType) {
    for (const ProbeStyle& style : probeStyles()) {
        if (style.type == probeType)
            return &style;
    }
    return nullptr;
}

} // namespace

RgbColor probeColor(const QString& probeType) {
    const ProbeStyle* style = styleOf(probeType);
    return style ? style->color : RgbColor{142, 142, 147};
}

QString probeLabel(const QString& probeType) {
    const ProbeStyle* style = styleOf(probeType);
    return style ? style->label : probeType;
}

QStringList knownProbeTypes() {
    QStringList types;
    for (const ProbeStyle& style : probeStyles())
        types.append(style.type);
    return types;
}

} // namespace ProbeColors
