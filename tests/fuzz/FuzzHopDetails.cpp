#include "FuzzTarget.h"

#include "capture/CSVLoader.h"

// The details column of a traceroute row, "h1=192.168.1.1(1.2ms) h2=…".
int fuzzHopDetails(const std::uint8_t* data, std::size_t size) {
    const QString details = QString::fromUtf8(fuzzBytes(data, size));
    const QList<HopDetail> hops = CSVLoader::parseHopDetails(details);
    fuzzCheck(hops.size() <= details.count(u'h'), "every hop comes from an item of its own");
    for (const HopDetail& hop : hops) {
        fuzzCheck(!hop.ip.isEmpty() && details.contains(hop.ip), "a hop's address is taken from the text");
        fuzzCheck(hop.deltaMs.has_value() == hop.rttMs.has_value(), "a hop with a time has what it adds");
        fuzzCheck(!hop.deltaMs || (*hop.deltaMs >= 0 && *hop.deltaMs <= *hop.rttMs),
                  "what a hop adds lies between zero and its own time");
    }
    return 0;
}
