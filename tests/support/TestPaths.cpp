#include "support/TestPaths.h"

#include <QDir>
#include <QFile>

QString testDataPath(const QString& relative) {
    return QStringLiteral(NORVANE_TEST_DATA_DIR) + u'/' + relative;
}
QString simulatorDir() {
    return QStringLiteral(NORVANE_SIMULATOR_DIR);
}

void installFakeNetworkTools(const QString& home) {
    const QString bin = home + QStringLiteral("/.local/bin");
    QDir().mkpath(bin);
    for (const char* name : {"ip", "ping"}) {
        QFile::remove(bin + u'/' + QLatin1String(name));
        QFile::link(simulatorDir() + u'/' + QLatin1String(name), bin + u'/' + QLatin1String(name));
    }
}
