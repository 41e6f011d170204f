#include "ResultsTimeChartCards.h"

#include "ChartMarkers.h"
#include "RoundTimeAxis.h"

#include "screens/ResultsPalette.h"

#include <QAreaSeries>
#include <QCategoryAxis>
#include <QChart>
#include <QGraphicsSimpleTextItem>
#include <QHBoxLayout>
#include <QLineSeries>
#include <QPainter>
#include <QScrollBar>
#include <QVBoxLayout>
#include <QValueAxis>

#include <cmath>
#include <functional>

using namespace Qt::StringLiterals;
using namespace ResultsChartParts;

namespace {

// A single moment still needs an axis with some width.
ClosedRange atLeastASecond(const ClosedRange& domain) {
    return {domain.lowerBound, std::max(domain.upperBound, domain.lowerBound + 1000)};
}

QCategoryAxis* makeTimeAxis(const QString& title) {
    QCategoryAxis* axis = RoundTimeAxis::make();
    axis->setTitleText(title);
    return axis;
}

// Labels the window at as many round times as the plot's width has room for.
void showTimeWindow(QChart* chart, QCategoryAxis* axis, const ClosedRange& window) {
    const QFontMetricsF metrics(axis->labelsFont());
    RoundTimeAxis::show(axis, window,
                        TimeAxisTicks::ticksToFit(window, chart->plotArea().width(),
                                                  metrics.horizontalAdvance(u"00:00"_s),
                                                  metrics.horizontalAdvance(u"00:00:00"_s)));
}

// Labels the window now and again whenever the plot changes width: a narrow plot gets fewer labels.
void keepTimeLabels(QObject* context, QChart* chart, QCategoryAxis* axis,
                    std::function<ClosedRange()> window) {
    showTimeWindow(chart, axis, window());
    QObject::connect(chart, &QChart::plotAreaChanged, context,
                     [chart, axis, window] { showTimeWindow(chart, axis, window()); });
}

// The signal's own line: the blue of the charts' first probe.
const RgbColor signalColor = ResultsPalette::uploadColor();

} // namespace

// --- signal -----------------------------------------------------------------------------------------

ResultsSignalCard::ResultsSignalCard(const ResultsSignalChart::Model& model, QWidget* parent)
    : ResultsChartCard(model.title, model.latestText ? QStringList{*model.latestText} : QStringList{}, parent)
    , m_model(model) {
    m_view = new ResultsChartView(this);
    QChart* chart = m_view->chart();
    m_xAxis = makeTimeAxis(m_model.xAxisTitle);
    m_yAxis = makeValueAxis(m_model.yDomain, m_model.yAxisTitle + u" ("_s + m_model.unit + u')');
    chart->addAxis(m_xAxis, Qt::AlignBottom);
    chart->addAxis(m_yAxis, Qt::AlignLeft);

    // The quality lines run along the whole capture, behind the readings.
    for (const ResultsSignalChart::Threshold& threshold : std::as_const(m_model.thresholds)) {
        auto* line = new QLineSeries;
        line->setName(threshold.label);
        line->append(m_model.xDomain.lowerBound, threshold.rssi);
        line->append(m_model.xDomain.upperBound, threshold.rssi);
        QPen pen(toColor(threshold.color, threshold.opacity), 1.5, Qt::DashLine);
        line->setPen(pen);
        attach(chart, line, m_xAxis, m_yAxis);
        m_thresholds.append(line);
        auto* label = new QGraphicsSimpleTextItem(threshold.label, chart);
        label->setBrush(toColor(threshold.color));
        label->setFont(smallFont(font()));
        label->setZValue(10);
        m_thresholdLabels.append(label);
    }
    m_line = new QLineSeries;
    m_line->setName(m_model.title);
    m_line->setPen(QPen(toColor(signalColor), 2));
    attach(chart, m_line, m_xAxis, m_yAxis);
    // The quality words stand in the margin at the right of the plot, where no reading covers them.
    QString widest;
    for (const ResultsSignalChart::Threshold& threshold : std::as_const(m_model.thresholds)) {
        if (threshold.label.size() > widest.size())
            widest = threshold.label;
    }
    m_view->setRightLabelRoom(widest);
    connect(chart, &QChart::plotAreaChanged, this, [this] { placeThresholdLabels(); });
    describeChart(m_view, title());
    body()->addWidget(m_view, 1);

    const double hiddenSeconds = m_model.timeSpan.totalSeconds - m_model.timeSpan.visibleSeconds;
    if (hiddenSeconds > 0) {
        m_scroll = new QScrollBar(Qt::Horizontal, this);
        m_scroll->setRange(0, int(std::ceil(hiddenSeconds)));
        m_scroll->setPageStep(int(m_model.timeSpan.visibleSeconds));
        m_scroll->setSingleStep(int(m_model.timeSpan.visibleSeconds / 10));
        m_scroll->setAccessibleName(m_model.title + u" time"_s);
        body()->addWidget(m_scroll);
        connect(m_scroll, &QScrollBar::valueChanged, this,
                [this](int seconds) { showWindowAt(m_model.xDomain.lowerBound + seconds * 1000.0); });
    }
    const ClosedRange first = ResultsSignalChart::initialWindow(m_model);
    showWindowAt(first.lowerBound);
    if (m_scroll)
        m_scroll->setValue(m_scroll->maximum());
    keepTimeLabels(this, chart, m_xAxis, [this] { return m_window; });
}

