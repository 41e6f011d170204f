#include "ResultsThroughputChart.h"

#include "capture/ResultsAnalysis.h"
#include "capture/SharedFigures.h"
#include "screens/ResultsPalette.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace ResultsThroughputChart {

namespace {

// Sideways offsets, repeated, as fractions of the box's width: all within the box.
double spread(qsizetype index) {
    constexpr double offsets[] = {0, -0.24, 0.24, -0.12, 0.12, -0.36, 0.36};
    return offsets[index % qsizetype(std::size(offsets))] * boxWidth;
}

QList<ThroughputPoint> testsOf(const CaptureSnapshot& capture, const QString& direction) {
    QList<ThroughputPoint> tests;
    for (const ThroughputPoint& point : capture.throughputPoints) {
        if (point.direction == direction)
            tests.append(point);
    }
    return tests;
}

SubChart subChart(const QString& title, const RgbColor& color, const QList<ThroughputPoint>& tests,
                  Form form) {
    SubChart chart;
    chart.title = title;
    chart.color = color;
    for (const ThroughputPoint& test : tests)
        chart.values.append(test.mbps);
    std::sort(chart.values.begin(), chart.values.end());
    chart.top = chart.values.isEmpty() ? 0 : chart.values.last();
    if (form == Form::bars) {
        for (const ThroughputPoint& test : tests)
            chart.bars.append({test.testNum, u'#' + QString::number(test.testNum), test.mbps});
    } else {
        chart.box = boxSummary(chart.values);
        for (qsizetype i = 0; i < tests.size(); ++i)
            chart.testPoints.append(QPointF(spread(i), tests[i].mbps));
    }
    return chart;
}

std::optional<double> medianOf(const QList<CdnThroughputPoint>& points, const QString& target) {
    QList<double> rates;
    for (const CdnThroughputPoint& point : points) {
        if (point.target == target)
            rates.append(point.mbps);
    }
    return median(rates);
}

std::optional<CdnRow> cdnRow(const QList<CdnThroughputPoint>& points) {
    if (points.isEmpty())
        return std::nullopt;
    CdnRow row;
    row.title = u"CDN Diversity"_s;
    const std::pair<QString, QString> sources[] = {{u"Netflix "_s, u"netflix_oca"_s},
                                                   {u"Akamai "_s, u"akamai"_s}};
    double largest = 0;
    for (const auto& [label, target] : sources) {
        if (const std::optional<double> rate = medianOf(points, target)) {
            row.entries.append({label + ResultsAnalysis::formatMbps(*rate), *rate, 0});
            largest = std::max(largest, *rate);
        }
    }
    for (CdnEntry& entry : row.entries)
        entry.share = largest > 0 ? std::clamp(entry.mbps / largest, 0.0, 1.0) : 0.0;
    return row;
}

} // namespace

QString title() {
    return u"Speed Test"_s;
}

BoxSummary boxSummary(const QList<double>& sortedValues) {
    if (sortedValues.isEmpty())
        return {};
    return {sortedValues.first(), ResultsAnalysis::percentile(sortedValues, 0.25),
            ResultsAnalysis::percentile(sortedValues, 0.5), ResultsAnalysis::percentile(sortedValues, 0.75),
            sortedValues.last()};
}

bool hasData(const CaptureSnapshot& capture) {
    return !capture.throughputPoints.isEmpty();
}

Model model(const CaptureSnapshot& capture) {
    Model result;
    result.title = title();
    const std::optional<double> download = ResultsAnalysis::medianDownload(capture);
    const std::optional<double> upload = ResultsAnalysis::medianUpload(capture);
    if (download && upload) {
        result.mediansText = u"Median DL: "_s + ResultsAnalysis::formatMbps(*download) + u" UL: "_s +
                             ResultsAnalysis::formatMbps(*upload);
    }
    const QList<ThroughputPoint> downloads = testsOf(capture, u"download"_s);
    const QList<ThroughputPoint> uploads = testsOf(capture, u"upload"_s);
    result.testCount = std::max(downloads.size(), uploads.size());
    result.form = result.testCount > largestBarCount ? Form::boxPlot : Form::bars;
    if (result.form == Form::bars)
        result.xAxisTitle = u"Test"_s;
    result.yAxisTitle = u"Mbps"_s;
    if (!downloads.isEmpty())
        result.subCharts.append(
            subChart(u"Download"_s, ResultsPalette::downloadColor(), downloads, result.form));
    if (!uploads.isEmpty())
        result.subCharts.append(subChart(u"Upload"_s, ResultsPalette::uploadColor(), uploads, result.form));
    result.cdn = cdnRow(capture.cdnThroughputPoints);
    return result;
}

} // namespace ResultsThroughputChart
