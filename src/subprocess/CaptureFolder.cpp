#include "subprocess/CaptureFolder.h"

#include "base/Settings.h"
#include "platform/Locations.h"

#include <QDir>

namespace CaptureFolder {

QString outputDirectory() {
    const QString chosen = Settings().stringValue(Settings::captureDirectory, QString());
    return chosen.isEmpty() ? Locations::defaultCaptureDir() : chosen;
}

QString ensureOutputDirectory() {
    const QString folder = outputDirectory();
    QDir().mkpath(folder);
    return folder;
}

} // namespace CaptureFolder
