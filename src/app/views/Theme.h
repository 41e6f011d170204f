#pragma once

class QApplication;
class QPalette;

// The light and dark colour schemes. The program follows the desktop's own palette; the tour and the
// view tests force one scheme so that both are seen.
namespace Theme {

enum class Scheme { Light, Dark };

void apply(QApplication& app, Scheme scheme);
const char* name(Scheme scheme);
// Whether a palette is a dark scheme, by its window colour: views that draw colours of their own pick
// their light or dark variant by it.
bool isDark(const QPalette& palette);

} // namespace Theme
