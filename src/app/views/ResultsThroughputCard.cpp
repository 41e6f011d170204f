#include "ResultsThroughputCard.h"

#include "ChartMarkers.h"

#include "capture/ResultsFormat.h"
#include "screens/ResultsPalette.h"

#include <QBarCategoryAxis>
#include <QBarSeries>
#include <QBarSet>
#include <QBoxPlotSeries>
#include <QBoxSet>
#include <QChart>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineSeries>
#include <QVBoxLayout>
#include <QValueAxis>

using namespace Qt::StringLiterals;
using namespace ResultsChartParts;
using namespace ResultsThroughputChart;

namespace {

constexpr double boxFillOpacity = 0.3;

} // namespace

ResultsThroughputCard::ResultsThroughputCard(const Model& model, QWidget* parent)
    : ResultsChartCard(model.title, model.mediansText ? QStringList{*model.mediansText} : QStringList{},
                       parent)
    , m_model(model) {
    auto* charts = new QHBoxLayout;
    charts->setContentsMargins(0, 0, 0, 0);
    for (const SubChart& sub : m_model.subCharts)
        charts->addWidget(makeSubChart(sub), 1);
    body()->addLayout(charts, 1);
    if (m_model.cdn)
        body()->addWidget(makeCdnRow(*m_model.cdn));
}

QStringList ResultsThroughputCard::subChartTitles() const {
    return m_subChartTitles;
}

QStringList ResultsThroughputCard::cdnTexts() const {
    return m_cdnTexts;
}

QStringList ResultsThroughputCard::spokenFigures(const SubChart& sub) const {
    const QString unit = u' ' + m_model.yAxisTitle;
    QStringList figures;
    for (const Bar& bar : sub.bars)
        figures.append(bar.label + u' ' + ResultsAnalysis::formatMbps(bar.mbps) + unit);
    if (sub.box) {
        figures.append(u"median "_s + ResultsAnalysis::formatMbps(sub.box->median) + unit);
        figures.append(u"from "_s + ResultsAnalysis::formatMbps(sub.box->minimum) + u" to "_s +
                       ResultsAnalysis::formatMbps(sub.box->maximum) + unit);
    }
    return figures;
}

QWidget* ResultsThroughputCard::makeSubChart(const SubChart& sub) {
    auto* holder = new QWidget(this);
    auto* title = new QLabel(sub.title, holder);
    title->setFont(smallFont(font()));
    title->setForegroundRole(QPalette::PlaceholderText);
    title->setAlignment(Qt::AlignHCenter);
    auto* view = new ResultsChartView(holder);
    view->setMinimumHeight(fontMetrics().height() * 9);
    QChart* chart = view->chart();

    auto* xAxis = new QBarCategoryAxis;
    QValueAxis* yAxis = makeValueAxis(roundedUp(sub.top), m_model.yAxisTitle);
    const QColor color = toColor(sub.color);
    if (m_model.form == Form::bars) {
        auto* set = new QBarSet(sub.title);
        QStringList categories;
        for (const Bar& bar : sub.bars) {
            set->append(bar.mbps);
            categories.append(bar.label);
        }
        set->setColor(color);
        set->setBorderColor(color);
        auto* series = new QBarSeries;
        series->append(set);
        series->setBarWidth(0.6);
        xAxis->append(categories);
        xAxis->setTitleText(m_model.xAxisTitle);
        chart->addAxis(xAxis, Qt::AlignBottom);
        chart->addAxis(yAxis, Qt::AlignLeft);
        attach(chart, series, xAxis, yAxis);
    } else if (sub.box) {
        xAxis->append(sub.title);
        // The box's name already stands above the chart.
        xAxis->setLabelsVisible(false);
        chart->addAxis(xAxis, Qt::AlignBottom);
        chart->addAxis(yAxis, Qt::AlignLeft);
        // The tests first, so that the box and its median are drawn over them.
        auto* tests = new QLineSeries;
        tests->setName(sub.title + u" tests"_s);
        tests->replace(sub.testPoints);
        attach(chart, tests, xAxis, yAxis);
        ChartMarkers::showMarks(tests, ChartMarkers::Shape::dot, toColor(sub.color, testPointOpacity),
                                testPointSize, devicePixelRatioF());
        auto* set = new QBoxSet(sub.box->minimum, sub.box->lowerQuartile, sub.box->median,
                                sub.box->upperQuartile, sub.box->maximum, sub.title);
        set->setBrush(toColor(sub.color, boxFillOpacity));
        set->setPen(QPen(color, 1.5));
        auto* series = new QBoxPlotSeries;
        series->append(set);
        series->setBoxWidth(boxWidth);
        attach(chart, series, xAxis, yAxis);
    }
    view->restyle();
    describeChart(view, sub.title, spokenFigures(sub));
    m_subCharts.append(chart);
    m_subChartTitles.append(sub.title);

    auto* layout = new QVBoxLayout(holder);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    layout->addWidget(title);
    layout->addWidget(view, 1);
    return holder;
}

QWidget* ResultsThroughputCard::makeCdnRow(const CdnRow& row) {
    auto* holder = new QWidget(this);
    auto* title = new QLabel(row.title, holder);
    QFont titleFont = smallFont(font());
    titleFont.setWeight(QFont::DemiBold);
    title->setFont(titleFont);
    m_cdnTexts.append(row.title);

    auto* grid = new QGridLayout(holder);
    grid->setContentsMargins(0, fontMetrics().height() / 3, 0, 0);
    grid->setHorizontalSpacing(fontMetrics().averageCharWidth());
    grid->setVerticalSpacing(2);
    grid->addWidget(title, 0, 0, 1, 2);
    int line = 1;
    for (const CdnEntry& entry : row.entries) {
        auto* text = new QLabel(entry.text, holder);
        text->setFont(smallFont(font()));
        grid->addWidget(text, line, 0);
        grid->addWidget(new ResultsShareBar(0, entry.share, toColor(ResultsPalette::downloadColor()), holder),
                        line, 1, Qt::AlignVCenter);
        m_cdnTexts.append(entry.text);
        ++line;
    }
    grid->setColumnStretch(1, 1);
    return holder;
}
