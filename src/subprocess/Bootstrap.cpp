#include "subprocess/Bootstrap.h"

#include "platform/Locations.h"
#include "services/FileLogger.h"

#include <QFileInfo>

using namespace Qt::StringLiterals;

QStringList Bootstrap::uvCandidates() {
    return Locations::uvCandidates();
}

std::optional<QString> Bootstrap::findUV(FileLogger& log) {
    const QString tag = QString::fromLatin1(logTag);
    const QStringList candidates = uvCandidates();
    for (const QString& candidate : candidates) {
        const QFileInfo info(candidate);
        if (info.isFile() && info.isExecutable()) {
            log.debug(tag, u"uv found at "_s + candidate);
            return candidate;
        }
    }
    log.warn(tag, u"uv not found in candidate paths"_s);
    return std::nullopt;
}
