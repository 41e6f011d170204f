#pragma once

#include "capture/RgbColor.h"

// How far apart two colours read, by relative luminance and contrast ratio as accessibility
// guidelines define them (WCAG 2.x), and the least change of a colour that makes it read on a
// background. Text needs 4.5:1 against what it is drawn on, a mark or a control's edge 3:1.
namespace Contrast {

inline constexpr double textMinimum = 4.5;
inline constexpr double markMinimum = 3.0;

// 0 for black to 1 for white, from the linearised sRGB channels.
double relativeLuminance(RgbColor colour);
// From 1 (the same luminance) to 21 (black against white); the order of the two doesn't matter.
double ratio(RgbColor first, RgbColor second);
// What a colour laid over `background` at `opacity` (0 to 1) looks like.
RgbColor over(RgbColor colour, double opacity, RgbColor background);
// `colour` itself when it already reaches `minimum` against `background`; otherwise the lightest
// tint towards white on a dark background, or the lightest shade towards black on a light one, that
// reaches it, so that the colour keeps its hue.
RgbColor atLeast(RgbColor colour, RgbColor background, double minimum);

} // namespace Contrast
