#include "Spinner.h"

#include <QPainter>

#include <algorithm>

Spinner::Spinner(double lines, QWidget* parent)
    : QWidget(parent)
    , m_lines(lines) {
    m_turn.setStartValue(0.0);
    m_turn.setEndValue(360.0);
    m_turn.setDuration(1000);
    m_turn.setLoopCount(-1);
    connect(&m_turn, &QVariantAnimation::valueChanged, this, [this] { update(); });
    setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
}

QSize Spinner::sizeHint() const {
    const int side = qRound(fontMetrics().height() * m_lines);
    return {side, side};
}

void Spinner::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    m_turn.start();
}

void Spinner::hideEvent(QHideEvent* event) {
    m_turn.stop();
    QWidget::hideEvent(event);
}

void Spinner::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    const int side = std::min(width(), height());
    const qreal stroke = std::max(1.5, side / 9.0);
    const QRectF ring = QRectF((width() - side) / 2.0, (height() - side) / 2.0, side, side)
                            .adjusted(stroke / 2, stroke / 2, -stroke / 2, -stroke / 2);
    QColor track = palette().color(QPalette::WindowText);
    track.setAlphaF(0.13f);
    painter.setPen(QPen(track, stroke));
    painter.drawEllipse(ring);
    painter.setPen(QPen(palette().color(QPalette::Highlight), stroke, Qt::SolidLine, Qt::RoundCap));
    // Qt counts arcs in sixteenths of a degree, counter-clockwise; the arc turns clockwise.
    painter.drawArc(ring, int(-m_turn.currentValue().toDouble() * 16), 100 * 16);
}
