#include "support/TestPaths.h"

QString testDataPath(const QString& relative) {
    return QStringLiteral(NORVANE_TEST_DATA_DIR) + u'/' + relative;
}
QString simulatorDir() {
    return QStringLiteral(NORVANE_SIMULATOR_DIR);
}
