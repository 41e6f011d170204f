#include "support/TestPaths.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryDir>

#include <gtest/gtest.h>

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

QString writeFile(const QTemporaryDir& dir, const QString& name, const QByteArray& content) {
    const QString path = dir.filePath(name);
    QFile file(path);
    EXPECT_TRUE(file.open(QIODevice::WriteOnly));
    file.write(content);
    return path;
}

bool writeFileAt(const QString& path, const QByteArray& content) {
    QDir().mkpath(QFileInfo(path).absolutePath());
    QFile file(path);
    return file.open(QIODevice::WriteOnly | QIODevice::Truncate) && file.write(content) == content.size();
}

QByteArray readFileAt(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}
