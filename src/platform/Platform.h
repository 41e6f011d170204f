#pragma once

#include <QString>
#include <QStringList>

// Facts about this build and this machine that go into the log, the tool's command line and reports.
namespace Platform {

// The short version of the program, or "dev" when the build didn't set one.
QString appVersion();
// The build number, or "dev" when the build didn't set one.
QString buildNumber();
// "linux" or "macos": the word the tools and crash reports use for this desktop.
QString name();
// The value of the measurement tool's --client flag: "{platform}/{version}".
QString clientId();
// "Linux 6.1.0-18-amd64" or "macOS 14.2.1".
QString osVersion();
// The "{key}={value}" that the launch line of the log carries for the operating system.
QString osLaunchField();
// The project's web site, without a trailing slash; NORVANE_SITE_URL overrides the build setting.
QString siteUrl();
// The uv installer script that a first launch pipes into sh; NORVANE_UV_INSTALLER_URL overrides the
// build setting, so that tests and the demo serve a script of their own on loopback.
QString uvInstallerUrl();
// An http or https address with a host and nothing that a shell would read as more than a word. Only
// such an address may override a built-in one: an environment variable must never become a command.
bool isPlainWebAddress(const QString& text);
// The address overrides that are set but ignored for not being plain web addresses, by variable name.
QStringList ignoredAddressOverrides();

} // namespace Platform
