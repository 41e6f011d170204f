#pragma once

#include "services/FileLogger.h"

#include <QFile>
#include <QString>
#include <QStringList>

// Everything the logger has written so far, once its queue has drained.
inline QString loggedText(FileLogger& log) {
    log.waitForIdle();
    QFile file(log.logPath());
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    return QString::fromUtf8(file.readAll());
}

// The lines written under `tag` so far, each as "{level} {message}".
inline QStringList taggedLines(FileLogger& log, const QString& tag) {
    QStringList lines;
    const QString marker = QStringLiteral(" [%1] ").arg(tag);
    for (const QString& line : loggedText(log).split(u'\n', Qt::SkipEmptyParts)) {
        const qsizetype at = line.indexOf(marker);
        if (at >= 5)
            lines.append(line.mid(at - 5, 5) + u' ' + line.mid(at + marker.size()));
    }
    return lines;
}
