#pragma once

#include <QDateTime>

#include <optional>

// The timing curves of the screens' animations, as pure functions of elapsed time, so that a view
// samples them at whatever moment it draws and a virtual clock shows the very same frame.
namespace Motion {

// The standard curves at progress 0…1, clamped outside and 0 for NaN: ease-out is the cubic Bézier
// (0, 0, 0.58, 1), ease-in (0.42, 0, 1, 1).
double easeOut(double progress);
double easeIn(double progress);

// Seconds from `since` to `now`, never negative; 0 when the animation hasn't started.
double secondsSince(const std::optional<QDateTime>& since, const QDateTime& now);
// The linear progress 0…1 of an animation of `duration` seconds that started at `since`; 0 when it
// hasn't started.
double progress(const std::optional<QDateTime>& since, const QDateTime& now, double duration);

// A damped spring from 0 towards 1 after `seconds`: `response` is the period of the undamped spring,
// `dampingFraction` below 1 lets it overshoot before it settles. 0 at and before the start.
double spring(double seconds, double response, double dampingFraction);
// When the envelope of the spring's swing has shrunk to a thousandth of the distance: from then on a
// view may stop drawing it.
double springSettleSeconds(double response, double dampingFraction);

} // namespace Motion