QChart* ResultsSignalCard::chart() const {
    return m_view->chart();
}

QStringList ResultsSignalCard::thresholdLabels() const {
    QStringList labels;
    for (const QGraphicsSimpleTextItem* label : m_thresholdLabels)
        labels.append(label->text());
    return labels;
}

void ResultsSignalCard::showWindowAt(double startMs) {
    m_window = ResultsSignalChart::windowAt(m_model, startMs);
    showTimeWindow(chart(), m_xAxis, m_window);
    m_line->replace(ResultsSignalChart::visiblePoints(m_model, m_window));
}

void ResultsSignalCard::placeThresholdLabels() {
    const QRectF plot = chart()->plotArea();
    const double span = m_model.yDomain.upperBound - m_model.yDomain.lowerBound;
    if (plot.isEmpty() || !(span > 0))
        return;
    for (qsizetype i = 0; i < m_thresholdLabels.size(); ++i) {
        QGraphicsSimpleTextItem* label = m_thresholdLabels[i];
        label->setFont(smallFont(font()));
        const double value = m_model.thresholds[i].rssi;
        const double y = plot.top() + (m_model.yDomain.upperBound - value) / span * plot.height();
        const QRectF box = label->boundingRect();
        // Each word sits just above its line, the lowest one's just below: "Fair" and "Poor" lie only
        // 3 dBm apart.
        const bool below = i == m_thresholdLabels.size() - 1;
        label->setPos(plot.right() + 4, below ? y - 1 : y - box.height() + 1);
    }
}

// --- utilization ------------------------------------------------------------------------------------

ResultsUtilizationCard::ResultsUtilizationCard(const ResultsUtilizationChart::Model& model, QWidget* parent)
    : ResultsChartCard(model.title, {model.averageText}, parent) {
    m_view = new ResultsChartView(this);
    QChart* chart = m_view->chart();
    QCategoryAxis* xAxis = makeTimeAxis(model.xAxisTitle);
    QValueAxis* yAxis = makeValueAxis(roundedUp(model.yDomain.upperBound), model.yAxisTitle);
    chart->addAxis(xAxis, Qt::AlignBottom);
    chart->addAxis(yAxis, Qt::AlignLeft);

    m_line = new QLineSeries;
    m_line->replace(model.points);
    auto* baseline = new QLineSeries;
    if (!model.points.isEmpty()) {
        baseline->append(model.points.first().x(), 0);
        baseline->append(model.points.last().x(), 0);
    }
    auto* area = new QAreaSeries(m_line, baseline);
    // The outlines live and die with the area, which the chart owns.
    m_line->setParent(area);
    baseline->setParent(area);
    area->setName(model.title);
    area->setBrush(toColor(model.color, model.areaOpacity));
    area->setPen(QPen(toColor(model.color), 1.5));
    attach(chart, area, xAxis, yAxis);
    m_view->restyle();
    keepTimeLabels(this, chart, xAxis, [window = atLeastASecond(model.xDomain)] { return window; });
    describeChart(m_view, title());
    body()->addWidget(m_view, 1);
}

QChart* ResultsUtilizationCard::chart() const {
    return m_view->chart();
}

// --- DNS and QUIC -----------------------------------------------------------------------------------

ResultsDnsQuicCard::ResultsDnsQuicCard(const ResultsDnsQuicChart::Model& model, QWidget* parent)
    : ResultsChartCard(model.title, model.medianTexts, parent) {
    m_view = new ResultsChartView(this);
    QChart* chart = m_view->chart();
    QCategoryAxis* xAxis = makeTimeAxis(model.xAxisTitle);
    QValueAxis* yAxis = makeValueAxis(model.yDomain, model.yAxisTitle);
    chart->addAxis(xAxis, Qt::AlignBottom);
    chart->addAxis(yAxis, Qt::AlignLeft);

    constexpr qreal dotSize = 5;
    constexpr double dotOpacity = 0.7;
    auto* legend = new QHBoxLayout;
    legend->setContentsMargins(0, 0, 0, 0);
    legend->addStretch(1);
    for (const ResultsDnsQuicChart::Series& series : model.series) {
        // Dots only, stamped from one picture: a sample of a probe is not a line.
        auto* dots = new QLineSeries;
        dots->setName(series.label);
        dots->setPen(Qt::NoPen);
        dots->setMarkerSize(dotSize);
        dots->setLightMarker(ChartMarkers::dot(toColor(series.color, dotOpacity), dotSize,
                                               std::max<qreal>(2, devicePixelRatioF())));
        dots->replace(series.points);
        attach(chart, dots, xAxis, yAxis);
        m_dots.append(dots);
        auto* entry = new ResultsLegendEntry(series.label, toColor(series.color), this);
        m_legend.append(entry);
        legend->addWidget(entry);
        legend->addSpacing(fontMetrics().averageCharWidth() * 2);
    }
    legend->addStretch(1);
    m_view->restyle();
    keepTimeLabels(this, chart, xAxis, [window = atLeastASecond(model.xDomain)] { return window; });
    describeChart(m_view, title());
    body()->addWidget(m_view, 1);
    body()->addLayout(legend);
}

QChart* ResultsDnsQuicCard::chart() const {
    return m_view->chart();
}

QStringList ResultsDnsQuicCard::legendTexts() const {
    QStringList texts;
    for (const ResultsLegendEntry* entry : m_legend)
        texts.append(entry->text());
    return texts;
}
