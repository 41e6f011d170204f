#pragma once

#include <QColor>
#include <QIcon>
#include <QString>

#include <optional>

class QLabel;

// Icons by the symbol names that the screens use ("stethoscope", "wifi.slash", …): the desktop's icon
// theme when it has a match, otherwise a drawing of our own (":/norvane/icons/{symbol}.svg"), so that
// every icon shows on any desktop.
//
// Our drawings are painted in the application palette's text colour at the moment they are drawn, so
// they read in the light and the dark scheme and follow a scheme switch; disabled icons take the
// disabled text colour. In the drawings, black is the ink and white cuts holes into it (the check in
// "checkmark.circle.fill"), so any colour can be laid over the shape.
namespace Icons {

QIcon symbol(const QString& symbolName);
// The symbol in a fixed colour (a green check, an orange warning), whatever the scheme; a theme icon is
// reduced to its shape in that colour.
QIcon symbol(const QString& symbolName, const QColor& tint);

// Shows the symbol on a label, `side` pixels square and sharp on any screen, in the palette's text colour
// or in `tint`. The label draws it again when the palette changes, so a scheme switch recolours it as it
// does the label's text.
void showOn(QLabel* label, const QString& symbolName, int side, std::optional<QColor> tint = std::nullopt);

// Our own drawing of a symbol, without asking the desktop's theme: a generic placeholder shape for a
// name we have no drawing of.
QIcon drawing(const QString& symbolName);
bool hasDrawing(const QString& symbolName);

} // namespace Icons
