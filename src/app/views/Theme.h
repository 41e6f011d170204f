#pragma once

class QApplication;

// The light and dark colour schemes. The program follows the desktop's own palette; the tour and the
// view tests force one scheme so that both are seen.
namespace Theme {

enum class Scheme { Light, Dark };

void apply(QApplication& app, Scheme scheme);
const char* name(Scheme scheme);

} // namespace Theme
