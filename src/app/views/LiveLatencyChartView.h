#pragma once

#include "base/Clock.h"
#include "screens/LiveLatencyChart.h"

#include <QDateTime>
#include <QList>
#include <QWidget>

#include <optional>

class AppState;
class QChart;
class QChartView;
class QCategoryAxis;
class QLabel;
class QLineSeries;
class QStackedWidget;
class QValueAxis;
class LiveLatencyLegend;

// The running screen's live latency chart: its header, the chart or its placeholder, and the fixed
// legend. It follows the latency series and the test ranges of AppState, rebuilding at most twice a
// second and only while it is visible; each rebuild feeds the charting library the few hundred points
// of the window, into series that live as long as the view.
class LiveLatencyChartView : public QWidget {
    Q_OBJECT
public:
    explicit LiveLatencyChartView(AppState& state, QWidget* parent = nullptr);

    // What is drawn now, and how many times it was worked out: for the tests.
    const LiveLatencyChart::Frame& frame() const { return m_frame; }
    int rebuildCount() const { return m_rebuildCount; }
    bool isShowingChart() const;
    QString placeholderText() const;
    QChart* chart() const { return m_chart; }
    // One series for each entry of the frame's dots, in the same order.
    const QList<QLineSeries*>& dotSeries() const { return m_dotSeries; }
    QLineSeries* lossSeries() const { return m_lossSeries; }
    // The outlines of the bands of each kind, as the area series fill them.
    QLineSeries* speedTestBandOutline() const { return m_speedTestOutline; }
    QLineSeries* videoBandOutline() const { return m_videoOutline; }
    QWidget* legendWidget() const;

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void requestRebuild();
    void rebuild();
    void applyFrame();
    void applyPalette();
    void applyFonts();
    void makeMarkers();
    void addBandSeries(QLineSeries* outline, const RgbColor& color);

    AppState& m_state;
    QLabel* m_title = nullptr;
    QLabel* m_unit = nullptr;
    QStackedWidget* m_stack = nullptr;
    QWidget* m_placeholder = nullptr;
    QLabel* m_placeholderLabel = nullptr;
    QChartView* m_chartView = nullptr;
    QChart* m_chart = nullptr;
    QCategoryAxis* m_xAxis = nullptr;
    QValueAxis* m_yAxis = nullptr;
    QList<QLineSeries*> m_dotSeries;
    QLineSeries* m_lossSeries = nullptr;
    QLineSeries* m_speedTestOutline = nullptr;
    QLineSeries* m_videoOutline = nullptr;
    LiveLatencyLegend* m_legend = nullptr;
    qreal m_markerPixelRatio = 0;

    LiveLatencyChart::Frame m_frame;
    bool m_stale = true;
    std::optional<QDateTime> m_lastRebuild;
    Timer m_pendingRebuild;
    int m_rebuildCount = 0;
};
