#include "ResultsBottomCharts.h"

#include "capture/ResultsAnalysis.h"

using namespace Qt::StringLiterals;

namespace ResultsBottomCharts {

namespace {

Cell cell(Chart chart, bool hasData, const QString& dataName) {
    Cell result{chart, std::nullopt};
    if (!hasData)
        result.placeholderText = placeholderText(dataName);
    return result;
}

} // namespace

QString placeholderText(const QString& dataName) {
    return u"Insufficient "_s + dataName;
}

Model model(const CaptureSnapshot& capture) {
    Model result;

    const bool hasThroughput = ResultsThroughputChart::hasData(capture);
    const bool hasSignal = ResultsSignalChart::hasData(capture.rssiHistory);
    const bool hasTraceroute = ResultsTracerouteChart::hasData(capture.traceroutePoints);
    const bool hasDnsQuic = ResultsDnsQuicChart::hasData(capture.latencyPoints);
    const QList<ObservedThroughputPoint> observed = ResultsAnalysis::filteredObservedPoints(capture);
    const bool hasUtilization = ResultsUtilizationChart::hasData(observed);

    const Cell traceroute = cell(Chart::traceroute, hasTraceroute, u"Traceroute data"_s);
    const Cell dnsQuic = cell(Chart::dnsQuic, hasDnsQuic, u"DNS & QUIC data"_s);
    result.rows.append({cell(Chart::throughput, hasThroughput, u"Speed Test data"_s),
                        cell(Chart::signal, hasSignal, u"Signal data"_s)});
    if (hasUtilization) {
        result.rows.append({Cell{Chart::downloadUtilization, std::nullopt}, traceroute});
        result.rows.append({Cell{Chart::uploadUtilization, std::nullopt}, dnsQuic});
    } else {
        result.rows.append({traceroute, dnsQuic});
    }

    if (hasThroughput)
        result.throughput = ResultsThroughputChart::model(capture);
    if (hasSignal)
        result.signal = ResultsSignalChart::model(capture.rssiHistory);
    if (hasUtilization) {
        result.downloadUtilization =
            ResultsUtilizationChart::model(observed, ResultsUtilizationChart::Direction::download);
        result.uploadUtilization =
            ResultsUtilizationChart::model(observed, ResultsUtilizationChart::Direction::upload);
    }
    if (hasTraceroute)
        result.traceroute = ResultsTracerouteChart::model(capture.traceroutePoints);
    if (hasDnsQuic)
        result.dnsQuic = ResultsDnsQuicChart::model(capture.latencyPoints);
    return result;
}

} // namespace ResultsBottomCharts
