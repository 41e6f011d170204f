#include "platform/Locations.h"

#include <QDir>
#include <QtGlobal>

using namespace Qt::StringLiterals;

namespace {

// An XDG variable counts only when it is an absolute path; otherwise the documented default applies.
QString xdgDir(const char* variable, const QString& fallbackUnderHome) {
    const QString value = qEnvironmentVariable(variable);
    if (!value.isEmpty() && QDir::isAbsolutePath(value))
        return QDir::cleanPath(value);
    return Locations::home() + u'/' + fallbackUnderHome;
}

} // namespace

namespace Locations {

QString home() {
    return QDir::cleanPath(QDir::homePath());
}

#ifdef Q_OS_MACOS
QString applicationSupportDir() {
    return home() + u"/Library/Application Support/Norvane"_s;
}
QString defaultCaptureDir() {
    return applicationSupportDir() + u"/captures"_s;
}
QString logDir() {
    return home() + u"/Library/Logs/Norvane"_s;
}
QString logFileName() {
    return u"macos-app.log"_s;
}
QString diagnosticReportsDir() {
    return home() + u"/Library/Logs/DiagnosticReports"_s;
}
QString cacheDir() {
    return home() + u"/Library/Caches/Norvane"_s;
}
QString playwrightCacheDir() {
    return home() + u"/Library/Caches/ms-playwright"_s;
}
QString settingsFilePath() {
    return home() + u"/Library/Preferences/Norvane.ini"_s;
}
#else
QString applicationSupportDir() {
    return xdgDir("XDG_DATA_HOME", u".local/share"_s) + u"/Norvane"_s;
}
QString defaultCaptureDir() {
    return applicationSupportDir() + u"/captures"_s;
}
QString logDir() {
    return xdgDir("XDG_STATE_HOME", u".local/state"_s) + u"/Norvane/logs"_s;
}
QString logFileName() {
    return u"linux-app.log"_s;
}
QString diagnosticReportsDir() {
    return xdgDir("XDG_STATE_HOME", u".local/state"_s) + u"/Norvane/DiagnosticReports"_s;
}
QString cacheDir() {
    return xdgDir("XDG_CACHE_HOME", u".cache"_s) + u"/Norvane"_s;
}
QString playwrightCacheDir() {
    return xdgDir("XDG_CACHE_HOME", u".cache"_s) + u"/ms-playwright"_s;
}
// The file QSettings itself would pick for organisation and application "Norvane".
QString settingsFilePath() {
    return xdgDir("XDG_CONFIG_HOME", u".config"_s) + u"/Norvane/Norvane.conf"_s;
}
#endif

QString logFilePath() {
    return logDir() + u'/' + logFileName();
}

QString toolStateDir() {
    return home() + u"/.norvane"_s;
}

QStringList uvCandidates() {
    return {home() + u"/.local/bin/uv"_s, u"/opt/homebrew/bin/uv"_s, u"/usr/local/bin/uv"_s};
}

} // namespace Locations
