#pragma once

#include <QString>

// The folder where the measurement tool writes captures.
namespace CaptureFolder {

// The "captureDirectory" setting when it is a non-empty text, otherwise the default capture folder.
QString outputDirectory();
// The same folder, created with its parents first; a failure to create it is ignored.
QString ensureOutputDirectory();

} // namespace CaptureFolder
