#pragma once

#include "ResultsChartCard.h"
#include "screens/ResultsThroughputChart.h"

#include <QList>

// The speed-test card of the results grid: "Download" and "Upload" side by side, as bars per test or
// as box plots, and the CDN rates below when there are any.
class ResultsThroughputCard : public ResultsChartCard {
    Q_OBJECT
public:
    explicit ResultsThroughputCard(const ResultsThroughputChart::Model& model, QWidget* parent = nullptr);

    const ResultsThroughputChart::Model& model() const { return m_model; }
    // One chart per direction, in the model's order.
    const QList<QChart*>& subCharts() const { return m_subCharts; }
    QStringList subChartTitles() const;
    // "CDN Diversity" and its entries, when the row is there.
    QStringList cdnTexts() const;

private:
    QWidget* makeSubChart(const ResultsThroughputChart::SubChart& sub);
    // What one direction's chart shows, in words.
    QStringList spokenFigures(const ResultsThroughputChart::SubChart& sub) const;
    QWidget* makeCdnRow(const ResultsThroughputChart::CdnRow& row);

    ResultsThroughputChart::Model m_model;
    QList<QChart*> m_subCharts;
    QStringList m_subChartTitles;
    QStringList m_cdnTexts;
};
