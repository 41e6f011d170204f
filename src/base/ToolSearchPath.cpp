#include "base/ToolSearchPath.h"

#include "platform/Locations.h"

#include <QStandardPaths>

using namespace Qt::StringLiterals;

namespace ToolSearchPath {

QString value(const QProcessEnvironment& base) {
    const QString currentPath = base.contains(u"PATH"_s) ? base.value(u"PATH"_s) : u"/usr/bin:/bin"_s;
    return QStringList{u"/opt/homebrew/bin"_s, u"/usr/local/bin"_s, Locations::home() + u"/.local/bin"_s,
                       currentPath}
        .join(u':');
}

QStringList folders(const QProcessEnvironment& base) {
    return value(base).split(u':', Qt::SkipEmptyParts);
}

QString findExecutable(const QString& name, const QProcessEnvironment& base) {
    return QStandardPaths::findExecutable(name, folders(base));
}

} // namespace ToolSearchPath
