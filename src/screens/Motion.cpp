#include "screens/Motion.h"

#include <QEasingCurve>
#include <QPointF>

#include <algorithm>
#include <cmath>
#include <numbers>

namespace {

QEasingCurve bezier(QPointF first, QPointF second) {
    QEasingCurve curve(QEasingCurve::BezierSpline);
    curve.addCubicBezierSegment(first, second, QPointF(1, 1));
    return curve;
}

double sample(const QEasingCurve& curve, double progress) {
    if (!(progress > 0)) // NaN too
        return 0;
    if (progress >= 1)
        return 1;
    return curve.valueForProgress(progress);
}

constexpr double settledFraction = 0.001;

} // namespace

namespace Motion {

double easeOut(double progress) {
    static const QEasingCurve curve = bezier(QPointF(0, 0), QPointF(0.58, 1));
    return sample(curve, progress);
}

double easeIn(double progress) {
    static const QEasingCurve curve = bezier(QPointF(0.42, 0), QPointF(1, 1));
    return sample(curve, progress);
}

double secondsSince(const std::optional<QDateTime>& since, const QDateTime& now) {
    if (!since)
        return 0;
    return std::max(0.0, double(since->msecsTo(now)) / 1000.0);
}

double progress(const std::optional<QDateTime>& since, const QDateTime& now, double duration) {
    if (!since)
        return 0;
    if (!(duration > 0))
        return 1;
    return std::clamp(secondsSince(since, now) / duration, 0.0, 1.0);
}

double spring(double seconds, double response, double dampingFraction) {
    if (!(seconds > 0))
        return 0;
    // Unit mass; the stiffness follows from the period, the damping from its fraction of critical.
    const double omega = 2 * std::numbers::pi / response;
    const double zeta = std::clamp(dampingFraction, 0.0, 1.0);
    const double decay = std::exp(-zeta * omega * seconds);
    if (zeta >= 1)
        return 1 - decay * (1 + omega * seconds);
    const double damped = omega * std::sqrt(1 - zeta * zeta);
    return 1 - decay * (std::cos(damped * seconds) + zeta * omega / damped * std::sin(damped * seconds));
}

double springSettleSeconds(double response, double dampingFraction) {
    const double omega = 2 * std::numbers::pi / response;
    const double zeta = std::clamp(dampingFraction, 0.05, 1.0);
    return -std::log(settledFraction) / (zeta * omega);
}

} // namespace Motion
