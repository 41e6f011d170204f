#include "screens/StatCard.h"

#include <QEasingCurve>
#include <QPointF>

#include <algorithm>
#include <cmath>

using namespace Qt::StringLiterals;

QString StatCard::displayTitle() const {
    return title.toUpper();
}

std::optional<CardColor> StatCard::effectiveValueColor() const {
    if (valueColor)
        return valueColor;
    if (rating)
        return CardColor::fixedColor(rating->color());
    return std::nullopt;
}

std::optional<QString> StatCard::ratingLine() const {
    if (!rating)
        return std::nullopt;
    QString line = rating->rawValue();
    if (ratingQualifier)
        line += u" ("_s + *ratingQualifier + u')';
    return line;
}

double StatCardPulse::easeInOut(double progress) {
    static const QEasingCurve curve = [] {
        QEasingCurve bezier(QEasingCurve::BezierSpline);
        bezier.addCubicBezierSegment(QPointF(0.42, 0), QPointF(0.58, 1), QPointF(1, 1));
        return bezier;
    }();
    if (!(progress > 0)) // NaN too
        return 0;
    if (progress >= 1)
        return 1;
    return curve.valueForProgress(progress);
}

void StatCardPulse::setBreathing(bool breathing, const QDateTime& now) {
    if (breathing == m_breathing)
        return;
    // Either way the new motion starts from the opacity of this very moment, so the figure never jumps:
    // settling eases from it, and breathing joins its downward swing at that point.
    const double current = opacity(now);
    m_breathing = breathing;
    m_since = now;
    if (!breathing) {
        m_settleFrom = current;
        return;
    }
    const double target = (fullOpacity - current) / (fullOpacity - dimmedOpacity);
    double low = 0;
    double high = 1;
    for (int step = 0; step < 30; ++step) { // the curve rises monotonically: bisection finds the point
        const double middle = (low + high) / 2;
        (easeInOut(middle) < target ? low : high) = middle;
    }
    m_since = now.addMSecs(-qint64(std::lround(low * swingSeconds * 1000)));
}

double StatCardPulse::opacity(const QDateTime& now) const {
    if (!m_since.isValid())
        return fullOpacity;
    const double seconds = std::max(0.0, double(m_since.msecsTo(now)) / 1000.0);
    if (!m_breathing) {
        const double progress = easeInOut(seconds / settleSeconds);
        return m_settleFrom + (fullOpacity - m_settleFrom) * progress;
    }
    // Down for one swing, up for the next, and so on.
    const double phase = std::fmod(seconds, 2 * swingSeconds);
    const double depth = fullOpacity - dimmedOpacity;
    if (phase < swingSeconds)
        return fullOpacity - depth * easeInOut(phase / swingSeconds);
    return dimmedOpacity + depth * easeInOut((phase - swingSeconds) / swingSeconds);
}

bool StatCardPulse::isMoving(const QDateTime& now) const {
    if (m_breathing)
        return true;
    if (!m_since.isValid())
        return false;
    return m_since.msecsTo(now) < qint64(settleSeconds * 1000);
}
