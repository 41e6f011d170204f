#pragma once

#include <QProcessEnvironment>
#include <QString>
#include <QStringList>

// The PATH that the program gives every tool it starts: the usual package-manager folders and the
// user's own bin folder come before the inherited PATH, so that a user-installed tool wins.
namespace ToolSearchPath {

// The PATH value for a child started from `base`.
QString value(const QProcessEnvironment& base);
// The same folders as a list, in search order.
QStringList folders(const QProcessEnvironment& base);
// The full path of `name` on that PATH, or an empty text when it isn't there.
QString findExecutable(const QString& name, const QProcessEnvironment& base);

} // namespace ToolSearchPath
