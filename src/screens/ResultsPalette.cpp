#include "screens/ResultsPalette.h"

#include "screens/ProbeColors.h"

using namespace Qt::StringLiterals;

namespace ResultsPalette {

namespace {

constexpr RgbColor loss{239, 68, 68};
constexpr RgbColor amber{245, 158, 11};
constexpr RgbColor green{16, 185, 129};
constexpr RgbColor blue{59, 130, 246};

} // namespace

RgbColor lossColor() {
    return loss;
}

RgbColor speedTestColor() {
    return amber;
}

RgbColor downloadColor() {
    return green;
}

RgbColor uploadColor() {
    return blue;
}

RgbColor bottleneckColor() {
    return amber;
}

QList<LegendEntry> latencyLegend(const QStringList& probeTypes) {
    // "udp" has a colour but stands in the legend only when a capture has its points.
    const QStringList always = {u"ping"_s, u"tcp"_s, u"http"_s, u"dns"_s, u"quic"_s};
    QList<LegendEntry> entries;
    const auto add = [&entries](const QString& type) {
        entries.append({ProbeColors::probeLabel(type), type, ProbeColors::probeColor(type)});
    };
    const QStringList known = ProbeColors::knownProbeTypes();
    for (const QString& type : known) {
        if (always.contains(type) || probeTypes.contains(type))
            add(type);
    }
    for (const QString& type : probeTypes) {
        if (!known.contains(type))
            add(type);
    }
    entries.append({u"loss"_s, u"loss"_s, loss});
    entries.append({u"Speed Test"_s, u"speedtest"_s, amber});
    return entries;
}

} // namespace ResultsPalette
