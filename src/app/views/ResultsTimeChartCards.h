#pragma once

#include "ResultsChartCard.h"
#include "screens/ResultsDnsQuicChart.h"
#include "screens/ResultsSignalChart.h"
#include "screens/ResultsUtilizationChart.h"

#include <QList>

class QCategoryAxis;
class QGraphicsSimpleTextItem;
class QLineSeries;
class QScrollBar;
class QValueAxis;

// The cards of the results grid that plot a series over time: signal, utilization, DNS & QUIC. Each
// is built from its model once; the grid builds new cards when the capture's series change.

// RSSI against the dashed "Good", "Fair" and "Poor" lines, in a window of at most five minutes that a
// scroll bar moves along the capture.
class ResultsSignalCard : public ResultsChartCard {
    Q_OBJECT
public:
    explicit ResultsSignalCard(const ResultsSignalChart::Model& model, QWidget* parent = nullptr);

    QChart* chart() const;
    QLineSeries* line() const { return m_line; }
    // Present only when the capture is longer than the window.
    QScrollBar* scrollBar() const { return m_scroll; }
    ClosedRange window() const { return m_window; }
    QStringList thresholdLabels() const;

private:
    void showWindowAt(double startMs);
    void placeThresholdLabels();

    ResultsSignalChart::Model m_model;
    ResultsChartView* m_view = nullptr;
    QCategoryAxis* m_xAxis = nullptr;
    QValueAxis* m_yAxis = nullptr;
    QLineSeries* m_line = nullptr;
    QList<QLineSeries*> m_thresholds;
    QList<QGraphicsSimpleTextItem*> m_thresholdLabels;
    QScrollBar* m_scroll = nullptr;
    ClosedRange m_window;
};

// The user's own traffic in one direction: an area under its line.
class ResultsUtilizationCard : public ResultsChartCard {
    Q_OBJECT
public:
    explicit ResultsUtilizationCard(const ResultsUtilizationChart::Model& model, QWidget* parent = nullptr);

    QChart* chart() const;
    QLineSeries* line() const { return m_line; }

private:
    ResultsChartView* m_view = nullptr;
    QLineSeries* m_line = nullptr;
};

// The DNS and QUIC round trips as dots in their probe colours, with a legend below.
class ResultsDnsQuicCard : public ResultsChartCard {
    Q_OBJECT
public:
    explicit ResultsDnsQuicCard(const ResultsDnsQuicChart::Model& model, QWidget* parent = nullptr);

    QChart* chart() const;
    const QList<QLineSeries*>& dotSeries() const { return m_dots; }
    QStringList legendTexts() const;

private:
    ResultsChartView* m_view = nullptr;
    QList<QLineSeries*> m_dots;
    QList<ResultsLegendEntry*> m_legend;
};
