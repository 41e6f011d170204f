#include "FuzzTarget.h"

#include "capture/CSVLoader.h"

#include <cmath>

namespace {

bool finiteOrAbsent(std::optional<double> value) {
    return !value || std::isfinite(*value);
}

} // namespace

// A capture file as the tool may leave it: the full load and the picker's quick scan of the same bytes.
int fuzzCsvLoader(const std::uint8_t* data, std::size_t size) {
    static const QString path = fuzzScratchDir() + QStringLiteral("/wifi_capture_20250601T120000Z.csv");
    writeFuzzFile(path, data, size);

    const std::optional<CSVLoader::LoadedCapture> capture = CSVLoader::load(path);
    const CSVLoader::QuickStats stats = CSVLoader::quickStats(path);
    fuzzCheck(capture || stats == CSVLoader::QuickStats{}, "a file the load refuses gives no quick figures");
    fuzzCheck(finiteOrAbsent(stats.medianLatencyMs) && finiteOrAbsent(stats.lastDownloadMbps) &&
                  finiteOrAbsent(stats.lastUploadMbps) && finiteOrAbsent(stats.durationMin),
              "the quick figures are finite");
    fuzzCheck(!stats.lossPct || (*stats.lossPct >= 0 && *stats.lossPct <= 100), "the loss is a share");
    if (!capture)
        return 0;
    fuzzCheck(capture->latencyPoints.size() <= capture->sampleCount, "every latency point is a counted row");
    for (const LatencyPoint& point : capture->latencyPoints)
        fuzzCheck(finiteOrAbsent(point.rttMs), "a round trip is finite");
    for (const TraceroutePoint& point : capture->traceroutePoints) {
        for (const HopDetail& hop : point.hops)
            fuzzCheck(!hop.deltaMs || *hop.deltaMs >= 0, "a hop adds no negative time");
    }
    fuzzCheck(std::isfinite(capture->durationSec), "the duration is finite");
    return 0;
}
