#pragma once

#include <QString>

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

} // namespace Platform
