#pragma once

#include "capture/RgbColor.h"

#include <QString>
#include <QStringList>

// One colour and one name for each probe type, in every chart of the program: a protocol looks the same
// in the live chart, the timeline, the heatmap and the DNS & QUIC card.
namespace ProbeColors {

// The colour of a probe type's marks; unknown types are gray.
RgbColor probeColor(const QString& probeType);
// "ICMP" for "ping", "UDP", "TCP", "HTTP", "DNS", "QUIC"; an unknown type as it stands.
QString probeLabel(const QString& probeType);
// The probe types that have a colour of their own, in legend order: "ping", "udp", "tcp", "http", "dns",
// "quic".
QStringList knownProbeTypes();

} // namespace ProbeColors
