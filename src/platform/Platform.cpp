#include "platform/Platform.h"

#include "BuildInfo.h"

#include <QOperatingSystemVersion>
#include <QSysInfo>

using namespace Qt::StringLiterals;

namespace {
QString orDev(const char* value) {
    const QString text = QString::fromUtf8(value).trimmed();
    return text.isEmpty() ? u"dev"_s : text;
}
} // namespace

namespace Platform {

QString appVersion() {
    return orDev(BuildInfo::version);
}
QString buildNumber() {
    return orDev(BuildInfo::buildNumber);
}

#ifdef Q_OS_MACOS
QString name() {
    return u"macos"_s;
}
QString osVersion() {
    const auto v = QOperatingSystemVersion::current();
    return u"macOS %1.%2.%3"_s.arg(v.majorVersion()).arg(v.minorVersion()).arg(v.microVersion());
}
QString osLaunchField() {
    const auto v = QOperatingSystemVersion::current();
    return u"macOS=%1.%2.%3"_s.arg(v.majorVersion()).arg(v.minorVersion()).arg(v.microVersion());
}
#else
QString name() {
    return u"linux"_s;
}
QString osVersion() {
    return u"Linux "_s + QSysInfo::kernelVersion();
}
QString osLaunchField() {
    return u"Linux="_s + QSysInfo::kernelVersion();
}
#endif

QString clientId() {
    return name() + u'/' + appVersion();
}

QString siteUrl() {
    QString url = qEnvironmentVariable("NORVANE_SITE_URL");
    if (url.isEmpty())
        url = QString::fromUtf8(BuildInfo::siteUrl);
    while (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

QString uvInstallerUrl() {
    const QString url = qEnvironmentVariable("NORVANE_UV_INSTALLER_URL");
    return url.isEmpty() ? QString::fromUtf8(BuildInfo::uvInstallerUrl) : url;
}

} // namespace Platform
