#pragma once

#include "screens/ActivityLines.h"
#include "screens/TriviaLine.h"

#include <QWidget>

#include <memory>

class AppState;
class QGraphicsOpacityEffect;
class QLabel;
class QPropertyAnimation;

// The activity line, with what the tool is doing right now, and below it the trivia line, which keeps
// a long quiet capture company. Both run while the widget shows and rest while it is hidden.
class ActivityLinesView : public QWidget {
    Q_OBJECT

public:
    // Text sizes against the body text, as 12.5 and 13 points stand to 13.
    static constexpr double activityFontScale = 12.5 / 13.0;
    static constexpr double triviaFontScale = 13.0 / 13.0;
    // The soft panel behind the activity line: white at this opacity.
    static constexpr double panelOpacity = 0.015;

    explicit ActivityLinesView(AppState& state, QWidget* parent = nullptr);
    ~ActivityLinesView() override;

    const ActivityLines& activityLine() const { return *m_activity; }
    const TriviaLine& triviaLine() const { return *m_trivia; }
    // The trivia line's own row. It may be placed elsewhere; this view goes on running it.
    QWidget* triviaRow() const { return m_triviaRow; }

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    void buildActivityRow();
    void buildTriviaRow();
    void bindTrivia();
    void sessionChanged();
    void showActivity();
    void showTrivia();
    void applyFonts();
    void setIcon(QLabel* label, const QString& symbolName);

    AppState& m_state;
    std::unique_ptr<ActivityLines> m_activity;
    std::unique_ptr<TriviaLine> m_trivia;

    QWidget* m_activityPanel = nullptr;
    QWidget* m_activityContent = nullptr;
    QLabel* m_activityIcon = nullptr;
    QLabel* m_activityText = nullptr;
    QGraphicsOpacityEffect* m_activityOpacity = nullptr;
    QPropertyAnimation* m_activityFade = nullptr;

    QWidget* m_triviaRow = nullptr;
    QLabel* m_triviaIcon = nullptr;
    QLabel* m_triviaText = nullptr;
    QGraphicsOpacityEffect* m_triviaOpacity = nullptr;
    QPropertyAnimation* m_triviaFade = nullptr;
};
