#pragma once

#include "DeferredRebuild.h"
#include "screens/ResultsLatencyChart.h"

#include <QList>
#include <QRectF>
#include <QSet>
#include <QString>
#include <QWidget>

#include <optional>

class AppState;
class QAbstractButton;
class QCategoryAxis;
class QChart;
class QLabel;
class QLineSeries;
class QScrollBar;
class QValueAxis;
class ResultsLatencyPlot;

// The results screen's latency timeline: its header with the percentiles, the chart of a window of
// time that a scroll bar (or a drag on the chart) moves along the whole capture, and the legend whose
// dots switch series on and off. The whole capture is worked out only when AppState's latency points
// or test ranges change; a scroll hands the charting library only the points of the new window.
class ResultsLatencyChartView : public QWidget {
    Q_OBJECT
public:
    explicit ResultsLatencyChartView(AppState& state, QWidget* parent = nullptr);

    // For the tests and the benchmark: what is drawn, and how often the whole capture was worked out.
    const ResultsLatencyChart::Timeline& timeline() const { return m_timeline; }
    const ResultsLatencyChart::Frame& frame() const { return m_frame; }
    int rebuildCount() const { return m_rebuild.count(); }
    const QSet<QString>& hiddenSeries() const { return m_hidden; }
    QChart* chart() const { return m_chart; }
    QScrollBar* scrollBar() const { return m_scrollBar; }
    // Shows one stretch of the capture of any length, as a printed page does, with no more marks than
    // the plot has pixels; a scroll goes back to the screen's window.
    void showWindow(const ClosedRange& window);
    // The plot alone, without the title and the legend: a printed timeline repeats only this.
    QWidget* plotWidget() const;
    // One series for each of the timeline's probe types, in the same order.
    const QList<QLineSeries*>& dotSeries() const { return m_dotSeries; }
    QLineSeries* lossSeries() const { return m_lossSeries; }
    // The legend's dot for a series key ("ping", "loss", "speedtest" …); none for a key that isn't in
    // the legend of this capture.
    QAbstractButton* legendButton(const QString& key) const;
    QString percentileText() const;
    // Where the last paint put the labels of the percentile rules.
    QList<QRectF> ruleLabelBoxes() const;

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void rebuild();
    void applyFrame();
    void syncDotSeries();
    // The legend holds a dot for every probe type of the capture.
    void syncLegend();
    void scrollTo(double seconds);
    void toggle(const QString& key);
    void applyPalette();
    void applyFonts();
    void makeMarkers();

    AppState& m_state;
    QLabel* m_title = nullptr;
    QLabel* m_percentiles = nullptr;
    ResultsLatencyPlot* m_plot = nullptr;
    QChart* m_chart = nullptr;
    QCategoryAxis* m_xAxis = nullptr;
    QValueAxis* m_yAxis = nullptr;
    QList<QLineSeries*> m_dotSeries;
    QLineSeries* m_lossSeries = nullptr;
    QScrollBar* m_scrollBar = nullptr;
    QWidget* m_legend = nullptr;
    QList<QAbstractButton*> m_legendButtons;
    qreal m_markerPixelRatio = 0;

    ResultsLatencyChart::Timeline m_timeline;
    ResultsLatencyChart::Frame m_frame;
    QSet<QString> m_hidden;
    double m_scrollSeconds = 0;
    std::optional<ClosedRange> m_fixedWindow;
    DeferredRebuild m_rebuild{this, [this] { rebuild(); }};
};
