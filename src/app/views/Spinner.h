#pragma once

#include <QVariantAnimation>
#include <QWidget>

// An indeterminate progress ring: a turning arc on a faint track, sized in lines of the text beside it
// so that it scales with the font and the screen. It turns only while it is on screen.
class Spinner : public QWidget {
public:
    explicit Spinner(double lines, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    double m_lines;
    QVariantAnimation m_turn;
};
