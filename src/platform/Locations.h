#pragma once

#include <QString>
#include <QStringList>

// Where Norvane keeps things. Every path is derived from HOME and the XDG variables at the moment of
// the call, so that a test or the demo moves all of them by setting HOME.
namespace Locations {

QString home();
// Application support: captures, caches of our own.
QString applicationSupportDir();
QString defaultCaptureDir();
// Our own text log and the measurement tool's log (NORVANE_LOG_DIR).
QString logDir();
QString logFileName();
QString logFilePath();
// Crash reports written by the program's own crash handler.
QString diagnosticReportsDir();
QString cacheDir();
// The browser tool's download cache; a "chromium-" entry in it means video tests can run.
QString playwrightCacheDir();
// State that belongs to the tools: r2.json, uploaded.json.
QString toolStateDir();
QString settingsFilePath();
// Where uv may be installed, in the order it is searched.
QStringList uvCandidates();

} // namespace Locations
