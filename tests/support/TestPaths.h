#pragma once

#include <QByteArray>
#include <QString>

class QTemporaryDir;

// Test data shipped with the sources.
QString testDataPath(const QString& relative);
// The tool simulator's folder (its `uv` entry and generators).
QString simulatorDir();
// Links the simulator's fake `ip` and `ping` into {home}/.local/bin, where the connectivity diagnosis
// looks before the inherited PATH, so that no test ever starts the system's ping.
void installFakeNetworkTools(const QString& home);
// Writes `content` to {dir}/{name} and returns the path.
QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content);
// Writes `content` to `path`, making its folders first; false when that fails.
bool writeFileAt(const QString& path, const QByteArray& content);
// The bytes of the file at `path`; empty when it can't be read.
QByteArray readFileAt(const QString& path);
