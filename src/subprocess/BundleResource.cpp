#include "subprocess/BundleResource.h"

#include <QCoreApplication>
#include <QDir>
#include <QFileInfo>

using namespace Qt::StringLiterals;

namespace BundleResource {

QString installedFolder() {
    return QDir::cleanPath(QCoreApplication::applicationDirPath() + u"/../share/norvane"_s);
}

std::optional<QString> url(const QString& resource, const QString& extension) {
    const QString name = resource + u'.' + extension;
    const QString compiledIn = u":/norvane/"_s + name;
    if (QFileInfo(compiledIn).isFile())
        return compiledIn;
    const QString installed = installedFolder() + u'/' + name;
    if (QFileInfo(installed).isFile())
        return installed;
    return std::nullopt;
}

} // namespace BundleResource
