#pragma once

#include "base/Clock.h"
#include "screens/UploadStatus.h"
#include "screens/UploadStatusIcons.h"

#include <QWidget>

class AppState;
class QLabel;
class QProgressBar;
class QPushButton;
class QVBoxLayout;
class Spinner;

// The upload's progress at the foot of the results: a spinner while it prepares or counts files, a bar
// while bytes go out, the outcome with its icons, and the button that sends it again. While a retry is
// pending its countdown is redrawn once a second, and only then.
class UploadStatusView : public QWidget {
    Q_OBJECT

public:
    explicit UploadStatusView(AppState& state, QWidget* parent = nullptr);

    // Draws the status of this moment; called on every change of the upload and by the countdown.
    void refresh();
    const UploadStatus& status() const { return m_status; }
    bool isCountdownTimerRunning() const { return m_countdown.isActive(); }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    void draw(const UploadStatus& status, const UploadStatusIcons& icons);
    void setIcon(QLabel* label, const std::optional<SymbolIcon>& icon);
    void rebuildRows(const UploadStatus& status, const UploadStatusIcons& icons);
    void updateCountdownTimer();

    AppState& m_state;
    UploadStatus m_status;
    UploadStatusIcons m_icons;
    bool m_countdownShown = false;
    Timer m_countdown;

    // A line of text with a spinner or an icon in front: every kind but the bar and the block.
    QWidget* m_textLine = nullptr;
    Spinner* m_spinner = nullptr;
    QLabel* m_textIcon = nullptr;
    QLabel* m_text = nullptr;

    QWidget* m_progress = nullptr;
    QProgressBar* m_bar = nullptr;
    QLabel* m_percent = nullptr;
    QLabel* m_eta = nullptr;
    QLabel* m_sizeLine = nullptr;

    QWidget* m_block = nullptr;
    QWidget* m_headingLine = nullptr;
    QLabel* m_headingIcon = nullptr;
    QLabel* m_heading = nullptr;
    QVBoxLayout* m_rows = nullptr;
    QWidget* m_failure = nullptr;
    QLabel* m_failureIcon = nullptr;
    QLabel* m_failureLine = nullptr;

    QPushButton* m_button = nullptr;
};
