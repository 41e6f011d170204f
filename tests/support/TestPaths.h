#pragma once

#include <QString>

// Test data shipped with the sources.
QString testDataPath(const QString& relative);
// The tool simulator's folder (its `uv` entry and generators).
QString simulatorDir();
