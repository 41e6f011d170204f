#pragma once

#include <QWidget>

class AppState;
class BootstrapScreen;
class QLabel;
class QPlainTextEdit;
class QPushButton;

// The first launch's screen: the Wi-Fi symbol and the name over the installer's progress, its green
// check, or its failure with "Retry" and the raw output, and the internet requirement at the bottom.
// It starts the install as it first comes into view.
class BootstrapView : public QWidget {
    Q_OBJECT
public:
    explicit BootstrapView(AppState& state, QWidget* parent = nullptr);

    BootstrapScreen& screen() const { return *m_screen; }
    QLabel* progressLabel() const { return m_progress; }
    QLabel* hintLabel() const { return m_hint; }
    QLabel* readyIcon() const { return m_readyIcon; }
    QLabel* failureLabel() const { return m_failure; }
    QPushButton* retryButton() const { return m_retry; }
    QPushButton* detailsButton() const { return m_details; }
    QPlainTextEdit* detailPanel() const { return m_detailPanel; }
    QPushButton* copyButton() const { return m_copy; }

protected:
    void showEvent(QShowEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void refresh();
    void applyFonts();
    void applyColours();

    BootstrapScreen* m_screen = nullptr;
    bool m_started = false;

    QLabel* m_appIcon = nullptr;
    QLabel* m_title = nullptr;
    QWidget* m_progressBlock = nullptr;
    QWidget* m_spinner = nullptr;
    QLabel* m_progress = nullptr;
    QLabel* m_hint = nullptr;
    QLabel* m_readyIcon = nullptr;
    QWidget* m_failureBlock = nullptr;
    QLabel* m_failureIcon = nullptr;
    QLabel* m_failure = nullptr;
    QPushButton* m_retry = nullptr;
    QPushButton* m_details = nullptr;
    QWidget* m_detailBlock = nullptr;
    QPlainTextEdit* m_detailPanel = nullptr;
    QPushButton* m_copy = nullptr;
    QLabel* m_footer = nullptr;
};
