#pragma once

#include "screens/DiagnosticsScreen.h"
#include "screens/DiagnosticsVerdictText.h"

#include <QColor>
#include <QList>
#include <QStringList>
#include <QWidget>

class AppState;
class QBoxLayout;
class QLabel;
class QPushButton;
class QStackedLayout;

namespace DiagnosticsViewParts {
class CheckRowView;
class ErrorText;
} // namespace DiagnosticsViewParts

// The screen shown when the measurement tool fails: a spinner while the diagnosis is prepared, then
// the checks as they run, then the verdict in words with the actions that can help. Everything it says
// and does comes from DiagnosticsScreen, which also holds the hooks that tests replace: the URL opener
// (the desktop's browser by default) and the finder and launcher of the Wi-Fi settings program.
class DiagnosticsView : public QWidget {
    Q_OBJECT
public:
    // The colours it draws in, made to read on the window in either scheme: the verdict's icon, and
    // the mark in front of a check.
    static QColor verdictColour(DiagnosticsVerdictText::Tone tone, const QPalette& palette);
    static QColor markColour(const DiagnosticsScreen::CheckRow& row, const QPalette& palette);

    explicit DiagnosticsView(AppState& state, QWidget* parent = nullptr);

    DiagnosticsScreen& screen() const { return *m_screen; }

protected:
    void changeEvent(QEvent* event) override;

private:
    QWidget* buildPreparingPage();
    QWidget* buildRunningPage();
    QWidget* buildCompletedPage();
    void refresh();
    void refreshRunning();
    void refreshCompleted();
    void setBullets(const QStringList& bullets);
    void rebuildActions();
    void applyFonts();
    void applyColours();

    DiagnosticsScreen* m_screen = nullptr;
    QStackedLayout* m_pages = nullptr;
    QWidget* m_preparingPage = nullptr;
    QWidget* m_runningPage = nullptr;
    QWidget* m_completedPage = nullptr;

    QLabel* m_preparingLabel = nullptr;
    QLabel* m_runningIcon = nullptr;
    QLabel* m_runningTitle = nullptr;
    QList<DiagnosticsViewParts::CheckRowView*> m_rows;

    QLabel* m_verdictIcon = nullptr;
    QLabel* m_headline = nullptr;
    QLabel* m_explanation = nullptr;
    QWidget* m_bullets = nullptr;
    QStringList m_shownBullets;
    QPushButton* m_errorToggle = nullptr;
    QWidget* m_errorHolder = nullptr;
    DiagnosticsViewParts::ErrorText* m_errorPanel = nullptr;
    QWidget* m_actions = nullptr;
    QBoxLayout* m_actionRow = nullptr;
    QBoxLayout* m_partialRow = nullptr;
    QString m_shownActions;
};
