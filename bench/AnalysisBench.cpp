// What the results screen costs to draw: the whole analysis of one capture, at growing sizes. The
// complexity fit that Google Benchmark prints shows whether any step grows faster than the capture.

#include "capture/ResultsAnalysis.h"

#include <benchmark/benchmark.h>

using namespace Qt::StringLiterals;

namespace {

// Ten samples a second over five probe targets, one lost in fifty, with the other series in
// proportion, as a long capture would hold them.
CaptureSnapshot makeCapture(qsizetype n) {
    const QDateTime origin = QDateTime::fromSecsSinceEpoch(1'700'000'000, Qt::UTC);
    const QStringList types = {u"ping"_s, u"ping"_s, u"udp"_s, u"tcp"_s, u"dns"_s};
    CaptureSnapshot capture;
    capture.latencyPoints.reserve(n);
    capture.observedThroughputPoints.reserve(n);
    for (qsizetype i = 0; i < n; ++i) {
        const QDateTime date = origin.addMSecs(i * 100);
        const QString& type = types.at(i % types.size());
        const bool lost = i % 50 == 7;
        capture.latencyPoints.append({date,
                                      lost ? std::nullopt : std::optional(10.0 + double((i * 37) % 400)),
                                      lost, type, u"target-"_s + QString::number(i % 7)});
        capture.observedThroughputPoints.append({date, double(i % 30), double(i % 7)});
        if (i % 10 == 0)
            capture.rssiHistory.append({date, int(-40 - (i / 10) % 40)});
        if (i % 100 == 0) {
            QList<HopDetail> hops;
            for (int h = 1; h <= 12; ++h)
                hops.append({h, u"10.0.%1.1"_s.arg(h), double(h * 3 + i % 5), std::nullopt});
            capture.traceroutePoints.append({date, int(hops.size()), hops.first().ip, u"1.1.1.1"_s, hops});
        }
        if (i % 1000 == 500) {
            capture.throughputPoints.append(
                {int(i / 1000), 20.0 + double(i % 70), u"download"_s, u"s"_s, date});
            capture.throughputPoints.append({int(i / 1000), 5.0 + double(i % 13), u"upload"_s, u"s"_s, date});
            capture.speedTestRanges.append({date, date.addSecs(8), u"download"_s, int(i / 1000)});
            capture.cdnThroughputPoints.append({u"netflix_oca"_s, 3.0 + double(i % 9), date});
            capture.youtubeSegmentMbps.append(1.0 + double(i % 6));
        }
    }
    capture.stats.latencyMs = 42;
    capture.stats.downloadMbps = 80;
    capture.stats.uploadMbps = 12;
    return capture;
}

// Everything the results screen computes when it draws once.
void analyse(const CaptureSnapshot& capture) {
    using namespace ResultsAnalysis;
    benchmark::DoNotOptimize(quality(capture));
    benchmark::DoNotOptimize(qualityExplanation(capture));
    benchmark::DoNotOptimize(summaryFigures(capture));
    benchmark::DoNotOptimize(videoFigures(capture));
    benchmark::DoNotOptimize(hasVideoData(capture));
    const QList<double> values = percentileValues(capture.latencyPoints);
    benchmark::DoNotOptimize(computePercentiles(values));
    benchmark::DoNotOptimize(latencyYDomain(values));
    benchmark::DoNotOptimize(computeLossBuckets(capture.latencyPoints, 10));
    benchmark::DoNotOptimize(lossStrip(capture.latencyPoints));
    benchmark::DoNotOptimize(chartTimeSpan(capture.latencyPoints));
    benchmark::DoNotOptimize(rssiYDomain(capture.rssiHistory));
    benchmark::DoNotOptimize(filteredObservedPoints(capture));
    const QList<HopDetail> hops = computeMedianHops(capture.traceroutePoints);
    benchmark::DoNotOptimize(tracerouteBottleneckIndex(hops));
    benchmark::DoNotOptimize(traceroutePathChanged(capture.traceroutePoints));
}

void BM_ResultsAnalysisWholeCapture(benchmark::State& state) {
    const CaptureSnapshot capture = makeCapture(state.range(0));
    for (auto _ : state)
        analyse(capture);
    state.SetComplexityN(state.range(0));
    state.SetItemsProcessed(state.iterations() * state.range(0));
}

} // namespace

BENCHMARK(BM_ResultsAnalysisWholeCapture)
    ->RangeMultiplier(2)
    ->Range(12'500, 400'000)
    ->Unit(benchmark::kMillisecond)
    ->Complexity();
// The size the results screen is asked to handle at once: a capture of 100,000 samples.
BENCHMARK(BM_ResultsAnalysisWholeCapture)->Arg(100'000)->Unit(benchmark::kMillisecond);
