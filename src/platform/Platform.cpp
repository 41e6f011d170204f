#include "platform/Platform.h"

#include "BuildInfo.h"

#include <QOperatingSystemVersion>
#include <QRegularExpression>
#include <QSysInfo>
#include <QUrl>

using namespace Qt::StringLiterals;

namespace {
QString orDev(const char* value) {
    const QString text = QString::fromUtf8(value).trimmed();
    return text.isEmpty() ? u"dev"_s : text;
}

constexpr const char* siteOverride = "NORVANE_SITE_URL";
constexpr const char* installerOverride = "NORVANE_UV_INSTALLER_URL";

// The variable's value when it is a plain web address; empty when unset or not one.
QString usableOverride(const char* variable) {
    const QString value = qEnvironmentVariable(variable);
    return Platform::isPlainWebAddress(value) ? value : QString();
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

bool isPlainWebAddress(const QString& text) {
    // No query, blanks or shell characters: the installer's address goes into a shell command line.
    static const QRegularExpression plain(u"^https?://[A-Za-z0-9._~:/%@+,=-]+$"_s);
    if (!plain.match(text).hasMatch())
        return false;
    const QUrl url(text, QUrl::StrictMode);
    return url.isValid() && !url.host().isEmpty();
}

QString siteUrl() {
    QString url = usableOverride(siteOverride);
    if (url.isEmpty())
        url = QString::fromUtf8(BuildInfo::siteUrl);
    while (url.endsWith(u'/'))
        url.chop(1);
    return url;
}

QString uvInstallerUrl() {
    const QString url = usableOverride(installerOverride);
    return url.isEmpty() ? QString::fromUtf8(BuildInfo::uvInstallerUrl) : url;
}

QStringList ignoredAddressOverrides() {
    QStringList ignored;
    for (const char* variable : {siteOverride, installerOverride}) {
        if (!qEnvironmentVariableIsEmpty(variable) && usableOverride(variable).isEmpty())
            ignored.append(QString::fromLatin1(variable));
    }
    return ignored;
}

} // namespace Platform
