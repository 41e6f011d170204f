#include "screens/ResultsPalette.h"

using namespace Qt::StringLiterals;

namespace ResultsPalette {

namespace {

constexpr RgbColor ping{59, 130, 246};
constexpr RgbColor tcp{249, 115, 22};
constexpr RgbColor http{139, 92, 246};
constexpr RgbColor dns{236, 72, 153};
constexpr RgbColor quic{6, 182, 212};
constexpr RgbColor udp{16, 185, 129};
constexpr RgbColor loss{239, 68, 68};
constexpr RgbColor amber{245, 158, 11};
constexpr RgbColor grey{142, 142, 147};

} // namespace

RgbColor probeColor(const QString& probeType) {
    if (probeType == u"ping")
        return ping;
    if (probeType == u"tcp")
        return tcp;
    if (probeType == u"http")
        return http;
    if (probeType == u"dns")
        return dns;
    if (probeType == u"quic")
        return quic;
    if (probeType == u"udp")
        return udp;
    return grey;
}

RgbColor lossColor() {
    return loss;
}

RgbColor speedTestColor() {
    return amber;
}

RgbColor downloadColor() {
    return udp;
}

RgbColor uploadColor() {
    return ping;
}

RgbColor bottleneckColor() {
    return amber;
}

QList<LegendEntry> latencyLegend() {
    return {
        {u"ICMP"_s, u"ping"_s, ping},
        {u"TCP"_s, u"tcp"_s, tcp},
        {u"HTTP"_s, u"http"_s, http},
        {u"DNS"_s, u"dns"_s, dns},
        {u"QUIC"_s, u"quic"_s, quic},
        {u"loss"_s, u"loss"_s, loss},
        {u"Speed Test"_s, u"speedtest"_s, amber},
    };
}

} // namespace ResultsPalette
