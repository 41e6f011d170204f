#pragma once

#include <QIcon>
#include <QString>

// Icons by the symbol names that the screens use ("stethoscope", "wifi.slash", …): the desktop's icon
// theme when it has a match, otherwise a drawing of our own, so that every icon shows on any desktop.
namespace Icons {

QIcon symbol(const QString& symbolName);

} // namespace Icons
