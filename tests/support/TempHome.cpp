#include "support/TempHome.h"

#include "support/TestPaths.h"

#include <QDir>
#include <QFile>

#include <optional>

namespace {
const char* const variables[] = {"HOME", "XDG_DATA_HOME", "XDG_STATE_HOME", "XDG_CACHE_HOME",
                                 "XDG_CONFIG_HOME"};
}

TempHome::TempHome() {
    for (const char* name : variables) {
        std::optional<QByteArray> old;
        if (qEnvironmentVariableIsSet(name))
            old = qgetenv(name);
        m_saved.append({QByteArray(name), old});
        qunsetenv(name);
    }
    qputenv("HOME", m_dir.path().toUtf8());
    installFakeNetworkTools(m_dir.path());
}

TempHome::~TempHome() {
    for (const auto& [name, value] : m_saved) {
        if (value)
            qputenv(name.constData(), *value);
        else
            qunsetenv(name.constData());
    }
}

void TempHome::installFakeUv() const {
    const QString bin = m_dir.path() + QStringLiteral("/.local/bin");
    QDir().mkpath(bin);
    QFile::link(simulatorDir() + QStringLiteral("/uv"), bin + QStringLiteral("/uv"));
}
