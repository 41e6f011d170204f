#pragma once

#include <QStringList>
#include <QWidget>

class AppState;
class QLabel;
class QProgressBar;
class QPushButton;
class QScrollArea;
class QVBoxLayout;
class RunningScreen;
class StatCardView;

// The screen of a capture in progress: the time line and the activity line on top, the chart, the two
// rows of cards, the honeycomb, the notes and the notices in a scrolling area, the buttons below.
// Everything it says comes from RunningScreen; each part redraws only on the signals that concern it.
class RunningView : public QWidget {
    Q_OBJECT

public:
    // The part of the scrolling area's height that the live chart takes when the window has room.
    static constexpr double chartShareOfViewport = 0.45;

    explicit RunningView(AppState& state, QWidget* parent = nullptr);

    RunningScreen& model() const { return *m_model; }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void buildTop(QVBoxLayout* layout);
    void buildScrollingArea(QVBoxLayout* layout);
    void buildButtons(QVBoxLayout* layout);
    void keepScrollBarRoom();
    void fitChartToViewport();

    void refreshProgress();
    void refreshCards();
    void refreshBlockedLine();
    void refreshWarnings();
    void refreshBrowserNotice();
    void refreshStatusNotice();
    void refreshButtons();

    AppState& m_state;
    RunningScreen* m_model = nullptr;

    QLabel* m_elapsedLabel = nullptr;
    QProgressBar* m_progressBar = nullptr;
    QLabel* m_remainingLabel = nullptr;

    QWidget* m_triviaRow = nullptr;
    QScrollArea* m_scrollArea = nullptr;
    QVBoxLayout* m_contentColumn = nullptr;
    QWidget* m_chart = nullptr;
    int m_chartMinimumHeight = 0;
    QWidget* m_blockedRow = nullptr;
    QLabel* m_blockedText = nullptr;

    StatCardView* m_latencyCard = nullptr;
    StatCardView* m_lossCard = nullptr;
    StatCardView* m_youTubeTile = nullptr;
    StatCardView* m_downloadTestCard = nullptr;
    StatCardView* m_downloadThroughputCard = nullptr;
    StatCardView* m_signalCard = nullptr;
    StatCardView* m_dnsCard = nullptr;
    StatCardView* m_netflixTile = nullptr;
    StatCardView* m_uploadTestCard = nullptr;
    StatCardView* m_uploadThroughputCard = nullptr;

    QWidget* m_warningsBox = nullptr;
    QVBoxLayout* m_warningsLayout = nullptr;
    QStringList m_shownWarnings;

    QWidget* m_browserNotice = nullptr;

    QWidget* m_statusNotice = nullptr;
    QWidget* m_statusSpinner = nullptr;
    QLabel* m_statusIcon = nullptr;
    QLabel* m_statusText = nullptr;
    QLabel* m_stderrTail = nullptr;
    QPushButton* m_diagnoseButton = nullptr;

    QPushButton* m_stopButton = nullptr;
    QPushButton* m_speedTestButton = nullptr;
    QPushButton* m_youTubeButton = nullptr;
};
