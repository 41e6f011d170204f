#pragma once

#include <QWidget>

class AppState;
class FinishingScreen;
class QLabel;

// The wait between a stop and the saved results: a large busy indicator over "Saving results...",
// centred. While it shows, its FinishingScreen keeps the 30-second fallback armed.
class FinishingView : public QWidget {
    Q_OBJECT
public:
    explicit FinishingView(AppState& state, QWidget* parent = nullptr);

    FinishingScreen& screen() const { return *m_screen; }
    QLabel* messageLabel() const { return m_message; }
    QWidget* busyIndicator() const { return m_busy; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void applyFonts();

    FinishingScreen* m_screen = nullptr;
    QWidget* m_busy = nullptr;
    QLabel* m_message = nullptr;
};
