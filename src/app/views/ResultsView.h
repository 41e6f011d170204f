#pragma once

#include <QList>
#include <QWidget>

class AppState;
class FlowLayout;
class LossHeatmapView;
class QLabel;
class QPushButton;
class QScrollArea;
class QVBoxLayout;
class ResultsBottomChartsView;
class ResultsLatencyChartView;
class ResultsScreen;
class StatCardView;
class UploadStatusView;

// The report of one capture, in a scrolling column: the header with the verdict and the three actions,
// the notices, the summary and video cards, the charts, the upload status and where the files are.
// Everything it says comes from ResultsScreen; each part redraws only on the signals that concern it.
class ResultsView : public QWidget {
    Q_OBJECT

public:
    explicit ResultsView(AppState& state, QWidget* parent = nullptr);

    ResultsScreen& model() const { return *m_model; }

    // The charts, in the scrolling column. The latency section sits below the cards and shows only
    // while the capture has latency points; the bottom charts sit below it, above the upload status.
    // Each follows AppState itself.
    ResultsLatencyChartView* latencyChart() const { return m_latencyChart; }
    LossHeatmapView* lossHeatmap() const { return m_lossHeatmap; }
    ResultsBottomChartsView* bottomCharts() const { return m_bottomCharts; }
    // The place of the update banner, between the header and the error line.
    QVBoxLayout* bannerSlot() const { return m_bannerSlot; }

signals:
    // "History" was clicked: the capture picker should open.
    void historyRequested();

protected:
    void showEvent(QShowEvent* event) override;

private:
    QWidget* buildHeader(QWidget* parent);
    void buildCards(QVBoxLayout* column, QWidget* parent);

    void refreshHeader();
    void refreshNotices();
    void refreshSummaryCards();
    void refreshVideoCards();
    void refreshLatencySection();
    void refreshShare();
    void refreshSavedLine();

    AppState& m_state;
    ResultsScreen* m_model = nullptr;
    QScrollArea* m_scrollArea = nullptr;

    QLabel* m_title = nullptr;
    QWidget* m_factsBox = nullptr;
    FlowLayout* m_facts = nullptr;
    QLabel* m_quality = nullptr;
    QPushButton* m_exportButton = nullptr;
    QPushButton* m_shareButton = nullptr;
    QPushButton* m_historyButton = nullptr;
    QPushButton* m_newTestButton = nullptr;

    QVBoxLayout* m_bannerSlot = nullptr; // the update banner goes here once there is one
    QWidget* m_errorLine = nullptr;
    QLabel* m_errorText = nullptr;
    QWidget* m_stopLine = nullptr;
    QLabel* m_stopText = nullptr;

    QList<StatCardView*> m_summaryCards;
    QWidget* m_videoSection = nullptr;
    QList<StatCardView*> m_videoCards;

    QWidget* m_latencyBox = nullptr; // latency chart and loss strip
    ResultsLatencyChartView* m_latencyChart = nullptr;
    LossHeatmapView* m_lossHeatmap = nullptr;
    ResultsBottomChartsView* m_bottomCharts = nullptr;

    UploadStatusView* m_uploadStatus = nullptr;
    QLabel* m_savedLine = nullptr;
};
