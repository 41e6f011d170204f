#pragma once

#include "base/Clock.h"

#include <QFont>
#include <QList>
#include <QRect>
#include <QStringList>
#include <QWidget>

class AppState;
class CelebrationScreen;

// The reveal between a finished capture and its results, drawn in one piece: the rows of figures
// counting up, a divider, the verdict in large letters in its colour with the ring and the confetti of
// a good verdict, the word of thanks, and "click to skip" at the bottom. A click anywhere moves on to
// the results. Frames are drawn only while something moves.
class CelebrationView : public QWidget {
    Q_OBJECT

public:
    // Sixty frames a second while the reveal moves; none while it holds still.
    static constexpr double frameSeconds = 1.0 / 60;

    explicit CelebrationView(AppState& state, QWidget* parent = nullptr);

    CelebrationScreen& model() const { return *m_model; }
    bool isFrameTimerRunning() const { return m_frameTimer.isActive(); }
    // The words of the last frame that were visible at all, top to bottom, for tests and the tour.
    const QStringList& drawnTexts() const { return m_drawnTexts; }

    QSize sizeHint() const override { return {700, 800}; }
    QSize minimumSizeHint() const override { return {600, 450}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    // Where everything goes at one size, and in which fonts.
    struct Layout {
        QSize size;
        QFont labelFont;
        QFont valueFont;
        QFont unitFont;
        QFont verdictFont;
        QFont messageFont;
        QFont hintFont;
        int unit = 0; // the base line height, the measure of every gap
        QList<QRect> rows;
        QRect divider;
        QRect verdict;
        QRect message;
        QRect hint;
        double ringRadius = 0;
    };
    Layout layoutFor(QSize size, double fontScale) const;
    const Layout& currentLayout() const;
    void updateFrameTimer();

    CelebrationScreen* m_model = nullptr;
    Timer m_frameTimer;
    mutable Layout m_layout;
    QStringList m_drawnTexts;
};
