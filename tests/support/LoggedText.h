#pragma once

#include "services/FileLogger.h"

#include <QFile>
#include <QString>

// Everything the logger has written so far, once its queue has drained.
inline QString loggedText(FileLogger& log) {
    log.waitForIdle();
    QFile file(log.logPath());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}
