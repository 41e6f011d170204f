#pragma once

#include "base/Clock.h"
#include "screens/StatCard.h"

#include <QColor>
#include <QFont>
#include <QRect>
#include <QWidget>

// Draws one StatCard: the title in small capitals, the figure large in its colour, the rating word and
// the subtitle below. A breathing card samples its StatCardPulse at a modest frame rate, and only
// while it is on screen.
class StatCardView : public QWidget {
    Q_OBJECT

public:
    // The pulse swings over 1.5 s; ten frames a second are plenty for that and cost little.
    static constexpr double pulseFrameSeconds = 0.1;

    // The tile a shade off the window colour, and the colours of the figure and of the rating word on
    // it: the card's own colour, made to read on the tile in either scheme.
    static QColor tileColor(const QPalette& palette);
    static QColor valueColor(const StatCard& card, const QPalette& palette);
    static QColor ratingColor(QualityRating rating, const QPalette& palette);

    explicit StatCardView(QWidget* parent = nullptr);

    // Repaints only when the card differs from the one shown.
    void setCard(const StatCard& card);
    const StatCard& card() const { return m_card; }

    // Where the figure goes at the present width, and in which font.
    QRect valueRect() const { return currentBlocks().value; }
    QFont valueFont() const { return currentBlocks().valueFont; }

    // The opacity of the figure at this moment.
    double pulseOpacity() const;
    bool isPulseTimerRunning() const { return m_pulseTimer.isActive(); }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    // Where each text goes at one width, and in which font.
    struct Blocks {
        int width = -1;
        int padding = 0;
        QFont titleFont;
        QFont valueFont;
        QFont ratingFont;
        QFont subtitleFont;
        QRect title;
        QRect value;
        QRect rating;
        QRect subtitle;
        int height = 0;
    };
    Blocks layoutFor(int width) const;
    // The layout at the present width, worked out once: pulse frames repaint a dozen times a second.
    const Blocks& currentBlocks() const;
    void updatePulseTimer();
    void updateAccessibleText();

    mutable Blocks m_blocks; // width -1: not worked out yet
    StatCard m_card;
    StatCardPulse m_pulse;
    Timer m_pulseTimer;
};
