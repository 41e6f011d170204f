#pragma once

#include "capture/CaptureSnapshot.h"
#include "capture/RgbColor.h"

#include <QList>
#include <QPointF>
#include <QString>

#include <optional>

// The speed-test card of the results: the tests as small bars while there are few of them, as a box
// plot once there are many, and the CDN rates below.
namespace ResultsThroughputChart {

// Up to this many tests in either direction each gets a bar of its own.
inline constexpr qsizetype largestBarCount = 5;
// A box plot's tests are small faint points behind the box: dozens of them, drawn over it at full
// strength, would bury the box and its median. The size is an area in square points.
inline constexpr double testPointSize = 12;
inline constexpr double testPointOpacity = 0.4;
// The box's width in the units of its one category; the tests spread sideways within it.
inline constexpr double boxWidth = 0.5;

QString title(); // "Speed Test"

struct Bar {
    int testNum = 0;
    QString label; // "#{testNum}"
    double mbps = 0;
    friend bool operator==(const Bar&, const Bar&) = default;
};

// The five marks of a box: the extremes and the interpolated quartiles of the sorted rates.
struct BoxSummary {
    double minimum = 0;
    double lowerQuartile = 0;
    double median = 0;
    double upperQuartile = 0;
    double maximum = 0;
    friend bool operator==(const BoxSummary&, const BoxSummary&) = default;
};

// "Download" or "Upload": its bars, or its box with the individual rates drawn over it.
struct SubChart {
    QString title;
    RgbColor color;
    QList<Bar> bars;               // bar form only, in test order
    std::optional<BoxSummary> box; // box-plot form only
    // Box-plot form only: each test at its rate, moved a little sideways by its place in the list so
    // that equal rates don't hide each other; 0 is the middle of the box.
    QList<QPointF> testPoints;
    QList<double> values; // every rate of the direction, ascending
    double top = 0;       // the largest rate; the scale starts at 0
    friend bool operator==(const SubChart&, const SubChart&) = default;
};

enum class Form { bars, boxPlot };

struct CdnEntry {
    QString text; // "Netflix {rate}" / "Akamai {rate}"
    double mbps = 0;
    double share = 0; // of the larger of the two rates, 0 to 1: the bar's length
    friend bool operator==(const CdnEntry&, const CdnEntry&) = default;
};

struct CdnRow {
    QString title; // "CDN Diversity"
    QList<CdnEntry> entries;
    friend bool operator==(const CdnRow&, const CdnRow&) = default;
};

struct Model {
    QString title;
    std::optional<QString> mediansText; // "Median DL: {dl} UL: {ul}", when both medians exist
    qsizetype testCount = 0;            // the larger of the download and the upload count
    Form form = Form::bars;
    QString xAxisTitle; // "Test", bars only
    QString yAxisTitle; // "Mbps"
    // "Download" then "Upload"; a direction without any test is left out.
    QList<SubChart> subCharts;
    std::optional<CdnRow> cdn;
    friend bool operator==(const Model&, const Model&) = default;
};

// Whether the card has anything to show: a speed-test rate.
bool hasData(const CaptureSnapshot& capture);
Model model(const CaptureSnapshot& capture);
BoxSummary boxSummary(const QList<double>& sortedValues);

} // namespace ResultsThroughputChart
