#pragma once

#include "capture/RgbColor.h"

#include <QColor>

class QApplication;
class QPalette;

// The light and dark colour schemes. The program follows the desktop's own palette; the tour and the
// view tests force one scheme so that both are seen.
namespace Theme {

enum class Scheme { Light, Dark };

// The desktop's own style and palette, with the edges of check boxes and text fields drawn to show.
void follow(QApplication& app);
void apply(QApplication& app, Scheme scheme);
const char* name(Scheme scheme);
// Whether a palette is a dark scheme, by its window colour: views that draw colours of their own pick
// their light or dark variant by it.
bool isDark(const QPalette& palette);

QColor toColor(RgbColor rgb);
RgbColor toRgb(const QColor& colour);
// A colour as it shows over an opaque background, its own transparency laid over it.
QColor seenOver(const QColor& colour, const QColor& background);
// A colour of the screens made to read where it is drawn: itself when it already does, otherwise the
// least tint (on a dark background) or shade (on a light one) that does, so that it keeps its hue.
// Text needs more contrast than a mark such as an icon, a ring or a control's edge.
QColor legibleText(const QColor& colour, const QColor& background);
QColor legibleMark(const QColor& colour, const QColor& background);
// The orange of warnings, in the shade that reads on the scheme's window.
QColor orange(const QPalette& palette);
// The orange that banners are filled with in either scheme: deep enough that white text on it reads,
// even a caption at 0.8 opacity.
QColor bannerOrange();
// The edge of a check box or a text field: the secondary text colour, at least as far from the window
// as a mark must be, so that the control shows where it is in either scheme.
QColor controlEdge(const QPalette& palette);

} // namespace Theme
