#pragma once

#include "capture/RgbColor.h"

#include <QList>
#include <QString>

// The colours of the results charts. Every chart of that screen takes a probe's colour from here, so
// that a protocol looks the same in the timeline, the heatmap and the DNS & QUIC chart.
namespace ResultsPalette {

RgbColor probeColor(const QString& probeType); // unknown types are grey
RgbColor lossColor();                          // 239, 68, 68
RgbColor speedTestColor();                     // 245, 158, 11
RgbColor downloadColor();                      // 16, 185, 129
RgbColor uploadColor();                        // 59, 130, 246
RgbColor bottleneckColor();                    // 245, 158, 11

// One filterable entry of the latency chart's legend: its label and the key that hides its marks.
struct LegendEntry {
    QString label;
    QString key;
    RgbColor color;
    friend bool operator==(const LegendEntry&, const LegendEntry&) = default;
};

// "ICMP", "TCP", "HTTP", "DNS", "QUIC", "loss", "Speed Test", in this order.
QList<LegendEntry> latencyLegend();

} // namespace ResultsPalette
