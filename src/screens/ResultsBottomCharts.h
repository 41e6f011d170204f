#pragma once

#include "capture/CaptureSnapshot.h"
#include "screens/ResultsDnsQuicChart.h"
#include "screens/ResultsSignalChart.h"
#include "screens/ResultsThroughputChart.h"
#include "screens/ResultsTracerouteChart.h"
#include "screens/ResultsUtilizationChart.h"

#include <QList>
#include <QString>

#include <optional>

// The grid of charts at the foot of the results: which card stands where, which of them have too little
// data and give way to a placeholder, and each card's model. Built once per change of the capture's
// series; the views only draw it.
namespace ResultsBottomCharts {

enum class Chart { throughput, signal, downloadUtilization, uploadUtilization, traceroute, dnsQuic };

struct Cell {
    Chart chart = Chart::throughput;
    // "Insufficient {name}" when the card has too little to show; the chart stands there otherwise.
    std::optional<QString> placeholderText;
    friend bool operator==(const Cell&, const Cell&) = default;
};

struct Row {
    Cell left;
    Cell right;
    friend bool operator==(const Row&, const Row&) = default;
};

// "Insufficient {name}".
QString placeholderText(const QString& dataName);

struct Model {
    // Speed test | signal; then download utilization | traceroute and upload utilization | DNS & QUIC
    // when there is traffic to show, else traceroute | DNS & QUIC.
    QList<Row> rows;
    // The models of the cards that show a chart; a placeholder's stays empty.
    std::optional<ResultsThroughputChart::Model> throughput;
    std::optional<ResultsSignalChart::Model> signal;
    std::optional<ResultsUtilizationChart::Model> downloadUtilization;
    std::optional<ResultsUtilizationChart::Model> uploadUtilization;
    std::optional<ResultsTracerouteChart::Model> traceroute;
    std::optional<ResultsDnsQuicChart::Model> dnsQuic;
    friend bool operator==(const Model&, const Model&) = default;
};

Model model(const CaptureSnapshot& capture);

} // namespace ResultsBottomCharts
