#pragma once

#include "capture/RgbColor.h"

#include <QList>
#include <QString>
#include <QStringList>

// The colours of the results charts beyond the probes' own, which come from ProbeColors as in every
// chart.
namespace ResultsPalette {

RgbColor lossColor();       // 239, 68, 68
RgbColor speedTestColor();  // 245, 158, 11, an amber apart from every probe's colour
RgbColor downloadColor();   // 16, 185, 129
RgbColor uploadColor();     // 59, 130, 246
RgbColor bottleneckColor(); // 245, 158, 11

// One filterable entry of the latency chart's legend: its label and the key that hides its marks.
struct LegendEntry {
    QString label;
    QString key;
    RgbColor color;
    friend bool operator==(const LegendEntry&, const LegendEntry&) = default;
};

// "ICMP", "TCP", "HTTP", "DNS", "QUIC", "loss", "Speed Test", in this order, and an entry for each
// other probe type of `probeTypes`, so that every type drawn can be switched off: "UDP" after "ICMP",
// unknown types, by their own names, after "QUIC".
QList<LegendEntry> latencyLegend(const QStringList& probeTypes = {});

} // namespace ResultsPalette
