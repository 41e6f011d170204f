#include "core/NorvaneApp.h"

#include "platform/Platform.h"
#include "services/FileLogger.h"
#include "subprocess/CaptureFolder.h"

using namespace Qt::StringLiterals;

NorvaneApp::NorvaneApp(FileLogger& log, QObject* parent)
    : QObject(parent)
    , m_log(log) {}

QStringList NorvaneApp::launchLines() const {
    return {
        u"app launch version=%1 build=%2 %3"_s.arg(Platform::appVersion(), Platform::buildNumber(),
                                                   Platform::osLaunchField()),
        u"log file: "_s + m_log.logPath(),
        u"capture directory: "_s + CaptureFolder::outputDirectory(),
    };
}

void NorvaneApp::writeLaunchLines() {
    const QStringList lines = launchLines();
    for (const QString& line : lines)
        m_log.info(u"App"_s, line);
}
